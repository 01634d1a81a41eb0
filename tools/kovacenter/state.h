// The service's directory of state, and the mark that a service runs on it.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <optional>

#include "base/descriptor.h"

namespace kova::center {

class State {
 public:
  // Makes the directory, or takes it over when it is empty or private already.
  explicit State(const std::filesystem::path &directory);
  // The one that is there; throws when there is none.
  static State existing(const std::filesystem::path &directory);

  std::filesystem::path file(const char *name) const { return directory_ / name; }
  std::filesystem::path database() const { return file(kDatabase); }
  std::filesystem::path journal() const { return file("journal.jsonl"); }
  std::filesystem::path authority() const { return file("ca.pem"); }

 private:
  static constexpr char kDatabase[] = "kovacenter.db";

  std::filesystem::path directory_;
};

struct Ports {
  int https = 0;
  int proxy = 0;
};

// Where the service of this state listens, if one runs.
std::optional<Ports> runningService(const State &state);

// Held by the one service that may run on a state.
class RunMark {
 public:
  explicit RunMark(const State &state);  // throws when another service runs on it
  ~RunMark();
  RunMark(const RunMark &) = delete;
  RunMark &operator=(const RunMark &) = delete;

  void publish(const Ports &ports);

 private:
  std::filesystem::path file_;
  Descriptor lock_;
};

}  // namespace kova::center
