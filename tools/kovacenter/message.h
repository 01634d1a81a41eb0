// A request as the service receives it, and the reply to it.
#pragma once

#include <string>

namespace kova::center {

struct Request {
  std::string host;
  std::string method;
  std::string path;
  std::string form;  // as received: the query of a GET, else the body
};

struct Reply {
  int status = 200;
  std::string contentType = "text/plain";
  std::string body;
  std::string location;  // for a redirect; empty: no such header
};

}  // namespace kova::center
