// The private certificate authority, and the certificate that the service presents.
#pragma once

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <memory>
#include <string>

#include "base/release.h"
#include "kovacenter/state.h"

namespace kova::center {

using Certificate = std::unique_ptr<X509, Release<X509_free>>;
using Key = std::unique_ptr<EVP_PKEY, Release<EVP_PKEY_free>>;

struct Credentials {
  Certificate certificate;
  Key key;
};

enum class ServerCertificate { kGood, kExpired, kWrongName, kSelfSigned };

// The authority is made at the first call, and kept in the state.
Credentials authorityCredentials(const State &state);

// The server's certificate. The good one is kept in the state, and renewed when a client would not accept it.
Credentials serverCredentials(const State &state, ServerCertificate kind);

// The name of the certificate's file in a directory of hashed certificates.
std::string hashedFileName(const X509 &certificate);

}  // namespace kova::center
