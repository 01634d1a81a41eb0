#include "kovacenter/faults.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <iterator>
#include <stdexcept>

#include "kovacenter/files.h"

namespace kova::center {
namespace {

struct Kind {
  std::string_view name;
  int64_t least;  // of the number that follows the name; none follows when most is 0
  int64_t most;
  FaultKind kind;
  bool text;  // a text follows
};

constexpr int64_t kLongest = 3600000;

constexpr Kind kKinds[] = {
    {"status", 200, 599, FaultKind::kStatus, false},
    {"body", 0, 0, FaultKind::kBody, true},
    {"delay", 0, kLongest, FaultKind::kDelay, false},
    {"redirect", 300, 399, FaultKind::kRedirect, true},
    {"cut", 0, 0, FaultKind::kCut, false},
    {"reset", 0, 0, FaultKind::kReset, false},
    {"drip", 1, kLongest, FaultKind::kDrip, false},
    {"garbage", 0, 0, FaultKind::kGarbage, false},
    {"silence", 0, 0, FaultKind::kSilence, false},
};

const Kind &kindNamed(std::string_view name) {
  const auto *kind = std::ranges::find(kKinds, name, &Kind::name);
  if (kind == std::end(kKinds)) throw std::invalid_argument("unknown kind of fault: " + std::string(name));
  return *kind;
}

Fault faultOf(const Statement &row) {
  return {row.integer(0), row.text(1), row.text(2),   kindNamed(row.text(3)).kind,
          row.integer(4), row.text(5), row.integer(6)};
}

constexpr std::string_view kSelect = "SELECT id, script, action, kind, number, text, remaining FROM faults";

}  // namespace

std::string_view nameOf(FaultKind kind) {
  return std::ranges::find(kKinds, kind, &Kind::kind)->name;
}

void setKind(Fault &fault, const std::vector<std::string> &words) {
  const Kind &kind = kindNamed(words.at(0));
  const std::size_t expected = 1 + (kind.most > 0 ? 1 : 0) + (kind.text ? 1 : 0);
  if (words.size() != expected) {
    throw std::invalid_argument(words[0] + " takes " + std::to_string(expected - 1) + " argument(s)");
  }
  fault.kind = kind.kind;
  if (kind.most > 0) {
    const std::string &number = words[1];
    const char *end = number.data() + number.size();
    if (std::from_chars(number.data(), end, fault.number).ptr != end || fault.number < kind.least ||
        fault.number > kind.most) {
      throw std::invalid_argument(words[0] + " takes a number from " + std::to_string(kind.least) + " to " +
                                  std::to_string(kind.most));
    }
  }
  if (kind.text) {
    const std::string &text = words.back();
    const bool fromFile = kind.kind == FaultKind::kBody && text.starts_with('@');
    fault.text = fromFile ? readFile(text.substr(1)) : text;
    if (kind.kind == FaultKind::kRedirect && fault.text.find_first_of("\r\n") != std::string::npos) {
      throw std::invalid_argument("a location is one line");
    }
  }
}

void addFault(Database &store, const Fault &fault) {
  store.run("INSERT INTO faults (script, action, kind, number, text, remaining) VALUES (?, ?, ?, ?, ?, ?)",
            fault.script, fault.action, nameOf(fault.kind), fault.number, fault.text, fault.remaining);
}

std::vector<Fault> allFaults(Database &store) {
  std::vector<Fault> faults;
  Statement row = store.query(std::string(kSelect) + " ORDER BY id");
  while (row.step()) faults.push_back(faultOf(row));
  return faults;
}

void clearFaults(Database &store) {
  store.run("DELETE FROM faults");
}

std::optional<Fault> takeFault(Database &store, std::string_view script, std::string_view action) {
  Transaction transaction(store);
  std::optional<Fault> fault;
  {
    Statement row = store.query(
        std::string(kSelect) + " WHERE script IN ('', ?) AND action IN ('', ?) ORDER BY id LIMIT 1", script, action);
    if (row.step()) fault = faultOf(row);
  }
  if (!fault) return std::nullopt;
  store.run("UPDATE faults SET remaining = remaining - 1 WHERE id = ?", fault->id);
  store.run("DELETE FROM faults WHERE remaining < 1");
  transaction.commit();
  return fault;
}

}  // namespace kova::center
