/* APPLIANCE: the scheduler. Here it is cron. */
#include <stdio.h>
#include <string.h>

#include "example.h"

static const char kTable[] = "/etc/cron.d/tarvkova";
enum { kTableMode = 0644, kAllModes = 07777, kLongestCommand = 998, kEveryWeekday = 0x7F };

/* An entry to write, or with an empty line one to remove. */
struct Change {
  const char *command;
  char line[1200];
};

/* Cron ends a command at a line end and at "%". */
static int checkCommand(const char *command) {
  if (*command == '\0') return fail(TLIBC_ERR_BAD_PARAMETER);
  for (const char *c = command; *c != '\0'; ++c) {
    const bool is_control = (unsigned char)*c < ' ' || *c == 0x7F;
    if (is_control || *c == '%') return fail(TLIBC_ERR_BAD_VALUE);
  }
  if (isBlank(*command)) return fail(TLIBC_ERR_BAD_VALUE);
  return strlen(command) <= kLongestCommand ? 0 : fail(TLIBC_ERR_TOO_LONG);
}

/* Whether the line of a table, which ends before `end`, has this command: behind five fields and the user. */
static bool hasCommand(const char *line, const char *end, const char *command) {
  for (int field = 0; field < 6; ++field) {
    while (line < end && !isBlank(*line)) ++line;
    while (line < end && isBlank(*line)) ++line;
  }
  const size_t length = strlen(command);
  return (size_t)(end - line) == length && memcmp(line, command, length) == 0;
}

/* A FileEdit: the table without the command's lines, and with the new one at its end. */
static int changeTable(void *context, const char *text, size_t length, TLIBCSzText *result) {
  const struct Change *change = context;
  const char *const text_end = text + length;
  while (text < text_end) {
    const char *end = memchr(text, '\n', (size_t)(text_end - text));
    if (end == NULL) end = text_end;
    if (*text == '#' || !hasCommand(text, end, change->command)) {
      if (appendBytes(result, text, (size_t)(end - text)) != 0 || TLIBCStrCat(result, "\n") != 0) return -1;
    }
    text = end < text_end ? end + 1 : text_end;
  }
  return TLIBCStrCat(result, change->line) == 0 ? 1 : -1;
}

/* Writes the weekdays as cron has them: numbers from 0 for Sunday, with commas between them. */
static void writeWeekdays(char *field, int32_t weekdays) {
  if (weekdays == kEveryWeekday) *field++ = '*';
  for (int day = 0; day < 7 && weekdays != kEveryWeekday; ++day) {
    if ((weekdays >> day & 1) == 0) continue;
    *field++ = (char)('0' + day);
    *field++ = ',';
  }
  if (field[-1] == ',') --field;
  *field = '\0';
}

int TARVScheduleSet(const TARVSchedule *schedule, int flags) {
  if (schedule == NULL || flags != 0 || schedule->weekdays < 1 || schedule->weekdays > kEveryWeekday ||
      schedule->hour < 0 || schedule->hour > 23 || schedule->minute < 0 || schedule->minute > 59 ||
      memchr(schedule->command, '\0', sizeof schedule->command) == NULL) {
    return fail(TLIBC_ERR_BAD_PARAMETER);
  }
  if (checkCommand(schedule->command) != 0 || makeParents(kTable) != 0) return -1;
  struct Change change = {schedule->command, ""};
  char weekdays[16];
  writeWeekdays(weekdays, schedule->weekdays);
  snprintf(change.line, sizeof change.line, "%d %d * * %s root %s\n", (int)schedule->minute, (int)schedule->hour,
           weekdays, schedule->command);
  return updateFile(kTable, kTableMode, kAllModes, changeTable, &change);
}

int TARVScheduleRemove(const char *command) {
  if (command == NULL) return fail(TLIBC_ERR_BAD_PARAMETER);
  if (checkCommand(command) != 0 || makeParents(kTable) != 0) return -1;
  struct Change change = {command, ""};
  return updateFile(kTable, kTableMode, kAllModes, changeTable, &change);
}
