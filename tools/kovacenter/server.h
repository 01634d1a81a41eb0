// The network side of the service, on the loopback: HTTPS, and a CONNECT proxy that stands in for the hosts' own ports.
#pragma once

#include <memory>

#include "kovacenter/certificates.h"
#include "kovacenter/state.h"

namespace kova::center {

class Service;

class Server {
 public:
  // Listens, and serves on a thread of its own. The proxy takes any free port, and so does HTTPS where `port` is 0.
  Server(const Credentials &credentials, Service &service, int port);
  // Ends every connection at once.
  ~Server();
  Server(const Server &) = delete;
  Server &operator=(const Server &) = delete;

  Ports ports() const;

 private:
  class Network;
  std::unique_ptr<Network> network_;
};

}  // namespace kova::center
