// Reading JSON that somebody else wrote: whatever it holds, nothing here throws but for memory.
#pragma once

#include <json/value.h>

#include <string>

namespace kova {

// Parses `text` into `value`. False, with `value` as it was, when it is no JSON or nests too deeply.
bool parseJson(const char *text, Json::Value &value);

// The same for one of the device's files.
bool parseJsonFile(const char *path, Json::Value &value);

// The member of an object; null when there is none, and when `value` is no object.
const Json::Value &member(const Json::Value &value, const char *name);

bool hasMember(const Json::Value &value, const char *name);

// Text, numbers and booleans as text; anything else as the empty text.
std::string textOf(const Json::Value &value);

// Booleans and numbers as a truth value; anything else as false.
bool truthOf(const Json::Value &value);

// Numbers and booleans as a number, text as the finite number that it spells; anything else as 0.
double numberOf(const Json::Value &value);

// The value as one line of JSON.
std::string compactText(const Json::Value &value);

}  // namespace kova
