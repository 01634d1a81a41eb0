#include "tarvkova/doctor_device.h"

#include <fcntl.h>
#include <kova/platform.h>
#include <kova/session.h>
#include <kova/transport.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

#include "base/descriptor.h"
#include "base/secret.h"
#include "tarvkova/device_files.h"
#include "tarvkova/doctor_files.h"
#include "tarvkova/stored_account.h"

namespace kova::cli {
namespace {

// Without the slash that keeps it from naming a file.
std::string shownRoot() {
  std::string root = devicePath("/");
  if (root.size() > 1) root.pop_back();
  return root;
}

// Why the platform knows no such entry.
Finding entryFailure(const std::string &entry) {
  const int number = TLIBCErrGet();
  const std::string path = devicePath(kDeviceFile);
  if (const int error = readError(path); error != 0 && error != ENOENT) return unreadable(path, error);
  char text[32];
  std::snprintf(text, sizeof text, "platform error 0x%04X", static_cast<unsigned>(number));
  std::string detail = number == TLIBC_ERR_NOT_FOUND   ? "the device has none"
                       : number == TLIBC_ERR_BAD_VALUE ? "what the device has is not valid"
                       : number == TLIBC_ERR_DEVICE    ? "no network interface has one"
                                                       : "it cannot be read";
  return {CheckState::kFailed, detail + " (" + text + ")",
          "a stand-alone device has it in " + path + ", as \"" + entry + "\""};
}

// Nothing where that cannot be told.
std::optional<bool> isSignedIn() {
  if (readStoredAccount()) return true;
  if (accountFileFailure()) return std::nullopt;
  return false;
}

}  // namespace

bool hasDeviceRoot() {
  struct stat status = {};
  return stat(devicePath("/").c_str(), &status) == 0;  // the slash at its end lets it be a directory only
}

Finding checkDeviceRoot() {
  const std::string root = shownRoot();
  struct stat status = {};
  if (stat(devicePath("/").c_str(), &status) != 0) {
    return {CheckState::kFailed, "cannot use the device root " + root + ": " + errorText(errno),
            "let KOVA_DEVICE_ROOT name the directory of a device"};
  }
  if (faccessat(AT_FDCWD, devicePath("/").c_str(), R_OK | X_OK, AT_EACCESS) != 0) return unreadable(root, errno);
  // The platform makes the others where they are missing.
  for (const std::string &directory :
       {devicePath("/etc"), nearestDirectory(devicePath("/etc/cron.d/")),
        nearestDirectory(devicePath("/var/lib/kova/")), nearestDirectory(devicePath("/var/log/kova/"))}) {
    if (const int error = tryToWriteIn(directory); error != 0) {
      return accessFailure("cannot write to", directory, error);
    }
  }
  const passwd *owner = getpwuid(status.st_uid);
  return {CheckState::kOk, root + ", owned by " + (owner != nullptr ? owner->pw_name : std::to_string(status.st_uid)) +
                               ", can be read and written"};
}

Finding checkSerialNumber() {
  char serial[256] = "";
  if (TARVKOVAGetSerialNumber(serial, sizeof serial) == 0) return {CheckState::kOk, serial};
  Finding finding = entryFailure("serial");
  if (TLIBGetCustomSerialNumber(serial, sizeof serial) >= 0 || TLIBGetSerialNumber(serial, sizeof serial) >= 0) {
    finding.detail = "\"" + std::string(serial) + "\" does not begin with a letter or digit";
  }
  return finding;
}

Finding checkMacAddress() {
  char address[64] = "";
  if (TARVCloudServiceGetMacAddress(address, sizeof address) >= 0) return {CheckState::kOk, address};
  return entryFailure("mac");
}

Finding checkApiKey() {
  char key[1024] = "";
  const WipedAtEnd wiped(key);
  const bool isRead = TARVCloudServiceGetApiKey(key, 0) >= 0;  // 0: none is made
  const int number = TLIBCErrGet();
  const std::string path = devicePath(kApiKeyFile);
  const int error = readError(path);
  if (error != 0 && error != ENOENT) return unreadable(path, error);
  if (!isRead && error == ENOENT && number == TLIBC_ERR_NOT_FOUND) {
    return {CheckState::kOk, "not made yet; the first sign-in makes it"};
  }
  if (!isRead) return {CheckState::kNote, path + " holds no key", "sign in: that makes a new one"};
  return modeFailure(path).value_or(Finding{CheckState::kOk, "there, and for its owner alone"});
}

Finding checkAccountFile() {
  const std::string path = devicePath(kAccountFile);
  const int error = readError(path);
  if (error == ENOENT) return {CheckState::kOk, "not signed in"};
  if (error != 0) return unreadable(path, error);
  const StoredAccount account = readStoredAccount();
  if (const std::string damage = account ? "" : accountDamage(); !damage.empty()) {
    return {CheckState::kFailed, damage, "sign in again with \"tarvkova login\""};
  }
  if (!account) return {CheckState::kOk, "not signed in; there is an account to be merged"};
  if (const auto failure = modeFailure(path)) return *failure;
  if (account->last_query_time == 0) {
    return {CheckState::kNote, "signed in, but " + path + " does not have the whole profile",
            "let the account have a full name and a language (\"tarvkova set\"), then \"tarvkova status --refresh\""};
  }
  return {CheckState::kOk, "signed in as " + std::string(account->kovaID)};
}

Finding checkSchedule() {
  const std::string table = devicePath(kScheduleFile);
  const int error = readError(table);
  if (error != 0 && error != ENOENT) return unreadable(table, error);
  // In another device root than the machine's, no cron reads the table.
  const CheckState missing = isWholeMachine() ? CheckState::kFailed : CheckState::kNote;
  if (!isReportScheduled()) {
    const std::optional<bool> signedIn = isSignedIn();
    if (!signedIn) {
      return {CheckState::kSkipped,
              "no weekly report in " + table + "; the account file cannot be read to tell whether one is needed"};
    }
    if (!*signedIn) return {CheckState::kOk, "no weekly report: the device is not signed in"};
    if (isReportDisabled()) {
      return {CheckState::kOk, "no weekly report: kova_disable_report is \"yes\" in " + devicePath(kInformationFile)};
    }
    return {missing, "no weekly report in " + table, "sign in again with \"tarvkova login\""};
  }
  const std::string_view command = KOVA_REPORT_COMMAND;
  const std::string program = devicePath(std::string(command.substr(0, command.find(' '))).c_str());
  if (access(program.c_str(), X_OK) != 0) {
    return {missing, "the weekly report cannot run " + program + ": " + errorText(errno), "install tarvkova there"};
  }
  if (isSignedIn() == false) {
    return {CheckState::kNote, "weekly report in " + table + ", although the device is not signed in",
            "remove it with \"tarvkova logout --local\""};
  }
  return {CheckState::kOk, "weekly report in " + table};
}

}  // namespace kova::cli
