// The scheduler.
#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>

#include "platform_check/rule.h"

namespace kova::check {
namespace {

// The entry is handed over as it lies in memory.
static_assert(sizeof(TARVSchedule) == 1048);

constexpr char kCommand[] = "/bin/true kova-platform-check one";
constexpr char kOther[] = "/bin/true kova-platform-check two";

TARVSchedule entry(std::string_view command, int hour) {
  TARVSchedule schedule{};
  schedule.weekdays = 0x01 << (hour % 7);
  schedule.hour = schedule.last_hour = hour;
  schedule.minute = 59;
  command.copy(schedule.command, sizeof schedule.command - 1);
  return schedule;
}

int set(const Check &check, std::string_view command, int hour) {
  const TARVSchedule schedule = entry(command, hour);
  return check->TARVScheduleSet(&schedule, 0);
}

// How often the text stands in the files that were changed.
int countOf(const Check &check, const std::string &text) {
  int count = 0;
  for (const auto &path : check.root.filesWith(text)) {
    std::ifstream file(path, std::ios::binary);
    const std::string content{std::istreambuf_iterator<char>(file), {}};
    for (std::size_t at = 0; (at = content.find(text, at)) != std::string::npos; ++at) ++count;
  }
  return count;
}

// Takes the entries of the rules away again.
class Cleared {
 public:
  explicit Cleared(const Check &check) : check_(check) {}
  Cleared(const Cleared &) = delete;
  Cleared &operator=(const Cleared &) = delete;
  ~Cleared() {
    callIfPresent([&] {
      for (const char *command : {kCommand, kOther}) check_->TARVScheduleRemove(command);
    });
  }

 private:
  const Check &check_;
};

constexpr Rule kRules[] = {
    {"TARVScheduleSet", "adds", "adds an entry, which names the command once, and another",
     [](const Check &check) {
       const Cleared cleared(check);
       check.succeeds("an entry", [&] { return set(check, kCommand, 1) == 0; });
       check.succeeds("another entry", [&] { return set(check, kOther, 2) == 0; });
       if (countOf(check, kCommand) == 0) throw NotJudged{"no file below the root is the scheduler's table"};
       for (const char *command : {kCommand, kOther}) check.equal(countOf(check, command), 1, "entries of a command");
     },
     Touches::kDevice},
    {"TARVScheduleSet", "replaces", "replaces the entry with the same command, and no other",
     [](const Check &check) {
       const Cleared cleared(check);
       set(check, kCommand, 1);
       set(check, kOther, 2);
       if (countOf(check, kCommand) == 0) throw NotJudged{"no file below the root is the scheduler's table"};
       check.succeeds("an entry with another hour", [&] { return set(check, kCommand, 23) == 0; });
       for (const char *command : {kCommand, kOther}) check.equal(countOf(check, command), 1, "entries of a command");
     },
     Touches::kDevice},
    {"TARVScheduleSet", "refused", "a command that the scheduler could not run as it stands is refused",
     [](const Check &check) {
       const Cleared cleared(check);
       for (const char *end : {"\nline", "\rline", "line\n"}) {
         const std::string command = std::string(kCommand) + end;
         check.fails(shown(command), TLIBC_ERR_BAD_VALUE, [&] { return set(check, command, 1) == 0; });
       }
       check.fails("an empty command", TLIBC_ERR_NONE, [&] { return set(check, "", 1) == 0; });
       check.equal(countOf(check, kCommand), 0, "entries of refused commands");
     },
     Touches::kDevice},
    {"TARVScheduleSet", "unterminated", "a command without a NUL is a failure",
     [](const Check &check) {
       TARVSchedule schedule = entry("", 1);
       std::memset(schedule.command, 'x', sizeof schedule.command);
       check.fails("a call", TLIBC_ERR_NONE, [&] { return check->TARVScheduleSet(&schedule, 0) == 0; });
     },
     Touches::kDevice},
    {"TARVScheduleSet", "null", "null is a failure",
     [](const Check &check) { check.refusesNull([&] { return check->TARVScheduleSet(nullptr, 0) == 0; }); }},
    {"TARVScheduleRemove", "removes", "removes the entry with the command, and no other",
     [](const Check &check) {
       const Cleared cleared(check);
       set(check, kCommand, 1);
       set(check, kOther, 2);
       if (countOf(check, kCommand) == 0) throw NotJudged{"no file below the root is the scheduler's table"};
       check.succeeds("a call", [&] { return check->TARVScheduleRemove(kCommand); });
       check.equal(countOf(check, kCommand), 0, "entries of the removed command");
       check.equal(countOf(check, kOther), 1, "entries of the other command");
     },
     Touches::kDevice},
    {"TARVScheduleRemove", "absent", "0 where there is no such entry",
     [](const Check &check) {
       check.equal(check.succeeds("a call", [&] { return check->TARVScheduleRemove(kCommand); }), 0, "the result");
     },
     Touches::kDevice},
    {"TARVScheduleRemove", "null", "null is a failure",
     [](const Check &check) { check.refusesNull([&] { return check->TARVScheduleRemove(nullptr); }); }},
};

}  // namespace

std::span<const Rule> scheduleRules() {
  return kRules;
}

}  // namespace kova::check
