// The device's files, looked at to tell what keeps the library from using them.
#pragma once

#include <optional>
#include <string>

#include "tarvkova/outcome.h"

namespace kova::cli {

inline constexpr char kAccountFile[] = "/etc/kova.conf";
inline constexpr char kInformationFile[] = "/etc/tarvinfo.conf";
inline constexpr char kDeviceFile[] = "/etc.defaults/kovadevice.conf";
inline constexpr char kApiKeyFile[] = "/var/lib/kova/apikey";
inline constexpr char kRelayFile[] = "/usr/tarv/etc/tarvrelayd/tarvrelayd.conf";
inline constexpr char kScheduleFile[] = "/etc/cron.d/tarvkova";

// Where the file of the device lies.
std::string devicePath(const char *file);

// The directory that the file at this path is in, or would be made in.
std::string nearestDirectory(std::string path);

// Tries to make a file in the directory that is gone when it is closed, and to write to it. Returns 0 or the system's
// error number.
int tryToWriteIn(const std::string &directory);

// What keeps this program from reading the file, as a sentence with its path and the system's reason. Empty where
// nothing does, and where there is no such file.
std::string readObstacle(const char *file);

// The same for replacing the file, and for removing it. Nothing is changed.
std::string writeObstacle(const char *file);
std::string removeObstacle(const char *file);

// A message with such a reason behind it, if there is one.
std::string withReason(const std::string &message, const std::string &reason);

// Whether the weekly report is switched off.
bool isReportDisabled();

// Whether the weekly report is scheduled; also where that cannot be read.
bool isReportScheduled();

// What is wrong with an account file that can be opened; empty where it may be that of a device that is not signed in.
std::string accountDamage();

// Why there may be an account although the library finds none: the account file cannot be read, or is damaged.
std::optional<Failure> accountFileFailure();

// Their names.
inline constexpr char kAccountUnreadable[] = "account_unreadable";
inline constexpr char kAccountDamaged[] = "account_damaged";

}  // namespace kova::cli
