#include "tarvkova/text.h"

#include <json/value.h>
#include <json/writer.h>

#include <clocale>
#include <cwchar>
#include <cwctype>

namespace kova::cli {
namespace {

// UTF-8 for the calling thread, whatever the environment says: that is what the service sends.
class Utf8 {
 public:
  Utf8() : previous_(uselocale(locale())) {}
  Utf8(const Utf8 &) = delete;
  Utf8 &operator=(const Utf8 &) = delete;
  ~Utf8() { uselocale(previous_); }

 private:
  // Made once, from files: that takes longer than showing a text does.
  static locale_t locale() {
    static const locale_t made = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    return made;
  }

  locale_t previous_;
};

bool turnsDirection(wchar_t character) {
  return (character >= 0x202A && character <= 0x202E) || (character >= 0x2066 && character <= 0x2069);
}

// Calls visit(bytes, character) for each character, and visit(byte, L'\0') for each byte that begins none.
template <class Visit>
void forEachCharacter(std::string_view text, Visit visit) {
  const Utf8 utf8;
  while (!text.empty()) {
    mbstate_t state{};
    wchar_t character = L'\0';
    std::size_t length = mbrtowc(&character, text.data(), text.size(), &state);
    if (length == 0 || length > text.size()) {
      length = 1;
      character = L'\0';
    }
    if (!visit(text.substr(0, length), character)) return;
    text.remove_prefix(length);
  }
}

std::size_t columnsOf(wchar_t character) {
  const int columns = wcwidth(character);
  return columns > 0 ? static_cast<std::size_t>(columns) : 0;
}

}  // namespace

std::string printable(std::string_view text) {
  std::string shown;
  forEachCharacter(text, [&](std::string_view bytes, wchar_t character) {
    if (iswprint(static_cast<wint_t>(character)) != 0 && !turnsDirection(character)) {
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
    width += columnsOf(character);
    return true;
  });
  return width;
}

std::string cut(std::string_view text, std::size_t width) {
  if (displayWidth(text) <= width) return std::string(text);
  std::string kept;
  std::size_t used = 1;  // the ellipsis
  forEachCharacter(text, [&](std::string_view bytes, wchar_t character) {
    used += columnsOf(character);
    if (used > width) return false;
    kept += bytes;
    return true;
  });
  return kept + "…";
}

std::string_view trimmed(std::string_view text) {
  return text.substr(0, text.find_last_not_of(" \t\r\n") + 1);
}

std::string textOf(const Json::Value &value) {
  if (value.isNull()) return {};
  if (value.isBool()) return value.asBool() ? "yes" : "no";
  return value.isArray() || value.isObject() ? jsonLine(value) : value.asString();
}

std::string orNone(const Json::Value &value) {
  const std::string text = textOf(value);
  return text.empty() ? "none" : text;
}

std::string jsonLine(const Json::Value &value) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  builder["commentStyle"] = "None";
  builder["precision"] = 15;  // what a decimal fraction survives
  return Json::writeString(builder, value);
}

}  // namespace kova::cli
