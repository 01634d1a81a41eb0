// The proxy that the environment names, as libcurl reads it.
#pragma once

#include <optional>
#include <string>

namespace kova::cli {

// For the requests to https URLs.
struct Proxy {
  std::string variable;  // that names it
  std::string scheme;
  std::string shown;              // its URL without user and password; empty where libcurl could not use it
  std::string exceptionVariable;  // that names the hosts which are to be reached without it; maybe empty
  std::string exceptions;         // its value
};

std::optional<Proxy> findProxy();
// Whether the host is to be reached without the proxy: the variable holds "*", or the host's name or the end of it.
bool isException(const Proxy &proxy, const std::string &host);

std::string hostOf(const std::string &url);

}  // namespace kova::cli
