// Reading JSON that came from outside. Whatever it holds, only a lack of memory makes these functions throw.
#pragma once

#include <json/value.h>

#include <string>

#include "base/secret.h"

namespace kova {

// Parses `text` into `value`. False, with `value` as it was, when the text is not JSON or nests too deeply.
bool parseJson(Json::Value &value, const char *text);

// The same for one of the device's files: a regular file of less than 16 MiB.
bool parseJsonFile(Json::Value &value, const char *path);

// The member of an object; null when it has none of that name, or when `value` is not an object.
const Json::Value &member(const Json::Value &value, const char *name);

// Whether `value` is an object with that member.
bool hasMember(const Json::Value &value, const char *name);

// Texts, numbers and booleans as text; anything else as the empty text.
SecretText textOf(const Json::Value &value);

// Booleans and numbers as a truth value; anything else as false.
bool truthOf(const Json::Value &value);

// Numbers and booleans as a number, text as the finite number that it spells; anything else as 0.
double numberOf(const Json::Value &value);

// Overwrites the text of the member "auth_key" of an object at the end of the scope. The member must not be a constant
// of the program, as those that are parsed or assigned are not.
class AuthKeyWipedAtEnd {
 public:
  explicit AuthKeyWipedAtEnd(const Json::Value &value) noexcept : value_(value) {}
  AuthKeyWipedAtEnd(const AuthKeyWipedAtEnd &) = delete;
  AuthKeyWipedAtEnd &operator=(const AuthKeyWipedAtEnd &) = delete;
  ~AuthKeyWipedAtEnd();

 private:
  const Json::Value &value_;
};

// The value as one line of JSON with all digits of its numbers, for log lines.
std::string compactText(const Json::Value &value);

}  // namespace kova
