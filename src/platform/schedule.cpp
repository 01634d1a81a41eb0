#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "base/secret.h"
#include "platform/device_path.h"
#include "platform/file.h"
#include "platform/last_error.h"
#include "platform/lines.h"
#include "platform/text.h"

namespace kova::platform {
namespace {

constexpr std::string_view kTable = "/etc/cron.d/tarvkova";
constexpr std::string_view kHeader =
    "# Entries of the device's scheduler: minute, hour, day, month, weekdays, user, command.\n";
constexpr mode_t kTableMode = 0644;
constexpr std::size_t kLongestCommand = 999;  // cron cuts longer ones
constexpr int kWeekdays = 7;
constexpr int kEveryWeekday = (1 << kWeekdays) - 1;

// The command as it is written in a cron table, where an unescaped "%" would end it. In cron a backslash escapes a "%"
// but not another backslash, so a "%" behind an odd number of backslashes cannot be written.
std::string tableCommand(std::string_view command) {
  require(!command.empty());
  std::string text;
  bool escaped = false;
  for (const char c : command) {
    const bool control = (static_cast<unsigned char>(c) < ' ' && c != '\t') || c == 0x7F;
    if (control || (c == '%' && escaped)) throw Failure{TLIBC_ERR_BAD_VALUE};
    if (c == '%') text += '\\';
    text += c;
    escaped = c == '\\' && !escaped;
  }
  if (isBlank(command.front())) throw Failure{TLIBC_ERR_BAD_VALUE};
  if (text.size() > kLongestCommand) throw Failure{TLIBC_ERR_TOO_LONG};
  return text;
}

// The command of a table's line; empty where it has none.
std::string_view commandOf(std::string_view line) {
  line = trimmed(line, isBlank);
  if (line.starts_with('#')) return {};
  // Before it stand the time, in five fields or as a word such as "@weekly", and the user.
  const int fieldsBefore = line.starts_with('@') ? 2 : 6;
  for (int field = 0; field < fieldsBefore; ++field) {
    const auto end = std::ranges::find_if(line, isBlank);
    line = trimmedFront(std::string_view(end, line.end()), isBlank);
  }
  return line;
}

std::string weekdayField(int weekdays) {
  if (weekdays == kEveryWeekday) return "*";
  std::string field;
  for (int day = 0; day < kWeekdays; ++day) {
    if ((weekdays >> day & 1) == 0) continue;
    if (!field.empty()) field += ',';
    field += std::to_string(day);
  }
  return field;
}

// The table with `entry`, a whole line, in place of the lines for `command`, or without them where `entry` is empty.
// Nothing where there is nothing to remove. A table without entries keeps its header. To cron a line ends at LF alone.
std::optional<SecretText> withEntry(std::string_view table, std::string_view command, std::string_view entry) {
  SecretText result;
  bool found = false;
  const auto endLine = [&] {
    if (!result.empty() && !result.ends_with('\n')) result += '\n';
  };
  Line line;
  for (Lines lines(table); lines.next(line);) {
    if (commandOf(line.text) != trimmed(command, isBlank)) {
      result.append(line.text).append(line.end);
    } else if (!std::exchange(found, true)) {
      endLine();
      result.append(entry);
    }
  }
  endLine();
  if (found) return result;
  if (entry.empty()) return std::nullopt;
  if (result.empty()) result = kHeader;
  return result.append(entry);
}

}  // namespace
}  // namespace kova::platform

using namespace kova::platform;

int TARVScheduleSet(const TARVSchedule *schedule, int flags) {
  return withLastError(-1, [&] {
    require(schedule != nullptr && flags == 0);
    require(schedule->weekdays > 0 && schedule->weekdays <= kEveryWeekday);
    require(schedule->hour >= 0 && schedule->hour <= 23 && schedule->last_hour == schedule->hour);
    require(schedule->minute >= 0 && schedule->minute <= 59);
    require(schedule->reserved1 == 0 && schedule->reserved2 == 0);
    require(std::memchr(schedule->command, '\0', sizeof schedule->command) != nullptr);
    const std::string command = tableCommand(schedule->command);
    const std::string entry = std::to_string(schedule->minute) + " " + std::to_string(schedule->hour) + " * * " +
                              weekdayField(schedule->weekdays) + " root " + command + "\n";
    const std::string path = devicePath(kTable);
    makeParentDirectory(path, 0755);
    updateFile(path, kTableMode, [&](std::string_view table) { return withEntry(table, command, entry); });
    return 0;
  });
}

int TARVScheduleRemove(const char *command) {
  return withLastError(-1, [&] {
    require(command != nullptr);
    const std::string inTable = tableCommand(command);
    const std::string path = devicePath(kTable);
    if (access(path.c_str(), F_OK) != 0 && errno == ENOENT) return 0;
    updateFile(path, kTableMode, [&](std::string_view table) { return withEntry(table, inTable, ""); });
    return 0;
  });
}
