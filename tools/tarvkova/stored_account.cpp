#include "tarvkova/stored_account.h"

#include <kova/error.h>

#include "tarvkova/library_failure.h"

namespace kova::cli {

StoredAccount readStoredAccount() {
  StoredAccount account(new AccountInfo{});
  if (TARVKOVAAccountGet(account.get()) < 0) account.reset();
  return account;
}

StoredAccount findStoredAccount() {
  StoredAccount account = readStoredAccount();
  if (account) return account;
  const Failure failure = libraryFailure();
  if (failure.code != KOVA_ERR_ACCOUNT_GET) throw failure;
  return nullptr;
}

StoredAccount requireStoredAccount() {
  StoredAccount account = findStoredAccount();
  if (!account) throw libraryFailure();
  return account;
}

}  // namespace kova::cli
