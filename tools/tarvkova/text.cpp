#include "tarvkova/text.h"

#include <clocale>
#include <cwchar>
#include <cwctype>

#include "base/json.h"

namespace kova::cli {
namespace {

// While it lives, the calling thread's character set is UTF-8 whatever the environment says: the service sends UTF-8.
class Utf8Locale {
 public:
  Utf8Locale() : previous_(uselocale(locale())) {}
  Utf8Locale(const Utf8Locale &) = delete;
  Utf8Locale &operator=(const Utf8Locale &) = delete;
  ~Utf8Locale() { uselocale(previous_); }

 private:
  // Loaded once: reading its files takes longer than showing a text does.
  static locale_t locale() {
    static const locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    return utf8;
  }

  locale_t previous_;
};

bool isDirectionOverride(wchar_t character) {
  return (character >= 0x202A && character <= 0x202E) || (character >= 0x2066 && character <= 0x2069);
}

// Calls visit(bytes, character) for each character, and visit(byte, L'\0') for each byte that does not begin one.
template <class Visit>
void forEachCharacter(std::string_view text, Visit visit) {
  const Utf8Locale utf8;
  while (!text.empty()) {
    std::mbstate_t state{};
    wchar_t character = L'\0';
    std::size_t length = std::mbrtowc(&character, text.data(), text.size(), &state);
    if (length == 0 || length > text.size()) {
      length = 1;
      character = L'\0';
    }
    if (!visit(text.substr(0, length), character)) return;
    text.remove_prefix(length);
  }
}

std::size_t displayWidth(wchar_t character) {
  const int columns = wcwidth(character);
  return columns > 0 ? static_cast<std::size_t>(columns) : 0;
}

}  // namespace

std::string printable(std::string_view text) {
  std::string shown;
  forEachCharacter(text, [&](std::string_view bytes, wchar_t character) {
    if (std::iswprint(static_cast<std::wint_t>(character)) != 0 && !isDirectionOverride(character)) {
      shown += bytes;
    } else {
      shown += '?';
    }
    return true;
  });
  return shown;
}

std::size_t displayWidth(std::string_view text) {
  std::size_t width = 0;
  forEachCharacter(text, [&](std::string_view, wchar_t character) {
    width += displayWidth(character);
    return true;
  });
  return width;
}

std::string cutToWidth(std::string_view text, std::size_t width) {
  if (displayWidth(text) <= width) return std::string(text);
  std::string kept;
  std::size_t used = 1;  // the ellipsis
  forEachCharacter(text, [&](std::string_view bytes, wchar_t character) {
    used += displayWidth(character);
    if (used > width) return false;
    kept += bytes;
    return true;
  });
  return kept + "…";
}

std::string_view withoutTrailingSpace(std::string_view text) {
  return text.substr(0, text.find_last_not_of(" \t\r\n") + 1);
}

std::string displayText(const Json::Value &value) {
  if (value.isNull()) return {};
  if (value.isBool()) return value.asBool() ? "yes" : "no";
  return value.isArray() || value.isObject() ? jsonLine(value) : value.asString();
}

std::string displayTextOrNone(const Json::Value &value) {
  const std::string text = displayText(value);
  return text.empty() ? "none" : text;
}

}  // namespace kova::cli
