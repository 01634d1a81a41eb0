// What the library's error codes mean for the user of a command.
#pragma once

#include <json/value.h>

#include <string>

#include "tarvkova/outcome.h"

namespace kova::cli {

// What it means that the service refuses the credentials; this depends on what a command sent.
inline constexpr char kDeviceRefused[] = "the service no longer accepts this device; sign in again";
inline constexpr char kPasswordRefused[] = "the service does not accept this e-mail address and password";
inline constexpr char kCurrentPasswordRefused[] =
    "the service does not accept the current password, or no longer accepts this device";

// The failure that the library's error code stands for. Where its cause is a file of this device, it says which and
// why.
Failure libraryFailure(const char *refused = kDeviceRefused);

// The failure that a code of the library stands for.
Failure codeFailure(int code, const char *refused = kDeviceRefused);

Failure notSignedInFailure(const std::string &message);

// The same for an operation that tells the service the time zone: it alone fails without an error code, when the device
// cannot name its time zone.
Failure timeZoneOrLibraryFailure();

// A reply of the service without the keys that must not be shown.
Json::Value withoutKeys(Json::Value reply);

// The failure with the service's reply, if there was one: it may tell more.
Failure withReply(Failure failure, const Json::Value &reply);

// What is wrong with a file of this device of which the error code tells; empty where nothing is found.
std::string localReason(int code);

// What an error code of the library means, as a sentence without a full stop.
std::string errorMeaning(int code);

}  // namespace kova::cli
