#include "tarvkova/doctor_certificates.h"

#include <curl/curl.h>
#include <openssl/err.h>
#include <openssl/x509.h>

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>

#include "base/release.h"
#include "tarvkova/device_files.h"
#include "tarvkova/doctor_files.h"

namespace kova::cli {
namespace {

using CertificateStore = std::unique_ptr<X509_STORE, Release<X509_STORE_free>>;

void freeCertificates(STACK_OF(X509) * certificates) {
  sk_X509_pop_free(certificates, X509_free);
}

// How many certificates the file holds, as libcurl loads it: 0 also where a part of it cannot be read.
std::size_t countCertificates(const std::string &file) {
  const CertificateStore store(X509_STORE_new());
  if (!store || X509_STORE_load_file(store.get(), file.c_str()) != 1) return 0;
  const std::unique_ptr<STACK_OF(X509), Release<freeCertificates>> all(X509_STORE_get1_all_certs(store.get()));
  return all ? static_cast<std::size_t>(sk_X509_num(all.get())) : 0;
}

// As "openssl rehash" names what is looked up in a directory: eight hexadecimal digits, a point and a number.
bool isHashedName(const std::string &name) {
  constexpr std::size_t kDigits = 8;
  const auto isDigit = [](unsigned char c) { return std::isxdigit(c) != 0; };
  return name.size() > kDigits + 1 && name[kDigits] == '.' &&
         std::all_of(name.begin(), name.begin() + kDigits, isDigit) &&
         std::isdigit(static_cast<unsigned char>(name[kDigits + 1])) != 0;
}

// The bundle that libcurl loads unless it is told of another.
std::string defaultBundle() {
  const std::unique_ptr<CURL, Release<curl_easy_cleanup>> curl(curl_easy_init());
  const char *path = nullptr;
  if (curl) curl_easy_getinfo(curl.get(), CURLINFO_CAINFO, &path);
  return path != nullptr ? path : "";
}

}  // namespace

Finding checkTrustedCertificates() {
  const std::string bundle = defaultBundle();
  const std::size_t inBundle = countCertificates(bundle);
  if (inBundle == 0) {
    const int error = readError(bundle);
    const char *reason = ERR_reason_error_string(ERR_peek_last_error());
    return {CheckState::kFailed,
            "cannot load " + bundle + ": " +
                (error != 0          ? errorText(error)
                 : reason != nullptr ? reason
                                     : "empty"),
            "install the system's certificates anew: the package ca-certificates"};
  }
  const std::string found = std::to_string(inBundle) + " in " + bundle;
  const std::string path = devicePath("/etc/ssl/certs/ca-certificates.crt");
  std::error_code error;
  if (!std::filesystem::is_directory(path, error)) {
    if (error == std::errc::permission_denied) return unreadable(path, error.value());
    if (isWholeMachine()) return {CheckState::kOk, found};
    return {CheckState::kNote, found + " alone: there is no directory " + path,
            "an authority of the device's own has its certificate there"};
  }
  std::size_t inDirectory = 0;
  for (std::filesystem::directory_iterator entry(path, error), end; !error && entry != end; entry.increment(error)) {
    if (isHashedName(entry->path().filename())) inDirectory += countCertificates(entry->path());
  }
  if (error) return unreadable(path, error.value());
  if (inDirectory == 0) {
    return {CheckState::kNote, found + " alone: " + path + " holds no hashed certificate", "openssl rehash " + path};
  }
  return {CheckState::kOk, found + ", " + std::to_string(inDirectory) + " in " + path};
}

}  // namespace kova::cli
