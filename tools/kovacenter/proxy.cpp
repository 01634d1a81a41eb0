#include "kovacenter/proxy.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "kovacenter/hosts.h"

namespace kova::center {
namespace {

using namespace std::chrono_literals;

constexpr std::size_t kThreads = 64;
constexpr std::size_t kLongestHead = 16384;
constexpr auto kPatience = 30s;
constexpr auto kForever = 24h;

sockaddr_in loopback(int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

Descriptor listenOnLoopback() {
  const sockaddr_in address = loopback(0);
  Descriptor listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (bind(listener.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) < 0 ||
      listen(listener.get(), SOMAXCONN) < 0) {
    throwErrno("proxy");
  }
  return listener;
}

int portOf(const Descriptor &socket) {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  if (getsockname(socket.get(), reinterpret_cast<sockaddr *>(&address), &size) < 0) throwErrno("proxy");
  return ntohs(address.sin_port);
}

Descriptor connectTo(int port) {
  const sockaddr_in address = loopback(port);
  Descriptor upstream(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (connect(upstream.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) < 0) return {};
  return upstream;
}

// Reads up to the empty line that ends the request's head, and perhaps beyond.
std::string readHead(int client, const StopEvent &stop) {
  std::string head;
  while (head.find("\r\n\r\n") == std::string::npos && head.size() < kLongestHead) {
    char buffer[4096];
    if (!waitFor(client, POLLIN, kPatience, stop)) return {};
    const ssize_t size = recv(client, buffer, sizeof buffer, 0);
    if (size <= 0) return {};
    head.append(buffer, static_cast<std::size_t>(size));
  }
  return head;
}

// The HTTP status for a request's first line; 200 when the tunnel it asks for leads to the service.
int judge(std::string_view line) {
  constexpr std::string_view kMethod = "CONNECT ";
  constexpr std::string_view kHttpsPort = ":443";
  if (!line.starts_with(kMethod)) return 405;
  line.remove_prefix(kMethod.size());
  const std::string_view target = line.substr(0, line.find(' '));
  if (target.size() == line.size() || !line.substr(target.size() + 1).starts_with("HTTP/1.")) return 400;
  const bool served = target.ends_with(kHttpsPort) &&
                      kindOfHost(target.substr(0, target.size() - kHttpsPort.size())) != HostKind::kNone;
  return served ? 200 : 502;
}

bool sendAll(int socket, std::string_view data, const StopEvent &stop) {
  while (!data.empty()) {
    const ssize_t size = send(socket, data.data(), data.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (size < 0 && errno != EAGAIN) return false;
    if (size < 0 && !waitFor(socket, POLLOUT, kPatience, stop)) return false;
    if (size > 0) data.remove_prefix(static_cast<std::size_t>(size));
  }
  return true;
}

// Carries bytes both ways until one side ends.
void tunnel(int client, int upstream, const StopEvent &stop) {
  char buffer[65536];
  for (;;) {
    pollfd fds[] = {{client, POLLIN, 0}, {upstream, POLLIN, 0}, {stop.fd(), POLLIN, 0}};
    if (poll(fds, 3, static_cast<int>(std::chrono::milliseconds(kForever).count())) <= 0 || fds[2].revents != 0) return;
    for (const auto &[from, to] : {std::pair(0, 1), std::pair(1, 0)}) {
      if (fds[from].revents == 0) continue;
      const ssize_t size = recv(fds[from].fd, buffer, sizeof buffer, 0);
      if (size < 0) closeWithReset(fds[to].fd);
      if (size <= 0 || !sendAll(fds[to].fd, {buffer, static_cast<std::size_t>(size)}, stop)) return;
    }
  }
}

}  // namespace

Proxy::Proxy(int httpsPort, const StopEvent &stop)
    : httpsPort_(httpsPort), stop_(stop), listener_(listenOnLoopback()), port_(portOf(listener_)), pool_(kThreads) {
  thread_ = std::thread([this] { accept(); });
}

Proxy::~Proxy() {
  stop_.set();
  thread_.join();
  pool_.shutdown();
}

void Proxy::accept() {
  while (!stop_.isSet()) {
    if (!waitFor(listener_.get(), POLLIN, kForever, stop_)) continue;
    const int fd = accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC);
    if (fd < 0) continue;
    pool_.enqueue([this, client = std::make_shared<Descriptor>(fd)] { serve(*client); });
  }
}

void Proxy::serve(const Descriptor &client) const {
  const std::string head = readHead(client.get(), stop_);
  if (head.empty()) return;
  const int status = judge(std::string_view(head).substr(0, head.find("\r\n")));
  const Descriptor upstream = status == 200 ? connectTo(httpsPort_) : Descriptor();
  if (!upstream) {
    const std::string refusal = "HTTP/1.1 " + std::to_string(status == 200 ? 502 : status) + " Refused\r\n";
    sendAll(client.get(), refusal + "Content-Length: 0\r\nConnection: close\r\n\r\n", stop_);
    return;
  }
  setNoDelay(client.get());
  setNoDelay(upstream.get());
  const std::size_t end = head.find("\r\n\r\n");
  if (end == std::string::npos) return;
  if (sendAll(client.get(), "HTTP/1.1 200 Connection established\r\n\r\n", stop_) &&
      sendAll(upstream.get(), std::string_view(head).substr(end + 4), stop_)) {
    tunnel(client.get(), upstream.get(), stop_);
  }
}

}  // namespace kova::center
