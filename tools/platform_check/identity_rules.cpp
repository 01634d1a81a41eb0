// Serial numbers, user agent, MAC address, API key.
#include <algorithm>
#include <cctype>
#include <cstring>

#include "platform_check/children.h"
#include "platform_check/rule.h"

namespace kova::check {
namespace {

constexpr std::size_t kKeySize = 1024;

// The text that a function writes into a buffer; not judged where this device does not have it.
template <class Call>
std::string textOf(const Check &check, const char *what, Call call) {
  char buffer[kKeySize] = "";
  if (call(buffer, sizeof buffer) < 0) {
    check.expect(check->TLIBCErrGet() != TLIBC_ERR_NONE, "a failure leaves no error");
    throw NotJudged{std::string("the device has no ") + what};
  }
  const bool isPlain = std::ranges::all_of(std::string_view(buffer), [](char c) { return c >= ' ' && c <= '~'; });
  check.expect(isPlain && buffer[0] != '\0', shown(buffer) + " is not a printable text");
  return buffer;
}

template <auto Functions::*function>
void cutsSerialNumber(const Check &check) {
  const auto call = [&](char *buffer, std::size_t size) { return (check.operator->()->*function)(buffer, size); };
  const std::string serial = textOf(check, "such serial number", call);
  check.cuts(serial, call);
  check.refusesNull([&] { return call(nullptr, 64); });
}

int userAgent(const Check &check, char *buffer, std::size_t size) {
  return check->TLIBVxinfoUserAgentGet("kova", buffer, size);
}

int macAddress(const Check &check, char *buffer, std::size_t size) {
  return check->TARVCloudServiceGetMacAddress(buffer, size);
}

// The device's API key; empty where it has none.
std::string apiKey(const Check &check, bool create) {
  char key[kKeySize];
  std::memset(key, '#', sizeof key);
  if (check->TARVCloudServiceGetApiKey(key, create ? 1 : 0) < 0) return "";
  const std::size_t length = strnlen(key, sizeof key);
  check.expect(length > 0 && length < sizeof key, "the key is empty or not NUL-terminated");
  return {key, length};
}

std::string newApiKey(const Check &check) {
  std::string key = apiKey(check, true);
  check.expect(!key.empty(), "no key is made");
  return key;
}

// A new process sees what is stored.
void expectStored(const Check &check, const std::string &key) {
  const int status = waitForChild(
      inChild([&] { check.expect(apiKey(check, false) == key, "another process gets another key, or none"); }));
  check.expect(WIFEXITED(status) && WEXITSTATUS(status) == kWorkDone, "ends another process that asks for the key");
}

constexpr Rule kRules[] = {
    {"TLIBGetCustomSerialNumber", "cut",
     "a serial number that is too long is cut and NUL-terminated; null is a failure",
     cutsSerialNumber<&Functions::TLIBGetCustomSerialNumber>},
    {"TLIBGetSerialNumber", "cut", "a serial number that is too long is cut and NUL-terminated; null is a failure",
     cutsSerialNumber<&Functions::TLIBGetSerialNumber>},
    {"TLIBVxinfoUserAgentGet", "cut", "is a printable text; one that is too long is cut and NUL-terminated",
     [](const Check &check) {
       const auto call = [&](char *buffer, std::size_t size) { return userAgent(check, buffer, size); };
       check.cuts(textOf(check, "user agent", call), call);
     }},
    {"TLIBVxinfoUserAgentGet", "null", "null is a failure",
     [](const Check &check) {
       char buffer[64];
       check.refusesNull([&] { return userAgent(check, nullptr, sizeof buffer); });
       check.refusesNull([&] { return check->TLIBVxinfoUserAgentGet(nullptr, buffer, sizeof buffer); });
     }},
    {"TARVCloudServiceGetMacAddress", "form", "is six bytes in hexadecimal with colons between them",
     [](const Check &check) {
       const auto call = [&](char *buffer, std::size_t size) { return macAddress(check, buffer, size); };
       const std::string mac = textOf(check, "network interface", call);
       bool isGood = mac.size() == 17;
       for (std::size_t i = 0; i < mac.size(); ++i) {
         isGood &= i % 3 == 2 ? mac[i] == ':' : std::isxdigit(static_cast<unsigned char>(mac[i])) != 0;
       }
       check.expect(isGood, shown(mac) + " is not a MAC address such as \"00:11:32:aa:bb:cc\"");
       check.cuts(mac, call);
     }},
    {"TARVCloudServiceGetMacAddress", "null", "null is a failure",
     [](const Check &check) { check.refusesNull([&] { return macAddress(check, nullptr, 64); }); }},
    {"TARVCloudServiceGetErrorCode", "cause", "a failure on the device leaves neither 0 nor 1",
     [](const Check &check) {
       check.equal(check->TARVCloudServiceGetErrorCode(), 0, "before the first failure");
       macAddress(check, nullptr, 64);
       const int code = check->TARVCloudServiceGetErrorCode();
       check.expect(code != 0 && code != 1, "after null: " + std::to_string(code));
     }},
    {"TARVCloudServiceGetApiKey", "none", "without \"create\" a device that has no key does not get one",
     [](const Check &check) {
       if (!check.root.isScratch() && !apiKey(check, false).empty()) throw NotJudged{"the device has a key"};
       char key[kKeySize];
       for (int time = 0; time < 2; ++time) {
         check.fails("a call", TLIBC_ERR_NOT_FOUND, [&] { return check->TARVCloudServiceGetApiKey(key, 0); });
       }
     },
     Touches::kDevice},
    {"TARVCloudServiceGetApiKey", "create", "with \"create\" a device gets a key, which stays the same and is stored",
     [](const Check &check) {
       const std::string key = newApiKey(check);
       check.expect(apiKey(check, true) == key, "a second call gives another key");
       check.expect(apiKey(check, false) == key, "without \"create\" there is another key, or none");
       expectStored(check, key);
     },
     Touches::kDevice},
    {"TARVCloudServiceGetApiKey", "private", "the file with the key is for its owner alone",
     [](const Check &check) {
       umask(0);
       const std::string key = newApiKey(check);
       const auto files = check.root.filesWith(key);
       if (files.empty()) throw NotJudged{"no file written below the root since the check began holds the key"};
       for (const auto &file : files) {
         struct stat status = {};
         stat(file.c_str(), &status);
         check.expect((status.st_mode & (S_IRWXG | S_IRWXO)) == 0, file.string() + " is open to group or others");
       }
     },
     Touches::kDevice},
    {"TARVCloudServiceGetApiKey", "null", "null is a failure",
     [](const Check &check) { check.refusesNull([&] { return check->TARVCloudServiceGetApiKey(nullptr, 0); }); }},
    {"TARVCloudServiceRegisterApiKey", "registers", "makes another key and stores it; a failure keeps the stored one",
     [](const Check &check) {
       const std::string before = newApiKey(check);
       char key[kKeySize] = "";
       if (check->TARVCloudServiceRegisterApiKey(key) < 0) {
         check.expect(apiKey(check, false) == before, "a failure leaves another key, or none");
         const int cause = check->TARVCloudServiceGetErrorCode();
         throw NotJudged{"the key cannot be registered, error code " + std::to_string(cause)};
       }
       check.expect(before != key, "the key is the same as before");
       check.expect(apiKey(check, false) == key, "the key that is read then is another one, or none");
       expectStored(check, key);
     },
     Touches::kDevice},
    {"TARVCloudServiceRegisterApiKey", "null", "null is a failure that keeps the stored key",
     [](const Check &check) {
       const std::string before = newApiKey(check);
       check.refusesNull([&] { return check->TARVCloudServiceRegisterApiKey(nullptr); });
       check.expect(apiKey(check, false) == before, "leaves another key, or none");
     },
     Touches::kDevice},
};

}  // namespace

std::span<const Rule> identityRules() {
  return kRules;
}

}  // namespace kova::check
