// The directory that holds the service's state, and the lock that keeps a second service off it.
#pragma once

#include <filesystem>
#include <optional>

#include "base/descriptor.h"

namespace kova::center {

class State {
 public:
  // Makes the directory. One that is there already must be private or empty, or hold a state; it is made private.
  explicit State(const std::filesystem::path &directory);
  // Opens a directory that holds a state already; throws where it does not.
  static State existing(const std::filesystem::path &directory);

  const std::filesystem::path &directory() const { return directory_; }
  std::filesystem::path file(const char *name) const { return directory_ / name; }
  std::filesystem::path database() const { return file(kDatabase); }
  std::filesystem::path journal() const { return file("journal.jsonl"); }
  std::filesystem::path log() const { return file("serve.log"); }  // of a service in the background
  std::filesystem::path authority() const { return file("ca.pem"); }

 private:
  static constexpr char kDatabase[] = "kovacenter.db";

  std::filesystem::path directory_;
};

struct Ports {
  int https = 0;
  int proxy = 0;
};

// The ports of the service that runs on this state; nothing where none runs.
std::optional<Ports> runningService(const State &state);

// Ends the service that runs on this state and waits for its end; throws where none runs.
void stopService(const State &state);

// Held by the one service that may run on a state.
class ServiceLock {
 public:
  explicit ServiceLock(const State &state);  // throws where another service runs on it
  ~ServiceLock();
  ServiceLock(const ServiceLock &) = delete;
  ServiceLock &operator=(const ServiceLock &) = delete;

  // Makes the ports known to runningService.
  void publish(const Ports &ports);

 private:
  std::filesystem::path runFile_;
  Descriptor lock_;
};

}  // namespace kova::center
