// What the fuzz targets share. A target defines fuzz().
#pragma once

#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "base/json.h"
#include "base/where.h"
#include "support/files.h"
#include "support/hooks.h"

using Texts = std::vector<std::string>;

// A device in a temporary directory. It is signed in, and none of its programs is ever started.
struct FuzzDevice {
  std::filesystem::path at(std::string_view path) const { return root.path() / path.substr(1); }
  void write(std::string_view path, std::string_view text) const { writeFile(at(path), text); }
  std::string read(std::string_view path) const { return readFile(at(path)); }

  TemporaryDirectory root;
  std::string account, host;  // what the dynamic DNS tool prints
  std::string abandoned;      // the services that the last hook was told of
};

inline constexpr std::string_view kSignedIn = "vx_auth_key=\"key\"\nkovaIDSerial=\"4711\"\nother=\"kept\"\n";

// Ends the process where a condition does not hold: nobody catches this.
inline void check(bool holds, kova::Where where = kova::Where::current()) {
  if (!holds) throw std::logic_error(where.file() + (":" + std::to_string(where.line())));
}

// The parts of a text; empty ones are added where there are fewer than `least`.
inline Texts split(const std::string &text, char separator, std::size_t least = 0) {
  std::istringstream stream(text);
  Texts parts;
  for (std::string part; std::getline(stream, part, separator);) parts.push_back(part);
  if (parts.size() < least) parts.resize(least);
  return parts;
}

// Called for each input, on a device as new. Form feeds divide an input into parts, so that people can edit it.
void fuzz(FuzzDevice &device, const std::string &input);
