#include "tarvkova/doctor_probe.h"

#include <curl/curl.h>
#include <kova/platform.h>
#include <kova/transport.h>
#include <netdb.h>
#include <openssl/bio.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <sys/socket.h>

#include <cerrno>
#include <climits>
#include <cstddef>
#include <ctime>
#include <exception>
#include <memory>
#include <new>
#include <system_error>

#include "base/release.h"
#include "base/utc_time.h"
#include "tarvkova/outcome.h"

namespace kova::cli {
namespace {

using std::chrono::system_clock;
using Curl = std::unique_ptr<CURL, Release<curl_easy_cleanup>>;
using Addresses = std::unique_ptr<addrinfo, Release<freeaddrinfo>>;
using Memory = std::unique_ptr<BIO, Release<BIO_free_all>>;

constexpr long kLimitSeconds = 15;

system_clock::time_point timeOf(const ASN1_TIME *time) {
  std::tm utc = {};
  ASN1_TIME_to_tm(time, &utc);
  return system_clock::from_time_t(timegm(&utc));
}

std::string nameText(const X509_NAME *name) {
  const Memory memory(BIO_new(BIO_s_mem()));
  if (!memory) throw std::bad_alloc();
  X509_NAME_print_ex(memory.get(), name, 0, XN_FLAG_ONELINE & ~ASN1_STRFLGS_ESC_MSB);
  char *text = nullptr;
  const long length = BIO_get_mem_data(memory.get(), &text);
  return {text, static_cast<std::size_t>(length)};
}

// What OpenSSL found while it verified what the host presented.
struct Verification {
  std::optional<Certificate> certificate;
  std::string failure;
  int handshakes = 0;  // also with the proxy
};

std::string verificationFailure(int error, const X509 &certificate) {
  switch (error) {
    case X509_V_ERR_CERT_HAS_EXPIRED:
      return "the certificate expired on " + dateText(timeOf(X509_get0_notAfter(&certificate)));
    case X509_V_ERR_CERT_NOT_YET_VALID:
      return "the certificate is not valid before " + dateText(timeOf(X509_get0_notBefore(&certificate)));
    case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
    case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
    case X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE:
      return "the certificate is issued by an unknown authority: " + nameText(X509_get_issuer_name(&certificate));
    default:
      return std::string("the certificate is not accepted: ") + X509_verify_cert_error_string(error);
  }
}

int verificationIndex() {
  static const int index = SSL_CTX_get_ex_new_index(0, nullptr, nullptr, nullptr, nullptr);
  return index;
}

// Called for each certificate, and for each thing that is wrong with one. It leaves OpenSSL's verdict as it is.
int noteVerification(int verdict, X509_STORE_CTX *context) try {
  const auto *connection =
      static_cast<const SSL *>(X509_STORE_CTX_get_ex_data(context, SSL_get_ex_data_X509_STORE_CTX_idx()));
  auto &noted = *static_cast<Verification *>(SSL_CTX_get_ex_data(SSL_get_SSL_CTX(connection), verificationIndex()));
  const X509 *presented = X509_STORE_CTX_get0_cert(context);
  noted.certificate = {timeOf(X509_get0_notBefore(presented)), timeOf(X509_get0_notAfter(presented)),
                       nameText(X509_get_issuer_name(presented))};
  const X509 *current = X509_STORE_CTX_get_current_cert(context);
  if (verdict != 1) {
    noted.failure = verificationFailure(X509_STORE_CTX_get_error(context), current != nullptr ? *current : *presented);
  }
  return verdict;
} catch (const std::exception &) {
  return 0;
}

// libcurl calls this before a TLS handshake, when it has set up the verification. What was noted of a proxy is
// forgotten when the host's turn comes.
CURLcode noteVerifications(CURL *, void *context, void *verification) {
  auto *tls = static_cast<SSL_CTX *>(context);
  auto &noted = *static_cast<Verification *>(verification);
  noted = {{}, {}, noted.handshakes + 1};
  if (SSL_CTX_set_ex_data(tls, verificationIndex(), verification) != 1) return CURLE_OUT_OF_MEMORY;
  SSL_CTX_set_verify(tls, SSL_CTX_get_verify_mode(tls), noteVerification);
  return CURLE_OK;
}

// The head of the answer is all that is wanted.
std::size_t refuseBody(const char *, std::size_t, std::size_t, void *) {
  return 0;
}

// Why the system's resolver does not know the host. libcurl does not tell.
std::string resolverReason(const std::string &host) {
  addrinfo hints = {};
  hints.ai_socktype = SOCK_STREAM;
  addrinfo *found = nullptr;
  const int error = getaddrinfo(host.c_str(), nullptr, &hints, &found);
  const Addresses owner(found);
  return error == EAI_SYSTEM ? std::generic_category().message(errno) : error != 0 ? gai_strerror(error) : "";
}

// One request on its own libcurl handle.
class Request {
 public:
  Request(const std::string &url, const std::optional<Proxy> &proxy) : url_(url), proxy_(proxy) {
    if (!curl_) throw std::bad_alloc();
  }
  Request(const Request &) = delete;
  Request &operator=(const Request &) = delete;

  void send();
  Step failedStep() const;
  std::string reason(const std::string &host) const;
  const Verification &verification() const { return verification_; }
  std::string address() const {
    const char *address = info<const char *>(CURLINFO_PRIMARY_IP);
    return address != nullptr ? address : "";
  }
  long status() const { return info<long>(CURLINFO_RESPONSE_CODE); }

