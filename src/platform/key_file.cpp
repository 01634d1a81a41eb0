#include "platform/key_file.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <deque>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "base/secret.h"
#include "base/text.h"
#include "platform/device_path.h"
#include "platform/file.h"
#include "platform/last_error.h"
#include "platform/lines.h"
#include "platform/string_hash.h"
#include "platform/string_list.h"
#include "platform/text.h"

namespace kova::platform {
namespace {

constexpr mode_t kNewFileMode = 0600;
// Holds an auth key. Nobody but its owner may read it, whatever mode it was found with.
constexpr std::string_view kAccountFile = "/etc/kova.conf";

struct KeyEntry {
  std::string_view key;
  std::string_view value;

  bool operator==(const KeyEntry &) const = default;
};

// The entry in a line; nothing where the line has none. Used for reading, and for checking a line before it is written.
// A line with a NUL is not an entry, since callers read texts only up to a NUL.
std::optional<KeyEntry> parseLine(std::string_view line, std::string_view separator) {
  line = trimmedFront(line, isBlank);
  if (line.starts_with('#') || line.find('\0') != std::string::npos) return std::nullopt;
  const std::size_t found = separator.size() == 1 ? line.find(separator.front()) : line.find(separator);
  if (found == std::string::npos) return std::nullopt;
  const std::string_view key = trimmed(line.substr(0, found), isBlank);
  if (key.empty()) return std::nullopt;
  std::string_view value = trimmedFront(line.substr(found + separator.size()), isBlank);
  if (!value.starts_with('"')) return KeyEntry{key, value};
  value = trimmed(value, isBlank);
  if (value.size() < 2 || !value.ends_with('"')) return std::nullopt;
  return KeyEntry{key, value.substr(1, value.size() - 2)};
}

std::optional<std::string_view> findValue(std::string_view text, std::string_view key, std::string_view separator) {
  std::optional<std::string_view> value;
  Line line;
  for (Lines lines(text); lines.next(line);) {
    const std::optional<KeyEntry> entry = parseLine(line.text, separator);
    if (entry && entry->key == key) value = entry->value;
  }
  return value;
}

// A printf format of two "%s" and literal text, put together without printf: other conversions are refused.
class LineFormat {
 public:
  explicit LineFormat(std::string_view format) {
    std::size_t piece = 0;
    for (std::size_t i = 0; i < format.size(); ++i) {
      if (format[i] != '%') {
        pieces_[piece] += format[i];
        continue;
      }
      const char conversion = ++i < format.size() ? format[i] : '\0';
      require(conversion == '%' || (conversion == 's' && piece + 1 < pieces_.size()));
      if (conversion == '%') {
        pieces_[piece] += '%';
      } else {
        ++piece;
      }
    }
    require(piece + 1 == pieces_.size());
    std::string &last = pieces_.back();
    if (last.ends_with('\n')) last.pop_back();
    if (last.ends_with('\r')) last.pop_back();

    std::string_view between = pieces_[1];
    if (between.ends_with('"')) between.remove_suffix(1);
    require(!between.empty());
    separator_ = trimmed(between, isBlank);
    if (separator_.empty()) separator_ = between.substr(0, 1);
  }

  const std::string &separator() const { return separator_; }

  // The line for `key`, without a line end. Throws where it could not be read back as exactly this key and this value.
  SecretText make(std::string_view key, std::string_view value) const {
    SecretText line;
    line.append(pieces_[0]).append(key).append(pieces_[1]).append(value).append(pieces_[2]);
    if (line.find_first_of("\r\n") != std::string::npos || parseLine(line, separator_) != KeyEntry{key, value}) {
      throw Failure{TLIBC_ERR_BAD_VALUE};
    }
    return line;
  }

