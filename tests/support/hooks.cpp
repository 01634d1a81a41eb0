#undef _FORTIFY_SOURCE                      // which defines some of what is replaced here
#pragma GCC diagnostic ignored "-Wvarargs"  // libcurl's functions of several arguments begin with an enumeration
#include "support/hooks.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <kova/kova.h>
#include <link.h>
#include <sys/auxv.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <type_traits>

namespace hooks {
namespace {

// The constructors of libraries run before that of `current`, and may call what is replaced here: nothing counts then.
int inside = 1;
[[gnu::init_priority(101)]] State current;  // outlasts the objects of other files
[[maybe_unused]] const int outside = --inside;

// While one of these exists, the hooks' own allocations and system calls do not count.
struct Inside {
  Inside() { ++inside; }
  Inside &operator=(Inside &&) = delete;
  ~Inside() { --inside; }
};

std::size_t (*writeFunction)(const char *, std::size_t, std::size_t, void *) = nullptr;
void *writeData = nullptr;

template <class Function>
Function next(const char *name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

bool fails(const char *name, std::string_view text = {}) {
  const Inside here;
  const std::string call = name;
  const Failing &failing = current.failing;  // without any, no copy is made of the text, which may be a secret
  if (!failing.empty() && failing.count(call) + failing.count(call + " " + std::string(text)) != 0) return true;
  if (!current.sweeps || ++current.calls < current.failAt || current.failAt == 0) return false;
  if (current.failed.empty()) current.failed = name;
  return current.calls == current.failAt || current.keepsFailing;
}

// What a call returned. A handle counts as one that has to be released; a pointer to what is constant is none.
template <class Result>
Result made(Result result) {
  if constexpr (std::is_pointer_v<Result> && !std::is_const_v<std::remove_pointer_t<Result>>)
    current.handles += result != nullptr ? 1 : 0;
  return result;
}

// Whether this system call fails.
bool isFailing(const char *name) {
  if (inside > 0) return false;
  const Inside here;
  current.systemCalls.emplace_back(name);
  const auto number = static_cast<int>(current.systemCalls.size());
  if (current.endWith == kCut && number == current.endAt) _exit(1);
  if (current.endWith == kShortThenCut && number == current.endAt + 1) _exit(1);
  const bool isHeld = current.isLocked && current.systemCalls.back() == "flock";
  if (!isHeld && (number != current.endAt || current.endWith <= 0)) return false;
  errno = isHeld ? EWOULDBLOCK : current.endWith;
  return true;
}

// How much of this a write takes.
std::size_t writable(std::size_t size) {
  const bool isShort = std::ssize(current.systemCalls) == current.endAt && current.endWith <= kShort;
  return isShort ? (size + 1) / 2 : size;
}

const Reply &takeReply() {
  static const Reply none{};
  const std::size_t last = std::min(current.attempts.size(), current.replies.size());
  return last == 0 ? none : current.replies[last - 1];
}

CURLcode perform() {
  if (fails("curl_easy_perform")) return CURLE_RECV_ERROR;
  {
    const Inside here;
    current.attempts.push_back(current.prepared);
  }
  const Reply &reply = takeReply();
  for (std::size_t at = 0; at < reply.body.size(); at += reply.chunk) {
    const std::size_t length = std::min(reply.chunk, reply.body.size() - at);
    if (writeFunction(reply.body.data() + at, 1, length, writeData) != length) return CURLE_WRITE_ERROR;
  }
  return reply.result;
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

// The function of this name that the program puts in front of the next one, which is `real`.
#define HOOK_AS(symbol, type, name, parameters, result)                                \
  type name parameters {                                                               \
    [[maybe_unused]] static const auto real = hooks::next<type(*) parameters>(symbol); \
    return result;                                                                     \
  }
#define HOOK(type, name, parameters, result) HOOK_AS(#name, type, name, parameters, result)
// A system call on files.
#define SYSTEM_CALL(type, name, parameters, arguments) \
  HOOK(type, name, parameters, hooks::isFailing(#name) ? -1 : real arguments)
// One that fails when a test says so, maybe only for one text.
#define FALLIBLE_FOR(text, type, name, parameters, arguments, failure) \
  HOOK(type, name, parameters, hooks::fails(#name, text) ? static_cast<type>(failure) : hooks::made(real arguments))
#define FALLIBLE(type, name, parameters, arguments, failure) \
  FALLIBLE_FOR("", type, name, parameters, arguments, failure)
// One that releases a handle.
#define RELEASING(result, name, type) \
  HOOK(result, name, (type * handle), (current.handles -= handle != nullptr ? 1 : 0, real(handle)))
// The functions that make and release a handle.
#define HANDLE(type, make, parameters, arguments, release) \
  FALLIBLE(type *, make, parameters, arguments, nullptr)   \
  RELEASING(void, release, type)
// One that is not swept. A test may choose that it fails or what it tells.
#define CHOSEN(choice, name, parameters, arguments, told) \
  HOOK(int, name, parameters, current.failing.contains(choice) ? (told) : real arguments)

extern "C" {

void vsyslog(int priority, const char *format, va_list arguments) {
  const hooks::Inside here;
  char *line = nullptr;
  if (priority == LOG_ERR && vasprintf(&line, format, arguments) >= 0) current.log.emplace_back(line);
  std::free(line);
}
// Called in its place where the compiler has arguments checked, like other names with two underscores below.
HOOK(void, __vsyslog_chk, (int priority, int, const char *format, va_list all), vsyslog(priority, format, all))

// With a 32-bit `long` the C library has another function for times of 64 bits, which its header means by this name.
HOOK_AS(sizeof(time_t) > sizeof(long) ? "__time64" : "time", time_t, time, (time_t *result) noexcept,
        result == nullptr && current.now ? *current.now : real(result))
// The fuzzer has a thread of its own that sleeps.
HOOK(unsigned, sleep, (unsigned n), gettid() != getpid() ? real(n) : (current.pauses.push_back(n), 0U))
// Waiting for a lock that is never given up takes no time.
HOOK(int, usleep, (useconds_t duration), current.isLocked ? (++current.skipped, 0) : real(duration))
HOOK(unsigned long, getauxval, (unsigned long n) noexcept, n == AT_SECURE && current.hasMoreRights ? 1 : real(n))
// With a time of the test's own, random numbers are zero.
HOOK(ssize_t, getrandom, (void *data, size_t size, unsigned flags),
     current.now ? (std::memset(data, 0, size), static_cast<ssize_t>(size)) : real(data, size, flags))

#undef curl_easy_setopt
CURLcode curl_easy_setopt(CURL *handle, CURLoption option, ...) {
  static const auto real = hooks::next<CURLcode (*)(CURL *, CURLoption, ...)>("curl_easy_setopt");
  const hooks::Inside here;
  va_list arguments;
  va_start(arguments, option);
  void *value = va_arg(arguments, void *);  // a number is passed alike
  va_end(arguments);
  const curl_easyoption &described = *curl_easy_option_by_id(option);
  if (hooks::fails("curl_easy_setopt", described.name)) return CURLE_UNKNOWN_OPTION;
  const bool isForm = option == CURLOPT_POSTFIELDS && current.keepsForms;
  std::string shown;
  if (option < CURLOPTTYPE_OBJECTPOINT) shown = std::to_string(reinterpret_cast<long>(value));
  if (described.type == CURLOT_STRING || isForm) shown = static_cast<const char *>(value);
  if (described.type == CURLOT_SLIST)
    for (auto *entry = static_cast<curl_slist *>(value); entry != nullptr; entry = entry->next)
      shown += std::string("[") + entry->data + "]";
  if (option == CURLOPT_WRITEFUNCTION) hooks::writeFunction = reinterpret_cast<decltype(hooks::writeFunction)>(value);
  if (option == CURLOPT_WRITEDATA) hooks::writeData = value;
  if (option == CURLOPT_URL) current.prepared.url = shown;
  if (option == CURLOPT_POSTFIELDS) current.prepared.form = shown;
  if (option == CURLOPT_IPRESOLVE) current.prepared.ipResolve = reinterpret_cast<long>(value);
  current.options.emplace_back(option, shown);
  return real(handle, option, value);
}

HOOK(CURLcode, curl_easy_perform, (CURL * handle), current.wired ? hooks::perform() : real(handle))

#undef curl_easy_getinfo
CURLcode curl_easy_getinfo(CURL *handle, CURLINFO info, ...) {
  va_list arguments;
  va_start(arguments, info);
  long *value = va_arg(arguments, long *);
  va_end(arguments);
  if (hooks::fails("curl_easy_getinfo")) return CURLE_UNKNOWN_OPTION;
  const bool isStandIn = current.wired && (info & CURLINFO_TYPEMASK) == CURLINFO_LONG;
  if (!isStandIn) return hooks::next<CURLcode (*)(CURL *, CURLINFO, ...)>("curl_easy_getinfo")(handle, info, value);
  *value = hooks::takeReply().status;
  return CURLE_OK;
}

// libcurl copies texts too: only the copy of a reply's body fails.
HOOK(char *, strdup, (const char *text) noexcept,
     !current.attempts.empty() && hooks::takeReply().body == text && hooks::fails("strdup") ? nullptr : real(text))

SYSTEM_CALL(ssize_t, read, (int fd, void *data, size_t size), (fd, data, size))
SYSTEM_CALL(ssize_t, pread64, (int fd, void *data, size_t size, off64_t at), (fd, data, size, at))
SYSTEM_CALL(ssize_t, write, (int fd, const void *data, size_t size), (fd, data, hooks::writable(size)))
SYSTEM_CALL(int, ftruncate64, (int fd, off64_t size) noexcept, (fd, size))
SYSTEM_CALL(int, fchmod, (int fd, mode_t mode) noexcept, (fd, mode))
SYSTEM_CALL(int, mkdir, (const char *path, mode_t mode) noexcept, (path, mode))
SYSTEM_CALL(int, unlink, (const char *path) noexcept, (path))
SYSTEM_CALL(int, unlinkat, (int directory, const char *name, int flags) noexcept, (directory, name, flags))
SYSTEM_CALL(int, renameat, (int from, const char *old, int to, const char *name) noexcept, (from, old, to, name))
SYSTEM_CALL(int, flock, (int fd, int operation) noexcept, (fd, operation))
// What it does can be seen only when the power fails.
HOOK(int, fsync, (int), hooks::isFailing("fsync") ? -1 : 0)

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
HOOK(int, __open64_2, (const char *path, int flags), open64(path, flags))
HOOK(int, __openat64_2, (int directory, const char *path, int flags), openat64(directory, path, flags))
HOOK(ssize_t, __pread64_chk, (int fd, void *data, size_t size, off64_t at, size_t), pread64(fd, data, size, at))

HANDLE(CURL, curl_easy_init, (), (), curl_easy_cleanup)
HANDLE(curl_slist, curl_slist_append, (curl_slist * l, const char *t), (l, t), curl_slist_free_all)
HANDLE(TLIBCSzList, TLIBCSzListAlloc, (size_t n), (n), TLIBCSzListFree)
HANDLE(TLIBCSzHash, TLIBCSzHashAlloc, (size_t n), (n), TLIBCSzHashFree)
HANDLE(TLIBPlugin, TLIBPluginSDKInit, (const char *p, const char *a), (p, a), TLIBPluginExit)
FALLIBLE(FILE *, TLIBCPopen, (const char *p, const char *const a[], const char *m), (p, a, m), nullptr)
RELEASING(int, TLIBCPclose, FILE)
RELEASING(void, curl_free, void)
FALLIBLE_FOR(t, char *, curl_easy_escape, (CURL * c, const char *t, int n), (c, t, n), nullptr)
HOOK(DIR *, opendir, (const char *path), hooks::fails("opendir") ? nullptr : real(path))
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
CHOSEN("fgetc", fgetc, (FILE * f), (f), EOF)
CHOSEN("fgetc", ferror, (FILE * f) noexcept, (f), 1)
CHOSEN("TLIBCErrGet", TLIBCErrGet, (), (), 0xABC)
CHOSEN("TARVCloudServiceGetErrorCode", TARVCloudServiceGetErrorCode, (), (), current.cloudError)
dirent *readdir(DIR *directory) {
  static const auto real = hooks::next<dirent *(*)(DIR *)>("readdir64");
  dirent *entry = real(directory);
  if (entry != nullptr && current.failing.contains("d_type")) entry->d_type = DT_UNKNOWN;
  return entry;
}

#ifndef KOVA_SANITIZE  // a sanitizer has its own
void *__libc_malloc(size_t size) noexcept;
void __libc_free(void *memory) noexcept;

// The memory that libkova and its platform take from C. What libcurl and libc take themselves does not fail.
[[gnu::noinline]] void *malloc(size_t size) noexcept {
  dl_find_object caller;
  const bool isOurs = current.sweeps && _dl_find_object(__builtin_return_address(0), &caller) == 0 &&
                      std::strstr(caller.dlfo_link_map->l_name, "libkova") != nullptr;
  return isOurs && hooks::fails("malloc") ? nullptr : __libc_malloc(size);
}
void free(void *memory) noexcept {
  if (!current.keepsMemory) __libc_free(memory);
}
#endif
}

#ifndef KOVA_FUZZ
// Inlined, these would look to the compiler as if memory of one kind were freed as another.
[[gnu::noinline]] void *operator new(std::size_t size) {
  void *memory = current.sweeps && hooks::inside == 0 && hooks::fails("new") ? nullptr : std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
[[gnu::noinline]] void *operator new(std::size_t size, const std::nothrow_t &) noexcept try {
  return operator new(size);
} catch (const std::bad_alloc &) {
  return nullptr;
}
[[gnu::noinline]] void operator delete(void *memory) noexcept {
  std::free(memory);
}
[[gnu::noinline]] void operator delete(void *memory, std::size_t) noexcept {
  std::free(memory);
}
#endif

// Which function of the C library this calls is a matter of the C++ library's own build.
std::chrono::steady_clock::time_point std::chrono::steady_clock::now() noexcept {
  if (current.isLocked) return time_point(std::chrono::seconds(current.skipped));
  return hooks::next<time_point (*)()>("_ZNSt6chrono3_V212steady_clock3nowEv")();
}

int TARVKOVAAccountScanExisting(Json::Value &result) {
  if (current.failing.contains("TARVKOVAAccountScanExisting")) return TARVKOVAErrSet(23), -1;
  return hooks::next<int (*)(Json::Value &)>("_Z27TARVKOVAAccountScanExistingRN4Json5ValueE")(result);
}
