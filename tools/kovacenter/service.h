// The service behind the sockets: answers requests, or misbehaves as it was told, and writes the journal.
#pragma once

#include <cstdint>
#include <optional>

#include "kovacenter/database.h"
#include "kovacenter/faults.h"
#include "kovacenter/journal.h"
#include "kovacenter/message.h"
#include "kovacenter/rules.h"
#include "kovacenter/state.h"

namespace kova::center {

// A reply and how to send it.
struct Answer {
  Reply reply;
  std::optional<FaultKind> fault;
  int64_t milliseconds = 0;  // of a delay or a drip
};

class Service {
 public:
  Service(const State &state, const Rules &rules);

  // The journal has the request when this returns.
  Answer answer(const Request &request);

 private:
  Answer decide(const Request &request);

  SQLite::Database database_;
  Journal journal_;
  Rules rules_;
};

}  // namespace kova::center
