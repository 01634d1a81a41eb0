/* Key files. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "example.h"

static const char kAccountFile[] = "/etc/kova.conf";
static const char kInformationFile[] = "/etc/tarvinfo.conf";
enum { kNewFileMode = 0600, kAllModes = 07777, kOwnerModes = 0700 };

struct Span {
  const char *begin;
  const char *end;
};

static struct Span withoutBlanks(struct Span span) {
  while (span.begin < span.end && isBlank(*span.begin)) ++span.begin;
  while (span.end > span.begin && isBlank(span.end[-1])) --span.end;
  return span;
}

static bool isSame(struct Span span, const char *text) {
  const size_t length = strlen(text);
  return (size_t)(span.end - span.begin) == length && memcmp(span.begin, text, length) == 0;
}

/* Takes the next line off the text; its line end stands between line.end and text->begin then. */
static bool nextLine(struct Span *text, struct Span *line) {
  if (text->begin == text->end) return false;
  *line = *text;
  while (text->begin < text->end && *text->begin != '\n' && *text->begin != '\r') ++text->begin;
  line->end = text->begin;
  if (text->begin < text->end && *text->begin == '\r') ++text->begin;
  if (text->begin < text->end && *text->begin == '\n') ++text->begin;
  return true;
}

/* Whether the line has an entry. A value without quotes keeps the blanks behind it. */
static bool parseLine(struct Span line, const char *separator, struct Span *key, struct Span *value) {
  while (line.begin < line.end && isBlank(*line.begin)) ++line.begin;
  const size_t length = (size_t)(line.end - line.begin);
  if (length == 0 || *line.begin == '#' || memchr(line.begin, '\0', length) != NULL) return false;
  const char *found = memmem(line.begin, length, separator, strlen(separator));
  if (found == NULL) return false;
  *key = withoutBlanks((struct Span){line.begin, found});
  *value = (struct Span){found + strlen(separator), line.end};
  while (value->begin < value->end && isBlank(*value->begin)) ++value->begin;
  if (key->begin == key->end) return false;
  if (value->begin == value->end || *value->begin != '"') return true;
  *value = withoutBlanks(*value);
  if (value->end - value->begin < 2 || value->end[-1] != '"') return false;
  ++value->begin;
  --value->end;
  return true;
}

/* The last value of the key. */
static bool findValue(struct Span text, const char *key, const char *separator, struct Span *value) {
  bool is_found = false;
  struct Span line, line_key, line_value;
  while (nextLine(&text, &line)) {
    if (!parseLine(line, separator, &line_key, &line_value) || !isSame(line_key, key)) continue;
    *value = line_value;
    is_found = true;
  }
  return is_found;
}

/* The value of the key in a text; an empty text where it is absent. */
static char *copyValue(struct Span text, const char *key, const char *separator, bool *is_found) {
  struct Span value = {text.begin, text.begin};
  *is_found = findValue(text, key, separator, &value);
  char *copy = strndup(value.begin, (size_t)(value.end - value.begin));
  return copy != NULL ? copy : failWithNull(TLIBC_ERR_OUT_OF_MEMORY);
}

/* The text may hold NULs. */
static void wipeFileText(char *text, size_t length) {
  explicit_bzero(text, length);
  free(text);
}

/* The value of the key in a file; an empty text where it is absent. */
static char *readValue(const char *file, const char *key, bool *is_found) {
  size_t length = 0;
  char *text = readFile(file, &length);
  if (text == NULL) return NULL;
  char *value = copyValue((struct Span){text, text + length}, key, "=", is_found);
  wipeFileText(text, length);
  return value;
}

char *readKey(const char *file, const char *key) {
  bool is_found = false;
  char *value = readValue(file, key, &is_found);
  if (value == NULL || *value != '\0') return value;
  free(value);
  return failWithNull(TLIBC_ERR_NOT_FOUND);
}

