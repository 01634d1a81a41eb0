// The lines of a text.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace kova::platform {

struct Line {
  std::string_view text;
  std::string_view end;  // "\n", "\r\n", "\r", or empty where the last line lacks it
};

// Goes through a text line by line. The places of the next LF and the next CR are kept, so that each byte of the text
// is searched only once for either.
class Lines {
 public:
  explicit Lines(std::string_view text) : text_(text), newline_(find('\n')), carriageReturn_(find('\r')) {}

  bool next(Line &line) {
    if (position_ == text_.size()) return false;
    if (newline_ < position_) newline_ = find('\n');
    if (carriageReturn_ < position_) carriageReturn_ = find('\r');
    const std::size_t end = std::min(newline_, carriageReturn_);
    line.text = text_.substr(position_, end - position_);
    position_ = end;
    if (position_ == carriageReturn_ && position_ < text_.size()) ++position_;
    if (position_ == newline_ && position_ < text_.size()) ++position_;
    line.end = text_.substr(end, position_ - end);
    return true;
  }

 private:
  std::size_t find(char c) const { return std::min(text_.find(c, position_), text_.size()); }

  std::string_view text_;
  std::size_t position_ = 0;
  std::size_t newline_;
  std::size_t carriageReturn_;
};

// The line end to write into this text: that of its first line.
inline std::string_view lineEndOf(std::string_view text) {
  Line first;
  return Lines(text).next(first) && first.end == "\r\n" ? "\r\n" : "\n";
}

}  // namespace kova::platform
