// Text for a terminal.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace kova {

// The UTF-8 text with a question mark in place of whatever a terminal would act on, cannot show or would not let a
// reader see: control characters, overrides of the writing direction, characters without width or shape, bytes that are
// not UTF-8.
std::string printable(std::string_view text);

// The columns that a printable text takes.
std::size_t displayWidth(std::string_view text);

// A printable text, cut to `width` columns; an ellipsis shows that it was cut.
std::string cutToWidth(std::string_view text, std::size_t width);

// The columns of the terminal that the descriptor stands for; nothing when it stands for something else.
std::optional<std::size_t> terminalWidth(int descriptor);

std::string_view withoutTrailingSpace(std::string_view text);

}  // namespace kova
