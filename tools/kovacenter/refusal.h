// The refusal of a request.
#pragma once

#include <exception>
#include <string>
#include <string_view>
#include <utility>

namespace kova::center {

// Ends a request with a result word other than "good".
class Refusal : public std::exception {
 public:
  Refusal(std::string_view word, std::string reason) : word_(word), reason_(std::move(reason)) {}
  const char *what() const noexcept override { return reason_.c_str(); }
  const std::string &word() const { return word_; }

 private:
  std::string word_;
  std::string reason_;
};

inline Refusal badParameter(std::string_view name) {
  return {"badparam", "Parameter missing or malformed: " + std::string(name)};
}

}  // namespace kova::center
