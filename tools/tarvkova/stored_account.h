// The account that the device is signed in to, as it is stored.
#pragma once

#include <kova/account.h>

#include <memory>

#include "base/secret.h"

namespace kova::cli {

using StoredAccount = std::unique_ptr<AccountInfo, WipingDelete>;

// Null when the library finds none, for whatever reason.
StoredAccount readStoredAccount();

// Null when the device is not signed in. Throws Failure when that cannot be told.
StoredAccount findStoredAccount();

// Throws Failure when the device is not signed in.
StoredAccount requireStoredAccount();

}  // namespace kova::cli
