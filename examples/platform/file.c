/* Reading the device's files, and replacing them. */
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "example.h"

/* Nothing that the library reads is larger. */
enum { kLargestFile = 16 << 20, kLockWaits = 3000, kLockPause = 10000 };

static int readAll(int file, TLIBCSzText *text) {
  char piece[4096];
  ssize_t count = 1;
  int result = 0;
  while (count != 0 && result == 0) {
    count = read(file, piece, sizeof piece);
    if (count < 0 && errno != EINTR) result = fail(TLIBC_ERR_READ_FAILED);
    if (count > 0) result = appendBytes(text, piece, (size_t)count);
    if (text->length > kLargestFile) result = fail(TLIBC_ERR_TOO_LONG);
  }
  explicit_bzero(piece, sizeof piece);
  return result == 0 ? appendBytes(text, "", 0) : result; /* so that an empty file has a text */
}

/* Reads the whole of an open file and closes it. */
static int readAndClose(int file, TLIBCSzText *text) {
  const int result = readAll(file, text);
  close(file);
  if (result != 0) wipeGrown(text);
  return result;
}

char *readFile(const char *path, size_t *length) {
  char *real = devicePath(path);
  if (real == NULL) return NULL;
  const int file = open(real, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  const int error = errno;
  free(real);
  if (file < 0) return failWithNull(error == ENOENT || error == ENOTDIR ? TLIBC_ERR_NOT_FOUND : TLIBC_ERR_OPEN_FAILED);
  TLIBCSzText text = {NULL, 0, 0};
  if (readAndClose(file, &text) != 0) return NULL;
  *length = text.length;
  return text.text;
}

int makeParents(const char *path) {
  char *real = devicePath(path);
  if (real == NULL) return -1;
  int result = 0;
  for (char *slash = strchr(real + 1, '/'); slash != NULL && result == 0; slash = strchr(slash + 1, '/')) {
    *slash = '\0';
    if (mkdir(real, 0755) != 0 && errno != EEXIST) result = fail(TLIBC_ERR_WRITE_FAILED);
    *slash = '/';
  }
  free(real);
  return result;
}

struct Update {
  int directory;
  const char *name; /* in the directory */
  mode_t new_mode;
  mode_t kept_mode;
  FileEdit *edit;
  void *context;
};

static bool writeAll(int file, const char *text, size_t length) {
  while (length > 0) {
    const ssize_t written = write(file, text, length);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    text += written;
    length -= (size_t)written;
  }
  return true;
}

/* `old` is null where there is no old file. */
static bool writeNew(const struct Update *update, int file, const struct stat *old, const TLIBCSzText *text) {
  mode_t mode = update->new_mode;
  if (old != NULL) {
    mode = (old->st_mode & update->kept_mode) | (update->new_mode & ~update->kept_mode);
    if (old->st_uid != geteuid() || old->st_gid != getegid()) {
      if (fchown(file, old->st_uid, old->st_gid) != 0) return false;
    }
  }
  return fchmod(file, mode) == 0 && writeAll(file, text->text, text->length) && fsync(file) == 0;
}

/* Puts a new file in the place of the old one. */
static int replace(const struct Update *update, const struct stat *old, const TLIBCSzText *text) {
  char name[NAME_MAX + 8];
  snprintf(name, sizeof name, ".%s.tmp", update->name);
  unlinkat(update->directory, name, 0); /* what a writer that was killed has left */
  const int file = openat(update->directory, name, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (file < 0) return fail(TLIBC_ERR_WRITE_FAILED);
  const bool is_written = writeNew(update, file, old, text);
  close(file);
  if (!is_written || renameat(update->directory, name, update->directory, update->name) != 0) {
    unlinkat(update->directory, name, 0);
    return fail(TLIBC_ERR_WRITE_FAILED);
  }
  if (fsync(update->directory) != 0 && errno != EINVAL) return fail(TLIBC_ERR_WRITE_FAILED);
  return 0;
}

static int editText(const struct Update *update, const struct stat *old, const TLIBCSzText *text) {
  TLIBCSzText result = {NULL, 0, 0};
  int edited = update->edit(update->context, text->text != NULL ? text->text : "", text->length, &result);
  if (edited > 0) edited = replace(update, old, &result);
  wipeGrown(&result);
  return edited;
}

/* Under the lock. */
static int rewrite(const struct Update *update) {
  TLIBCSzText text = {NULL, 0, 0};
  struct stat old;
  const int file = openat(update->directory, update->name, O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
  if (file < 0) return errno == ENOENT ? editText(update, NULL, &text) : fail(TLIBC_ERR_OPEN_FAILED);
  const bool is_regular = fstat(file, &old) == 0 && S_ISREG(old.st_mode);
  if (readAndClose(file, &text) != 0) return -1;
  const int result = is_regular ? editText(update, &old, &text) : fail(TLIBC_ERR_OPEN_FAILED);
  wipeGrown(&text);
  return result;
}

/* There is no lock that waits for a limited time. */
static bool lock(int file) {
  for (int waits = 0; flock(file, LOCK_EX | LOCK_NB) != 0; ++waits) {
    if ((errno != EWOULDBLOCK && errno != EINTR) || waits == kLockWaits) return false;
    usleep(kLockPause);
  }
  return true;
}

/* The lock is a file beside the file, for that is replaced. It is never removed: another writer may be about to lock
 * it. */
static int rewriteLocked(const struct Update *update) {
  char name[NAME_MAX + 8];
  snprintf(name, sizeof name, ".%s.lock", update->name);
  const int file = openat(update->directory, name, O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (file < 0) return fail(TLIBC_ERR_LOCK_FAILED);
  const int result = lock(file) ? rewrite(update) : fail(TLIBC_ERR_LOCK_FAILED);
  close(file);
  return result;
}

/* `real` is a path of this machine; it is changed. */
static int updateReal(char *real, struct Update *update) {
  char *slash = strrchr(real, '/');
  update->name = slash + 1;
  if (strlen(update->name) > NAME_MAX - 8) return fail(TLIBC_ERR_TOO_LONG);
  *slash = '\0';
  update->directory = open(*real != '\0' ? real : "/", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (update->directory < 0) return fail(errno == ENOENT ? TLIBC_ERR_NOT_FOUND : TLIBC_ERR_OPEN_FAILED);
  const int result = rewriteLocked(update);
  close(update->directory);
  return result;
}

int updateFile(const char *path, mode_t new_mode, mode_t kept_mode, FileEdit *edit, void *context) {
  struct Update update = {-1, NULL, new_mode, kept_mode, edit, context};
  char *named = devicePath(path);
  if (named == NULL) return -1;
  char *real = realpath(named, NULL); /* the file that a symbolic link names; null where there is none yet */
  const int result = updateReal(real != NULL ? real : named, &update);
  free(real);
  free(named);
  return result;
}
