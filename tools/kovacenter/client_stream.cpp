#include "kovacenter/client_stream.h"

#include <openssl/err.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <climits>

namespace kova::center {
namespace {

using namespace std::chrono_literals;

constexpr auto kPatience = 30s;
constexpr auto kForever = 24h;

}  // namespace

ClientStream::ClientStream(int socket, SSL_CTX *context, const StopEvent &stop)
    : socket_(socket), ssl_(SSL_new(context)), stop_(stop) {
  setNonBlocking(socket);
  if (ssl_ != nullptr && SSL_set_fd(ssl_.get(), socket) != 1) ssl_.reset();
}

ClientStream::~ClientStream() {
  ERR_clear_error();
  if (established_) SSL_shutdown(ssl_.get());
}

template <class Operation>
int ClientStream::repeat(Operation operation) {
  for (;;) {
    ERR_clear_error();
    const int result = operation(ssl_.get());
    if (result > 0) return result;
    const int error = SSL_get_error(ssl_.get(), result);
    const short events = error == SSL_ERROR_WANT_READ ? POLLIN : error == SSL_ERROR_WANT_WRITE ? POLLOUT : 0;
    if (events == 0) {
      // After an error in the connection, TLS may not even say goodbye.
      if (error != SSL_ERROR_ZERO_RETURN) established_ = false;
      return error == SSL_ERROR_ZERO_RETURN ? 0 : -1;
    }
    if (!waitFor(socket_.get(), events, kPatience, stop_)) return -1;
  }
}

bool ClientStream::handshake() {
  established_ = ssl_ != nullptr && repeat(SSL_accept) > 0;
  return established_;
}

bool ClientStream::waitForRequest() {
  pause_ = 0ms;
  if (ended_ || last_ || !established_) return false;
  return SSL_pending(ssl_.get()) > 0 || waitFor(socket_.get(), POLLIN, kKeepAlive, stop_);
}

void ClientStream::endWithReset() {
  closeWithReset(socket_.get());
  established_ = false;
  ended_ = true;
}

void ClientStream::waitForPeerToLeave() {
  waitFor(socket_.get(), POLLRDHUP, kForever, stop_);
  ended_ = true;
}

bool ClientStream::is_readable() const {
  return SSL_pending(ssl_.get()) > 0 || waitFor(socket_.get(), POLLIN, kPatience, stop_);
}

bool ClientStream::is_writable() const {
  return established_ && !ended_ && waitFor(socket_.get(), POLLOUT, kPatience, stop_);
}

ssize_t ClientStream::read(char *data, std::size_t size) {
  const int most = static_cast<int>(std::min<std::size_t>(size, INT_MAX));
  return repeat([&](SSL *ssl) { return SSL_read(ssl, data, most); });
}

ssize_t ClientStream::write(const char *data, std::size_t size) {
  std::size_t sent = 0;
  while (sent < size) {
    const bool dripping = pause_ > 0ms;
    if (ended_ || !established_ || (dripping && !stop_.sleep(pause_))) return -1;
    const int most = dripping ? 1 : static_cast<int>(std::min<std::size_t>(size - sent, INT_MAX));
    const int written = repeat([&](SSL *ssl) { return SSL_write(ssl, data + sent, most); });
    if (written <= 0) return -1;
    sent += static_cast<std::size_t>(written);
  }
  return static_cast<ssize_t>(sent);
}

// Only loopback clients come here.
void ClientStream::get_remote_ip_and_port(std::string &ip, int &port) const {
  ip = "127.0.0.1";
  port = 0;
}

void ClientStream::get_local_ip_and_port(std::string &ip, int &port) const {
  get_remote_ip_and_port(ip, port);
}

}  // namespace kova::center
