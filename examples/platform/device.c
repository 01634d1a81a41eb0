/* Identity, API key, event log, notifications, time zone. */
#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <openssl/evp.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/random.h>
#include <time.h>
#include <unistd.h>

#include "example.h"

/* APPLIANCE: what its SDK tells of the device. Here it stands in this file. */
static const char kDeviceFile[] = "/etc.defaults/kovadevice.conf";

/* The same as readKey, where it is no failure that the entry is absent: a success leaves the last error alone. */
static char *readOptional(const char *file, const char *key) {
  const int error = TLIBCErrGet();
  char *value = readKey(file, key);
  if (value == NULL && TLIBCErrGet() == TLIBC_ERR_NOT_FOUND) fail(error);
  return value;
}

static int copyEntry(const char *key, char *buffer, size_t size) {
  if (buffer == NULL || size == 0) return fail(TLIBC_ERR_BAD_PARAMETER);
  char *value = readKey(kDeviceFile, key);
  if (value == NULL) return -1;
  copyText(buffer, size, value);
  free(value);
  return 0;
}

int TLIBGetCustomSerialNumber(char *buffer, size_t size) {
  return copyEntry("custom_serial", buffer, size);
}

int TLIBGetSerialNumber(char *buffer, size_t size) {
  return copyEntry("serial", buffer, size);
}

int TLIBVxinfoUserAgentGet(const char *package, char *buffer, size_t size) {
  if (package == NULL || buffer == NULL || size == 0) return fail(TLIBC_ERR_BAD_PARAMETER);
  snprintf(buffer, size, "%s/1.0 (example)", package);
  return 0;
}

/* The cloud-service layer has an error number of its own: 1 for the network, another for a cause on the device. */
enum { kNoCloudError = 0, kDeviceError = 2 };
static int cloud_error = kNoCloudError;

static int noted(int result) {
  if (result < 0) __atomic_store_n(&cloud_error, kDeviceError, __ATOMIC_RELAXED);
  return result;
}

int TARVCloudServiceGetErrorCode(void) {
  return __atomic_load_n(&cloud_error, __ATOMIC_RELAXED);
}

/* Reads the address of a network interface; false for one that has none. */
static bool readAddress(const char *interface, char *address, size_t size) {
  char path[PATH_MAX];
  snprintf(path, sizeof path, "/sys/class/net/%s/address", interface);
  FILE *file = fopen(path, "re");
  if (file == NULL) return false;
  const bool is_read = fgets(address, (int)size, file) != NULL;
  fclose(file);
  return is_read && strlen(address) == size - 1 && strcmp(address, "00:00:00:00:00:00") != 0;
}

static int firstAddress(char *address, size_t size) {
  struct dirent **entries = NULL;
  bool is_found = false;
  const int count = scandir("/sys/class/net", &entries, NULL, alphasort);
  for (int i = 0; i < count; ++i) {
    const bool is_name = entries[i]->d_name[0] != '.';
    if (is_name && !is_found) is_found = readAddress(entries[i]->d_name, address, size);
    free(entries[i]);
  }
  free(entries);
  return is_found ? 0 : fail(TLIBC_ERR_DEVICE);
}

int TARVCloudServiceGetMacAddress(char *buffer, size_t size) {
  if (buffer == NULL || size == 0) return noted(fail(TLIBC_ERR_BAD_PARAMETER));
  char address[18];
  char *given = readOptional(kDeviceFile, "mac");
  if (given == NULL && firstAddress(address, sizeof address) != 0) return noted(-1);
  copyText(buffer, size, given != NULL ? given : address);
  free(given);
  return 0;
}

static const char kKeyFile[] = "/var/lib/kova/apikey";
static const char kEnrolmentFile[] = "/var/lib/kova/apikey.enrolled";
enum { kKeySize = 1024, kRandomBytes = 32, kPrivateMode = 0600 };

static void writeHexadecimal(char *text, const unsigned char *bytes, size_t count) {
  for (size_t i = 0; i < count; ++i) snprintf(text + 2 * i, 3, "%02x", bytes[i]);
}

static int makeKey(char key[2 * kRandomBytes + 1]) {
  unsigned char bytes[kRandomBytes];
  if (getrandom(bytes, sizeof bytes, 0) != (ssize_t)sizeof bytes) return fail(TLIBC_ERR_DEVICE);
  writeHexadecimal(key, bytes, sizeof bytes);
  explicit_bzero(bytes, sizeof bytes);
  return 0;
}

