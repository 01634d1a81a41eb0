/* Starting programs, plugins and services. */
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <pthread.h>
#include <signal.h>
#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "example.h"

/* Starts the program with `argv`; its standard output is `output` unless that is negative. Returns the error number. */
static int spawn(char *const argv[], int output, pid_t *child) {
  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;
  sigset_t none, all;
  sigemptyset(&none);
  sigfillset(&all);
  if (posix_spawn_file_actions_init(&actions) != 0) return ENOMEM;
  if (posix_spawnattr_init(&attributes) != 0) {
    posix_spawn_file_actions_destroy(&actions);
    return ENOMEM;
  }
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setsigdefault(&attributes, &all);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  int error = output >= 0 ? posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO) : 0;
  if (error == 0) error = posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
  if (error == 0) error = posix_spawn(child, argv[0], &actions, &attributes, argv, environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  return error;
}

/* The same for a path and the arguments after the program's name. */
static int start(const char *path, const char *const arguments[], int output, pid_t *child) {
  size_t count = 0;
  while (arguments != NULL && arguments[count] != NULL) ++count;
  const char **argv = calloc(count + 2, sizeof *argv);
  if (argv == NULL) return ENOMEM;
  argv[0] = path;
  if (count > 0) memcpy(argv + 1, arguments, count * sizeof *argv);
  const int error = spawn((char *const *)argv, output, child);
  free(argv);
  return error;
}

static int failWith(int error) {
  return fail(error == ENOMEM ? TLIBC_ERR_OUT_OF_MEMORY : TLIBC_ERR_EXEC_FAILED);
}

/* While programs are waited for, SIGCHLD is blocked and has its standard action: a caller that ignores it would leave
 * no exit status. */
struct ChildSignal {
  sigset_t mask;
  struct sigaction action;
};

static void holdChildSignal(struct ChildSignal *before) {
  sigset_t ends;
  struct sigaction standard = {.sa_handler = SIG_DFL};
  sigemptyset(&ends);
  sigaddset(&ends, SIGCHLD);
  pthread_sigmask(SIG_BLOCK, &ends, &before->mask);
  sigaction(SIGCHLD, &standard, &before->action);
}

static void restoreChildSignal(const struct ChildSignal *before) {
  sigaction(SIGCHLD, &before->action, NULL);
  pthread_sigmask(SIG_SETMASK, &before->mask, NULL);
}

/* Returns the error number. */
static int waitFor(pid_t child, int *status) {
  while (waitpid(child, status, 0) != child) {
    if (errno != EINTR) return errno;
  }
  return 0;
}

static int startAndWait(const char *path, const char *const arguments[]) {
  pid_t child = 0;
  int status = 0;
  int error = start(path, arguments, -1, &child);
  if (error == 0) error = waitFor(child, &status);
  if (error != 0) return failWith(error);
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

/* The program is started by a child that ends at once, so that init waits for it. */
static int startDetached(const char *path, const char *const arguments[]) {
  pid_t program = 0;
  int status = 0;
  const pid_t child = fork();
  if (child == 0) _exit(start(path, arguments, -1, &program)); /* an error number fits into an exit code */
  const int error = child < 0 ? errno : waitFor(child, &status);
  if (error != 0) return failWith(error);
  return status == 0 ? 0 : failWith(WEXITSTATUS(status));
}

int runProgram(const char *path, const char *const arguments[]) {
  struct ChildSignal before;
  holdChildSignal(&before);
  const int result = startAndWait(path, arguments);
  restoreChildSignal(&before);
  return result;
}

int TLIBCExecv(const char *program, const char *const arguments[], int wait) {
  if (program == NULL) return fail(TLIBC_ERR_BAD_PARAMETER);
  char *path = devicePath(program);
  if (path == NULL) return -1;
  struct ChildSignal before;
  holdChildSignal(&before);
  const int result = wait != 0 ? startAndWait(path, arguments) : startDetached(path, arguments);
  restoreChildSignal(&before);
  free(path);
  return result;
}

/* The programs between Popen and Pclose. */
struct Stream {
  FILE *stream;
  pid_t child;
  struct Stream *next;
};
static struct Stream *streams;
static pthread_mutex_t streams_mutex = PTHREAD_MUTEX_INITIALIZER;

static void addStream(struct Stream *added) {
  pthread_mutex_lock(&streams_mutex);
  added->next = streams;
  streams = added;
  pthread_mutex_unlock(&streams_mutex);
}

static struct Stream *takeStream(const FILE *stream) {
  pthread_mutex_lock(&streams_mutex);
  struct Stream **at = &streams;
  while (*at != NULL && (*at)->stream != stream) at = &(*at)->next;
  struct Stream *found = *at;
  if (found != NULL) *at = found->next;
  pthread_mutex_unlock(&streams_mutex);
  return found;
}

/* Starts the program on a new stream. Both ends of the pipe are this function's, until the stream has the one. */
static int openStream(struct Stream *stream, const char *path, const char *const arguments[]) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return fail(TLIBC_ERR_OPEN_FAILED);
  stream->stream = fdopen(ends[0], "r");
  const int error = stream->stream != NULL ? start(path, arguments, ends[1], &stream->child) : ENOMEM;
  close(ends[1]);
  if (error == 0) return 0;
  if (stream->stream != NULL)
    fclose(stream->stream);
  else
    close(ends[0]);
  return failWith(error);
}

