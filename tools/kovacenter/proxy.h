// The CONNECT proxy: reaches the service under the host names of its environments.
#pragma once

#include <httplib.h>

#include <thread>

#include "kovacenter/files.h"
#include "kovacenter/polling.h"

namespace kova::center {

class Proxy {
 public:
  // Listens on a free port of the loopback.
  Proxy(int httpsPort, const StopEvent &stop);
  // Sets the stop event, and waits for what is under way.
  ~Proxy();

  int port() const { return port_; }

 private:
  void accept();
  void serve(const Descriptor &client) const;

  int httpsPort_;
  const StopEvent &stop_;
  Descriptor listener_;
  int port_;
  httplib::ThreadPool pool_;
  std::thread thread_;
};

}  // namespace kova::center
