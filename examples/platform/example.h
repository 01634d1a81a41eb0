/*
 * A platform for libkova that is meant to be copied. It keeps the device in files below KOVA_DEVICE_ROOT. Where an
 * appliance has a function of its own for what is done here, a comment begins with the word "APPLIANCE".
 *
 * This header has what the files of the platform share. Functions that return an int return -1 after a failure, those
 * that return a pointer null; both have then set the last error. A text that is returned is the caller's, to be given
 * to wipeText.
 */
#ifndef EXAMPLE_H
#define EXAMPLE_H

#include <kova/platform.h>
#include <stdbool.h>
#include <stddef.h>
#include <sys/types.h>

/* Set the last error. */
int fail(int error);
void *failWithNull(int error);

/* Where the device's path, which begins with a slash, lies on this machine. */
char *devicePath(const char *path);

/* Copies the text, cut to the buffer. Returns 0. */
int copyText(char *buffer, size_t size, const char *text);
/* Overwrites and releases a text that may be a secret; null is allowed. */
void wipeText(char *text);
/* The same for a growing text. */
void wipeGrown(TLIBCSzText *text);
/* Appends bytes, which may hold NULs. */
int appendBytes(TLIBCSzText *buffer, const char *bytes, size_t length);
bool isBlank(char c);

/* Reads a file of the device; the text is NUL-terminated, and may hold NULs of its own. */
char *readFile(const char *path, size_t *length);

/* Puts the new text of a file into `result`, which is empty. Returns 1 when the file is to be written, 0 when it is to
 * stay as it is. */
typedef int FileEdit(void *context, const char *text, size_t length, TLIBCSzText *result);

/* Replaces a file of the device under its lock: readers see the whole old or the whole new file. A new file has the
 * mode `new_mode`, and so has the replaced file in the bits that `kept_mode` does not have. */
int updateFile(const char *path, mode_t new_mode, mode_t kept_mode, FileEdit *edit, void *context);
/* Makes the directories above the path. */
int makeParents(const char *path);

/* The value of the key in a key file; null also where it is absent or empty. */
char *readKey(const char *file, const char *key);

/* Runs the program at a path of this machine and returns its exit code. */
int runProgram(const char *path, const char *const arguments[]);

#endif
