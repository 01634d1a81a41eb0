// The check of "tarvkova doctor" on the authorities that the library trusts.
#pragma once

#include "tarvkova/doctor_finding.h"

namespace kova::cli {

Finding checkTrustedCertificates();

}  // namespace kova::cli
