// Growing texts, white space, base64.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "platform_check/rule.h"

namespace kova::check {
namespace {

// A growing text that is freed at the end.
struct Text : TLIBCSzText {
  Text() : TLIBCSzText{} {}
  Text(const Text &) = delete;
  Text &operator=(const Text &) = delete;
  ~Text() { std::free(text); }
};

void expectText(const Check &check, const TLIBCSzText &text, const std::string &expected) {
  if (text.text == nullptr) return check.finding("the text is null");
  check.equal(static_cast<long long>(text.length), static_cast<long long>(expected.size()), "the length");
  check.expect(text.capacity > expected.size(), "the capacity has no room for the text and its NUL");
  check.equal(std::string_view(text.text, expected.size() + 1), expected + '\0', "the text and its NUL");
}

// "-" where decoding into a buffer of this size fails; with "#" for the bytes behind what is decoded.
std::string decoded(const Check &check, const std::string &text, std::size_t size) {
  constexpr std::size_t kGuard = 4;
  std::string output(size + kGuard, '#');
  std::size_t length = size;
  const int before = check->TLIBCErrGet();
  const bool isDecoded = check->TARVEncodingBase64Decode(text.data(), text.size(), output.data(), &length) != 0;
  check.expect(output.ends_with(std::string(kGuard, '#')), "writes behind the buffer");
  if (isDecoded && check->TLIBCErrGet() != before) check.finding("a success changes the last error");
  if (!isDecoded) return "-";
  check.expect(length <= size, "tells of more bytes than the buffer has");
  length = std::min(length, size);
  return output.substr(0, length) + (output[length] == '#' ? "" : "(and more)");
}

constexpr Rule kRules[] = {
    {"TLIBCStrCat", "appends", "appends to a zeroed text and to one in memory from malloc",
     [](const Check &check) {
       Text zeroed, given;
       given.text = strdup("begin");
       given.length = 5;
       given.capacity = 6;
       std::string added;
       for (int i = 0; i < 300; ++i) {
         const std::string addition(static_cast<std::size_t>(i % 7), static_cast<char>('a' + i % 26));
         for (TLIBCSzText *text : {static_cast<TLIBCSzText *>(&zeroed), static_cast<TLIBCSzText *>(&given)}) {
           check.succeeds("an addition", [&] { return check->TLIBCStrCat(text, addition.c_str()); });
         }
         added += addition;
       }
       expectText(check, zeroed, added);
       expectText(check, given, "begin" + added);
     }},
    {"TLIBCStrCat", "growth", "the buffer grows by a factor",
     [](const Check &check) {
       // Counted, not timed: each time that a text of 64 KiB or more moves to a larger buffer, that buffer is larger by
       // a sixteenth of the text at least.
       constexpr std::size_t kLarge = 65536;
       Text text;
       for (int i = 0; i < 100000; ++i) {
         const std::size_t before = text.capacity, length = text.length;
         check->TLIBCStrCat(&text, "0123456789");
         if (text.capacity == before || length < kLarge) continue;
         if (text.capacity < length + length / 16) {
           return check.finding("a text of " + std::to_string(length) + " bytes grows to a capacity of " +
                                std::to_string(text.capacity));
         }
       }
       check.equal(static_cast<long long>(text.length), 1000000, "the length after 100,000 additions");
     }},
    {"TLIBCStrCat", "null", "null is a failure that leaves the text as it was",
     [](const Check &check) {
       Text text;
       check->TLIBCStrCat(&text, "text");
       check.refusesNull([&] { return check->TLIBCStrCat(&text, nullptr); });
       check.refusesNull([&] { return check->TLIBCStrCat(nullptr, "text"); });
       expectText(check, text, "text");
     }},
    {"TLIBCStrTrimSpace", "trims", "removes the white space of the C locale at both ends, in place",
     [](const Check &check) {
       for (const auto &[given, expected] : Hash::Pairs{{"", ""},
                                                        {" \t\n\v\f\r", ""},
                                                        {"\r\n a  b\t\v\f ", "a  b"},
                                                        {"a", "a"},
                                                        {"\xA0 a\x85", "\xA0 a\x85"}}) {
         std::string text = given;
         const char *result = check.succeeds("a call", [&] { return check->TLIBCStrTrimSpace(text.data()); });
         check.expect(result == text.data(), "returns something else than the text");
         check.equal(text.substr(0, text.find('\0')), expected, shown(given) + " becomes");
       }
     }},
    {"TLIBCStrTrimSpace", "null", "null is a failure",
     [](const Check &check) { check.refusesNull([&] { return check->TLIBCStrTrimSpace(nullptr); }); }},
    {"TARVEncodingBase64Decode", "decodes", "decodes every length, and adds no NUL",
     [](const Check &check) {
       for (const auto &[text, expected] : Hash::Pairs{{"", ""},
                                                       {"Zg==", "f"},
                                                       {"Zm8=", "fo"},
                                                       {"Zm9v", "foo"},
                                                       {"Zm9vYmFyYmF6", "foobarbaz"},
                                                       {"/+7/", "\xFF\xEE\xFF"}}) {
         check.equal(decoded(check, text, expected.size()), expected, shown(text) + " in a buffer of its size");
         check.equal(decoded(check, text, expected.size() + 8), expected, shown(text) + " in a larger buffer");
       }
     }},
    {"TARVEncodingBase64Decode", "invalid", "what is not padded base64 without line breaks is a failure",
     [](const Check &check) {
       for (const std::string text : {"Zg=", "Zg", "Z", "Zm9v\n", "Zm9v\nZm9v", "Zm 9",
                                      "A===", "====", "Zg==Zg==", "Zm9-", "Zm9_", "Zm9\xE9", "Z=g="}) {
         check.equal(decoded(check, text, 64), "-", shown(text));
         check.expect(check->TLIBCErrGet() != TLIBC_ERR_NONE, "a failure leaves no error");
       }
     }},
    {"TARVEncodingBase64Decode", "size", "what does not fit is a failure",
     [](const Check &check) {
       for (std::size_t size = 0; size < 9; ++size) {
         check.equal(decoded(check, "Zm9vYmFyYmF6", size), "-", "9 bytes in a buffer of " + std::to_string(size));
       }
     }},
    {"TARVEncodingBase64Decode", "null", "null is a failure",
     [](const Check &check) {
       char output[8];
       std::size_t length = sizeof output;
       const auto refuses = [&](const char *text, char *to, std::size_t *size) {
         check.refusesNull([&] { return check->TARVEncodingBase64Decode(text, 4, to, size) != 0; });
       };
       refuses(nullptr, output, &length);
       refuses("Zm9v", nullptr, &length);
       refuses("Zm9v", output, nullptr);
     }},
};

}  // namespace

std::span<const Rule> textRules() {
  return kRules;
}

}  // namespace kova::check