/* A FileEdit: the text given, whatever the file has. */
static int withText(void *context, const char *text, size_t length, TLIBCSzText *result) {
  (void)text;
  (void)length;
  return TLIBCStrCat(result, context) == 0 ? 1 : -1;
}

/* A FileEdit: a new key, unless another process has stored one meanwhile. */
static int withFirstKey(void *context, const char *text, size_t length, TLIBCSzText *result) {
  char key[2 * kRandomBytes + 1];
  (void)context;
  (void)text;
  if (length > 1) return 0;
  if (makeKey(key) != 0) return -1;
  const int edited = TLIBCStrCat(result, key) == 0 && TLIBCStrCat(result, "\n") == 0 ? 1 : -1;
  explicit_bzero(key, sizeof key);
  return edited;
}

static int readApiKey(char *key) {
  size_t length = 0;
  char *text = readFile(kKeyFile, &length);
  if (text == NULL) return -1;
  copyText(key, kKeySize, TLIBCStrTrimSpace(text));
  wipeText(text);
  return *key != '\0' ? 0 : fail(TLIBC_ERR_NOT_FOUND);
}

int TARVCloudServiceGetApiKey(char *key, int create) {
  if (key == NULL) return noted(fail(TLIBC_ERR_BAD_PARAMETER));
  if (create != 0) {
    if (makeParents(kKeyFile) != 0 || updateFile(kKeyFile, kPrivateMode, 0, withFirstKey, NULL) != 0) return noted(-1);
  }
  return noted(readApiKey(key));
}

/* APPLIANCE: makes the key known to the service over the network, which sets the error number 1 where that fails. The
 * account service for development looks for the serial number and the digest of the key in a file. */
static int registerKey(const char *key) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  char hexadecimal[2 * EVP_MAX_MD_SIZE + 1], serial[36], enrolment[256];
  unsigned size = 0;
  char *custom = readOptional(kDeviceFile, "custom_serial");
  const bool is_custom = custom != NULL;
  if (is_custom) copyText(serial, 31, custom); /* the library cuts it to this */
  free(custom);
  if (!is_custom && TLIBGetSerialNumber(serial, sizeof serial) != 0) return -1;
  if (EVP_Digest(key, strlen(key), digest, &size, EVP_sha256(), NULL) != 1) return fail(TLIBC_ERR_DEVICE);
  writeHexadecimal(hexadecimal, digest, size);
  snprintf(enrolment, sizeof enrolment, "{\"serial\":\"%s\",\"sha256\":\"%s\"}\n", serial, hexadecimal);
  return updateFile(kEnrolmentFile, kPrivateMode, 0, withText, enrolment);
}

int TARVCloudServiceRegisterApiKey(char *key) {
  char made[2 * kRandomBytes + 1];
  if (key == NULL) return noted(fail(TLIBC_ERR_BAD_PARAMETER));
  int result = makeKey(made);
  if (result == 0) result = makeParents(kKeyFile);
  if (result == 0) result = registerKey(made);
  if (result == 0) result = updateFile(kKeyFile, kPrivateMode, 0, withText, made);
  if (result == 0) copyText(key, kKeySize, made);
  explicit_bzero(made, sizeof made);
  return noted(result);
}

/* Appends a text as one line. */
static int appendLine(const char *log, TLIBCSzText *line) {
  for (size_t i = 0; i < line->length; ++i) {
    if ((unsigned char)line->text[i] < ' ') line->text[i] = '?';
  }
  if (TLIBCStrCat(line, "\n") != 0 || makeParents(log) != 0) return -1;
  char *path = devicePath(log);
  if (path == NULL) return -1;
  const int file = open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, kPrivateMode);
  free(path);
  if (file < 0) return fail(TLIBC_ERR_OPEN_FAILED);
  const bool is_written = write(file, line->text, line->length) == (ssize_t)line->length;
  close(file);
  return is_written ? 0 : fail(TLIBC_ERR_WRITE_FAILED);
}

/* Starts a line with these texts and blanks between them. */
static int appendTexts(TLIBCSzText *line, const char *const texts[], size_t count) {
  int result = 0;
  for (size_t i = 0; i < count && result == 0; ++i) {
    result = TLIBCStrCat(line, texts[i]);
    if (result == 0) result = TLIBCStrCat(line, " ");
  }
  return result;
}

