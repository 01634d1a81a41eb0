#include "support/hooks.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <kova/kova.h>
#include <sys/auxv.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <utility>

namespace hooks {
namespace {

State current;
bool isInside = false;

// While this exists, the hooks' own allocations do not count.
class Inside {
 public:
  Inside() : was_(std::exchange(isInside, true)) {}
  Inside(const Inside &) = delete;
  Inside &operator=(const Inside &) = delete;
  ~Inside() { isInside = was_; }

 private:
  const bool was_;
};

std::size_t (*writeFunction)(const char *, std::size_t, std::size_t, void *) = nullptr;
void *writeData = nullptr;

template <class Function>
Function next(const char *name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

void capture(const char *format, va_list arguments) {
  const Inside inside;
  va_list again;
  va_copy(again, arguments);
  std::string line(static_cast<std::size_t>(std::vsnprintf(nullptr, 0, format, again)), '\0');
  va_end(again);
  std::vsnprintf(line.data(), line.size() + 1, format, arguments);
  current.log.push_back(std::move(line));
}

bool fails(const char *name, std::string_view text = {}) {
  const Inside inside;
  const std::string call = name;
  const Failing &failing = current.failing;  // without any, no copy is made of the text, which may be a secret
  if (!failing.empty() && failing.count(call) + failing.count(call + " " + std::string(text)) != 0) return true;
  if (!current.sweeps || ++current.calls < current.failAt || current.failAt == 0) return false;
  if (current.failed.empty()) current.failed = name;
  return current.calls == current.failAt || current.keepsFailing;
}

[[maybe_unused]] bool failsForMemory(const char *name) {
  return current.sweeps && !isInside && fails(name);
}

// Whether a test has chosen that this function fails.
bool isChosen(const char *name) {
  const Inside inside;
  return current.failing.count(name) != 0;
}

#ifndef KOVA_SANITIZE  // a sanitizer has its own
// Where the library or program lies that this address belongs to.
const void *imageOf(void *address) {
  dl_find_object image{};
  return _dl_find_object(address, &image) == 0 ? image.dlfo_map_start : nullptr;
}
#endif

// The handle, which counts as one that has to be released.
template <class Handle>
Handle *made(Handle *handle) {
  current.handles += handle != nullptr ? 1 : 0;
  return handle;
}

// Whether this system call fails.
bool isFailing(const char *name) {
  if (isInside) return false;
  const Inside inside;
  current.systemCalls.emplace_back(name);
  const auto number = static_cast<int>(current.systemCalls.size());
  if ((current.endWith == kCut && number == current.endAt) ||
      (current.endWith == kShortThenCut && number == current.endAt + 1))
    _exit(1);
  if (number != current.endAt || current.endWith <= 0) return false;
  errno = current.endWith;
  return true;
}

// How much of this a write takes.
std::size_t writable(std::size_t size) {
  const bool isShort = std::ssize(current.systemCalls) == current.endAt && current.endWith <= kShort;
  return isShort ? (size + 1) / 2 : size;
}

std::string lastOption(CURLoption option) {
  std::string last;
  for (const auto &[set, value] : current.options) last = set == option ? value : last;
  return last;
}

const Reply &takeReply() {
  static const Reply none{};
  return current.replies.empty() ? none
                                 : current.replies[std::min(current.attempts.size(), current.replies.size()) - 1];
}

}  // namespace

State &state() {
  return current;
}

void reset() {
  current = {};
}

}  // namespace hooks

using hooks::current;

// Fuzz targets have other stand-ins for these.
#pragma weak TLIBCPopen
#pragma weak TLIBCPclose
#pragma weak TLIBCExecv
#pragma weak TLIBServiceRestart

extern "C" {

void vsyslog(int priority, const char *format, va_list arguments) {
  if (priority == LOG_ERR) hooks::capture(format, arguments);
}
void __vsyslog_chk(int priority, int, const char *format, va_list arguments) {
  vsyslog(priority, format, arguments);
}

unsigned sleep(unsigned seconds) {
  // The fuzzer has a thread of its own that sleeps.
  if (gettid() != getpid()) return hooks::next<unsigned (*)(unsigned)>("sleep")(seconds);
  current.pauses.push_back(seconds);
  return 0;
}

time_t time(time_t *result) noexcept {
  const time_t now = current.now ? *current.now : hooks::next<time_t (*)(time_t *)>("time")(nullptr);
  if (result != nullptr) *result = now;
  return now;
}

#undef curl_easy_setopt
CURLcode curl_easy_setopt(CURL *handle, CURLoption option, ...) {
  const hooks::Inside inside;
  va_list arguments;
  va_start(arguments, option);
  CURLcode result = CURLE_OK;
  const auto real = hooks::next<CURLcode (*)(CURL *, CURLoption, ...)>("curl_easy_setopt");
  std::string shown;
  if (hooks::fails("curl_easy_setopt", curl_easy_option_by_id(option)->name)) {
    result = CURLE_UNKNOWN_OPTION;
  } else if (option < CURLOPTTYPE_OBJECTPOINT) {
    const long value = va_arg(arguments, long);
    shown = std::to_string(value);
    result = real(handle, option, value);
  } else {
    void *value = va_arg(arguments, void *);
    if (option == CURLOPT_WRITEFUNCTION)
      hooks::writeFunction = reinterpret_cast<decltype(hooks::writeFunction)>(value);
    else if (option == CURLOPT_WRITEDATA)
      hooks::writeData = value;
    else if (option == CURLOPT_HTTPHEADER)
      for (auto *entry = static_cast<curl_slist *>(value); entry != nullptr; entry = entry->next)
        shown += std::string("[") + entry->data + "]";
    else if (value != nullptr && (option != CURLOPT_POSTFIELDS || current.keepsForms))
      shown = static_cast<const char *>(value);
    result = real(handle, option, value);
  }
  va_end(arguments);
  current.options.emplace_back(option, shown);
  return result;
}

CURLcode curl_easy_perform(CURL *handle) {
  if (!current.wired) return hooks::next<CURLcode (*)(CURL *)>("curl_easy_perform")(handle);
  if (hooks::fails("curl_easy_perform")) return CURLE_RECV_ERROR;
  const hooks::Reply *reply = nullptr;
  {
    const hooks::Inside inside;
    const std::string family = hooks::lastOption(CURLOPT_IPRESOLVE);
    current.attempts.push_back({hooks::lastOption(CURLOPT_URL), hooks::lastOption(CURLOPT_POSTFIELDS),
                                family.empty() ? -1 : std::stol(family)});
    reply = &hooks::takeReply();
  }
  for (std::size_t at = 0; at < reply->body.size(); at += reply->chunk) {
    const std::size_t length = std::min(reply->chunk, reply->body.size() - at);
    if (hooks::writeFunction(reply->body.data() + at, 1, length, hooks::writeData) != length) return CURLE_WRITE_ERROR;
  }
  return reply->result;
}

#undef curl_easy_getinfo
CURLcode curl_easy_getinfo(CURL *handle, CURLINFO info, ...) {
  va_list arguments;
  va_start(arguments, info);
  long *value = va_arg(arguments, long *);
  va_end(arguments);
  if (hooks::fails("curl_easy_getinfo")) return CURLE_UNKNOWN_OPTION;
  if (!current.wired) return hooks::next<CURLcode (*)(CURL *, CURLINFO, ...)>("curl_easy_getinfo")(handle, info, value);
  *value = hooks::takeReply().status;
  return CURLE_OK;
}

// libcurl copies texts too: only the copy of a reply's body fails.
char *strdup(const char *text) noexcept {
  static const auto real = hooks::next<char *(*)(const char *)>("strdup");
  const bool isReply = !hooks::isInside && !current.attempts.empty() && hooks::takeReply().body == text;
  return isReply && hooks::fails("strdup") ? nullptr : real(text);
}

#define SYSTEM_CALL(type, name, parameters, arguments)               \
  type name parameters {                                             \
    static const auto real = hooks::next<type(*) parameters>(#name); \
    return hooks::isFailing(#name) ? -1 : real arguments;            \
  }
SYSTEM_CALL(ssize_t, read, (int fd, void *data, size_t size), (fd, data, size))
SYSTEM_CALL(ssize_t, pread64, (int fd, void *data, size_t size, off64_t at), (fd, data, size, at))
SYSTEM_CALL(ssize_t, write, (int fd, const void *data, size_t size), (fd, data, hooks::writable(size)))
SYSTEM_CALL(int, ftruncate64, (int fd, off64_t size) noexcept, (fd, size))
SYSTEM_CALL(int, fchmod, (int fd, mode_t mode) noexcept, (fd, mode))
SYSTEM_CALL(int, mkdir, (const char *path, mode_t mode) noexcept, (path, mode))
SYSTEM_CALL(int, unlink, (const char *path) noexcept, (path))
SYSTEM_CALL(int, unlinkat, (int directory, const char *name, int flags) noexcept, (directory, name, flags))
SYSTEM_CALL(int, renameat, (int from, const char *old, int to, const char *name) noexcept, (from, old, to, name))
int flock(int fd, int operation) noexcept {
  static const auto real = hooks::next<int (*)(int, int)>("flock");
  if (hooks::isFailing("flock")) return -1;
  if (!current.isLocked) return real(fd, operation);
  errno = EWOULDBLOCK;
  return -1;
}
int fsync(int) {
  return hooks::isFailing("fsync") ? -1 : 0;  // what it does can be seen only when the power fails
}

#define OPENING_CALL(name, parameters, arguments)                          \
  int name##64 parameters {                                                \
    va_list rest;                                                          \
    va_start(rest, flags);                                                 \
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0; \
    va_end(rest);                                                          \
    static const auto real = hooks::next<int(*) parameters>(#name "64");   \
    return hooks::isFailing(#name) ? -1 : real arguments;                  \
  }
OPENING_CALL(open, (const char *path, int flags, ...), (path, flags, mode))
OPENING_CALL(openat, (int directory, const char *path, int flags, ...), (directory, path, flags, mode))

// Waiting for a lock that is never given up takes no time.
int usleep(useconds_t microseconds) {
  static const auto real = hooks::next<int (*)(useconds_t)>("usleep");
  current.skipped += current.isLocked ? 1 : 0;
  return current.isLocked ? 0 : real(microseconds);
}
int clock_gettime(clockid_t clock, timespec *now) noexcept {
  static const auto real = hooks::next<int (*)(clockid_t, timespec *)>("clock_gettime");
  const int result = real(clock, now);
  now->tv_sec += current.skipped;
  return result;
}

unsigned long getauxval(unsigned long type) noexcept {
  static const auto real = hooks::next<unsigned long (*)(unsigned long)>("getauxval");
  return type == AT_SECURE && current.hasMoreRights ? 1 : real(type);
}

// A function that fails when a test says so, maybe only for one text, and is the real one otherwise.
#define FALLIBLE_FOR(text, type, name, parameters, arguments, failure)              \
  type name parameters {                                                            \
    static const auto real = hooks::next<type(*) parameters>(#name);                \
    return hooks::fails(#name, text) ? static_cast<type>(failure) : real arguments; \
  }
#define FALLIBLE(type, name, parameters, arguments, failure) \
  FALLIBLE_FOR("", type, name, parameters, arguments, failure)
// The same for one that makes a handle, and the function that releases it.
#define MAKING_FOR(text, type, name, parameters, arguments)                   \
  type *name parameters {                                                     \
    static const auto real = hooks::next<type *(*)parameters>(#name);         \
    return hooks::fails(#name, text) ? nullptr : hooks::made(real arguments); \
  }
#define MAKING(type, name, parameters, arguments) MAKING_FOR("", type, name, parameters, arguments)
#define RELEASING(result, name, type)                                \
  result name(type *handle) {                                        \
    static const auto real = hooks::next<result (*)(type *)>(#name); \
    current.handles -= handle != nullptr ? 1 : 0;                    \
    return real(handle);                                             \
  }

MAKING(CURL, curl_easy_init, (), ())
RELEASING(void, curl_easy_cleanup, CURL)
RELEASING(void, curl_slist_free_all, curl_slist)
RELEASING(void, curl_free, void)
MAKING(TLIBCSzList, TLIBCSzListAlloc, (size_t n), (n))
RELEASING(void, TLIBCSzListFree, TLIBCSzList)
MAKING(TLIBCSzHash, TLIBCSzHashAlloc, (size_t n), (n))
RELEASING(void, TLIBCSzHashFree, TLIBCSzHash)
MAKING(TLIBPlugin, TLIBPluginSDKInit, (const char *p, const char *a), (p, a))
RELEASING(void, TLIBPluginExit, TLIBPlugin)
MAKING(FILE, TLIBCPopen, (const char *p, const char *const a[], const char *m), (p, a, m))
RELEASING(int, TLIBCPclose, FILE)
MAKING(curl_slist, curl_slist_append, (curl_slist * l, const char *t), (l, t))
MAKING_FOR(t, char, curl_easy_escape, (CURL * c, const char *t, int n), (c, t, n))
FALLIBLE(DIR *, opendir, (const char *path), (path), nullptr)
FALLIBLE_FOR(std::string_view(static_cast<const char *>(d), n), int, MD5_Update, (void *c, const void *d, size_t n),
             (c, d, n), 0)
FALLIBLE(int, KovaDevicePath, (const char *p, char *b, size_t n), (p, b, n), -1)
FALLIBLE(int, TLIBCSzListPush, (TLIBCSzList * l, const char *t), (l, t), -1)
FALLIBLE(const char *, TLIBCSzListGet, (const TLIBCSzList *l, size_t i), (l, i), nullptr)
FALLIBLE_FOR(k, const char *, TLIBCSzHashGetValue, (const TLIBCSzHash *h, const char *k), (h, k), nullptr)
FALLIBLE_FOR(k, int, TLIBCSzHashSetValue, (TLIBCSzHash * h, const char *k, const char *v), (h, k, v), -1)
FALLIBLE(int, TLIBCSzHashEnumKey, (const TLIBCSzHash *h, TLIBCSzList *l), (h, l), -1)
FALLIBLE_FOR(t, int, TLIBCStrCat, (TLIBCSzText * b, const char *t), (b, t), -1)
FALLIBLE(int, TLIBCFileGetKeys, (const char *f, const TLIBCSzList *l, TLIBCSzHash *h, const char *s), (f, l, h, s), -1)
FALLIBLE(int, TLIBCFileSetKeys, (const char *f, const TLIBCSzHash *h, int n, const char *l), (f, h, n, l), -1)
FALLIBLE(int, TLIBCFileGetKeyValue, (const char *f, const char *k, char *b, size_t s, int n), (f, k, b, s, n), -1)
FALLIBLE(int, TLIBCFileCheckKeyValue, (const char *f, const char *k, const char *v, int n), (f, k, v, n), -1)
FALLIBLE(int, TLIBGetCustomSerialNumber, (char *b, size_t n), (b, n), -1)
FALLIBLE(int, TLIBGetSerialNumber, (char *b, size_t n), (b, n), -1)
FALLIBLE(int, TLIBVxinfoUserAgentGet, (const char *p, char *b, size_t n), (p, b, n), -1)
FALLIBLE_FOR(t, int, TARVEncodingBase64Decode, (const char *t, size_t n, char *o, size_t *l), (t, n, o, l), 0)
FALLIBLE(int, TLIBPluginAction, (TLIBPlugin * p, int a), (p, a), -1)
FALLIBLE(int, TARVCloudServiceGetMacAddress, (char *b, size_t n), (b, n), -1)
FALLIBLE(int, TARVCloudServiceGetApiKey, (char *k, int c), (k, c), -1)
FALLIBLE(int, TARVCloudServiceRegisterApiKey, (char *k), (k), -1)
FALLIBLE(int, TARVScheduleSet, (const TARVSchedule *s, int f), (s, f), 1)
FALLIBLE(int, TARVScheduleRemove, (const char *c), (c), -1)
FALLIBLE(int, TARVLogSet1, (int l, int s, uint32_t e, const char *a, const char *b, const char *c, const char *d),
         (l, s, e, a, b, c, d), -1)
FALLIBLE(int, TARVSysNotifySendNotifiction, (const char *n, const TLIBCSzHash *h), (n, h), -1)
FALLIBLE(int, TARVZoneGet, (char *b, size_t n, int32_t *s), (b, n, s), -1)
FALLIBLE(int, TARVZoneGetInfo, (const char *n, TLIBCSzHash **d), (n, d), -1)
FALLIBLE(int, TLIBCINFOSetKeyValue, (const char *k, const char *v), (k, v), -1)
FALLIBLE(int, TLIBCExecv, (const char *p, const char *const a[], int w), (p, a, w), -1)
FALLIBLE(int, TLIBServiceRestart, (const char *n), (n), 1)

// These are not swept, but a test may choose that they fail or what they tell.
#define CHOSEN(choice, name, parameters, arguments, told)           \
  int name parameters {                                             \
    static const auto real = hooks::next<int(*) parameters>(#name); \
    return hooks::isChosen(choice) ? (told) : real arguments;       \
  }
CHOSEN("fgetc", fgetc, (FILE * f), (f), EOF)
CHOSEN("fgetc", ferror, (FILE * f) noexcept, (f), 1)
CHOSEN("TLIBCErrGet", TLIBCErrGet, (), (), 0xABC)
CHOSEN("TARVCloudServiceGetErrorCode", TARVCloudServiceGetErrorCode, (), (), current.cloudError)
dirent *readdir(DIR *directory) {
  static const auto real = hooks::next<dirent *(*)(DIR *)>("readdir64");
  dirent *entry = real(directory);
  if (entry != nullptr && hooks::isChosen("d_type")) entry->d_type = DT_UNKNOWN;
  return entry;
}

#ifndef KOVA_SANITIZE  // a sanitizer has its own
void *__libc_malloc(size_t size) noexcept;

// The memory that libkova and its platform take from C. What libcurl and libc take themselves does not fail.
void *malloc(size_t size) noexcept {
  if (!current.sweeps) return __libc_malloc(size);
  static const void *const library = hooks::imageOf(hooks::next<void *>("TARVKOVAErrGet"));
  static const void *const platform = hooks::imageOf(hooks::next<void *>("TLIBCStrCat"));
  const void *caller = hooks::imageOf(__builtin_return_address(0));
  const bool isOurs = caller == library || caller == platform;
  return isOurs && hooks::failsForMemory("malloc") ? nullptr : __libc_malloc(size);
}
#endif
}

#ifndef KOVA_FUZZ
// Inlined, these would look to the compiler as if memory of one kind were freed as another.
[[gnu::noinline]] void *operator new(std::size_t size) {
  void *memory = hooks::failsForMemory("new") ? nullptr : std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
[[gnu::noinline]] void operator delete(void *memory) noexcept {
  std::free(memory);
}
[[gnu::noinline]] void operator delete(void *memory, std::size_t) noexcept {
  std::free(memory);
}
#endif

int TARVKOVAAccountScanExisting(Json::Value &result) {
  if (hooks::isChosen("TARVKOVAAccountScanExisting")) return TARVKOVAErrSet(23), -1;
  return hooks::next<int (*)(Json::Value &)>("_Z27TARVKOVAAccountScanExistingRN4Json5ValueE")(result);
}
