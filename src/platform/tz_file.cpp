#include "platform/tz_file.h"

#include <charconv>
#include <chrono>

#include "platform/last_error.h"

namespace kova::platform {
namespace {

[[noreturn]] void failDecoding() {
  throw Failure{TLIBC_ERR_DECODE_FAILED};
}

void expect(bool condition) {
  if (!condition) failDecoding();
}

std::string_view take(std::string_view &data, uint64_t size) {
  expect(size <= data.size());
  const std::string_view taken = data.substr(0, size);
  data.remove_prefix(size);
  return taken;
}

// A big-endian two's complement number.
int64_t parseNumber(std::string_view bytes) {
  uint64_t number = (bytes.front() & 0x80) != 0 ? ~uint64_t{0} : 0;
  for (const char byte : bytes) number = number << 8 | static_cast<unsigned char>(byte);
  return static_cast<int64_t>(number);
}

// ---- The rule for all times after the last transition, such as "CET-1CEST,M3.5.0,M10.5.0/3" (POSIX, "TZ") ----

struct DayRule {
  enum Kind { kMonthWeekday, kDayWithoutLeapDay, kDay } kind;
  int month = 0;
  int week = 0;
  int day = 0;   // of the week or of the year
  int time = 0;  // local, in seconds
};

class RuleParser {
 public:
  explicit RuleParser(std::string_view text) : rest_(text) {}

  bool atEnd() const { return rest_.empty(); }
  bool startsWith(char c) const { return rest_.starts_with(c); }

  bool skip(char c) {
    if (!startsWith(c)) return false;
    rest_.remove_prefix(1);
    return true;
  }

  void skipName() {
    const bool quoted = skip('<');
    const size_t end = quoted ? rest_.find('>') : rest_.find_first_of("+-,0123456789");
    expect(end != 0 && (!quoted || end != rest_.npos));
    take(rest_, end == rest_.npos ? rest_.size() : end);
    if (quoted) skip('>');
  }

  int parseNumber(int lowest, int highest) {
    int number = 0;
    const auto [end, error] = std::from_chars(rest_.data(), rest_.data() + rest_.size(), number);
    expect(error == std::errc() && !startsWith('-') && number >= lowest && number <= highest);
    rest_.remove_prefix(end - rest_.data());
    return number;
  }

  int parseTime() {
    const bool negative = skip('-');
    if (!negative) skip('+');
    int seconds = parseNumber(0, 167) * 3600;
    if (skip(':')) seconds += parseNumber(0, 59) * 60;
    if (skip(':')) seconds += parseNumber(0, 59);
    return negative ? -seconds : seconds;
  }

  DayRule parseDay() {
    DayRule rule;
    expect(skip(','));
    if (skip('M')) {
      rule.kind = DayRule::kMonthWeekday;
      rule.month = parseNumber(1, 12);
      expect(skip('.'));
      rule.week = parseNumber(1, 5);
      expect(skip('.'));
      rule.day = parseNumber(0, 6);
    } else if (skip('J')) {
      rule.kind = DayRule::kDayWithoutLeapDay;
      rule.day = parseNumber(1, 365);
    } else {
      rule.kind = DayRule::kDay;
      rule.day = parseNumber(0, 365);
    }
    rule.time = skip('/') ? parseTime() : 2 * 3600;
    return rule;
  }

 private:
  std::string_view rest_;
};

int64_t localTimeOf(const DayRule &rule, std::chrono::year year) {
  using namespace std::chrono;
  const sys_days newYear = year / January / 1;
  sys_days date;
  switch (rule.kind) {
    case DayRule::kMonthWeekday: {
      const year_month month = year / rule.month;
      const weekday day(rule.day);
      date = rule.week == 5 ? sys_days(month / day[last]) : sys_days(month / day[rule.week]);
      break;
    }
    case DayRule::kDayWithoutLeapDay:
      date = newYear + days(rule.day - (year.is_leap() && rule.day >= 60 ? 0 : 1));
      break;
    case DayRule::kDay:
      date = newYear + days(rule.day);
      break;
  }
  return sys_seconds(date).time_since_epoch().count() + rule.time;
}

int32_t offsetByRule(std::string_view text, int64_t time) {
  RuleParser parser(text);
  parser.skipName();
  const int standard = -parser.parseTime();
  if (parser.atEnd()) return standard;
  parser.skipName();
  const int saving = parser.startsWith(',') ? standard + 3600 : -parser.parseTime();
  const DayRule start = parser.parseDay();
  const DayRule end = parser.parseDay();
  expect(parser.atEnd());

  using namespace std::chrono;
  const year_month_day today(floor<days>(sys_seconds(seconds(time + standard))));
  const int64_t savingFrom = localTimeOf(start, today.year()) - standard;
  const int64_t savingUntil = localTimeOf(end, today.year()) - saving;
  const bool isSaving =
      savingFrom < savingUntil ? time >= savingFrom && time < savingUntil : time >= savingFrom || time < savingUntil;
  return isSaving ? saving : standard;
}

// ---- The file ----

struct Block {
  size_t timeSize;
  uint64_t transitions;
  std::string_view times;
  std::string_view typesOfTransitions;
  uint64_t types;
  std::string_view typeRecords;
};

constexpr size_t kTypeRecordSize = 6;

Block takeBlock(std::string_view &data, size_t timeSize) {
  const std::string_view header = take(data, 44);
  expect(header.starts_with("TZif"));
  const auto count = [&](int index) { return static_cast<uint32_t>(parseNumber(header.substr(20 + 4 * index, 4))); };
  const uint64_t utIndicators = count(0), standardIndicators = count(1), leapSeconds = count(2);
  Block block{.timeSize = timeSize,
              .transitions = count(3),
              .times = {},
              .typesOfTransitions = {},
              .types = count(4),
              .typeRecords = {}};
  block.times = take(data, block.transitions * timeSize);
  block.typesOfTransitions = take(data, block.transitions);
  block.typeRecords = take(data, block.types * kTypeRecordSize);
  take(data, count(5) + leapSeconds * (timeSize + 4) + standardIndicators + utIndicators);
  return block;
}

int32_t offsetOfType(const Block &block, size_t type) {
  expect(type < block.types);
  return static_cast<int32_t>(parseNumber(block.typeRecords.substr(type * kTypeRecordSize, 4)));
}

}  // namespace

int32_t offsetAt(std::string_view file, int64_t time) {
  Block block = takeBlock(file, 4);
  std::string_view rule;
  const bool hasSecondBlock = file.starts_with("TZif");
  if (hasSecondBlock) {
    block = takeBlock(file, 8);
    expect(take(file, 1) == "\n");
    rule = take(file, file.find('\n') == file.npos ? file.size() + 1 : file.find('\n'));
  }
  uint64_t passed = 0;  // transitions are in ascending order
  while (passed < block.transitions &&
         parseNumber(block.times.substr(passed * block.timeSize, block.timeSize)) <= time) {
    ++passed;
  }
  if (passed == block.transitions && !rule.empty()) return offsetByRule(rule, time);
  return offsetOfType(block, passed == 0 ? 0 : static_cast<unsigned char>(block.typesOfTransitions[passed - 1]));
}

}  // namespace kova::platform