/* Sets those of the keys that the text has. Each key is searched by itself: the library asks for a dozen at most. */
static int getKeys(struct Span text, const TLIBCSzList *keys, TLIBCSzHash *hash, const char *separator) {
  int found = 0;
  for (size_t i = 0; i < TLIBCSzListCount(keys); ++i) {
    const char *key = TLIBCSzListGet(keys, i);
    bool is_found = false;
    char *value = copyValue(text, key, separator, &is_found);
    if (value == NULL) return -1;
    const int result = is_found ? TLIBCSzHashSetValue(hash, key, value) : 0;
    wipeText(value);
    if (result != 0) return -1;
    if (is_found) ++found;
  }
  return found;
}

/* The file is read once for all keys: another process may replace it at any time, and the values belong together. */
int TLIBCFileGetKeys(const char *file, const TLIBCSzList *keys, TLIBCSzHash *hash, const char *separator) {
  if (file == NULL || keys == NULL || hash == NULL || separator == NULL || *separator == '\0') {
    return fail(TLIBC_ERR_BAD_PARAMETER);
  }
  size_t length = 0;
  char *text = readFile(file, &length);
  if (text == NULL) return -1;
  const int found = getKeys((struct Span){text, text + length}, keys, hash, separator);
  wipeFileText(text, length);
  return found;
}

int TLIBCFileGetKeyValue(const char *file, const char *key, char *buffer, size_t size, int flags) {
  if (file == NULL || key == NULL || buffer == NULL || size == 0 || flags != 0) return fail(TLIBC_ERR_BAD_PARAMETER);
  bool is_found = false;
  char *value = readValue(file, key, &is_found);
  if (value == NULL) return -1;
  const size_t length = strlen(value);
  copyText(buffer, size, value);
  wipeText(value);
  return (int)length;
}

int TLIBCFileCheckKeyValue(const char *file, const char *key, const char *value, int flags) {
  if (file == NULL || key == NULL || value == NULL || flags != 0) return fail(TLIBC_ERR_BAD_PARAMETER);
  bool is_found = false;
  char *present = readValue(file, key, &is_found);
  if (present == NULL) return -1;
  const bool is_same = is_found && strcmp(present, value) == 0;
  wipeText(present);
  return is_same ? 1 : 0;
}

/* The keys to set, each with its line. */
struct NewLines {
  const TLIBCSzHash *hash;
  TLIBCSzList *keys;
  TLIBCSzHash *lines; /* by key, without line ends */
  char separator[8];
};

/* The separator is what stands between the two "%s", without blanks and the quote. Other conversions are refused. */
static bool parseFormat(const char *format, char *separator, size_t size) {
  const char *first = strstr(format, "%s"), *second = first != NULL ? strstr(first + 2, "%s") : NULL;
  if (second == NULL || strchr(format, '%') != first || strchr(first + 2, '%') != second ||
      strchr(second + 2, '%') != NULL) {
    return false;
  }
  struct Span between = {first + 2, second};
  if (between.end > between.begin && between.end[-1] == '"') --between.end;
  between = withoutBlanks(between);
  const size_t length = (size_t)(between.end - between.begin);
  if (length == 0 || length >= size) return false;
  memcpy(separator, between.begin, length);
  separator[length] = '\0';
  return true;
}

/* Whether this line, which then loses its line end, gives back exactly this key and this value. */
static bool givesBack(char *line, const char *separator, const char *key, const char *value) {
  struct Span line_key, line_value;
  size_t length = strlen(line);
  if (length > 0 && line[length - 1] == '\n') line[--length] = '\0';
  return strpbrk(line, "\r\n") == NULL &&
         parseLine((struct Span){line, line + length}, separator, &line_key, &line_value) && isSame(line_key, key) &&
         isSame(line_value, value);
}