 private:
  std::array<std::string, 3> pieces_;  // around the two "%s"
  std::string separator_;
};

struct NewLine {
  KeyEntry entry;
  SecretText text;
  bool written = false;
};

// The old text with its lines for these keys replaced, and the lines for keys that it does not have at its end.
SecretText withNewLines(std::string_view oldText, std::vector<NewLine> lines, std::string_view separator) {
  std::unordered_map<std::string_view, NewLine *> byKey;
  for (NewLine &line : lines) byKey.emplace(line.entry.key, &line);

  SecretText text;
  const std::string_view lineEnd = lineEndOf(oldText);
  const auto write = [&](NewLine &line) {
    if (std::exchange(line.written, true)) return;
    if (!text.empty() && !text.ends_with('\n') && !text.ends_with('\r')) text.append(lineEnd);
    text.append(line.text).append(lineEnd);
  };
  Line oldLine;
  for (Lines oldLines(oldText); oldLines.next(oldLine);) {
    const std::optional<KeyEntry> entry = parseLine(oldLine.text, separator);
    const auto replaced = entry ? byKey.find(entry->key) : byKey.end();
    if (replaced != byKey.end()) {
      write(*replaced->second);
    } else {
      text.append(oldLine.text).append(oldLine.end);
    }
  }
  for (NewLine &line : lines) write(line);
  return text;
}

int setKeys(std::string_view file, const std::vector<KeyEntry> &entries, std::string_view line_format) {
  const LineFormat format(line_format);
  if (entries.empty()) return 0;
  std::vector<NewLine> lines;
  lines.reserve(entries.size());
  for (const KeyEntry &entry : entries) lines.push_back({entry, format.make(entry.key, entry.value)});
  const FileEdit edit = [&](std::string_view text) { return withNewLines(text, lines, format.separator()); };
  const ExistingMode mode = file == kAccountFile ? ExistingMode::kPrivate : ExistingMode::kKept;
  updateFile(devicePath(file), kNewFileMode, edit, mode);
  return 0;
}

}  // namespace

std::optional<std::string> readKey(std::string_view file, std::string_view key) {
  try {
    const SecretText text = readFile(devicePath(file));
    return std::optional<std::string>(findValue(text, key, "="));
  } catch (const Failure &failure) {
    if (failure.number != TLIBC_ERR_NOT_FOUND) throw;
    return std::nullopt;
  }
}

}  // namespace kova::platform

using namespace kova::platform;
using kova::copyText;
using kova::SecretText;

int TLIBCFileGetKeys(const char *file, const TLIBCSzList *keys, TLIBCSzHash *hash, const char *separator) {
  return withLastError(-1, [&] {
    require(file != nullptr && keys != nullptr && hash != nullptr && separator != nullptr && *separator != '\0');
    const SecretText text = readFile(devicePath(file));
    const std::deque<std::string> &items = keys->items();
    std::vector<std::optional<std::string_view>> values(items.size());
    Line line;
    for (Lines lines(text); lines.next(line);) {
      const std::optional<KeyEntry> entry = parseLine(line.text, separator);
      if (!entry) continue;
      const auto key = std::ranges::find(items, entry->key);
      if (key != items.end()) values[static_cast<std::size_t>(key - items.begin())] = entry->value;
    }
    int found = 0;
    for (std::size_t i = 0; i < values.size(); ++i) {
      if (!values[i]) continue;
      hash->set(items[i], *values[i]);
      ++found;
    }
    return found;
  });
}

int TLIBCFileSetKeys(const char *file, const TLIBCSzHash *hash, int flags, const char *line_format) {
  return withLastError(-1, [&] {
    require(file != nullptr && hash != nullptr && flags == 0 && line_format != nullptr);
    std::vector<KeyEntry> entries;
    entries.reserve(hash->entries().size());
    for (const TLIBCSzHash::Entry &entry : hash->entries()) entries.push_back({entry.key, entry.value});
    return setKeys(file, entries, line_format);
  });
}

int TLIBCFileGetKeyValue(const char *file, const char *key, char *buffer, std::size_t size, int flags) {
  return withLastError(-1, [&] {
    require(file != nullptr && key != nullptr && buffer != nullptr && size > 0 && flags == 0);
    const SecretText text = readFile(devicePath(file));
    const std::string_view value = findValue(text, key, "=").value_or("");
    copyText(buffer, size, value);
    return static_cast<int>(value.size());
  });
}

int TLIBCFileCheckKeyValue(const char *file, const char *key, const char *value, int flags) {
  return withLastError(-1, [&] {
    require(file != nullptr && key != nullptr && value != nullptr && flags == 0);
    const SecretText text = readFile(devicePath(file));
    return findValue(text, key, "=") == std::string_view(value) ? 1 : 0;
  });
}

int TLIBCINFOSetKeyValue(const char *key, const char *value) {
  return withLastError(-1, [&] {
    require(key != nullptr && value != nullptr);
    return setKeys(kInformationFile, {{key, value}}, "%s=\"%s\"\n");
  });
}
