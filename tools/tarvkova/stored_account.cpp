#include "tarvkova/stored_account.h"

#include <kova/error.h>

#include "tarvkova/outcome.h"

namespace kova::cli {

StoredAccount findStoredAccount() {
  StoredAccount account(new AccountInfo{});
  if (TARVKOVAAccountGet(account.get()) == 0) return account;
  if (TARVKOVAErrGet() != KOVA_ERR_ACCOUNT_GET) throw libraryFailure();
  return nullptr;
}

StoredAccount requireStoredAccount() {
  StoredAccount account = findStoredAccount();
  if (!account) throw libraryFailure();
  return account;
}

}  // namespace kova::cli