FILE *TLIBCPopen(const char *program, const char *const arguments[], const char *mode) {
  if (program == NULL || mode == NULL || strcmp(mode, "r") != 0) return failWithNull(TLIBC_ERR_BAD_PARAMETER);
  struct Stream *stream = calloc(1, sizeof *stream);
  if (stream == NULL) return failWithNull(TLIBC_ERR_OUT_OF_MEMORY);
  char *path = devicePath(program);
  const int result = path != NULL ? openStream(stream, path, arguments) : -1;
  free(path);
  if (result == 0) {
    addStream(stream);
    return stream->stream;
  }
  free(stream);
  return NULL;
}

int TLIBCPclose(FILE *stream) {
  struct Stream *found = stream != NULL ? takeStream(stream) : NULL;
  if (found == NULL) return fail(TLIBC_ERR_BAD_PARAMETER);
  int status = 0;
  fclose(stream);
  const int error = waitFor(found->child, &status);
  free(found);
  /* A caller that ignores SIGCHLD leaves no status. */
  return error == 0 || error == ECHILD ? status : failWith(error);
}

struct TLIBPlugin {
  char *directory; /* of this machine */
};

static bool isPlainName(const char *name) {
  return *name != '\0' && strchr(name, '/') == NULL && strcmp(name, ".") != 0 && strcmp(name, "..") != 0;
}

/* What the library calls an action is one name or several with slashes between them. */
static bool isPlainPath(const char *path) {
  return *path != '\0' && *path != '/' && strstr(path, "..") == NULL;
}

/* APPLIANCE: the plugins are where its SDK has them. */
TLIBPlugin *TLIBPluginSDKInit(const char *package, const char *action) {
  if (package == NULL || action == NULL || !isPlainPath(package) || !isPlainPath(action)) {
    return failWithNull(TLIBC_ERR_BAD_PARAMETER);
  }
  char path[PATH_MAX];
  if (snprintf(path, sizeof path, "/usr/tarv/kova/plugin/%s/%s", package, action) >= (int)sizeof path) {
    return failWithNull(TLIBC_ERR_TOO_LONG);
  }
  TLIBPlugin *plugin = calloc(1, sizeof *plugin);
  if (plugin == NULL) return failWithNull(TLIBC_ERR_OUT_OF_MEMORY);
  plugin->directory = devicePath(path);
  if (plugin->directory != NULL) return plugin;
  free(plugin);
  return NULL;
}

/* Runs one plugin, where the entry of the directory is one. */
static bool runPlugin(const char *directory, const char *name, const char *const arguments[]) {
  char path[PATH_MAX];
  struct stat status;
  if (snprintf(path, sizeof path, "%s/%s", directory, name) >= (int)sizeof path) return false;
  if (stat(path, &status) != 0 || !S_ISREG(status.st_mode) || access(path, X_OK) != 0) return true;
  return runProgram(path, arguments) == 0;
}

int TLIBPluginAction(TLIBPlugin *plugin, int action) {
  if (plugin == NULL) return fail(TLIBC_ERR_BAD_PARAMETER);
  char number[16];
  snprintf(number, sizeof number, "%d", action);
  const char *const arguments[] = {number, NULL};
  struct dirent **entries = NULL;
  const int count = scandir(plugin->directory, &entries, NULL, alphasort);
  if (count < 0) return errno == ENOENT ? 0 : fail(TLIBC_ERR_OPEN_FAILED);
  bool have_succeeded = true;
  for (int i = 0; i < count; ++i) {
    have_succeeded &= runPlugin(plugin->directory, entries[i]->d_name, arguments);
    free(entries[i]);
  }
  free(entries);
  return have_succeeded ? 0 : fail(TLIBC_ERR_EXEC_FAILED);
}

void TLIBPluginExit(TLIBPlugin *plugin) {
  if (plugin != NULL) free(plugin->directory);
  free(plugin);
}

/* APPLIANCE: restart the service with its service manager. */
int TLIBServiceRestart(const char *name) {
  if (name == NULL || !isPlainName(name)) return fail(TLIBC_ERR_BAD_PARAMETER);
  char script[PATH_MAX];
  if (snprintf(script, sizeof script, "/usr/tarv/etc/rc.d/%s", name) >= (int)sizeof script) {
    return fail(TLIBC_ERR_TOO_LONG);
  }
  const char *const arguments[] = {"restart", NULL};
  return TLIBCExecv(script, arguments, 1) == 0 ? 0 : fail(TLIBC_ERR_EXEC_FAILED);
}
