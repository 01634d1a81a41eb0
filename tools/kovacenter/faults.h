// The misbehaviour that the service has been told to show.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kovacenter/database.h"

namespace kova::center {

enum class FaultKind {
  kStatus,    // an HTTP status with an empty body
  kBody,      // a body of its own, with status 200
  kDelay,     // the true reply, late
  kRedirect,  // a redirect status and a location
  kCut,       // the true reply, closed half-way through the body
  kReset,     // closed without a reply
  kDrip,      // the true reply, a byte at a time
  kGarbage,   // something that is not HTTP
  kSilence    // never a reply
};

struct Fault {
  int64_t id = 0;
  std::string script;  // empty: any
  std::string action;  // empty: any
  FaultKind kind = FaultKind::kStatus;
  int64_t number = 0;     // status, or milliseconds
  std::string text;       // body, or location
  int64_t remaining = 1;  // requests that will still meet it
};

std::string_view nameOf(FaultKind kind);

// Sets the fault's kind, number and text from words such as {"redirect", "307", "https://..."}. Throws where they are
// wrong.
void setKind(Fault &fault, const std::vector<std::string> &words);

void addFault(SQLite::Database &database, const Fault &fault);
std::vector<Fault> allFaults(SQLite::Database &database);
void clearFaults(SQLite::Database &database);

// The oldest fault that applies to the action of the script; it then remains for one request fewer.
std::optional<Fault> takeFault(SQLite::Database &database, const std::string &script, const std::string &action);

}  // namespace kova::center
