#include "kovacenter/call.h"

#include <optional>

#include "kovacenter/auth_keys.h"
#include "kovacenter/digest.h"
#include "kovacenter/refusal.h"

namespace kova::center {

Account signedInAccount(const Call &call) {
  const std::string &kovaId = call.form.needText("kova_id");
  const std::string &authKey = call.form.needText("auth_key");
  std::optional<Account> account = findAccountByKovaId(call.database, kovaId);
  if (!account || !isAuthKey(call.database, account->id, call.serial, authKey)) {
    throw Refusal("badauth", "The auth key is not good for this account and device");
  }
  return *account;
}

std::string needPasswordMd5(const Call &call) {
  return md5Hex(call.form.needText("passwd"));
}

void checkToken(const Call &call) {
  if (!sameSecret(call.form.needText("token"), deviceToken(call.serial))) {
    throw Refusal("badauth", "The device token is wrong");
  }
}

}  // namespace kova::center
