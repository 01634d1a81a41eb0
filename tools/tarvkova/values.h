// Values of arguments that can be judged before anything is sent. Each function returns what is wrong with the value,
// or the empty text, as the parser's checks do.
#pragma once

#include <string>

namespace kova::cli {

// A name that the device can store: not empty, without control characters.
std::string checkName(const std::string &value);
// The same for a text that may be empty.
std::string checkText(const std::string &value);
// With an "@" between other characters, all of which can be seen.
std::string checkEmail(const std::string &value);
// The same for an account as the services of this device name it: a line end may follow.
std::string checkAccountName(const std::string &value);
// A day of the calendar, as YYYY-MM-DD.
std::string checkDate(const std::string &value);
// An amount such as 29.99.
std::string checkPrice(const std::string &value);

}  // namespace kova::cli
