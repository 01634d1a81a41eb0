#include <ifaddrs.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <netpacket/packet.h>
#include <openssl/evp.h>
#include <sys/random.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cctype>
#include <cstddef>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "base/descriptor.h"
#include "base/hexadecimal.h"
#include "base/json.h"
#include "base/release.h"
#include "base/secret.h"
#include "base/text.h"
#include "platform/device.h"
#include "platform/device_path.h"
#include "platform/file.h"
#include "platform/json_lines.h"
#include "platform/last_error.h"
#include "platform/text.h"

namespace kova::platform {
namespace {

constexpr std::string_view kKeyFile = "/var/lib/kova/apikey";
// The account service for development reads from this file which key the device has registered.
constexpr std::string_view kEnrolmentFile = "/var/lib/kova/apikey.enrolled";
constexpr mode_t kPrivateFile = 0600;
constexpr mode_t kPrivateDirectory = 0700;
constexpr std::size_t kRandomBytes = 32;
constexpr std::size_t kKeyBufferSize = 1024;

// All failures of this layer have their cause on the device: it needs no network.
constexpr int kNoCloudError = 0;
constexpr int kDeviceError = 2;

// The number of this layer's last failure.
std::atomic<int> cloudError{kNoCloudError};

template <class Work>
int withCloudError(Work &&work) noexcept {
  const int result = withLastError(-1, work);
  if (result < 0) cloudError = kDeviceError;
  return result;
}

SecretText newKey() {
  std::array<unsigned char, kRandomBytes> bytes;
  const WipedAtEnd wiped(bytes);
  const ssize_t count = retried([&] { return getrandom(bytes.data(), bytes.size(), 0); });
  if (count != static_cast<ssize_t>(bytes.size())) throw Failure{TLIBC_ERR_DEVICE};
  SecretText key(2 * bytes.size(), '0');
  writeHexadecimal(key.data(), bytes);
  return key;
}

// The key in the text of the key file; empty where the text is not a key.
SecretText keyIn(std::string_view text) {
  const std::string_view key = trimmed(text, isSpace);
  const bool isKey = key.size() < kKeyBufferSize && std::ranges::all_of(key, [](char c) { return c > ' '; });
  return SecretText(isKey ? key : "");
}

SecretText storedKey() {
  try {
    return keyIn(readFile(devicePath(kKeyFile)));
  } catch (const Failure &failure) {
    if (failure.number != TLIBC_ERR_NOT_FOUND) throw;
    return "";
  }
}

// The path of the key file, whose directory exists from then on.
std::string keyFileToWrite() {
  std::string path = devicePath(kKeyFile);
  makeParentDirectory(path, kPrivateDirectory);
  return path;
}

SecretText storeFirstKey() {
  SecretText key;
  const FileEdit store = [&](std::string_view text) -> std::optional<SecretText> {
    key = keyIn(text);
    if (!key.empty()) return std::nullopt;  // another process has stored one meanwhile
    key = newKey();
    return key + "\n";
  };
  updateFile(keyFileToWrite(), kPrivateFile, store, ExistingMode::kReplaced);
  return key;
}

SecretText enrolmentOf(std::string_view key) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest;
  unsigned size = 0;
  if (EVP_Digest(key.data(), key.size(), digest.data(), &size, EVP_sha256(), nullptr) != 1) {
    throw Failure{TLIBC_ERR_DEVICE};
  }
  const std::string sha256 = hexadecimal({digest.data(), size});
  Json::Value enrolment;
  enrolment["serial"] = jsonText(serialNumber());
  enrolment["sha256"] = sha256;
  return SecretText(jsonLine(enrolment) + "\n");
}

// Makes a new key known to the service, then stores it. Where storing fails, the device has a key that the service no
// longer knows, and so will register again. Both files are written under the key file's lock, so that two processes
// cannot leave keys of different registrations in them.
SecretText registerKey() {
  SecretText key = newKey();
  SecretText enrolment = enrolmentOf(key);
  updateFile(
      keyFileToWrite(), kPrivateFile,
      [&](std::string_view) {
        const FileEdit enrol = [&](std::string_view) { return std::move(enrolment); };
        updateFile(devicePath(kEnrolmentFile), kPrivateFile, enrol, ExistingMode::kReplaced);
        return key + "\n";
      },
      ExistingMode::kReplaced);
  return key;
}

// The address of a network interface; nothing for the loopback and what is not like an Ethernet interface.
std::optional<std::array<unsigned char, 6>> hardwareAddress(const ifaddrs &interface) {
  if (interface.ifa_addr == nullptr || interface.ifa_addr->sa_family != AF_PACKET) return std::nullopt;
  sockaddr_ll link;
  std::memcpy(&link, interface.ifa_addr, sizeof link);
  std::array<unsigned char, 6> address{};
  if (link.sll_hatype != ARPHRD_ETHER || link.sll_halen != address.size()) return std::nullopt;
  std::copy_n(link.sll_addr, address.size(), address.begin());
  const bool isZero = std::ranges::all_of(address, [](unsigned char byte) { return byte == 0; });
  if (isZero || (interface.ifa_flags & IFF_LOOPBACK) != 0) return std::nullopt;
  return address;
}

bool isMacAddress(std::string_view text) {
  if (text.size() != 17) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool good = i % 3 == 2 ? text[i] == ':' : std::isxdigit(static_cast<unsigned char>(text[i])) != 0;
    if (!good) return false;
  }
  return true;
}

std::string firstInterfaceAddress() {
  ifaddrs *first = nullptr;
  if (getifaddrs(&first) != 0) throw Failure{TLIBC_ERR_DEVICE};
  const std::unique_ptr<ifaddrs, Release<freeifaddrs>> interfaces(first);
  for (const ifaddrs *interface = first; interface != nullptr; interface = interface->ifa_next) {
    const auto address = hardwareAddress(*interface);
    if (!address) continue;
    std::string text;
    for (std::size_t i = 0; i < address->size(); ++i) {
      if (i > 0) text += ':';
      text += hexadecimal({&(*address)[i], 1});
    }
    return text;
  }
  throw Failure{TLIBC_ERR_DEVICE};
}

}  // namespace
}  // namespace kova::platform

using namespace kova::platform;
using kova::copyText;
using kova::SecretText;

int TARVCloudServiceGetErrorCode(void) {
  return cloudError;
}

int TARVCloudServiceGetMacAddress(char *buffer, std::size_t size) {
  return withCloudError([&] {
    require(buffer != nullptr && size > 0);
    const std::optional<std::string> given = deviceEntry("mac");
    if (given && !isMacAddress(*given)) throw Failure{TLIBC_ERR_BAD_VALUE};
    copyText(buffer, size, given ? *given : firstInterfaceAddress());
    return 0;
  });
}

int TARVCloudServiceGetApiKey(char *key, int create) {
  return withCloudError([&] {
    require(key != nullptr);
    SecretText stored = storedKey();
    if (stored.empty() && create != 0) stored = storeFirstKey();
    if (stored.empty()) throw Failure{TLIBC_ERR_NOT_FOUND};
    copyText(key, kKeyBufferSize, stored);
    return 0;
  });
}

int TARVCloudServiceRegisterApiKey(char *key) {
  return withCloudError([&] {
    require(key != nullptr);
    copyText(key, kKeyBufferSize, registerKey());
    return 0;
  });
}
