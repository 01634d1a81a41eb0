#include "kovacenter/request_line.h"

#include <json/value.h>

#include <algorithm>

#include "base/json.h"
#include "common/terminal_text.h"
#include "kovacenter/form.h"

namespace kova::center {
namespace {

constexpr std::size_t kNumber = 4;
constexpr std::size_t kMethod = 4;
constexpr std::size_t kTarget = 38;  // the longest host and path that the service has
constexpr std::size_t kAction = 12;
// What the columns beside the target take: those above, the time, the status, the result and the spaces between them.
constexpr std::size_t kBesideTarget = kNumber + 1 + 8 + 1 + kMethod + 1 + 1 + kAction + 1 + 3 + 1 + 18;

std::string column(std::string text, std::size_t width) {
  return text.append(width - std::min(width, displayWidth(text)) + 1, ' ');
}

// The result word of a reply, which is a member of a JSON object or stands alone; empty without one.
std::string resultWord(const std::string &reply) {
  const std::optional<Json::Value> object = parseJsonObject(reply);
  const Json::Value word = object ? object->get("code", "") : Json::Value(reply);
  const bool isWord = word.isString() &&
                      std::ranges::all_of(word.asString(), [](char c) { return (c >= 'a' && c <= 'z') || c == '_'; });
  return isWord ? word.asString() : std::string();
}

}  // namespace

std::optional<std::string> requestLine(std::string_view entry, std::optional<std::size_t> width) try {
  const std::optional<Json::Value> request = parseJsonObject(entry);
  if (!request || !request->isMember("n")) return std::nullopt;
  const auto text = [&](const char *name) { return printable(request->get(name, "").asString()); };

  const std::string number = text("n"), time = text("time"), fault = text("fault");
  const std::size_t room = width ? *width - std::min(*width, kBesideTarget) : std::string::npos;
  const std::string action = printable(actionOf(request->get("form", "").asString()));
  std::string result = resultWord(request->get("reply", "").asString());
  if (!fault.empty()) result += (result.empty() ? "fault " : ", fault ") + fault;

  std::string line(kNumber - std::min(kNumber, number.size()), ' ');
  line += number + ' ' + time.substr(std::min(time.find('T') + 1, time.size()), 8) + ' ';
  line +=
      column(text("method"), kMethod) + column(cutToWidth(text("host") + text("path"), room), std::min(kTarget, room));
  line += column(action.empty() ? "-" : cutToWidth(action, kAction), kAction) + text("status") + ' ';
  line += result.empty() ? "-" : result;
  return width ? cutToWidth(line, *width) : line;
} catch (const Json::Exception &) {
  return std::nullopt;  // a member is not a text
}

}  // namespace kova::center
