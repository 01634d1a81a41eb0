#include "kovacenter/faults.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <iterator>
#include <stdexcept>

#include "kovacenter/files.h"

namespace kova::center {
namespace {

constexpr int64_t kMostMilliseconds = 3600000;

// How a kind of fault is given: its name, a number, a text.
struct Syntax {
  std::string_view name;
  int64_t least;  // the number's range; without a number both are 0
  int64_t most;
  FaultKind kind;
  bool hasText;

  bool hasNumber() const { return most > 0; }
};

constexpr Syntax kSyntaxes[] = {
    {"status", 200, 599, FaultKind::kStatus, false},
    {"body", 0, 0, FaultKind::kBody, true},
    {"delay", 0, kMostMilliseconds, FaultKind::kDelay, false},
    {"redirect", 300, 399, FaultKind::kRedirect, true},
    {"cut", 0, 0, FaultKind::kCut, false},
    {"reset", 0, 0, FaultKind::kReset, false},
    {"drip", 1, kMostMilliseconds, FaultKind::kDrip, false},
    {"garbage", 0, 0, FaultKind::kGarbage, false},
    {"silence", 0, 0, FaultKind::kSilence, false},
};

const Syntax &syntaxOf(std::string_view name) {
  const auto *syntax = std::ranges::find(kSyntaxes, name, &Syntax::name);
  if (syntax == std::end(kSyntaxes)) throw std::invalid_argument("unknown kind of fault: " + std::string(name));
  return *syntax;
}

Fault faultOf(const SQLite::Statement &row) {
  const auto text = [&](int column) { return row.getColumn(column).getString(); };
  const auto number = [&](int column) { return row.getColumn(column).getInt64(); };
  return {number(0), text(1), text(2), syntaxOf(text(3)).kind, number(4), text(5), number(6)};
}

constexpr std::string_view kSelect = "SELECT id, script, action, kind, number, text, remaining FROM faults";

}  // namespace

std::string_view nameOf(FaultKind kind) {
  return std::ranges::find(kSyntaxes, kind, &Syntax::kind)->name;
}

void setKind(Fault &fault, const std::vector<std::string> &words) {
  const Syntax &syntax = syntaxOf(words.at(0));
  const std::size_t expected = 1 + (syntax.hasNumber() ? 1 : 0) + (syntax.hasText ? 1 : 0);
  if (words.size() != expected) {
    throw std::invalid_argument(words[0] + " takes " + std::to_string(expected - 1) + " argument(s)");
  }
  fault.kind = syntax.kind;
  if (syntax.hasNumber()) {
    const std::string &number = words[1];
    const char *end = number.data() + number.size();
    if (std::from_chars(number.data(), end, fault.number).ptr != end || fault.number < syntax.least ||
        fault.number > syntax.most) {
      throw std::invalid_argument(words[0] + " takes a number from " + std::to_string(syntax.least) + " to " +
                                  std::to_string(syntax.most));
    }
  }
  if (syntax.hasText) {
    const std::string &text = words.back();
    const bool isFile = syntax.kind == FaultKind::kBody && text.starts_with('@');
    fault.text = isFile ? readFile(text.substr(1)) : text;
    if (syntax.kind == FaultKind::kRedirect && fault.text.find_first_of("\r\n") != std::string::npos) {
      throw std::invalid_argument("a location is one line");
    }
  }
}

void addFault(SQLite::Database &database, const Fault &fault) {
  execute(database, "INSERT INTO faults (script, action, kind, number, text, remaining) VALUES (?, ?, ?, ?, ?, ?)",
          fault.script, fault.action, std::string(nameOf(fault.kind)), fault.number, fault.text, fault.remaining);
}

std::vector<Fault> allFaults(SQLite::Database &database) {
  std::vector<Fault> faults;
  SQLite::Statement row = prepare(database, std::string(kSelect) + " ORDER BY id");
  while (row.executeStep()) faults.push_back(faultOf(row));
  return faults;
}

void clearFaults(SQLite::Database &database) {
  execute(database, "DELETE FROM faults");
}

std::optional<Fault> takeFault(SQLite::Database &database, const std::string &script, const std::string &action) {
  SQLite::Transaction transaction = beginTransaction(database);
  std::optional<Fault> fault;
  {
    SQLite::Statement row =
        prepare(database, std::string(kSelect) + " WHERE script IN ('', ?) AND action IN ('', ?) ORDER BY id LIMIT 1",
                script, action);
    if (row.executeStep()) fault = faultOf(row);
  }
  if (!fault) return std::nullopt;
  execute(database, "UPDATE faults SET remaining = remaining - 1 WHERE id = ?", fault->id);
  execute(database, "DELETE FROM faults WHERE remaining < 1");
  transaction.commit();
  return fault;
}

}  // namespace kova::center