static int makeLine(struct NewLines *change, const char *key, const char *format) {
  const char *value = TLIBCSzHashGetValue(change->hash, key);
  char *line = NULL;
  if (asprintf(&line, format, key, value) < 0) return fail(TLIBC_ERR_OUT_OF_MEMORY);
  const int result = givesBack(line, change->separator, key, value) ? TLIBCSzHashSetValue(change->lines, key, line)
                                                                    : fail(TLIBC_ERR_BAD_VALUE);
  wipeText(line);
  return result;
}

static int makeLines(struct NewLines *change, const char *format) {
  if (TLIBCSzHashEnumKey(change->hash, change->keys) < 0) return -1;
  for (size_t i = 0; i < TLIBCSzListCount(change->keys); ++i) {
    if (makeLine(change, TLIBCSzListGet(change->keys, i), format) != 0) return -1;
  }
  return 0;
}

/* The new line for the key, which is a part of a text; NULL where it is not to be set. */
static const char *newLineFor(const struct NewLines *change, struct Span key) {
  for (size_t i = 0; i < TLIBCSzListCount(change->keys); ++i) {
    if (isSame(key, TLIBCSzListGet(change->keys, i))) {
      return TLIBCSzHashGetValue(change->lines, TLIBCSzListGet(change->keys, i));
    }
  }
  return NULL;
}

/* A FileEdit: every line but those with these keys as it is, then the new lines. */
static int withNewLines(void *context, const char *text, size_t length, TLIBCSzText *result) {
  const struct NewLines *change = context;
  struct Span rest = {text, text + length}, line, key, value;
  bool is_open = false; /* whether the last line has no line end */
  while (nextLine(&rest, &line)) {
    if (parseLine(line, change->separator, &key, &value) && newLineFor(change, key) != NULL) continue;
    is_open = line.end == rest.begin;
    if (appendBytes(result, line.begin, (size_t)(rest.begin - line.begin)) != 0) return -1;
  }
  const char *end = length > 1 && strstr(text, "\r\n") != NULL ? "\r\n" : "\n";
  if (is_open && TLIBCStrCat(result, end) != 0) return -1;
  for (size_t i = 0; i < TLIBCSzListCount(change->keys); ++i) {
    const char *each = TLIBCSzHashGetValue(change->lines, TLIBCSzListGet(change->keys, i));
    if (TLIBCStrCat(result, each) != 0 || TLIBCStrCat(result, end) != 0) return -1;
  }
  return 1;
}

int TLIBCFileSetKeys(const char *file, const TLIBCSzHash *hash, int flags, const char *line_format) {
  if (file == NULL || hash == NULL || flags != 0 || line_format == NULL) return fail(TLIBC_ERR_BAD_PARAMETER);
  struct NewLines change = {hash, TLIBCSzListAlloc(0), TLIBCSzHashAlloc(0), ""};
  int result = -1;
  if (!parseFormat(line_format, change.separator, sizeof change.separator)) {
    fail(TLIBC_ERR_BAD_PARAMETER);
  } else if (change.keys != NULL && change.lines != NULL) {
    result = makeLines(&change, line_format);
  }
  if (result == 0 && TLIBCSzListCount(change.keys) > 0) {
    const mode_t kept = strcmp(file, kAccountFile) == 0 ? kOwnerModes : kAllModes;
    result = updateFile(file, kNewFileMode, kept, withNewLines, &change);
  }
  TLIBCSzListFree(change.keys);
  TLIBCSzHashFree(change.lines);
  return result;
}

int TLIBCINFOSetKeyValue(const char *key, const char *value) {
  if (key == NULL || value == NULL) return fail(TLIBC_ERR_BAD_PARAMETER);
  TLIBCSzHash *hash = TLIBCSzHashAlloc(1);
  if (hash == NULL) return -1;
  int result = TLIBCSzHashSetValue(hash, key, value);
  if (result == 0) result = TLIBCFileSetKeys(kInformationFile, hash, 0, "%s=\"%s\"\n");
  TLIBCSzHashFree(hash);
  return result;
}
