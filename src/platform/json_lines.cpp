#include "platform/json_lines.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <ctime>

#include "base/descriptor.h"
#include "base/json.h"
#include "base/utc_time.h"
#include "platform/device_path.h"
#include "platform/file.h"
#include "platform/last_error.h"

namespace kova::platform {
namespace {

// The length of the well-formed UTF-8 character at the start of `text`; 0 where there is none.
std::size_t characterLength(std::string_view text) {
  const auto byte = [&](std::size_t i) -> unsigned {
    return i < text.size() ? static_cast<unsigned char>(text[i]) : 0;
  };
  const unsigned lead = byte(0);
  if (lead < 0x80) return 1;
  if (lead < 0xC2 || lead > 0xF4) return 0;
  const std::size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return 0;
  }
  const unsigned second = byte(1);
  const bool overlong = (lead == 0xE0 && second < 0xA0) || (lead == 0xF0 && second < 0x90);
  const bool surrogate = lead == 0xED && second > 0x9F;
  const bool tooLarge = lead == 0xF4 && second > 0x8F;
  return overlong || surrogate || tooLarge ? 0 : length;
}

}  // namespace

// Not left to the JSON library, which reads whatever follows the start of a character as the rest of that character.
Json::Value jsonText(std::string_view text) {
  std::string valid;
  while (!text.empty()) {
    const std::size_t length = characterLength(text);
    valid += length > 0 ? text.substr(0, length) : std::string_view("\uFFFD");
    text.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return valid;
}

std::string timestamp() {
  return utcText(std::chrono::system_clock::from_time_t(std::time(nullptr)), "%Y-%m-%dT%H:%M:%SZ");
}

void appendLine(std::string_view log, const Json::Value &object) {
  const std::string path = devicePath(log);
  makeParentDirectory(path, 0755);
  constexpr int kFlags = O_RDWR | O_APPEND | O_CREAT | O_NOFOLLOW | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
  const Descriptor file(retried([&] { return open(path.c_str(), kFlags, 0600); }));
  if (!file) throw Failure{TLIBC_ERR_OPEN_FAILED};
  // Nothing may be appended between a write that had room for a part of the line only and the removal of that part.
  const FileLock lock(file);
  struct stat before;
  if (fstat(file.get(), &before) != 0 || !S_ISREG(before.st_mode)) throw Failure{TLIBC_ERR_OPEN_FAILED};
  if (before.st_size == 0 && !syncDirectoryOf(path)) throw Failure{TLIBC_ERR_WRITE_FAILED};
  // A process that was killed between the two may have left a part of its line.
  char last = '\n';
  if (before.st_size > 0 && pread(file.get(), &last, 1, before.st_size - 1) != 1) throw Failure{TLIBC_ERR_READ_FAILED};
  std::string line;
  if (last != '\n') line += '\n';
  line += jsonLine(object);
  line += '\n';
  const ssize_t written = retried([&] { return write(file.get(), line.data(), line.size()); });
  if (written == static_cast<ssize_t>(line.size())) return;
  if (written > 0) {
    [[maybe_unused]] const int truncated = ftruncate(file.get(), before.st_size);
  }
  throw Failure{TLIBC_ERR_WRITE_FAILED};
}

}  // namespace kova::platform
