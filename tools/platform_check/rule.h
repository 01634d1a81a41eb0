// What a rule is, and what it checks a platform with.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform_check/device_root.h"
#include "platform_check/functions.h"

namespace kova::check {

// The kinds of a report's records. A record is its kind, its text, and a NUL.
inline constexpr char kFinding = 'F';
inline constexpr char kNotJudged = 'N';
inline constexpr char kDone = 'D';  // the last one, of a rule that was checked to its end

// The text in quotes, escaped and cut for a message.
std::string shown(std::string_view text);

// What a rule's checking function works with, in a process of its own.
class Check {
 public:
  Check(const Functions &functions, const DeviceRoot &root, int report)
      : root(root), platform_(functions), report_(report) {}

  // check->F is the platform's function F.
  const Functions *operator->() const { return &platform_; }

  // Adds a record to the report.
  void report(char kind, std::string text) const;
  // Something that the platform does wrong.
  void finding(const std::string &text) const;
  void expect(bool holds, const std::string &elseFinding) const {
    if (!holds) finding(elseFinding);
  }
  void equal(std::string_view seen, std::string_view expected, const std::string &what) const;
  void equal(long long seen, long long expected, const std::string &what) const;

  // The result of a call that must not fail. A success leaves the last error alone.
  template <class Call>
  auto succeeds(const std::string &what, Call call) const {
    const int before = otherError(TLIBC_ERR_BAD_PARAMETER);
    const auto result = call();
    const int after = platform_.TLIBCErrGet();
    if (isFailure(result)) {
      finding(what + " fails " +
              (after == before ? "and does not set the last error" : "with error " + errorText(after)));
    } else if (after != before) {
      finding(what + " succeeds and changes the last error from " + errorText(before) + " to " + errorText(after));
    }
    return result;
  }
  // A call that must fail and leave the number; TLIBC_ERR_NONE stands for any number.
  template <class Call>
  void fails(const std::string &what, int number, Call call) const {
    if (number != TLIBC_ERR_NONE) otherError(number);
    expect(isFailure(call()), what + " does not fail");
    const int seen = platform_.TLIBCErrGet();
    if (number == TLIBC_ERR_NONE ? seen == number : seen != number) {
      finding(what + " leaves the last error " + errorText(seen) + ", expected " +
              (number == TLIBC_ERR_NONE ? "another" : errorText(number)));
    }
  }
  template <class Call>
  void refusesNull(Call call) const {
    fails("a call with null", TLIBC_ERR_BAD_PARAMETER, call);
  }
  // Holds a function that writes a text of `expected` into a buffer to every size of the buffer.
  template <class Call>
  void cuts(std::string_view expected, Call call) const;

  const DeviceRoot &root;

 private:
  static bool isFailure(bool hasSucceeded) { return !hasSucceeded; }
  static bool isFailure(int result) { return result < 0; }
  template <class T>
  static bool isFailure(T *result) {
    return result == nullptr;
  }
  static std::string errorText(int number);
  // Makes the last error another one than `number`, where the platform lets it; returns it.
  int otherError(int number) const;

  const Functions &platform_;
  int report_;
};

template <class Call>
void Check::cuts(std::string_view expected, Call call) const {
  for (std::size_t size = 1; size <= expected.size() + 2; ++size) {
    std::string buffer(size + 1, '#');
    succeeds("a buffer of " + std::to_string(size) + " bytes", [&] { return call(buffer.data(), size); });
    expect(buffer[size] == '#', "writes behind a buffer of " + std::to_string(size) + " bytes");
    const std::string written = buffer.substr(0, size);
    const std::size_t end = written.find('\0');
    if (end == std::string::npos) {
      finding("a buffer of " + std::to_string(size) + " bytes is not NUL-terminated");
    } else {
      equal(written.substr(0, end), expected.substr(0, size - 1), "in a buffer of " + std::to_string(size) + " bytes");
    }
  }
}

struct Rule {
  const char *function;
  const char *name;
  const char *sentence;  // what must hold
  void (*check)(const Check &check);
  Touches touches = Touches::kOwnFiles;
};

// What must hold before rules may touch what would be the device's own in a root that the platform does not honour.
struct RuleName {
  const char *function;
  const char *name;
};
inline constexpr RuleName kRootRule{"KovaDevicePath", "root"};

// By group of functions; kRootRule is the first of all.
std::span<const Rule> pathRules();
std::span<const Rule> containerRules();
std::span<const Rule> textRules();
std::span<const Rule> keyFileReadingRules();
std::span<const Rule> keyFileWritingRules();
std::span<const Rule> identityRules();
std::span<const Rule> serviceRules();
std::span<const Rule> scheduleRules();
std::span<const Rule> programRules();
std::vector<Rule> allRules();

// Owners of the platform's handles.
template <class Handle>
class Owned {
 public:
  Owned(Handle *handle, void (*release)(Handle *)) : handle_(handle), release_(release) {}
  Owned(const Owned &) = delete;
  Owned &operator=(const Owned &) = delete;
  ~Owned() {
    callIfPresent([&] { release_(handle_); });
  }
  Handle *get() const { return handle_; }

 protected:
  Handle *handle_;

 private:
  void (*release_)(Handle *);
};

class List : public Owned<TLIBCSzList> {
 public:
  explicit List(const Check &check, const std::vector<std::string> &items = {});
  std::vector<std::string> items() const;

 private:
  const Check &check_;
};

class Hash : public Owned<TLIBCSzHash> {
 public:
  using Pairs = std::vector<std::pair<std::string, std::string>>;
  explicit Hash(const Check &check, const Pairs &pairs = {});
  int set(const std::string &key, const std::string &value) const;
  // In the hash's order, as "key=value;".
  std::string text() const;

 private:
  const Check &check_;
};

}  // namespace kova::check
