/* Last error, device paths, growing texts, base64. */
#include <stdlib.h>
#include <string.h>

#include "example.h"

static int last_error = TLIBC_ERR_NONE;

int fail(int error) {
  __atomic_store_n(&last_error, error, __ATOMIC_RELAXED);
  return -1;
}

void *failWithNull(int error) {
  fail(error);
  return NULL;
}

int TLIBCErrGet(void) {
  return __atomic_load_n(&last_error, __ATOMIC_RELAXED);
}

char *devicePath(const char *path) {
  if (path[0] != '/') return failWithNull(TLIBC_ERR_BAD_PARAMETER);
  const char *root = secure_getenv("KOVA_DEVICE_ROOT");
  if (root == NULL) root = "";
  size_t length = strlen(root);
  while (length > 0 && root[length - 1] == '/') --length;
  char *result = malloc(length + strlen(path) + 1);
  if (result == NULL) return failWithNull(TLIBC_ERR_OUT_OF_MEMORY);
  memcpy(result, root, length);
  strcpy(result + length, path);
  return result;
}

int KovaDevicePath(const char *path, char *buffer, size_t size) {
  if (path == NULL || buffer == NULL) return fail(TLIBC_ERR_BAD_PARAMETER);
  char *result = devicePath(path);
  if (result == NULL) return -1;
  const size_t length = strlen(result);
  const bool fits = length < size;
  if (fits) memcpy(buffer, result, length + 1);
  free(result);
  return fits ? (int)length : fail(TLIBC_ERR_TOO_LONG);
}

int copyText(char *buffer, size_t size, const char *text) {
  const size_t length = strnlen(text, size - 1);
  memcpy(buffer, text, length);
  buffer[length] = '\0';
  return 0;
}

void wipeText(char *text) {
  if (text != NULL) explicit_bzero(text, strlen(text));
  free(text);
}

void wipeGrown(TLIBCSzText *text) {
  if (text->text != NULL) explicit_bzero(text->text, text->capacity);
  free(text->text);
  memset(text, 0, sizeof *text);
}

/* Moves the text into a larger buffer, and by a factor, so that many additions take linear time. Not with realloc,
 * which releases the old memory, with its secrets, as it is. */
static int grow(TLIBCSzText *buffer, size_t needed) {
  TLIBCSzText grown = {NULL, buffer->length, 2 * buffer->capacity};
  if (grown.capacity < needed) grown.capacity = needed;
  if (grown.capacity < 64) grown.capacity = 64;
  grown.text = malloc(grown.capacity);
  if (grown.text == NULL) return fail(TLIBC_ERR_OUT_OF_MEMORY);
  if (buffer->length > 0) memcpy(grown.text, buffer->text, buffer->length);
  wipeGrown(buffer);
  *buffer = grown;
  return 0;
}

int appendBytes(TLIBCSzText *buffer, const char *bytes, size_t length) {
  const size_t needed = buffer->length + length + 1;
  if (buffer->text == NULL) memset(buffer, 0, sizeof *buffer);
  if (needed > buffer->capacity && grow(buffer, needed) != 0) return -1;
  memcpy(buffer->text + buffer->length, bytes, length);
  buffer->length += length;
  buffer->text[buffer->length] = '\0';
  return 0;
}

int TLIBCStrCat(TLIBCSzText *buffer, const char *addition) {
  if (buffer == NULL || addition == NULL) return fail(TLIBC_ERR_BAD_PARAMETER);
  return appendBytes(buffer, addition, strlen(addition));
}

bool isBlank(char c) {
  return c == ' ' || c == '\t';
}

static bool isSpace(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

char *TLIBCStrTrimSpace(char *text) {
  if (text == NULL) return failWithNull(TLIBC_ERR_BAD_PARAMETER);
  size_t begin = 0, end = strlen(text);
  while (isSpace(text[begin])) ++begin;
  while (end > begin && isSpace(text[end - 1])) --end;
  memmove(text, text + begin, end - begin);
  text[end - begin] = '\0';
  return text;
}

/* The value of a base64 digit; -1 where it is none. */
static int digitOf(char c) {
  static const char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  const char *found = c != '\0' ? strchr(kDigits, c) : NULL;
  return found != NULL ? (int)(found - kDigits) : -1;
}

/* Its failure is 0. */
static int failToDecode(int error) {
  fail(error);
  return 0;
}

int TARVEncodingBase64Decode(const char *text, size_t length, char *output, size_t *output_length) {
  if (text == NULL || output == NULL || output_length == NULL) return failToDecode(TLIBC_ERR_BAD_PARAMETER);
  if (length % 4 != 0) return failToDecode(TLIBC_ERR_DECODE_FAILED);
  size_t digits = length;
  while (digits > 0 && length - digits < 2 && text[digits - 1] == '=') --digits;
  if (digits * 3 / 4 > *output_length) return failToDecode(TLIBC_ERR_TOO_LONG);
  size_t written = 0;
  unsigned bits = 0;
  for (size_t i = 0; i < digits; ++i) {
    const int digit = digitOf(text[i]);
    if (digit < 0) return failToDecode(TLIBC_ERR_DECODE_FAILED);
    bits = (bits << 6 | (unsigned)digit) & 0xFFFF;
    if (i % 4 != 0) output[written++] = (char)(bits >> (6 - i % 4 * 2));
  }
  *output_length = written;
  return 1;
}
