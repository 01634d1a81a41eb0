// Ending as a signal wants it.
#pragma once

namespace kova::cli {

// Ends the program by the signal itself, so that a shell around it sees that and ends its loop, too.
[[noreturn]] void endBy(int signal);

}  // namespace kova::cli