 private:
  template <class Value>
  void set(CURLoption option, Value value) {
    if (const CURLcode result = curl_easy_setopt(curl_.get(), option, value); result != CURLE_OK) {
      throw localFailure(std::string("libcurl cannot be set up: ") + curl_easy_strerror(result));
    }
  }
  template <class Value>
  Value info(CURLINFO what) const {
    Value value{};
    curl_easy_getinfo(curl_.get(), what, &value);
    return value;
  }
  bool isReached(CURLINFO time) const { return info<curl_off_t>(time) > 0; }

  const std::string &url_;
  const std::optional<Proxy> &proxy_;
  char error_[CURL_ERROR_SIZE] = "";
  Verification verification_;
  CURLcode result_ = CURLE_OK;
  const Curl curl_{curl_easy_init()};
};

// Verifies as the library's own requests do.
void Request::send() {
  char certificates[PATH_MAX] = "";
  if (KovaDevicePath("/etc/ssl/certs/ca-certificates.crt", certificates, sizeof certificates) < 0)
    certificates[0] = '\0';
  char agent[256] = "";
  TARVKOVAUserAgentNameGet(agent, sizeof agent);
  set(CURLOPT_ERRORBUFFER, error_);
  set(CURLOPT_URL, url_.c_str());
  set(CURLOPT_PROTOCOLS_STR, "https");
  set(CURLOPT_USERAGENT, agent);
  set(CURLOPT_SSL_VERIFYPEER, 1L);
  set(CURLOPT_SSL_VERIFYHOST, 2L);
  set(CURLOPT_CAPATH, certificates);
  set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1));
  set(CURLOPT_SSL_CTX_FUNCTION, noteVerifications);
  set(CURLOPT_SSL_CTX_DATA, &verification_);
  set(CURLOPT_CONNECTTIMEOUT, kLimitSeconds);
  set(CURLOPT_TIMEOUT, kLimitSeconds);
  set(CURLOPT_WRITEFUNCTION, refuseBody);
  result_ = curl_easy_perform(curl_.get());
}

Step Request::failedStep() const {
  if (status() != 0) return Step::kNone;
  const bool isResolved = result_ != CURLE_COULDNT_RESOLVE_HOST && isReached(CURLINFO_NAMELOOKUP_TIME_T);
  if (!proxy_ && !isResolved) return Step::kResolution;
  const int handshakesBefore = proxy_ && proxy_->scheme == "https" ? 1 : 0;
  if (verification_.handshakes <= handshakesBefore) return Step::kConnection;
  // The handshake with a proxy may be what the first of these times tells of.
  const bool isSecured = isReached(handshakesBefore == 0 ? CURLINFO_APPCONNECT_TIME_T : CURLINFO_PRETRANSFER_TIME_T);
  return isSecured ? Step::kAnswer : Step::kTls;
}

std::string Request::reason(const std::string &host) const {
  if (!verification_.failure.empty()) return verification_.failure;
  std::string reason = error_[0] != '\0' ? error_ : curl_easy_strerror(result_);
  if (result_ == CURLE_PEER_FAILED_VERIFICATION && verification_.certificate) {
    return "the certificate is for another name (" + reason + ")";
  }
  const auto add = [&](const std::string &more) { reason += more.empty() ? "" : ": " + more; };
  if (result_ == CURLE_COULDNT_CONNECT && info<long>(CURLINFO_OS_ERRNO) != 0) {
    add(std::generic_category().message(static_cast<int>(info<long>(CURLINFO_OS_ERRNO))));
  }
  // A resolver that has taken long would take as long again.
  const bool isQuick = info<curl_off_t>(CURLINFO_TOTAL_TIME_T) < curl_off_t{kLimitSeconds} * 1000000 / 2;
  if (result_ == CURLE_COULDNT_RESOLVE_HOST && isQuick) add(resolverReason(host));
  return reason;
}

std::string adviceAt(Step step, const std::optional<Proxy> &proxy) {
  switch (step) {
    case Step::kResolution:
      return "check the network and the name servers in /etc/resolv.conf";
    case Step::kConnection:
      return proxy ? "check that the proxy runs and lets this host through"
                   : "check the network, and the firewall for port 443";
    case Step::kTls:
      return "check the clock, then whether a proxy or firewall puts a certificate of its own in place of the "
             "service's";
    default:
      return "try again later; then ask the service's operator";
  }
}

}  // namespace

std::string dateText(system_clock::time_point time) {
  return utcText(time, "%Y-%m-%d %H:%M UTC");
}

Probe probeHost(const std::string &baseUrl, const std::optional<Proxy> &proxy) {
  Probe probe;
  probe.host = hostOf(baseUrl);
  const std::optional<Proxy> used = proxy && !isException(*proxy, probe.host) ? proxy : std::nullopt;
  probe.usesProxy = used.has_value();
  if (used && used->shown.empty()) {
    // The request would fail as well, with the proxy's password in libcurl's reason.
    probe.failedAt = Step::kRoute;
    return probe;
  }
  Request request(baseUrl, used);
  request.send();
  probe.failedAt = request.failedStep();
  probe.address = request.address();
  probe.status = request.status();
  if (probe.failedAt >= Step::kTls) probe.certificate = request.verification().certificate;
  if (probe.failedAt == Step::kNone) return probe;
  probe.reason = request.reason(probe.host);
  probe.advice = adviceAt(probe.failedAt, used);
  return probe;
}

}  // namespace kova::cli
