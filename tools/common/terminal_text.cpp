#include "common/terminal_text.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <clocale>
#include <cwchar>
#include <cwctype>

namespace kova {
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

// What changes how other characters are shown, or takes a column at most without anything to be seen in it: the format
// characters, the separators of lines and paragraphs, and what Unicode calls default ignorable (Unicode 15). Two names
// that differ by these alone would look the same.
constexpr wchar_t kInvisible[][2] = {
    {0xAD, 0xAD},       {0x34F, 0x34F},     {0x600, 0x605},     {0x61C, 0x61C},     {0x6DD, 0x6DD},
    {0x70F, 0x70F},     {0x890, 0x891},     {0x8E2, 0x8E2},     {0x115F, 0x1160},   {0x17B4, 0x17B5},
    {0x180B, 0x180F},   {0x200B, 0x200F},   {0x2028, 0x202E},   {0x2060, 0x206F},   {0x3164, 0x3164},
    {0xFE00, 0xFE0F},   {0xFEFF, 0xFEFF},   {0xFFA0, 0xFFA0},   {0xFFF0, 0xFFFB},   {0x110BD, 0x110BD},
    {0x110CD, 0x110CD}, {0x13430, 0x1343F}, {0x1BCA0, 0x1BCA3}, {0x1D173, 0x1D17A}, {0xE0000, 0xE0FFF},
};

bool isVisible(wchar_t character) {
  return std::iswprint(static_cast<std::wint_t>(character)) != 0 &&
         std::ranges::none_of(kInvisible, [=](const auto &r) { return r[0] <= character && character <= r[1]; });
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

// Whether each byte is a printable character of its own, as in nearly every text: then nothing needs to be decoded.
bool isPlain(std::string_view text) {
  return std::ranges::all_of(text, [](char c) { return c >= ' ' && c <= '~'; });
}

std::size_t displayWidth(wchar_t character) {
  const int columns = wcwidth(character);
  return columns > 0 ? static_cast<std::size_t>(columns) : 0;
}

}  // namespace

std::string printable(std::string_view text) {
  if (isPlain(text)) return std::string(text);
  std::string shown;
  forEachCharacter(text, [&](std::string_view bytes, wchar_t character) {
    shown += isVisible(character) ? bytes : "?";
    return true;
  });
  return shown;
}

std::size_t displayWidth(std::string_view text) {
  if (isPlain(text)) return text.size();
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

std::optional<std::size_t> terminalWidth(int descriptor) {
  if (isatty(descriptor) != 1) return std::nullopt;
  winsize size{};
  return ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

std::string_view withoutTrailingSpace(std::string_view text) {
  return text.substr(0, text.find_last_not_of(" \t\r\n") + 1);
}

}  // namespace kova
