// The HTTPS side of the service, on the loopback.
#pragma once

#include <httplib.h>
#include <openssl/ssl.h>

#include <memory>
#include <string>
#include <thread>

#include "kovacenter/certificates.h"
#include "kovacenter/client_stream.h"
#include "kovacenter/polling.h"
#include "kovacenter/service.h"

namespace kova::center {

class HttpsServer : private httplib::Server {
 public:
  // Listens; port 0 takes any free one.
  HttpsServer(const Credentials &credentials, Service &service, const StopEvent &stop, int port);
  // Sets the stop event, and waits for what is under way.
  ~HttpsServer() override;

  int port() const { return port_; }

 private:
  struct Free {
    void operator()(SSL_CTX *context) const { SSL_CTX_free(context); }
  };

  // Called by the base class for each connection, instead of its own plain HTTP.
  bool process_and_close_socket(socket_t socket) override;

  void handle(const httplib::Request &request, httplib::Response &response, const httplib::ContentReader *body);
  void transmit(const Answer &answer, httplib::Response &response);

  static thread_local ClientStream *stream_;

  std::unique_ptr<SSL_CTX, Free> context_;
  Service &service_;
  const StopEvent &stop_;
  int port_ = 0;
  std::thread thread_;
};

}  // namespace kova::center
