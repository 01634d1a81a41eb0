#include "kovacenter/form.h"

#include <algorithm>
#include <charconv>
#include <cstddef>

#include "kovacenter/refusal.h"

namespace kova::center {
namespace {

constexpr std::size_t kMostParameters = 1000000;

// Decodes one name or value. A NUL is refused, for no text of this service holds one.
std::string decode(std::string_view text) {
  std::string decoded;
  decoded.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    char c = text[i] == '+' ? ' ' : text[i];
    if (c == '%') {
      unsigned byte = 0;
      const char *digits = text.data() + i + 1;
      if (text.size() - i < 3 || std::from_chars(digits, digits + 2, byte, 16).ptr != digits + 2) {
        throw Refusal("badparam", "Malformed percent-encoding");
      }
      c = static_cast<char>(byte);
      i += 2;
    }
    if (c == '\0') throw Refusal("badparam", "NUL in a parameter");
    decoded += c;
  }
  return decoded;
}

// Calls `use` for each part. A separator at the end has no empty part behind it.
template <class Use>
void forEachPart(std::string_view text, char separator, Use use) {
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(separator), text.size());
    use(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
}

}  // namespace

Form::Form(std::string_view text) {
  forEachPart(text, '&', [&](std::string_view pair) {
    if (pair.empty()) return;
    if (pairs_.size() == kMostParameters) throw Refusal("badparam", "Too many parameters");
    const std::size_t equals = std::min(pair.find('='), pair.size());
    pairs_.emplace_back(decode(pair.substr(0, equals)), decode(pair.substr(std::min(equals + 1, pair.size()))));
  });
}

const std::string *Form::find(std::string_view name) const {
  const auto found = std::find_if(pairs_.rbegin(), pairs_.rend(), [&](const auto &pair) { return pair.first == name; });
  return found == pairs_.rend() ? nullptr : &found->second;
}

const std::string &Form::need(std::string_view name) const {
  const std::string *value = find(name);
  if (value == nullptr) throw badParameter(name);
  return *value;
}

const std::string &Form::needText(std::string_view name) const {
  const std::string &value = need(name);
  if (value.empty()) throw badParameter(name);
  return value;
}

std::optional<bool> Form::findFlag(std::string_view name) const {
  const std::string *value = find(name);
  if (value == nullptr) return std::nullopt;
  if (*value != "true" && *value != "false") throw badParameter(name);
  return *value == "true";
}

std::string actionOf(std::string_view form) try {
  const Form parameters(form);
  const std::string *action = parameters.find("action");
  return action == nullptr ? std::string() : *action;
} catch (const Refusal &) {
  return {};
}

std::vector<std::string> splitList(std::string_view list) {
  std::vector<std::string> elements;
  forEachPart(list, ',', [&](std::string_view element) { elements.emplace_back(element); });
  return elements;
}

}  // namespace kova::center
