#include "support/hooks.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <kova/kova.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>

namespace hooks {
namespace {

State current;
std::size_t (*writeFunction)(const char *, std::size_t, std::size_t, void *) = nullptr;
void *writeData = nullptr;

template <class Function>
Function next(const char *name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

void capture(const char *format, va_list arguments) {
  va_list again;
  va_copy(again, arguments);
  std::string line(static_cast<std::size_t>(std::vsnprintf(nullptr, 0, format, again)), '\0');
  va_end(again);
  std::vsnprintf(line.data(), line.size() + 1, format, arguments);
  current.log.push_back(std::move(line));
}

bool fails(const std::string &name, const char *text = "") {
  return current.failing.count(name) != 0 || current.failing.count(name + " " + text) != 0;
}

// Whether this system call fails.
bool isFailing(const char *name) {
  current.systemCalls.emplace_back(name);
  if (std::ssize(current.systemCalls) != current.failAt) return false;
  if (current.failWith == kCut) _exit(1);
  errno = current.failWith;
  return true;
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
    if (option == CURLOPT_WRITEFUNCTION) {
      hooks::writeFunction = reinterpret_cast<decltype(hooks::writeFunction)>(value);
    } else if (option == CURLOPT_WRITEDATA) {
      hooks::writeData = value;
    } else if (option == CURLOPT_HTTPHEADER) {
      for (auto *entry = static_cast<curl_slist *>(value); entry != nullptr; entry = entry->next) {
        shown += std::string("[") + entry->data + "]";
      }
    } else if (value != nullptr) {
      shown = static_cast<const char *>(value);
    }
    result = real(handle, option, value);
  }
  va_end(arguments);
  current.options.emplace_back(option, shown);
  return result;
}

CURLcode curl_easy_perform(CURL *handle) {
  if (!current.wired) return hooks::next<CURLcode (*)(CURL *)>("curl_easy_perform")(handle);
  const std::string family = hooks::lastOption(CURLOPT_IPRESOLVE);
  current.attempts.push_back(
      {hooks::lastOption(CURLOPT_URL), hooks::lastOption(CURLOPT_POSTFIELDS), family.empty() ? -1 : std::stol(family)});
  const hooks::Reply &reply = hooks::takeReply();
  for (std::size_t at = 0; at < reply.body.size(); at += reply.chunk) {
    const std::size_t length = std::min(reply.chunk, reply.body.size() - at);
    if (hooks::writeFunction(reply.body.data() + at, 1, length, hooks::writeData) != length) return CURLE_WRITE_ERROR;
  }
  return reply.result;
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
  const bool isReply = !current.attempts.empty() && hooks::takeReply().body == text;
  return isReply && hooks::fails("strdup") ? nullptr : real(text);
}

#define SYSTEM_CALL(type, name, parameters, arguments)               \
  type name parameters {                                             \
    static const auto real = hooks::next<type(*) parameters>(#name); \
    return hooks::isFailing(#name) ? -1 : real arguments;            \
  }
SYSTEM_CALL(int, flock, (int fd, int operation), (fd, operation))
SYSTEM_CALL(ssize_t, write, (int fd, const void *data, size_t size), (fd, data, size))
SYSTEM_CALL(int, fsync, (int fd), (fd))
SYSTEM_CALL(int, fchmod, (int fd, mode_t mode), (fd, mode))
SYSTEM_CALL(int, renameat, (int from, const char *old, int to, const char *name), (from, old, to, name))
int openat64(int directory, const char *path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  static const auto real = hooks::next<int (*)(int, const char *, int, ...)>("openat64");
  return hooks::isFailing("openat") ? -1 : real(directory, path, flags, mode);
}

// A function that fails when a test says so, maybe only for one text, and is the real one otherwise.
#define FALLIBLE_FOR(text, type, name, parameters, arguments, failure)              \
  type name parameters {                                                            \
    static const auto real = hooks::next<type(*) parameters>(#name);                \
    return hooks::fails(#name, text) ? static_cast<type>(failure) : real arguments; \
  }
#define FALLIBLE(type, name, parameters, arguments, failure) \
  FALLIBLE_FOR("", type, name, parameters, arguments, failure)

FALLIBLE(CURL *, curl_easy_init, (), (), nullptr)
FALLIBLE_FOR(t, char *, curl_easy_escape, (CURL * h, const char *t, int n), (h, t, n), nullptr)
FALLIBLE(char *, fgets, (char *b, int n, FILE *f), (b, n, f), nullptr)
FALLIBLE(int, ferror, (FILE * f) noexcept, (f), 1)
FALLIBLE(DIR *, opendir, (const char *path), (path), nullptr)
FALLIBLE_FOR(std::string(static_cast<const char *>(d), n).c_str(), int, MD5_Update, (void *c, const void *d, size_t n),
             (c, d, n), 0)
FALLIBLE(TLIBCSzList *, TLIBCSzListAlloc, (size_t n), (n), nullptr)
FALLIBLE(int, TLIBCSzListPush, (TLIBCSzList * l, const char *t), (l, t), -1)
FALLIBLE(TLIBCSzHash *, TLIBCSzHashAlloc, (size_t n), (n), nullptr)
FALLIBLE_FOR(k, const char *, TLIBCSzHashGetValue, (const TLIBCSzHash *h, const char *k), (h, k), nullptr)
FALLIBLE_FOR(k, int, TLIBCSzHashSetValue, (TLIBCSzHash * h, const char *k, const char *v), (h, k, v), -1)
FALLIBLE_FOR(t, int, TLIBCStrCat, (TLIBCSzText * b, const char *t), (b, t), -1)
FALLIBLE(int, TLIBCFileGetKeys, (const char *f, const TLIBCSzList *l, TLIBCSzHash *h, const char *s), (f, l, h, s), -1)
FALLIBLE(int, TLIBCFileSetKeys, (const char *f, const TLIBCSzHash *h, int n, const char *l), (f, h, n, l), -1)
FALLIBLE(int, TLIBGetCustomSerialNumber, (char *b, size_t n), (b, n), -1)
FALLIBLE(int, TLIBGetSerialNumber, (char *b, size_t n), (b, n), -1)
FALLIBLE(int, TLIBVxinfoUserAgentGet, (const char *p, char *b, size_t n), (p, b, n), -1)
FALLIBLE_FOR(t, int, TARVEncodingBase64Decode, (const char *t, size_t n, char *o, size_t *l), (t, n, o, l), 0)
FALLIBLE(TLIBPlugin *, TLIBPluginSDKInit, (const char *p, const char *a), (p, a), nullptr)
FALLIBLE(int, TLIBPluginAction, (TLIBPlugin * p, int a), (p, a), -1)
FALLIBLE(int, TARVCloudServiceGetErrorCode, (), (), hooks::current.cloudError)
FALLIBLE(int, TARVCloudServiceGetMacAddress, (char *b, size_t n), (b, n), -1)
FALLIBLE(int, TARVCloudServiceGetApiKey, (char *k, int c), (k, c), -1)
FALLIBLE(int, TARVCloudServiceRegisterApiKey, (char *k), (k), -1)
FALLIBLE(int, TARVScheduleSet, (const TARVSchedule *s, int f), (s, f), 1)
FALLIBLE(int, TARVSysNotifySendNotifiction, (const char *n, const TLIBCSzHash *h), (n, h), -1)
FALLIBLE(int, TARVZoneGet, (char *b, size_t n, int32_t *s), (b, n, s), -1)
FALLIBLE(int, TLIBCINFOSetKeyValue, (const char *k, const char *v), (k, v), -1)
FALLIBLE(int, TLIBServiceRestart, (const char *n), (n), 1)
FALLIBLE(int, TLIBCErrGet, (), (), 0xABC)
}

int TARVKOVAAccountScanExisting(Json::Value &result) {
  if (hooks::fails("TARVKOVAAccountScanExisting")) return TARVKOVAErrSet(23), -1;
  return hooks::next<int (*)(Json::Value &)>("_Z27TARVKOVAAccountScanExistingRN4Json5ValueE")(result);
}
