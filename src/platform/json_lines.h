// Records as JSON objects of one line each.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

namespace kova::platform {

// Keeps its members in the order in which they are added. Texts may be any bytes: what is not UTF-8 in them becomes the
// replacement character.
class JsonObject {
 public:
  JsonObject &add(std::string_view name, std::string_view text);
  JsonObject &add(std::string_view name, int64_t number);
  JsonObject &add(std::string_view name, std::initializer_list<std::string_view> texts);

  std::string text() const { return "{" + members_ + "}"; }

 private:
  void addName(std::string_view name);

  std::string members_;
};

// The present time in ISO 8601, UTC.
std::string timestamp();

// Appends a line to a log of the device, which is made (mode 0600), with its directory, where it is missing. The log
// takes the whole line or nothing of it.
void appendLine(std::string_view log, std::string line);

}  // namespace kova::platform
