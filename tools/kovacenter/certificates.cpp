#include "kovacenter/certificates.h"

#include <openssl/bio.h>
#include <openssl/bn.h>
#include <openssl/ec.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <ctime>
#include <stdexcept>
#include <string_view>

#include "kovacenter/files.h"
#include "kovacenter/hosts.h"

namespace kova::center {
namespace {

using Bio = std::unique_ptr<BIO, Release<BIO_free_all>>;
using Number = std::unique_ptr<BIGNUM, Release<BN_free>>;
using Extension = std::unique_ptr<X509_EXTENSION, Release<X509_EXTENSION_free>>;

constexpr long kDay = 86400;
constexpr long kServerDays = 825;
constexpr long kAuthorityDays = 3650;

void require(bool done) {
  if (!done) throw std::runtime_error("cannot make or read a certificate");
}

std::string namesOfAllHosts() {
  std::string names;
  for (const std::string_view host : hostNames()) names.append(names.empty() ? "DNS:" : ",DNS:").append(host);
  return names;
}

void addExtension(X509 &certificate, X509 &issuer, int id, const std::string &value) {
  X509V3_CTX context;
  X509V3_set_ctx(&context, &issuer, &certificate, nullptr, nullptr, 0);
  const Extension extension(X509V3_EXT_conf_nid(nullptr, &context, id, value.c_str()));
  require(extension != nullptr && X509_add_ext(&certificate, extension.get(), -1) == 1);
}

struct Subject {
  std::string commonName;
  std::string hosts;  // subject alternative names; empty: an authority
  long fromDays;      // counted from now
  long toDays;
};

// Makes a key and a certificate for it, signed by the issuer or, without one, by itself.
Credentials makeCredentials(const Subject &subject, const Credentials *issuer) {
  Credentials made{Certificate(X509_new()), Key(EVP_EC_gen("P-256"))};
  require(made.certificate != nullptr && made.key != nullptr);
  X509 &certificate = *made.certificate;
  X509 &signer = issuer == nullptr ? certificate : *issuer->certificate;

  const Number serial(BN_new());
  require(serial != nullptr && BN_rand(serial.get(), 127, BN_RAND_TOP_ONE, BN_RAND_BOTTOM_ANY) == 1 &&
          BN_to_ASN1_INTEGER(serial.get(), X509_get_serialNumber(&certificate)) != nullptr);
  require(X509_set_version(&certificate, X509_VERSION_3) == 1 && X509_set_pubkey(&certificate, made.key.get()) == 1);
  require(X509_gmtime_adj(X509_getm_notBefore(&certificate), subject.fromDays * kDay) != nullptr &&
          X509_gmtime_adj(X509_getm_notAfter(&certificate), subject.toDays * kDay) != nullptr);
  const auto *name = reinterpret_cast<const unsigned char *>(subject.commonName.c_str());
  require(X509_NAME_add_entry_by_txt(X509_get_subject_name(&certificate), "CN", MBSTRING_UTF8, name, -1, -1, 0) == 1 &&
          X509_set_issuer_name(&certificate, X509_get_subject_name(&signer)) == 1);

  addExtension(certificate, signer, NID_subject_key_identifier, "hash");
  if (subject.hosts.empty()) {
    addExtension(certificate, signer, NID_basic_constraints, "critical,CA:TRUE,pathlen:0");
    addExtension(certificate, signer, NID_key_usage, "critical,keyCertSign,cRLSign");
  } else {
    addExtension(certificate, signer, NID_authority_key_identifier, "keyid");
    addExtension(certificate, signer, NID_basic_constraints, "critical,CA:FALSE");
    addExtension(certificate, signer, NID_key_usage, "critical,digitalSignature");
    addExtension(certificate, signer, NID_ext_key_usage, "serverAuth");
    addExtension(certificate, signer, NID_subject_alt_name, subject.hosts);
  }
  require(X509_sign(&certificate, issuer == nullptr ? made.key.get() : issuer->key.get(), EVP_sha256()) > 0);
  return made;
}

std::string contentOf(BIO &bio) {
  char *data = nullptr;
  const long size = BIO_get_mem_data(&bio, &data);
  return {data, static_cast<std::size_t>(size)};
}

// Writes the key first, so that a certificate never lacks its key.
void storeCredentials(const Credentials &credentials, const std::filesystem::path &certificate,
                      const std::filesystem::path &key) {
  const Bio keyText(BIO_new(BIO_s_mem()));
  const Bio certificateText(BIO_new(BIO_s_mem()));
  require(keyText != nullptr && certificateText != nullptr);
  require(PEM_write_bio_PrivateKey(keyText.get(), credentials.key.get(), nullptr, nullptr, 0, nullptr, nullptr) == 1 &&
          PEM_write_bio_X509(certificateText.get(), credentials.certificate.get()) == 1);
  writeFile(key, contentOf(*keyText), 0600);
  writeFile(certificate, contentOf(*certificateText), 0600);
}

Credentials loadCredentials(const std::filesystem::path &certificate, const std::filesystem::path &key) {
  const Bio certificateFile(BIO_new_file(certificate.c_str(), "r"));
  const Bio keyFile(BIO_new_file(key.c_str(), "r"));
  require(certificateFile != nullptr && keyFile != nullptr);
  Credentials loaded{Certificate(PEM_read_bio_X509(certificateFile.get(), nullptr, nullptr, nullptr)),
                     Key(PEM_read_bio_PrivateKey(keyFile.get(), nullptr, nullptr, nullptr))};
  require(loaded.certificate != nullptr && loaded.key != nullptr);
  return loaded;
}

// Whether the issuer signed the certificate, it names every host, and is valid for another day.
bool isAcceptable(const Credentials &credentials, const Credentials &issuer) {
  X509 *certificate = credentials.certificate.get();
  // OpenSSL's time_t may be shorter than ours, so that no function that takes one is called.
  std::tm end = {};
  return X509_verify(certificate, issuer.key.get()) == 1 &&
         ASN1_TIME_to_tm(X509_get0_notAfter(certificate), &end) == 1 && timegm(&end) > std::time(nullptr) + kDay &&
         std::ranges::all_of(hostNames(), [&](std::string_view host) {
           return X509_check_host(certificate, host.data(), host.size(), 0, nullptr) == 1;
         });
}

}  // namespace

Credentials authorityCredentials(const State &state) {
  const std::filesystem::path key = state.file("ca.key");
  if (std::filesystem::exists(state.authority())) return loadCredentials(state.authority(), key);
  Credentials made = makeCredentials({"kovacenter development authority", "", -1, kAuthorityDays}, nullptr);
  storeCredentials(made, state.authority(), key);
  return made;
}

Credentials serverCredentials(const State &state, ServerCertificate kind) {
  const Credentials issuer = authorityCredentials(state);
  const std::string name(hostNames().front());
  switch (kind) {
    case ServerCertificate::kExpired:
      return makeCredentials({name, namesOfAllHosts(), -30, -1}, &issuer);
    case ServerCertificate::kWrongName:
      return makeCredentials({"elsewhere.example", "DNS:elsewhere.example", -1, kServerDays}, &issuer);
    case ServerCertificate::kSelfSigned:
      return makeCredentials({name, namesOfAllHosts(), -1, kServerDays}, nullptr);
    case ServerCertificate::kGood:
      break;
  }
  const std::filesystem::path certificate = state.file("server.pem");
  const std::filesystem::path key = state.file("server.key");
  if (std::filesystem::exists(certificate)) {
    Credentials kept = loadCredentials(certificate, key);
    if (isAcceptable(kept, issuer)) return kept;
  }
  Credentials made = makeCredentials({name, namesOfAllHosts(), -1, kServerDays}, &issuer);
  storeCredentials(made, certificate, key);
  return made;
}

std::string hashedFileName(const X509 &certificate) {
  int done = 0;
  const unsigned long hash = X509_NAME_hash_ex(X509_get_subject_name(&certificate), nullptr, nullptr, &done);
  require(done == 1);
  char name[32];
  const int length = std::snprintf(name, sizeof name, "%08lx.0", hash);
  return {name, static_cast<std::size_t>(length)};
}

}  // namespace kova::center
