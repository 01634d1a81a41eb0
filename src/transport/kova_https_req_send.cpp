#include <curl/curl.h>
#include <kova/error.h>
#include <kova/platform.h>
#include <kova/transport.h>
#include <string.h>  // explicit_bzero
#include <strings.h>
#include <sys/auxv.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <optional>

#include "base/release.h"
#include "base/secret.h"
#include "base/text.h"
#include "core/device_path.h"
#include "core/guard.h"
#include "core/handles.h"
#include "core/log.h"

namespace kova {
namespace {

using Curl = std::unique_ptr<CURL, Release<curl_easy_cleanup>>;
using CurlList = std::unique_ptr<curl_slist, Release<curl_slist_free_all>>;

constexpr int32_t kGet = 1;
constexpr unsigned kPauseSeconds = 1;
constexpr long kMostRedirects = 30;

// A text from libcurl that is overwritten when it is freed.
struct FreeText {
  void operator()(char *text) const {
    explicit_bzero(text, std::strlen(text));
    curl_free(text);
  }
};
using CurlText = std::unique_ptr<char, FreeText>;

// The reply's body as it arrives; nothing while there is none of it, and when it could not grow.
using Body = std::optional<SecretText>;

constexpr std::size_t kLongestBody = std::size_t{64} << 20;

// Returning less than the chunk makes libcurl abort the transfer.
std::size_t WriteMemoryCallback(const char *chunk, std::size_t size, std::size_t count, void *user) {
  auto &body = *static_cast<Body *>(user);
  std::size_t added = 0;
  try {
    if (!body) body.emplace();
    if (!__builtin_mul_overflow(size, count, &added) && added <= kLongestBody - body->size()) {
      body->append(chunk, added);
      return added;
    }
  } catch (const std::bad_alloc &) {
    // As a body that is too long.
  }
  body.reset();
  return 0;
}

int appendPair(SzText &parameters, CURL *curl, const char *key, const char *value) {
  const CurlText escaped(curl_easy_escape(curl, value, 0));
  if (!escaped) return fail(here(), KOVA_ERR_REQUEST, "URL encoding failed: %s", value);
  if ((parameters.get()[0] != '\0' && !parameters.append("&")) || !parameters.append(key) || !parameters.append("=") ||
      !parameters.append(escaped.get())) {
    return fail(here(), KOVA_ERR_REQUEST, "Fail to concat string");
  }
  return 0;
}

// Appends everything that is sent: the device's serial number and token, then the hash in its own order.
int buildParameters(SzText &parameters, CURL *curl, const HttpsRequest &request) {
  char serial[256] = "";
  char token[33] = "";
  const char *given = TLIBCSzHashGetValue(request.params, "vx_sn");
  if (given != nullptr) copyText(serial, given);
  if (TARVKOVAGenerateToken(request.account.kovaID, request.account.kovaPW, serial, sizeof serial, token,
                            sizeof token) < 0) {
    return fail(KOVA_ERR_REQUEST);
  }
  const SzList keys(TLIBCSzListAlloc(512));
  if (!keys) return fail(here(), KOVA_ERR_REQUEST, "out of memory, ERR=[0x%04X]", TLIBCErrGet());
  if (TLIBCSzHashEnumKey(request.params, keys.get()) < 1) {
    return fail(here(), KOVA_ERR_REQUEST, "no key in the hash, ERR=[0x%04X]", TLIBCErrGet());
  }
  if (appendPair(parameters, curl, "vx_sn", serial) < 0 || appendPair(parameters, curl, "vx_token", token) < 0) {
    return -1;
  }
  const std::size_t count = TLIBCSzListCount(keys.get());
  for (std::size_t i = 0; i < count; ++i) {
    const char *key = TLIBCSzListGet(keys.get(), i);
    const char *value = key != nullptr ? TLIBCSzHashGetValue(request.params, key) : nullptr;
    if (value != nullptr && appendPair(parameters, curl, key, value) < 0) return -1;
  }
  return 0;
}

// In a process with more rights than its user, such as a set-user-ID program, what the user set in the environment must
// not choose the route, whom to trust or where TLS secrets are written. libcurl itself does not mind who set it.
void ignoreUserEnvironment() {
  if (getauxval(AT_SECURE) == 0) return;
  for (const char *name :
       {"SSLKEYLOGFILE", "https_proxy", "HTTPS_PROXY", "http_proxy", "ftp_proxy", "FTP_PROXY", "all_proxy", "ALL_PROXY",
        "no_proxy", "NO_PROXY", "SSL_CERT_FILE", "SSL_CERT_DIR", "CURL_CA_BUNDLE"}) {
    unsetenv(name);
  }
}

// One request on its own libcurl handle.
class Transfer {
 public:
  Transfer(CURL *curl, const HttpsRequest &request, const char *parameters) : curl_(curl), request_(request) {
    if (request.method == kGet) {
      std::snprintf(url_, sizeof url_, "%s/%s?%s", request.base, request.path, parameters);
    } else {
      std::snprintf(url_, sizeof url_, "%s/%s", request.base, request.path);
      form_ = parameters;
    }
  }

