#include "tarvkova/doctor_proxy.h"

#include <curl/curl.h>
#include <strings.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <initializer_list>
#include <memory>
#include <new>
#include <string_view>

#include "base/release.h"

namespace kova::cli {
namespace {

using Url = std::unique_ptr<CURLU, Release<curl_url_cleanup>>;
using CurlText = std::unique_ptr<char, Release<curl_free>>;

// As libcurl reads a URL. Null where it cannot.
Url parseUrl(const char *text) {
  Url url(curl_url());
  if (!url) throw std::bad_alloc();
  if (curl_url_set(url.get(), CURLUPART_URL, text, CURLU_NON_SUPPORT_SCHEME | CURLU_GUESS_SCHEME) != CURLUE_OK)
    url.reset();
  return url;
}

// A part of the URL; empty where it has none.
std::string partOf(const Url &url, CURLUPart part) {
  char *text = nullptr;
  curl_url_get(url.get(), part, &text, 0);
  const CurlText owner(text);
  return text != nullptr ? text : "";
}

struct Variable {
  std::string name;
  std::string value;
};

// The first of these variables that is set; libcurl takes an empty one for none.
Variable firstSet(std::initializer_list<const char *> names) {
  for (const char *name : names) {
    const char *value = std::getenv(name);
    if (value != nullptr && *value != '\0') return {name, value};
  }
  return {};
}

}  // namespace

std::optional<Proxy> findProxy() {
  const Variable variable = firstSet({"https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"});
  if (variable.name.empty()) return std::nullopt;
  const Variable exceptions = firstSet({"no_proxy", "NO_PROXY"});
  Proxy proxy{variable.name, "", "", exceptions.name, exceptions.value};
  const Url url = parseUrl(variable.value.c_str());
  if (!url) return proxy;
  proxy.scheme = partOf(url, CURLUPART_SCHEME);
  for (char &c : proxy.scheme) c = static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
  constexpr std::string_view kSchemes[] = {"http", "https", "socks4", "socks4a", "socks5", "socks5h"};
  if (std::ranges::count(kSchemes, proxy.scheme) == 0) return proxy;
  const std::string port = partOf(url, CURLUPART_PORT);
  proxy.shown = proxy.scheme + "://" + partOf(url, CURLUPART_HOST) + (port.empty() ? "" : ":" + port);
  return proxy;
}

bool isException(const Proxy &proxy, const std::string &host) {
  const std::string_view list = proxy.exceptions;
  if (list == "*") return true;
  constexpr const char *kSeparators = ", \t";
  for (std::size_t start = 0; (start = list.find_first_not_of(kSeparators, start)) != list.npos;) {
    std::string_view name = list.substr(start, list.find_first_of(kSeparators, start) - start);
    start += name.size();
    if (name.starts_with('.')) name.remove_prefix(1);
    if (name.ends_with('.')) name.remove_suffix(1);
    if (name.empty() || name.size() > host.size()) continue;
    const std::size_t before = host.size() - name.size();
    if (strncasecmp(&host[before], name.data(), name.size()) == 0 && (before == 0 || host[before - 1] == '.'))
      return true;
  }
  return false;
}

std::string hostOf(const std::string &url) {
  const Url parsed = parseUrl(url.c_str());
  return parsed ? partOf(parsed, CURLUPART_HOST) : url;
}

}  // namespace kova::cli
