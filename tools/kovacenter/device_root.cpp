#include "kovacenter/device_root.h"

#include <fcntl.h>
#include <json/value.h>
#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "kovacenter/accounts.h"
#include "kovacenter/certificates.h"
#include "kovacenter/database.h"
#include "kovacenter/devices.h"
#include "kovacenter/diagnostic.h"
#include "kovacenter/digest.h"
#include "kovacenter/files.h"
#include "kovacenter/notifications.h"

namespace kova::center {
namespace {

constexpr const char *kDeviceFile = "etc.defaults/kovadevice.conf";
constexpr const char *kTrustedDirectory = "etc/ssl/certs/ca-certificates.crt";
// Is there while the device root is being made: it is written first and removed last.
constexpr const char *kUnfinished = ".kovacenter-unfinished";
constexpr mode_t kDirectoryMode = 0755;
constexpr mode_t kFileMode = 0644;
constexpr mode_t kProgramMode = 0755;

constexpr const char *kDirectories[] = {"etc.defaults",
                                        "etc/cron.d",
                                        kTrustedDirectory,
                                        "usr/tarv/etc/rc.d",
                                        "usr/tarv/etc/tarvddns",
                                        "usr/tarv/etc/tarvrelayd",
                                        "usr/tarv/kova/plugin/kova/kova/logout",
                                        "usr/tarv/sbin",
                                        "usr/tarv/share/kova",
                                        "usr/tarv/tarvkova/unify",
                                        "var/log/kova"};

constexpr std::string_view kDnsTool = R"(#!/bin/sh
# Tells the dynamic DNS account and host name of this device.
case $1 in
  --get-tarv-account) cat "$KOVA_DEVICE_ROOT/usr/tarv/etc/tarvddns/account" ;;
  --get-tarv-hostname) cat "$KOVA_DEVICE_ROOT/usr/tarv/etc/tarvddns/hostname" ;;
  *) exit 1 ;;
esac
)";

constexpr std::string_view kUnifyHook = R"(#!/bin/sh
# Notes which services were told to let go of their account.
printf '%s\n' "$KOVA_ABANDON_LIST" >>"$KOVA_DEVICE_ROOT/var/log/kova/unify.log"
)";

constexpr std::string_view kDnsService = R"(#!/bin/sh
# The dynamic DNS service of this device: notes that it was restarted.
[ "$1" = restart ] || exit 1
date -u +%Y-%m-%dT%H:%M:%SZ >>"$KOVA_DEVICE_ROOT/var/log/kova/ddns.log"
)";

// A line of a key file. Throws where the value could not be read back from it.
std::string keyLine(std::string_view key, std::string_view value) {
  const bool isPlain = std::ranges::none_of(
      value, [](char c) { return c == '"' || c == '\\' || std::iscntrl(static_cast<unsigned char>(c)) != 0; });
  if (!isPlain) throw std::invalid_argument("not a plain text: " + std::string(value));
  return std::string(key).append("=\"").append(value).append("\"\n");
}

// The line that the DNS tool prints; empty where the device has no dynamic DNS.
std::string lineOf(const std::string &text) {
  if (text.find('\n') != std::string::npos) throw std::invalid_argument("not one line: " + text);
  return text.empty() ? std::string() : text + "\n";
}

std::string randomSerial() {
  std::string serial = "2150KV";
  for (const char digit : randomHex(7).substr(0, 7)) serial += static_cast<char>('0' + digit % 10);
  return serial;
}

std::string randomMac() {
  const std::string digits = randomHex(5);
  std::string mac = "02";  // locally administered
  for (std::size_t i = 0; i < digits.size(); i += 2) mac += ":" + digits.substr(i, 2);
  return mac;
}

std::string deviceFile(const DeviceOptions &options) {
  std::string text = keyLine("serial", options.serial.empty() ? randomSerial() : options.serial);
  if (!options.customSerial.empty()) text += keyLine("custom_serial", options.customSerial);
  text += keyLine("mac", options.mac.empty() ? randomMac() : options.mac);
  return text + keyLine("user_agent", "kova/1.0 (development device)");
}

struct File {
  std::filesystem::path path;  // in the device root
  std::string content;
  mode_t mode = kFileMode;
};

std::string relayFile(const DeviceOptions &options) {
  Json::Value relay;
  relay["server_kova"]["account"] = options.relayAccount;
  relay["server_alias"]["alias"] = options.relayAlias;
  return relay.toStyledString();
}

