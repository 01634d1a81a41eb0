/*
 * The platform interface: everything that libkova asks of the device.
 *
 * The stand-alone platform (libkovaplatform.so.1) implements it; an appliance brings its own implementation. libkova
 * calls these functions through the dynamic linker, so that a program which defines one of them itself replaces it.
 *
 * 1. Results. A returned pointer is null on failure. An int is negative on failure unless the comment says otherwise.
 *    Every failure leaves its number for TLIBCErrGet.
 * 2. Ownership. The caller owns what it passes; a handle from an Alloc, Init or Popen function is given back to its
 *    Free, Exit or Pclose function, which takes null too where the comment says so. Null elsewhere is a failure with
 *    TLIBC_ERR_BAD_PARAMETER.
 * 3. Sizes count bytes and include the terminating NUL. A text that is too long for its buffer is cut, and the buffer
 *    is always NUL-terminated.
 * 4. Files are named by the device's own paths ("/etc/kova.conf"); the implementation finds them with KovaDevicePath.
 * 5. No exception leaves a function, no shell is used, and nothing is printed.
 */
#ifndef KOVA_PLATFORM_H
#define KOVA_PLATFORM_H

#include <kova/export.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

KOVA_BEGIN_C

typedef int32_t BOOL;

/* ---- Device root and last error ---------------------------------------------------------------------------------- */

/*
 * Writes into `buffer` where the device's `path` lies on this machine: the path with the device root in front of it.
 * The root is the environment variable KOVA_DEVICE_ROOT (ignored in set-user-ID programs); unset or empty means "/".
 * Returns the length of the result. A path that does not fit is a failure, not cut.
 */
KOVA_API int KovaDevicePath(const char *path, char *buffer, size_t size);

/* Numbers of TLIBCErrGet. An implementation may have more. */
enum TLIBCErrNumber {
  TLIBC_ERR_NONE = 0x0000,
  TLIBC_ERR_BAD_PARAMETER = 0x0100,
  TLIBC_ERR_OUT_OF_MEMORY = 0x0200,
  TLIBC_ERR_NOT_FOUND = 0x0300, /* no such file, key, serial number or entry */
  TLIBC_ERR_OPEN_FAILED = 0x0400,
  TLIBC_ERR_READ_FAILED = 0x0500,
  TLIBC_ERR_WRITE_FAILED = 0x0600,
  TLIBC_ERR_LOCK_FAILED = 0x0700,
  TLIBC_ERR_BAD_VALUE = 0x0800, /* a value that cannot be stored and read back unchanged */
  TLIBC_ERR_DECODE_FAILED = 0x0900,
  TLIBC_ERR_EXEC_FAILED = 0x0A00, /* a program could not be started, or did not exit with 0 */
  TLIBC_ERR_TOO_LONG = 0x0B00,    /* a path or text that does not fit */
  TLIBC_ERR_DEVICE = 0x0C00       /* the device cannot tell: no network interface, no random bytes, ... */
};

/* The number of the platform's last failure in this process. A success leaves it alone. */
KOVA_API int TLIBCErrGet(void);

/* ---- String lists ------------------------------------------------------------------------------------------------ */

/* A growable list of texts; it keeps copies. */
typedef struct TLIBCSzList TLIBCSzList;

/* `capacity` is the number of items to expect, not a limit. */
KOVA_API TLIBCSzList *TLIBCSzListAlloc(size_t capacity);
/* Appends a copy of `text`. Returns 0 or a negative number. */
KOVA_API int TLIBCSzListPush(TLIBCSzList *list, const char *text);
/* The number of items. */
KOVA_API size_t TLIBCSzListCount(const TLIBCSzList *list);
/* The item at `index`, valid until the list is freed; null past the end. */
KOVA_API const char *TLIBCSzListGet(const TLIBCSzList *list, size_t index);
/* Null is allowed. */
KOVA_API void TLIBCSzListFree(TLIBCSzList *list);

/* ---- String hashes ----------------------------------------------------------------------------------------------- */

/* A map of text to text that keeps copies. Its order is that of insertion; setting a key again keeps its place. The
 * time that it takes to set or find a key does not grow with the number of keys: there may be thousands. */
typedef struct TLIBCSzHash TLIBCSzHash;

/* `capacity` is the number of keys to expect, not a limit. */
KOVA_API TLIBCSzHash *TLIBCSzHashAlloc(size_t capacity);
/* The value of `key`, valid until that key is set again or the hash is freed; null when the key is absent. */
KOVA_API const char *TLIBCSzHashGetValue(const TLIBCSzHash *hash, const char *key);
/* Sets `key` to a copy of `value`, which may be the key's own value or a part of it. Returns 0 or a negative number; a
 * failure leaves the hash as it was. */
