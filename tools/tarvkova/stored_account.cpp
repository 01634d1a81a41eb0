#include "tarvkova/stored_account.h"

#include <kova/error.h>

#include <cstring>

#include "tarvkova/outcome.h"

namespace kova::cli {

void WipeAccount::operator()(AccountInfo *account) const {
  explicit_bzero(account, sizeof *account);
  delete account;
}

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
