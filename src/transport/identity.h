// The device's identity as the operations use it.
#pragma once

#include <cstdint>

namespace kova {

// A serial number has up to 35 characters.
using Serial = char[36];

// The custom serial number or, where there is none, the factory one. Neither checks its characters nor logs. Returns 0
// or a negative number.
int readSerial(Serial &serial);

// The token of a text: 32 lowercase hexadecimal digits, cut to `size`. Logs its failures. Returns 0 or -1.
int TARVVxtokenGenerateToken(const char *text, char *token, int32_t size);

}  // namespace kova
