// What the test program puts in place of libc, libcurl and platform functions: a function that it defines replaces that
// of a library.
#pragma once

#include <curl/curl.h>
#include <kova/platform.h>

#include <ctime>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace hooks {

// A reply that the stand-in for the network gives to one attempt.
struct Reply {
  std::string body;
  long status = 200;
  CURLcode result = CURLE_OK;
  std::size_t chunk = 7;
};

// What one attempt would have sent.
struct Attempt {
  std::string url;
  std::string form;
  long ipResolve = -1;
};

// The functions that fail: a name, or a name and the text that the function is given ("TLIBCSzHashSetValue action").
using Failing = std::set<std::string>;

inline constexpr int kCut = -1;

struct State {
  std::vector<std::string> log;    // the messages given to syslog
  std::vector<unsigned> pauses;    // the seconds given to sleep
  std::optional<std::time_t> now;  // what time() tells, when set
  Failing failing;
  int cloudError = 1;  // what a failing TARVCloudServiceGetErrorCode tells

  // The system calls that change files. Counted from 1, the one at `failAt` fails with `failWith`; with kCut the
  // process ends there.
  std::vector<std::string> systemCalls;
  int failAt = 0;
  int failWith = 0;

  bool wired = false;          // replies come from here instead of from the network
  std::vector<Reply> replies;  // one for each attempt; the last one stays
  std::vector<Attempt> attempts;
  std::vector<std::pair<CURLoption, std::string>> options;  // in the order set; numbers in decimal
};

State &state();

// Everything back to the real functions.
void reset();

}  // namespace hooks
