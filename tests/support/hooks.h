// What the test program puts in place of libc, libcurl and platform functions: a function that it defines replaces that
// of a library.
#pragma once

#include <curl/curl.h>
#include <kova/platform.h>

#include <ctime>
#include <functional>
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
using Failing = std::set<std::string, std::less<>>;

// What becomes of a system call, beside an error number: the process ends before it; it writes the half; it writes the
// half and the process ends before the next one.
inline constexpr int kCut = -1, kShort = -2, kShortThenCut = -3;

struct State {
  std::vector<std::string> log;    // the messages given to syslog
  std::vector<unsigned> pauses;    // the seconds given to sleep
  std::optional<std::time_t> now;  // what time() tells, when set; random numbers are zero then
  bool isLocked = false;           // somebody else holds every lock, and waiting takes no time
  int skipped = 0;                 // the seconds of such waiting
  bool hasMoreRights = false;      // as a set-user-ID program has
  Failing failing;
  int cloudError = 1;  // what a failing TARVCloudServiceGetErrorCode tells

  // The fallible calls of the platform, of libcurl and for memory, counted while `sweeps` is set. The one of number
  // `failAt`, from 1, fails; with `keepsFailing` also those after it.
  bool sweeps = false;
  bool keepsFailing = false;
  int calls = 0;
  int failAt = 0;
  std::string failed;  // the first one that failed
  int handles = 0;     // those of platform and libcurl that were made and not released

  // The system calls on files. The one of number `endAt`, from 1, ends as `endWith` tells.
  std::vector<std::string> systemCalls;
  int endAt = 0;
  int endWith = 0;

  bool wired = false;          // replies come from here instead of from the network
  std::vector<Reply> replies;  // one for each attempt; the last one stays
  std::vector<Attempt> attempts;
  Attempt prepared;                                         // what libcurl was told of the next one
  std::vector<std::pair<CURLoption, std::string>> options;  // in the order set; numbers in decimal
  bool keepsForms = true;                                   // in attempts and options
  bool keepsMemory = false;                                 // what is released stays as it was
};

State &state();

// Everything back to the real functions.
void reset();

}  // namespace hooks
