#include "platform_check/rule.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

#include "base/descriptor.h"
#include "base/hexadecimal.h"

namespace kova::check {

std::string shown(std::string_view text) {
  constexpr std::size_t kMost = 200;
  constexpr std::string_view kEscaped = "\n\r\t\"\\", kLetters = "nrt\"\\";
  std::string result = "\"";
  for (const char c : text.substr(0, kMost)) {
    const std::size_t escaped = kEscaped.find(c);
    if (escaped != std::string::npos) {
      result.append({'\\', kLetters[escaped]});
    } else if (c >= ' ' && c <= '~') {
      result += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      result += "\\x" + hexadecimal({&byte, 1});
    }
  }
  return result + (text.size() > kMost ? "\"..." : "\"");
}

void Check::finding(const std::string &text) const {
  report(kFinding, text);
}

void Check::report(char kind, std::string text) const {
  std::erase(text, '\0');
  writeAll(report_, kind + text + std::string(1, '\0'));
}

void Check::equal(std::string_view seen, std::string_view expected, const std::string &what) const {
  expect(seen == expected, what + ": " + shown(seen) + ", expected " + shown(expected));
}

void Check::equal(long long seen, long long expected, const std::string &what) const {
  expect(seen == expected, what + ": " + std::to_string(seen) + ", expected " + std::to_string(expected));
}

std::string Check::errorText(int number) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%04X", static_cast<unsigned>(number));
  return text;
}

int Check::otherError(int number) const {
  TLIBCSzList *const list = platform_.TLIBCSzListAlloc(1);
  if (number == TLIBC_ERR_BAD_PARAMETER) {
    TLIBCSzHash *const hash = platform_.TLIBCSzHashAlloc(1);
    platform_.TLIBCSzHashGetValue(hash, "absent");
    platform_.TLIBCSzHashFree(hash);
  } else {
    platform_.TLIBCSzListPush(list, nullptr);
  }
  platform_.TLIBCSzListFree(list);
  return platform_.TLIBCErrGet();
}

List::List(const Check &check, const std::vector<std::string> &items)
    : Owned(check->TLIBCSzListAlloc(items.size()), check->TLIBCSzListFree), check_(check) {
  for (const std::string &item : items) check_->TLIBCSzListPush(handle_, item.c_str());
}

std::vector<std::string> List::items() const {
  std::vector<std::string> all;
  for (std::size_t i = 0; i < check_->TLIBCSzListCount(handle_); ++i) {
    const char *item = check_->TLIBCSzListGet(handle_, i);
    all.emplace_back(item != nullptr ? item : "(null)");
  }
  return all;
}

Hash::Hash(const Check &check, const Pairs &pairs)
    : Owned(check->TLIBCSzHashAlloc(pairs.size()), check->TLIBCSzHashFree), check_(check) {
  for (const auto &[key, value] : pairs) set(key, value);
}

int Hash::set(const std::string &key, const std::string &value) const {
  return check_->TLIBCSzHashSetValue(handle_, key.c_str(), value.c_str());
}

std::string Hash::text() const {
  const List keys(check_);
  check_->TLIBCSzHashEnumKey(handle_, keys.get());
  std::string text;
  for (const std::string &key : keys.items()) {
    const char *value = check_->TLIBCSzHashGetValue(handle_, key.c_str());
    text += key + "=" + (value != nullptr ? value : "(null)") + ";";
  }
  return text;
}

std::vector<Rule> allRules() {
  std::vector<Rule> all;
  for (const auto group : {pathRules, containerRules, textRules, keyFileReadingRules, keyFileWritingRules,
                           identityRules, serviceRules, scheduleRules, programRules}) {
    std::ranges::copy(group(), std::back_inserter(all));
  }
  return all;
}

}  // namespace kova::check