// Throws where an option cannot be stored.
std::vector<File> deviceFiles(const State &state, const DeviceOptions &options) {
  const Credentials trusted = authorityCredentials(state);
  return {
      {kDeviceFile, deviceFile(options)},
      {std::filesystem::path(kTrustedDirectory) / hashedFileName(*trusted.certificate), readFile(state.authority())},
      {"etc.defaults/tarvinfo.conf",
       options.environment.empty() ? std::string() : keyLine("tarvpkg_server", options.environment)},
      {"etc/tarvinfo.conf", keyLine("language", "enu") + keyLine("timezone", "Europe/Berlin")},
      {"usr/tarv/etc/tarvrelayd/tarvrelayd.conf", relayFile(options)},
      {"usr/tarv/etc/tarvddns/account", lineOf(options.ddnsAccount)},
      {"usr/tarv/etc/tarvddns/hostname", lineOf(options.ddnsHost)},
      {"usr/tarv/share/kova/notifications.conf", kNotifications},
      {"usr/tarv/sbin/tarvddnsinfo", std::string(kDnsTool), kProgramMode},
      {"usr/tarv/tarvkova/unify/note", std::string(kUnifyHook), kProgramMode},
      {"usr/tarv/etc/rc.d/ddns", std::string(kDnsService), kProgramMode},
  };
}

// Gives the accounts the relay alias and the host name that the device has for them.
void setServices(SQLite::Database &database, const DeviceOptions &options) {
  if (std::optional<Account> account = findAccount(database, options.relayAccount)) {
    account->alias = options.relayAlias;
    saveAccount(database, *account);
  }
  if (std::optional<Account> account = findAccount(database, options.ddnsAccount)) {
    account->ddns = options.ddnsHost;
    saveAccount(database, *account);
  }
}

// Sets the mask that takes permissions from new files, for as long as it lives.
class Umask {
 public:
  explicit Umask(mode_t mask) : before_(umask(mask)) {}
  Umask(const Umask &) = delete;
  Umask &operator=(const Umask &) = delete;
  ~Umask() { umask(before_); }

 private:
  mode_t before_;
};

void makeDeviceRoot(const State &state, const DeviceOptions &options) {
  const std::filesystem::path &root = options.root;
  const std::vector<File> files = deviceFiles(state, options);
  const Umask umask(0777 & ~kDirectoryMode);
  std::filesystem::create_directories(root.parent_path());
  claimDirectory(root, kDirectoryMode, false);
  const std::filesystem::path unfinished = root / kUnfinished;
  if (std::filesystem::exists(unfinished)) {
    writeDiagnostic(root.string() + " was left half made; it is made anew");
  } else if (!options.force && !std::filesystem::is_empty(root)) {
    throw std::runtime_error(root.string() + " is not empty");
  }

  openFile(unfinished, O_WRONLY | O_CREAT, kFileMode);
  for (const char *directory : kDirectories) std::filesystem::create_directories(root / directory);
  for (const File &file : files) writeFile(root / file.path, file.content, file.mode);
  SQLite::Database database = openDatabase(state.database());
  SQLite::Transaction transaction = beginTransaction(database);
  addDeviceRoot(database, root);
  setServices(database, options);
  transaction.commit();
  std::filesystem::remove(unfinished);
}

// Whether the directory is a device root already. Throws where it trusts another authority than this state's.
bool isDeviceRoot(const State &state, const std::filesystem::path &root) {
  if (!std::filesystem::exists(root / kDeviceFile) || std::filesystem::exists(root / kUnfinished)) return false;
  claimDirectory(root, kDirectoryMode, false);
  const Credentials trusted = authorityCredentials(state);
  const std::filesystem::path file = root / kTrustedDirectory / hashedFileName(*trusted.certificate);
  if (!std::filesystem::exists(file) || readFile(file) != readFile(state.authority())) {
    throw std::runtime_error(root.string() + " trusts the service of another state");
  }
  return true;
}

}  // namespace

void provideDeviceRoot(const State &state, const DeviceOptions &options) {
  DeviceOptions none;
  none.root = options.root;
  if (options != none || !isDeviceRoot(state, options.root)) {
    makeDeviceRoot(state, options);
    return;
  }
  SQLite::Database database = openDatabase(state.database());
  addDeviceRoot(database, options.root);
}

}  // namespace kova::center
