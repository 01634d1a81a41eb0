#include "kovacenter/service.h"

#include <string>
#include <string_view>
#include <utility>

#include "kovacenter/form.h"
#include "kovacenter/router.h"

namespace kova::center {
namespace {

constexpr std::string_view kGarbage = "\x16\x03\x01 this is no HTTP \r\n\xff\xfe\r\n\r\n";

// The reply that the fault sends instead of the true one; nothing where the true one is sent. Takes the fault's text.
std::optional<Reply> replacementOf(Fault &fault) {
  const int number = static_cast<int>(fault.number);
  switch (fault.kind) {
    case FaultKind::kStatus:
      return Reply{number, "text/plain", {}, {}};
    case FaultKind::kBody:
      return Reply{200, "text/html", std::move(fault.text), {}};
    case FaultKind::kRedirect:
      return Reply{number, "text/plain", {}, std::move(fault.text)};
    case FaultKind::kGarbage:
      return Reply{0, {}, std::string(kGarbage), {}};
    case FaultKind::kReset:
    case FaultKind::kSilence:
      return Reply{0, {}, {}, {}};
    case FaultKind::kDelay:
    case FaultKind::kCut:
    case FaultKind::kDrip:
      break;
  }
  return std::nullopt;
}

}  // namespace

Service::Service(const State &state, const Rules &rules)
    : database_(openDatabase(state.database())), journal_(state.journal()), rules_(rules) {}

Answer Service::decide(const Request &request) {
  const std::string script = request.path.substr(request.path.starts_with('/') ? 1 : 0);
  std::optional<Fault> fault = takeFault(database_, script, actionOf(request.form));
  if (!fault) return {replyTo(database_, rules_, request), std::nullopt, 0};
  std::optional<Reply> replacement = replacementOf(*fault);
  return {replacement ? std::move(*replacement) : replyTo(database_, rules_, request), fault->kind, fault->number};
}

Answer Service::answer(const Request &request) {
  Answer answer = decide(request);
  journal_.add(request, answer.reply, answer.fault ? nameOf(*answer.fault) : std::string_view());
  return answer;
}

}  // namespace kova::center
