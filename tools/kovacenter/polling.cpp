#include "kovacenter/polling.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

namespace kova::center {

StopEvent::StopEvent() : event_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (!event_) throwErrno("eventfd");
}

void StopEvent::set() const {
  eventfd_write(event_.get(), 1);
}

bool StopEvent::isSet() const {
  return !sleep(std::chrono::milliseconds(0));
}

bool StopEvent::sleep(std::chrono::milliseconds time) const {
  pollfd event{event_.get(), POLLIN, 0};
  return poll(&event, 1, static_cast<int>(time.count())) <= 0;
}

bool waitFor(int fd, short events, std::chrono::milliseconds time, const StopEvent &stop) {
  pollfd fds[] = {{fd, events, 0}, {stop.fd(), POLLIN, 0}};
  return poll(fds, 2, static_cast<int>(time.count())) > 0 && fds[1].revents == 0;
}

void setNonBlocking(int fd) {
  fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
}

void setNoDelay(int socket) {
  const int on = 1;
  setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

void closeWithReset(int socket) {
  const linger abort{1, 0};
  setsockopt(socket, SOL_SOCKET, SO_LINGER, &abort, sizeof abort);
}

}  // namespace kova::center
