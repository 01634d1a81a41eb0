#include "platform/json_lines.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <array>
#include <cstdio>
#include <ctime>
#include <utility>

#include "platform/device_path.h"
#include "platform/file.h"
#include "platform/last_error.h"

namespace kova::platform {
namespace {

// The length of the well-formed UTF-8 character at the start of `text`; 0 where there is none.
size_t characterLength(std::string_view text) {
  const auto byte = [&](size_t i) -> unsigned { return i < text.size() ? static_cast<unsigned char>(text[i]) : 0; };
  const unsigned lead = byte(0);
  if (lead < 0x80) return 1;
  if (lead < 0xC2 || lead > 0xF4) return 0;
  const size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  for (size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return 0;
  }
  const unsigned second = byte(1);
  const bool overlong = (lead == 0xE0 && second < 0xA0) || (lead == 0xF0 && second < 0x90);
  const bool surrogate = lead == 0xED && second > 0x9F;
  const bool tooLarge = lead == 0xF4 && second > 0x8F;
  return overlong || surrogate || tooLarge ? 0 : length;
}

void appendQuoted(std::string &result, std::string_view text) {
  result += '"';
  while (!text.empty()) {
    const size_t length = characterLength(text);
    const char c = text.front();
    if (length == 0) {
      result += "\\ufffd";
    } else if (c == '"' || c == '\\') {
      result.append({'\\', c});
    } else if (length == 1 && static_cast<unsigned char>(c) < ' ') {
      std::array<char, 8> escape;
      snprintf(escape.data(), escape.size(), "\\u%04x", static_cast<unsigned char>(c));
      result += escape.data();
    } else {
      result += text.substr(0, length);
    }
    text.remove_prefix(length == 0 ? 1 : length);
  }
  result += '"';
}

}  // namespace

void JsonObject::addName(std::string_view name) {
  if (!members_.empty()) members_ += ',';
  appendQuoted(members_, name);
  members_ += ':';
}

JsonObject &JsonObject::add(std::string_view name, std::string_view text) {
  addName(name);
  appendQuoted(members_, text);
  return *this;
}

JsonObject &JsonObject::add(std::string_view name, int64_t number) {
  addName(name);
  members_ += std::to_string(number);
  return *this;
}

JsonObject &JsonObject::add(std::string_view name, std::initializer_list<std::string_view> texts) {
  addName(name);
  char before = '[';
  for (const std::string_view text : texts) {
    members_ += std::exchange(before, ',');
    appendQuoted(members_, text);
  }
  members_ += ']';
  return *this;
}

std::string timestamp() {
  const time_t now = time(nullptr);
  struct tm utc;
  std::array<char, 32> text;
  gmtime_r(&now, &utc);
  return {text.data(), strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &utc)};
}

void appendLine(std::string_view log, std::string line) {
  line += '\n';
  const std::string path = devicePath(log);
  makeDirectory(path.substr(0, path.rfind('/')), 0755);
  constexpr int flags = O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
  const Descriptor file(retried([&] { return open(path.c_str(), flags, 0600); }));
  if (!file) throw Failure{TLIBC_ERR_OPEN_FAILED};
  // The lock is for the case that only a part of the line finds room and is taken back.
  if (retried([&] { return flock(file.get(), LOCK_EX); }) != 0) throw Failure{TLIBC_ERR_LOCK_FAILED};
  struct stat before;
  if (fstat(file.get(), &before) != 0) throw Failure{TLIBC_ERR_WRITE_FAILED};
  const ssize_t written = retried([&] { return write(file.get(), line.data(), line.size()); });
  if (written == static_cast<ssize_t>(line.size())) return;
  if (written > 0) (void)!ftruncate(file.get(), before.st_size);
  throw Failure{TLIBC_ERR_WRITE_FAILED};
}

}  // namespace kova::platform
