// Form parameters as they were sent, and the refusal of a request.
#pragma once

#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kova::center {

// Ends a request with a result word other than "good".
class Refusal : public std::exception {
 public:
  Refusal(std::string_view word, std::string why) : word_(word), why_(std::move(why)) {}
  const char *what() const noexcept override { return why_.c_str(); }
  const std::string &word() const { return word_; }

 private:
  std::string word_;
  std::string why_;
};

inline Refusal badParameter(std::string_view name) {
  return {"badparam", "Parameter missing or malformed: " + std::string(name)};
}

// Decoded parameters in the order sent; of a name that comes twice, the last counts.
class Form {
 public:
  Form() = default;
  explicit Form(std::string_view text);  // throws a Refusal of what is no form

  const std::vector<std::pair<std::string, std::string>> &pairs() const { return pairs_; }
  const std::string *find(std::string_view name) const;

  // These throw a Refusal when the parameter is missing, empty or no boolean.
  const std::string &need(std::string_view name) const;
  const std::string &needText(std::string_view name) const;
  std::optional<bool> flag(std::string_view name) const;

 private:
  std::vector<std::pair<std::string, std::string>> pairs_;
};

// The elements of a comma list; none for an empty one.
std::vector<std::string> splitList(std::string_view list);

}  // namespace kova::center
