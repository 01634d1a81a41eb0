#include "tarvkova/values.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstring>
#include <string_view>

#include "common/terminal_text.h"

namespace kova::cli {
namespace {

std::string isNot(const std::string &value, const char *kind) {
  return "\"" + printable(value) + "\" is not " + kind;
}

bool isControl(char character) {
  return static_cast<unsigned char>(character) < ' ' || character == 0x7F;
}

bool areDigits(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

}  // namespace

std::string checkName(const std::string &value) {
  return withoutTrailingSpace(value).empty() ? "the name is empty" : checkText(value);
}

std::string checkText(const std::string &value) {
  return std::ranges::any_of(value, isControl) ? isNot(value, "a text of one line without control characters") : "";
}

std::string checkEmail(const std::string &value) {
  const std::size_t at = value.find('@');
  const bool isEmail = at != std::string::npos && at > 0 && at + 1 < value.size() && value.find(' ') == value.npos &&
                       printable(value) == value;
  return isEmail ? "" : isNot(value, "an e-mail address such as ada@kova.example");
}

std::string checkAccountName(const std::string &value) {
  return checkEmail(std::string(withoutTrailingSpace(value)));
}

std::string checkDate(const std::string &value) {
  using namespace std::chrono;
  const auto number = [&](std::size_t begin, std::size_t length) {
    const std::string text = value.substr(begin, length);
    return areDigits(text) ? std::stoi(text) : -1;
  };
  if (value.size() == std::strlen("YYYY-MM-DD") && value[4] == '-' && value[7] == '-') {
    const int day = number(8, 2), month = number(5, 2), year = number(0, 4);
    const year_month_day date(std::chrono::year(year), std::chrono::month(static_cast<unsigned>(month)),
                              std::chrono::day(static_cast<unsigned>(day)));
    if (year >= 0 && date.ok()) return "";
  }
  return isNot(value, "a day of the calendar as YYYY-MM-DD");
}

std::string checkPrice(const std::string &value) {
  const std::size_t point = value.find('.');
  const bool isPrice =
      areDigits(value.substr(0, point)) && (point == std::string::npos || areDigits(value.substr(point + 1)));
  return isPrice ? "" : isNot(value, "a price such as 29.99");
}

}  // namespace kova::cli
