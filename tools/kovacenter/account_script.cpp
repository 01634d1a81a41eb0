// "account.php": registering, changing and merging accounts.
#include <algorithm>
#include <charconv>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "kovacenter/accounts.h"
#include "kovacenter/actions.h"
#include "kovacenter/call.h"
#include "kovacenter/database.h"
#include "kovacenter/digest.h"
#include "kovacenter/form.h"
#include "kovacenter/purchases.h"
#include "kovacenter/refusal.h"

namespace kova::center {
namespace {

// Changes the text where the form has the parameter.
void changeText(std::string &text, const Form &form, std::string_view name) {
  if (const std::string *value = form.find(name)) text = *value;
}

void changeFlag(bool &flag, const Form &form, std::string_view name) {
  flag = form.findFlag(name).value_or(flag);
}

// Gives the account an address that no other account has.
void changeEmail(const Call &call, Account &account, const std::string &email) {
  if (!looksLikeEmail(email)) throw badParameter("email");
  const std::optional<Account> owner = findAccount(call.database, email);
  if (owner && owner->id != account.id) throw Refusal("account_inused", "An account has this e-mail address already");
  account.email = email;
}

std::string needNewPassword(const Form &form) {
  const std::string &password = form.needText("passwd_new");
  if (form.need("passwd_confirmation") != password) throw badParameter("passwd_confirmation");
  return password;
}

Json::Value updateAccount(const Call &call) {
  const Form &form = call.form;
  Account account = signedInAccount(call);
  const std::string *email = form.find("email");
  const bool setsPassword = form.find("passwd_new") != nullptr || form.find("passwd_confirmation") != nullptr;
  if ((form.find("passwd") != nullptr || email != nullptr || setsPassword) &&
      !passwordMatches(call.database, account, needPasswordMd5(call))) {
    throw Refusal("badauth", "The password is wrong");
  }
  if (email != nullptr) changeEmail(call, account, *email);
  if (form.find("full_name") != nullptr) account.fullName = form.needText("full_name");
  changeText(account.country, form, "country");
  changeText(account.notifyLanguage, form, "notify_lang");
  changeText(account.timezone, form, "timezone");
  changeFlag(account.enews, form, "enews");
  changeFlag(account.criticalRelease, form, "critical_release");
  changeFlag(account.enewsLocalPromotion, form, "enews_local_promotion");
  if (const std::string *versions = form.find("critical_version_list")) {
    const auto isRelease = [](const std::string &name) { return std::ranges::count(releases(), name) > 0; };
    if (!std::ranges::all_of(splitList(*versions), isRelease)) throw badParameter("critical_version_list");
    account.criticalVersions = *versions;
  }
  saveAccount(call.database, account);
  if (setsPassword) changePassword(call.database, account, needNewPassword(form));
  return Json::objectValue;
}

Json::Value registerAccount(const Call &call) {
  const Form &form = call.form;
  checkToken(call);
  const std::string &password = form.needText("passwd");
  Account account;
  changeEmail(call, account, form.need("email"));
  account.fullName = form.needText("full_name");
  account.notifyLanguage = form.needText("notify_lang");
  account.timezone = form.needText("timezone");
  form.need("critical_release");
  changeFlag(account.criticalRelease, form, "critical_release");
  account.registeredBy = call.serial;
  account.verified = !call.rules.registerUnverified;
  if (countRegisteredBy(call.database, call.serial) >= call.rules.registerLimit) {
    throw Refusal("serial_exceed_max_account_register", "This device has registered as many accounts as it may");
  }
  addAccount(call.database, account, password);
  return Json::objectValue;
}

struct AccountToMerge {
  const std::string *email = nullptr;
  const std::string *password = nullptr;
};

// The parameters "merge_list[<index>][email]" and "merge_list[<index>][passwd]", by index.
std::map<unsigned, AccountToMerge> mergeList(const Form &form) {
  constexpr std::string_view kPrefix = "merge_list[";
  std::map<unsigned, AccountToMerge> list;
  for (const auto &[name, value] : form.pairs()) {
    if (!name.starts_with(kPrefix)) continue;
    unsigned index = 0;
    const char *end = name.data() + name.size();
    const auto [rest, error] = std::from_chars(name.data() + kPrefix.size(), end, index);
    const std::string_view member(rest, end);
    if (error != std::errc() || (member != "][email]" && member != "][passwd]")) throw badParameter("merge_list");
    (member == "][email]" ? list[index].email : list[index].password) = &value;
  }
  return list;
}

// Gives the main account what the other has, and removes the other.
void mergeAccount(SQLite::Database &database, Account &main, const Account &other) {
  movePurchases(database, main, other);
  if (main.alias.empty()) main.alias = other.alias;
  if (main.ddns.empty()) main.ddns = other.ddns;
  removeAccount(database, other);
}

Json::Value migrateAccounts(const Call &call) {
  checkToken(call);
  const std::map<unsigned, AccountToMerge> list = mergeList(call.form);
  if (list.empty()) throw badParameter("merge_list");
  Account main = signIn(call.database, call.form.needText("email"), needPasswordMd5(call));
  for (const auto &[index, given] : list) {
    if (given.email == nullptr || given.password == nullptr) throw badParameter("merge_list");
    const Account other = signIn(call.database, *given.email, md5Hex(*given.password));
    if (other.id == main.id) throw badParameter("merge_list");
    mergeAccount(call.database, main, other);
  }
  saveAccount(call.database, main);
  return Json::objectValue;
}

}  // namespace

const Actions &accountActions() {
  static const Actions actions = {
      {"update", updateAccount}, {"register", registerAccount}, {"migrate", migrateAccounts}};
  return actions;
}

}  // namespace kova::center
