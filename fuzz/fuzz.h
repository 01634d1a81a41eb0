// What the fuzz targets share. A target defines fuzz().
#pragma once

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <source_location>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "base/json.h"
#include "support/files.h"
#include "support/hooks.h"

// An input. Form feeds divide it into parts, which keeps it a text that people can edit.
class Input {
 public:
  explicit Input(std::string_view text) : rest_(text) {}

  // The next part, up to its first NUL; empty where there is none left.
  std::string next() {
    const std::string_view part = rest_.substr(0, rest_.find('\f'));
    rest_.remove_prefix(std::min(part.size() + 1, rest_.size()));
    return std::string(part.substr(0, part.find('\0')));
  }
  std::string_view rest() const { return rest_; }

 private:
  std::string_view rest_;
};

// A device in a temporary directory. It is signed in, and none of its programs is ever started.
struct FuzzDevice {
  std::filesystem::path at(std::string_view path) const { return root.path() / path.substr(1); }
  void write(std::string_view path, std::string_view text) const { writeFile(at(path), text); }
  std::string read(std::string_view path) const { return readFile(at(path)); }

  TemporaryDirectory root;
  std::string account, host;  // what the dynamic DNS tool prints
  std::string abandoned;      // the services that the last hook was told of
};

// Ends the process where a condition does not hold.
inline void check(bool holds, std::source_location where = std::source_location::current()) {
  if (holds) return;
  std::fprintf(stderr, "%s:%u: this must hold\n", where.file_name(), where.line());
  std::abort();
}

inline std::vector<std::string> linesOf(const std::string &text) {
  std::istringstream stream(text);
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

// Called for each input, on a device as new.
void fuzz(FuzzDevice &device, Input input);
