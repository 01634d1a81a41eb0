// One client's TLS connection, as the HTTP server reads and writes it, and as faults spoil it.
#pragma once

#include <httplib.h>
#include <openssl/ssl.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>

#include "kovacenter/files.h"
#include "kovacenter/polling.h"

namespace kova::center {

// How long an idle connection stays open.
inline constexpr std::chrono::seconds kKeepAlive(30);

class ClientStream final : public httplib::Stream {
 public:
  ClientStream(int socket, SSL_CTX *context, const StopEvent &stop);
  ~ClientStream() override;

  bool handshake();
  // Waits for the next request; false when the connection is to be closed.
  bool waitForRequest();

  // To the end of this reply, every byte goes out alone, this long after the last.
  void drip(std::chrono::milliseconds pause) { pause_ = pause; }
  // From here on nothing goes out any more.
  void end() { ended_ = true; }
  void endWithReset();
  // The reply at hand is the connection's last.
  void closeAfterReply() { last_ = true; }
  void waitForPeerToLeave();

  bool is_readable() const override;
  bool is_writable() const override;
  ssize_t read(char *data, std::size_t size) override;
  ssize_t write(const char *data, std::size_t size) override;
  void get_remote_ip_and_port(std::string &ip, int &port) const override;
  void get_local_ip_and_port(std::string &ip, int &port) const override;
  socket_t socket() const override { return socket_.get(); }

 private:
  struct Free {
    void operator()(SSL *ssl) const { SSL_free(ssl); }
  };

  // Repeats a TLS operation until it is through; 0 or less when it cannot be.
  template <class Operation>
  int repeat(Operation operation);

  Descriptor socket_;
  std::unique_ptr<SSL, Free> ssl_;
  const StopEvent &stop_;
  std::chrono::milliseconds pause_{0};
  bool established_ = false;
  bool ended_ = false;
  bool last_ = false;
};

}  // namespace kova::center