KOVA_API int TLIBCSzHashSetValue(TLIBCSzHash *hash, const char *key, const char *value);
/* Appends every key, in the hash's order, to `keys`. Returns their number: 0 for an empty hash, negative on failure. */
KOVA_API int TLIBCSzHashEnumKey(const TLIBCSzHash *hash, TLIBCSzList *keys);
/* Null is allowed. */
KOVA_API void TLIBCSzHashFree(TLIBCSzHash *hash);

/* ---- Text -------------------------------------------------------------------------------------------------------- */

/* A growing text. Start it zeroed or with memory from malloc; release `text` with free. */
typedef struct TLIBCSzText {
  char *text;      /* NUL-terminated; null while nothing is allocated */
  size_t length;   /* bytes before the NUL */
  size_t capacity; /* bytes allocated */
} TLIBCSzText;

/* Appends `addition`. The buffer grows by a factor, so that many appends take linear time. Returns 0 or a negative
 * number; a failure leaves the text as it was. */
KOVA_API int TLIBCStrCat(TLIBCSzText *buffer, const char *addition);

/* Removes the white space (C locale) at both ends of `text` in place and returns `text`. */
KOVA_API char *TLIBCStrTrimSpace(char *text);

/* Decodes `length` bytes of base64 (padded, no line breaks) into `output`, whose size *output_length tells and then
 * takes the number of bytes decoded; no NUL is added. Returns non-zero on success and 0 on failure. */
KOVA_API int TARVEncodingBase64Decode(const char *text, size_t length, char *output, size_t *output_length);

/* ---- Key files --------------------------------------------------------------------------------------------------- */

/*
 * A key file has lines of a key, a separator and a value, which may stand in double quotes; blanks before each, and
 * behind a key or a quote, do not count. Only a quote at the end of the line closes such a value, which so may have
 * quotes within it. Lines that begin with "#", blank lines and lines without an entry (no separator, an unclosed quote)
 * are skipped; where a key occurs more than once, the last one counts. Line ends may be LF, CRLF or CR.
 *
 * Writing is atomic and locked: a reader, and a power cut at any moment, sees the whole old or the whole new file, and
 * two writers at once lose neither's keys. A new file has mode 0600; an existing one keeps mode and owner, but
 * "/etc/kova.conf" nothing for its group and others. A lock of another writer is waited for, up to 30 seconds.
 */

/* Reads those of `keys` that the file has into `hash`, in the order of `keys`, and leaves its other keys alone. Returns
 * their number; negative when the file cannot be read. */
KOVA_API int TLIBCFileGetKeys(const char *file, const TLIBCSzList *keys, TLIBCSzHash *hash, const char *separator);

/*
 * Sets every key of `hash` in the file, each as a line that `line_format` (a printf format with two "%s", for key and
 * value) makes, and keeps everything else in it. A file that is absent is made; its directory must exist. A key or
 * value that such a line could not give back unchanged, such as one with a line break, is refused with
 * TLIBC_ERR_BAD_VALUE. An empty hash leaves the file alone. `flags` is 0. Returns 0, or a negative number with the file
 * as it was, or the whole new file when only the final sync to the disk failed.
 */
KOVA_API int TLIBCFileSetKeys(const char *file, const TLIBCSzHash *hash, int flags, const char *line_format);

/* Reads one key with the separator "=" into `buffer`. Returns the value's length, also of one that was cut; 0 when the
 * key is absent or empty (the buffer is then empty), negative when the file cannot be read. `flags` is 0. */
KOVA_API int TLIBCFileGetKeyValue(const char *file, const char *key, char *buffer, size_t size, int flags);

/* Returns 1 when `key` stands in the file with exactly `value`, 0 when not, negative when the file cannot be read.
 * `flags` is 0. */
KOVA_API int TLIBCFileCheckKeyValue(const char *file, const char *key, const char *value, int flags);

/* Sets one key of the device's information file "/etc/tarvinfo.conf", as TLIBCFileSetKeys does. Returns 0 or a negative
 * number. */
KOVA_API int TLIBCINFOSetKeyValue(const char *key, const char *value);

/* ---- The device's identity --------------------------------------------------------------------------------------- */

/* The serial number set for this device by hand. Returns 0, or a negative number when there is none. */
KOVA_API int TLIBGetCustomSerialNumber(char *buffer, size_t size);
/* The serial number from the factory. Returns 0 or a negative number. */
KOVA_API int TLIBGetSerialNumber(char *buffer, size_t size);
/* The user agent of the named package, for HTTP requests. Returns 0 or a negative number. */
KOVA_API int TLIBVxinfoUserAgentGet(const char *package, char *buffer, size_t size);

/* ---- Plugin actions ---------------------------------------------------------------------------------------------- */

/* A handle on the plugins that other components of the device have for one action of a package. */
typedef struct TLIBPlugin TLIBPlugin;

/* The plugins for `action` of `package`, of which there may be none; null on failure. */
KOVA_API TLIBPlugin *TLIBPluginSDKInit(const char *package, const char *action);
/* Runs every plugin with the action's number as its argument and waits for each. Returns 0, also when there is none, or
 * a negative number when one failed. */
