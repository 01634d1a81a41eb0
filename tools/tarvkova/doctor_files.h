// The device's files, as the checks of "tarvkova doctor" look at them.
#pragma once

#include <optional>
#include <string>

#include "tarvkova/doctor_finding.h"

namespace kova::cli {

// Whether the device root is the machine's own.
bool isWholeMachine();

std::string errorText(int error);

// 0 when the file can be read, else the system's error number.
int readError(const std::string &path);

// The failed check for a file or directory. `what` could not be done to it.
Finding accessFailure(const std::string &what, const std::string &path, int error);
Finding unreadable(const std::string &path, int error);

// What is wrong with the mode of a file that holds a key; nothing where only its owner can open it.
std::optional<Finding> modeFailure(const std::string &path);

}  // namespace kova::cli
