// Reading JSON that came from outside. Whatever it holds, only a lack of memory makes these functions throw.
#pragma once

#include <json/value.h>

#include <string>

namespace kova {

// Parses `text` into `value`. False, with `value` as it was, when the text is not JSON or nests too deeply.
bool parseJson(Json::Value &value, const char *text);

// The same for one of the device's files.
bool parseJsonFile(Json::Value &value, const char *path);

// The member of an object; null when it has none of that name, or when `value` is not an object.
const Json::Value &member(const Json::Value &value, const char *name);

// Whether `value` is an object with that member.
bool hasMember(const Json::Value &value, const char *name);

// Texts, numbers and booleans as text; anything else as the empty text.
std::string textOf(const Json::Value &value);

// Booleans and numbers as a truth value; anything else as false.
bool truthOf(const Json::Value &value);

// Numbers and booleans as a number, text as the finite number that it spells; anything else as 0.
double numberOf(const Json::Value &value);

// The value as one line of JSON with all digits of its numbers, for log lines.
std::string compactText(const Json::Value &value);

}  // namespace kova