/* APPLIANCE: its event log. */
int TARVLogSet1(int log, int severity, uint32_t event, const char *text1, const char *text2, const char *text3,
                const char *text4) {
  if (text1 == NULL || text2 == NULL || text3 == NULL || text4 == NULL) return fail(TLIBC_ERR_BAD_PARAMETER);
  char head[80];
  snprintf(head, sizeof head, "%lld log %d severity %d 0x%08X:", (long long)time(NULL), log, severity, (unsigned)event);
  const char *const texts[] = {head, text1, text2, text3, text4};
  TLIBCSzText line = {NULL, 0, 0};
  int result = appendTexts(&line, texts, 5);
  if (result == 0) result = appendLine("/var/log/kova/events.log", &line);
  wipeGrown(&line);
  return result;
}

static int appendParameters(TLIBCSzText *line, const TLIBCSzHash *parameters, TLIBCSzList *keys) {
  if (keys == NULL || TLIBCSzHashEnumKey(parameters, keys) < 0) return -1;
  for (size_t i = 0; i < TLIBCSzListCount(keys); ++i) {
    const char *key = TLIBCSzListGet(keys, i);
    const char *const texts[] = {key, TLIBCSzHashGetValue(parameters, key)};
    if (appendTexts(line, texts, 2) != 0) return -1;
  }
  return 0;
}

/* APPLIANCE: its notifications. Their texts, with the placeholders, are in its catalogue. */
int TARVSysNotifySendNotifiction(const char *name, const TLIBCSzHash *parameters) {
  if (name == NULL || parameters == NULL) return fail(TLIBC_ERR_BAD_PARAMETER);
  TLIBCSzText line = {NULL, 0, 0};
  TLIBCSzList *keys = TLIBCSzListAlloc(1);
  int result = appendTexts(&line, &name, 1);
  if (result == 0) result = appendParameters(&line, parameters, keys);
  if (result == 0) result = appendLine("/var/log/kova/notifications.log", &line);
  TLIBCSzListFree(keys);
  wipeGrown(&line);
  return result;
}

/* The name of the zone of /etc/localtime, which is a link into the directory of the zones. */
static char *linkedZone(void) {
  char target[PATH_MAX];
  char *path = devicePath("/etc/localtime");
  if (path == NULL) return NULL;
  const ssize_t length = readlink(path, target, sizeof target - 1);
  free(path);
  target[length > 0 ? length : 0] = '\0';
  const char *found = strstr(target, "/zoneinfo/");
  if (found == NULL) return failWithNull(TLIBC_ERR_NOT_FOUND);
  char *name = strdup(found + strlen("/zoneinfo/"));
  return name != NULL ? name : failWithNull(TLIBC_ERR_OUT_OF_MEMORY);
}

int TARVZoneGet(char *buffer, size_t size, int32_t *size_needed) {
  if (buffer == NULL || size_needed == NULL) return fail(TLIBC_ERR_BAD_PARAMETER);
  char *name = readOptional("/etc/tarvinfo.conf", "timezone");
  if (name == NULL) name = linkedZone();
  if (name == NULL) return -1;
  const size_t needed = strlen(name) + 1;
  const bool fits = needed <= size;
  if (fits) memcpy(buffer, name, needed);
  free(name);
  if (fits) return 0;
  *size_needed = (int32_t)needed;
  return fail(TLIBC_ERR_TOO_LONG);
}

/* A device root without zone files has those of this machine. */
static bool hasZoneFile(const char *name) {
  char file[PATH_MAX];
  char *directory = devicePath("/usr/share/zoneinfo");
  if (directory == NULL) return false;
  const bool has_directory = access(directory, F_OK) == 0;
  snprintf(file, sizeof file, "%s/%s", has_directory ? directory : "/usr/share/zoneinfo", name);
  free(directory);
  FILE *zone = fopen(file, "re");
  char begin[4] = "";
  if (zone == NULL) return false;
  const size_t count = fread(begin, 1, sizeof begin, zone);
  fclose(zone);
  return count == sizeof begin && memcmp(begin, "TZif", sizeof begin) == 0;
}

int TARVZoneGetInfo(const char *name, TLIBCSzHash **details) {
  if (name == NULL || details == NULL || *details == NULL) return fail(TLIBC_ERR_BAD_PARAMETER);
  if (strstr(name, "..") != NULL || !hasZoneFile(name)) return fail(TLIBC_ERR_NOT_FOUND);
  return TLIBCSzHashSetValue(*details, "nameInTZDB", name) == 0 ? 1 : -1;
}