KOVA_API int TLIBPluginAction(TLIBPlugin *plugin, int action);
/* Null is allowed. */
KOVA_API void TLIBPluginExit(TLIBPlugin *plugin);

/* ---- Cloud-service layer ----------------------------------------------------------------------------------------- */

/* The number of this layer's last failure: 0 for none, 1 for the network, anything else for a cause on the device. */
KOVA_API int TARVCloudServiceGetErrorCode(void);
/* The device's MAC address as text, such as "00:11:32:aa:bb:cc". Returns 0 or a negative number. */
KOVA_API int TARVCloudServiceGetMacAddress(char *buffer, size_t size);
/* The device's API key into a buffer of 1024 bytes. With `create` not 0 a device that has none yet gets one, which the
 * service does not know. Returns 0 or a negative number. */
KOVA_API int TARVCloudServiceGetApiKey(char *key, int create);
/* Makes a new API key, makes it known to the service, stores it and writes it into a buffer of 1024 bytes. Returns 0,
 * or a negative number with the stored key as it was. */
KOVA_API int TARVCloudServiceRegisterApiKey(char *key);

/* ---- Scheduler, event log, notifications ------------------------------------------------------------------------- */

/* An entry of the scheduler: 1048 bytes. */
typedef struct TARVSchedule {
  int32_t weekdays;   /* a bit for each day: 0x01 Sunday to 0x40 Saturday */
  int32_t hour;       /* 0 to 23 */
  int32_t reserved1;  /* 0 */
  int32_t last_hour;  /* the same as hour */
  int32_t minute;     /* 0 to 59 */
  int32_t reserved2;  /* 0 */
  char command[1024]; /* program and arguments; also names the entry */
} TARVSchedule;

/* Adds an entry, or replaces the one with the same command. A command that the scheduler could not run as it stands,
 * is refused, one with a line break with TLIBC_ERR_BAD_VALUE. `flags` is 0. Returns 0 on success, anything else on
 * failure. */
KOVA_API int TARVScheduleSet(const TARVSchedule *schedule, int flags);
/* Removes the entry with this command. Returns 0, also when there is none, or a negative number. */
KOVA_API int TARVScheduleRemove(const char *command);

/* Writes an event to the device's event log: its log, its severity, its number and up to four texts that its message
 * takes. libkova writes to log 2 with severity 1: event 0x13A00001, with the account as its first text, when the device
 * has signed in, and 0x13A00002 when it has signed out; the other texts are empty. Returns 0 or a negative number. */
KOVA_API int TARVLogSet1(int log, int severity, uint32_t event, const char *text1, const char *text2, const char *text3,
                         const char *text4);

/* Sends the notification `name` to the device's administrators. `parameters` holds the placeholders of its text
 * ("%NAME%") and what stands in their place. Returns 0 or a negative number. */
KOVA_API int TARVSysNotifySendNotifiction(const char *name, const TLIBCSzHash *parameters);

/* ---- Time zone --------------------------------------------------------------------------------------------------- */

/* The name of the device's time zone. Returns 0, or a negative number; *size_needed then takes the size that the name
 * would have needed, where that was the reason. */
KOVA_API int TARVZoneGet(char *buffer, size_t size, int32_t *size_needed);
/* Puts the named zone's properties into *details, which may be replaced by a larger hash: "nameInTZDB", its name in the
 * tz database. A zone is known when it has a zone file. Returns the number of properties; below 1 on failure. */
KOVA_API int TARVZoneGetInfo(const char *name, TLIBCSzHash **details);

/* ---- Programs ---------------------------------------------------------------------------------------------------- */

/*
 * Programs are started without a shell and inherit the environment and the descriptors 0 to 2 only. `arguments` holds
 * the arguments after the program's name and ends with null; it may be null itself. Within a call that waits for a
 * program, SIGCHLD is blocked in this thread and has its standard action; a stream of TLIBCPopen spans two calls. The
 * action is the whole process's, so that calls which wait for programs (TLIBCExecv, TLIBPluginAction and
 * TLIBServiceRestart) must not overlap in two threads.
 */

/* Starts `program` with its standard output ("r") on the stream returned. */
KOVA_API FILE *TLIBCPopen(const char *program, const char *const arguments[], const char *mode);
/* Closes a stream of TLIBCPopen and waits for its program. Returns the status as waitpid gives it (0 where the calling
 * process has taken it already), or a negative number. */
KOVA_API int TLIBCPclose(FILE *stream);
/* Starts `program` and, with `wait` not 0, waits for its end and returns its exit code (128 and the signal's number
 * when one ended it); else returns 0. Negative when it could not be started. */
KOVA_API int TLIBCExecv(const char *program, const char *const arguments[], int wait);
/* Restarts the named service. Returns 0 on success, anything else on failure. */
KOVA_API int TLIBServiceRestart(const char *name);

KOVA_END_C

#endif
