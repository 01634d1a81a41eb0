// What the library itself uses of its unit: the device's serial number, and the token of a text.
#pragma once

#include <cstdint>

namespace kova {

// A serial number has up to 35 characters.
using SerialNumber = char[36];

// Reads the custom serial number or, where there is none, the factory one. Does not check its characters and logs
// nothing. Returns 0 or a negative number.
int readSerialNumber(SerialNumber &serialNumber);

// Writes the token of `text` into `token`: 32 lowercase hexadecimal digits and a NUL, cut to `size`. Logs its failures.
// Returns 0 or -1.
int TARVVxtokenGenerateToken(const char *text, char *token, int32_t size);

}  // namespace kova
