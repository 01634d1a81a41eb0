// The private certificate authority and what the service presents.
#pragma once

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <filesystem>
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

// The authority that is kept in the state; made at the first call.
Credentials authority(const State &state);

// The server's certificate; the good one is kept in the state and renewed when it no longer serves.
Credentials serverCredentials(const State &state, ServerCertificate kind);

// The file name under which a directory of hashed certificates must have this one.
std::string hashedName(const X509 &certificate);

}  // namespace kova::center
