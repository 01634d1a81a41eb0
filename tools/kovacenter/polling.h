// Waiting on sockets that a stop ends at once.
#pragma once

#include <chrono>

#include "kovacenter/files.h"

namespace kova::center {

// Set once; wakes every thread that waits.
class StopEvent {
 public:
  StopEvent();
  void set() const;
  bool isSet() const;
  int fd() const { return event_.get(); }
  // Sleeps; false when stopped meanwhile.
  bool sleep(std::chrono::milliseconds time) const;

 private:
  Descriptor event_;
};

// Waits for poll events on a descriptor; false when time is up or stopped.
bool waitFor(int fd, short events, std::chrono::milliseconds time, const StopEvent &stop);

void setNonBlocking(int fd);
void setNoDelay(int socket);

// Closing the socket then tells the peer that the connection was reset.
void closeWithReset(int socket);

}  // namespace kova::center
