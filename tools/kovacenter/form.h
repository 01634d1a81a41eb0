// The form parameters of a request.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kova::center {

// Decoded parameters in the order in which they were sent. Of a name that comes twice, the last one counts.
class Form {
 public:
  Form() = default;
  explicit Form(std::string_view text);  // throws a Refusal where the text is not a form

  const std::vector<std::pair<std::string, std::string>> &pairs() const { return pairs_; }
  const std::string *find(std::string_view name) const;  // null: not among them

  // These throw a Refusal where the parameter is not what they promise.
  const std::string &need(std::string_view name) const;       // there
  const std::string &needText(std::string_view name) const;   // there and not empty
  std::optional<bool> findFlag(std::string_view name) const;  // "true" or "false", or not there: nothing

 private:
  std::vector<std::pair<std::string, std::string>> pairs_;
};

// The action that the form names; empty where it names none or is not a form.
std::string actionOf(std::string_view form);

// The elements of a comma-separated list; none for an empty text.
std::vector<std::string> splitList(std::string_view list);

}  // namespace kova::center