  Transfer(const Transfer &) = delete;
  Transfer &operator=(const Transfer &) = delete;

  int setOptions();
  int perform(int32_t &result);
  int takeReply(HttpsResponse &response);

 private:
  int setForm();
  int setTarget();
  int setVerification();
  int setTimeouts();
  int setCollector();
  int restrictRedirects();

  CURL *curl_;
  const HttpsRequest &request_;
  char url_[4096];
  WipedAtEnd<char[4096]> wiped_{url_};
  const char *form_ = "";
  CurlList headers_;
  Body body_;
};

int Transfer::setOptions() {
  if (setForm() < 0 || setTarget() < 0 || setVerification() < 0 || setTimeouts() < 0 || setCollector() < 0) return -1;
  curl_easy_setopt(curl_, CURLOPT_IPRESOLVE, CURL_IPRESOLVE_WHATEVER);
  return restrictRedirects();
}

int Transfer::setForm() {
  if (form_[0] == '\0') return 0;
  CURLcode result = curl_easy_setopt(curl_, CURLOPT_POST, 1L);
  if (result == CURLE_OK) result = curl_easy_setopt(curl_, CURLOPT_POSTFIELDS, form_);
  if (result == CURLE_OK) return 0;
  return fail(here(), KOVA_ERR_REQUEST, "%s, Failed to set POST parameters, code=%d, err=%s", url_, result,
              curl_easy_strerror(result));
}

int Transfer::setTarget() {
  CURLcode result = curl_easy_setopt(curl_, CURLOPT_URL, url_);
  if (result == CURLE_OK) result = curl_easy_setopt(curl_, CURLOPT_FOLLOWLOCATION, 1L);
  if (result != CURLE_OK) {
    return fail(here(), KOVA_ERR_REQUEST, "Failed to set url to %s, code=%d, err=%s", url_, result,
                curl_easy_strerror(result));
  }
  char agent[256] = "";
  TARVKOVAUserAgentNameGet(agent, sizeof agent);
  result = curl_easy_setopt(curl_, CURLOPT_USERAGENT, agent);
  if (result != CURLE_OK) {
    return fail(here(), KOVA_ERR_REQUEST, "failed to set agent=%s, return value=%d, err=%s", agent, result,
                curl_easy_strerror(result));
  }
  // The list is made while `header` is empty, so that libcurl sends its own Host header. The text is for the log alone.
  char header[128] = "";
  headers_.reset(curl_slist_append(nullptr, header));
  std::snprintf(header, sizeof header, "Host: %s", request_.base);
  result = curl_easy_setopt(curl_, CURLOPT_HTTPHEADER, headers_.get());
  if (result != CURLE_OK) {
    return fail(here(), KOVA_ERR_REQUEST, "failed to set req=%s, header=%s, return value=%d, err=%s", url_, header,
                result, curl_easy_strerror(result));
  }
  return 0;
}

int Transfer::setVerification() {
  // CURLOPT_CAPATH is for a directory. Where the path is a file libcurl uses its default bundle alone; where it is a
  // directory of hashed certificates, libcurl trusts these as well.
  const DevicePath certificates("/etc/ssl/certs/ca-certificates.crt");
  CURLcode result = curl_easy_setopt(curl_, CURLOPT_SSL_VERIFYPEER, 1L);
  if (result == CURLE_OK) result = curl_easy_setopt(curl_, CURLOPT_SSL_VERIFYHOST, 2L);
  if (result == CURLE_OK) result = curl_easy_setopt(curl_, CURLOPT_CAPATH, certificates.c_str());
  if (result == CURLE_OK) result = curl_easy_setopt(curl_, CURLOPT_SSLVERSION, CURL_SSLVERSION_TLSv1);
  if (result == CURLE_OK) return 0;
  return fail(here(), KOVA_ERR_REQUEST, "Failed to set curl opt error:(%d)%s", result, curl_easy_strerror(result));
}

int Transfer::setTimeouts() {
  CURLcode result = curl_easy_setopt(curl_, CURLOPT_LOW_SPEED_LIMIT, 128L);
  if (result != CURLE_OK) {
    log(here(), "Failed to set time-out, return value=%d, err=%s", result, curl_easy_strerror(result));
  }
  result = curl_easy_setopt(curl_, CURLOPT_LOW_SPEED_TIME, 60L);
  if (result != CURLE_OK) {
    log(here(), "Failed to set time-out, return value=%d, err=%s", result, curl_easy_strerror(result));
  }
  const long seconds = request_.short_timeout != 0 ? 15 : 120;
  result = curl_easy_setopt(curl_, CURLOPT_CONNECTTIMEOUT, seconds);
  if (result != CURLE_OK) {
    log(here(), "failed to set time-out, return value=%d, err=%s", result, curl_easy_strerror(result));
  }
  result = curl_easy_setopt(curl_, CURLOPT_TIMEOUT, seconds);
  if (result != CURLE_OK) {
    return fail(here(), KOVA_ERR_REQUEST, "failed to set time-out, return value=%d, err=%s", result,
                curl_easy_strerror(result));
  }
  return 0;
}

int Transfer::setCollector() {
  CURLcode result = curl_easy_setopt(curl_, CURLOPT_WRITEFUNCTION, WriteMemoryCallback);
  if (result != CURLE_OK) {
    return fail(here(), KOVA_ERR_REQUEST, "failed to write function WriteMemoryCallback, return value=%d, err=%s",
                result, curl_easy_strerror(result));
  }
  result = curl_easy_setopt(curl_, CURLOPT_WRITEDATA, &body_);
  if (result != CURLE_OK) {
    return fail(here(), KOVA_ERR_REQUEST, "failed to write data, return value=%d, err=%s", result,
                curl_easy_strerror(result));
  }
  return 0;
}

// Some redirects resend the form, which may hold a password: from an https URL only those to https are followed.
int Transfer::restrictRedirects() {
  CURLcode result = curl_easy_setopt(curl_, CURLOPT_MAXREDIRS, kMostRedirects);
  if (result == CURLE_OK && strncasecmp(url_, "https:", 6) == 0) {
    result = curl_easy_setopt(curl_, CURLOPT_REDIR_PROTOCOLS_STR, "https");
  }
  if (result == CURLE_OK) return 0;
  return fail(here(), KOVA_ERR_REQUEST, "Failed to set curl opt error:(%d)%s", result, curl_easy_strerror(result));
}

bool isWorthAnotherAttempt(CURLcode result) {
  return result == CURLE_COULDNT_RESOLVE_PROXY || result == CURLE_COULDNT_RESOLVE_HOST ||
         result == CURLE_OPERATION_TIMEDOUT;
}

int Transfer::perform(int32_t &result) {
  const int attempts = request_.short_timeout != 0 ? 2 : 3;
  for (int attempt = 1; attempt <= attempts; ++attempt) {
    body_.reset();
    const CURLcode code = curl_easy_perform(curl_);
    result = code;
    if (code == CURLE_OK) return 0;
    if (!isWorthAnotherAttempt(code)) {
      return fail(here(), KOVA_ERR_REQUEST, "%s, Failed to curl perform, code=%d, err=%s", url_, code,
                  curl_easy_strerror(code));
    }
    if (attempt == attempts - 1) curl_easy_setopt(curl_, CURLOPT_IPRESOLVE, CURL_IPRESOLVE_V4);
    sleep(kPauseSeconds);
  }
  // Every attempt timed out or found no host: there is no status, which takeReply reports.
  return 0;
}

int Transfer::takeReply(HttpsResponse &response) {
  long status = 0;
  const CURLcode result = curl_easy_getinfo(curl_, CURLINFO_RESPONSE_CODE, &status);
  if (result != CURLE_OK) {
    return fail(here(), KOVA_ERR_REQUEST, "%s, Failed to curl_easy_getinfo, code=%d, err=%s", url_, result,
                curl_easy_strerror(result));
  }
  // A status counts only when the transfer was complete: the body may have timed out.
  if (response.transfer_result != CURLE_OK) status = 0;
  response.http_status = static_cast<int32_t>(status);
  if (status != 200) {
    return fail(here(), KOVA_ERR_REQUEST, "%s, Failed to request packages, httpResponseCode=%ld", url_, status);
  }
  if (!body_) return fail(here(), KOVA_ERR_REQUEST, "%s, Failed to get response", url_);
  // Where memory for the copy runs out the call succeeds with a null body.
  response.body = strdup(body_->c_str());
  if (response.body == nullptr) return 0;
  const std::size_t length = std::strlen(response.body);
  TLIBCStrTrimSpace(response.body);
  const std::size_t kept = std::strlen(response.body);
  explicit_bzero(response.body + kept, length - kept);  // what moving the text to the front left behind it
  return 0;
}

}  // namespace
}  // namespace kova

using namespace kova;

int TARVKOVAHttpsRequestSend(const HttpsRequest *request, HttpsResponse *response) {
  return guarded([&] {
    if (response != nullptr) *response = {};
    if (request == nullptr || response == nullptr || request->base == nullptr || request->path == nullptr) {
      return fail(KOVA_ERR_BAD_PARAMETERS);
    }
    SzText parameters(1024);
    if (!parameters.allocated()) return fail(KOVA_ERR_SYSTEM);
    ignoreUserEnvironment();
    const Curl curl(curl_easy_init());
    if (!curl) return fail(here(), KOVA_ERR_REQUEST, "failed to init pCurl");
    if (buildParameters(parameters, curl.get(), *request) < 0) return -1;
    Transfer transfer(curl.get(), *request, parameters.get());
    if (transfer.setOptions() < 0 || transfer.perform(response->transfer_result) < 0) return -1;
    return transfer.takeReply(*response);
  });
}

void TARVKOVAHttpsResponseFree(HttpsResponse *response) {
  if (response == nullptr) return;
  if (response->body != nullptr) explicit_bzero(response->body, std::strlen(response->body));
  std::free(response->body);
  response->body = nullptr;
  response->http_status = 0;
}
