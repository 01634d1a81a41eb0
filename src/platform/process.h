// Starting programs: without a shell, with the environment and the descriptors 0 to 2 only, and with the default
// disposition of every signal. Programs are named by where they lie on this machine; what cannot be started throws.
#pragma once

#include <string>

namespace kova::platform {

// Runs `program` to its end. `arguments` ends with null or is null. Returns the exit code, or 128 and the number of the
// signal that ended it.
int run(const std::string &program, const char *const arguments[]);

}  // namespace kova::platform
