// Device root and last error.
#include <cstdlib>

#include "platform_check/key_file.h"

namespace kova::check {
namespace {

std::string devicePath(const Check &check, const char *path) {
  char buffer[4096] = "";
  const int length = check.succeeds(path, [&] { return check->KovaDevicePath(path, buffer, sizeof buffer); });
  check.equal(length, static_cast<long long>(std::string(buffer).size()), "the length returned");
  return buffer;
}

constexpr Rule kRules[] = {
    {kRootRule.function, kRootRule.name,
     "puts the directory of KOVA_DEVICE_ROOT in front, also for the other functions",
     [](const Check &check) {
       check.equal(devicePath(check, kAccountFile), check.root.at(kAccountFile).string(), "the path");
       setKeys(check, {{"key", "value"}});
       check.expect(check.root.read(kKeyFile) != "(no file)", "the key file is elsewhere");
     }},
    {"KovaDevicePath", "no-root", "an unset or empty KOVA_DEVICE_ROOT is \"/\"",
     [](const Check &check) {
       setenv("KOVA_DEVICE_ROOT", "", 1);
       check.equal(devicePath(check, "/etc/kova.conf"), "/etc/kova.conf", "with an empty one");
       unsetenv("KOVA_DEVICE_ROOT");
       check.equal(devicePath(check, "/etc/kova.conf"), "/etc/kova.conf", "with an unset one");
     }},
    {"KovaDevicePath", "size", "a path that does not fit is a failure, not cut",
     [](const Check &check) {
       const std::string path = devicePath(check, "/etc/kova.conf");
       std::string buffer(path.size() + 1, '#');
       check.succeeds("a buffer that is just large enough",
                      [&] { return check->KovaDevicePath("/etc/kova.conf", buffer.data(), buffer.size()); });
       check.fails("a buffer that is one byte too small", TLIBC_ERR_TOO_LONG,
                   [&] { return check->KovaDevicePath("/etc/kova.conf", buffer.data(), path.size()); });
     }},
    {"KovaDevicePath", "null", "null is a failure",
     [](const Check &check) {
       char buffer[64];
       check.refusesNull([&] { return check->KovaDevicePath(nullptr, buffer, sizeof buffer); });
       check.refusesNull([&] { return check->KovaDevicePath("/etc", nullptr, 64); });
     }},
    {"TLIBCErrGet", "none", "is TLIBC_ERR_NONE before the first failure",
     [](const Check &check) { check.equal(check->TLIBCErrGet(), TLIBC_ERR_NONE, "in a new process"); }},
    {"TLIBCErrGet", "last", "is the number of the last failure, and stays it after a success",
     [](const Check &check) {
       const Hash hash(check);
       hash.set("key", "value");
       check->TLIBCSzHashGetValue(hash.get(), "absent");
       check.equal(check->TLIBCErrGet(), TLIBC_ERR_NOT_FOUND, "after a key that is absent");
       check->TLIBCSzHashGetValue(hash.get(), "key");
       check.equal(check->TLIBCErrGet(), TLIBC_ERR_NOT_FOUND, "after a key that is there");
       check->TLIBCSzHashGetValue(hash.get(), nullptr);
       check.equal(check->TLIBCErrGet(), TLIBC_ERR_BAD_PARAMETER, "after null");
     }},
};

}  // namespace

std::span<const Rule> pathRules() {
  return kRules;
}

}  // namespace kova::check
