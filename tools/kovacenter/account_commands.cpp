#include <cmath>
#include <string>

#include "kovacenter/commands.h"
#include "kovacenter/management.h"

namespace kova::center {
namespace {

struct AddOptions : AccountOptions {
  Account account;
  bool isUnverified = false;
  std::string passwordFile;
};

struct SetOptions : AccountOptions {
  AccountChanges changes;
};

struct PurchaseOptions : AccountOptions {
  Purchase purchase;
  double price = 29.99;
};

struct SeedOptions : AccountOptions {
  unsigned purchases = 12;
};

int add(const AddOptions &options) {
  Account account = options.account;
  account.email = options.email;
  account.verified = !options.isUnverified;
  createAccount(State::existing(options.state), account, options.passwordFile);
  return 0;
}

int list(const StateOptions &options) {
  listAccounts(State::existing(options.state));
  return 0;
}

int verify(const AccountOptions &options) {
  AccountChanges changes;
  changes.verified = true;
  changeAccount(State::existing(options.state), options.email, changes);
  return 0;
}

int set(const SetOptions &options) {
  changeAccount(State::existing(options.state), options.email, options.changes);
  return 0;
}

int revoke(const AccountOptions &options) {
  revokeAccount(State::existing(options.state), options.email);
  return 0;
}

int record(const PurchaseOptions &options) {
  Purchase purchase = options.purchase;
  purchase.cents = std::llround(options.price * 100);
  recordPurchase(State::existing(options.state), options.email, purchase);
  return 0;
}

int seed(const SeedOptions &options) {
  seedPurchases(State::existing(options.state), options.email, options.purchases);
  return 0;
}

}  // namespace

void addAccountCommands(CLI::App &program, ChosenCommand &chosen) {
  CLI::App &accounts = *program.add_subcommand("account", "Accounts of the service")->require_subcommand(1);

  const auto [adding, addOptions] = addAccountCommand(
      accounts, chosen, "add", "Add an account; its password is asked for, or read from standard input", add);
  adding->add_option("--name", addOptions.account.fullName, "Full name");
  adding->add_option("--country", addOptions.account.country, "Country");
  adding->add_option("--timezone", addOptions.account.timezone, "Time zone");
  adding->add_option("--language", addOptions.account.notifyLanguage, "Language of notification mail");
  adding
      ->add_option("--password-file", addOptions.passwordFile,
                   "Read the password from this file; \"-\" is standard input")
      ->type_name("FILE");
  adding->add_flag("--unverified", addOptions.isUnverified, "Its e-mail address is not verified yet");

  addStateCommand(accounts, chosen, "list", "List the accounts", list);
  addAccountCommand(accounts, chosen, "verify", "Verify an account's e-mail address", verify);

  const auto [setting, setOptions] = addAccountCommand(accounts, chosen, "set", "Change an account", set);
  AccountChanges &changes = setOptions.changes;
  setting->add_flag("--revoke-on-password-change,!--keep-on-password-change", changes.revokeOnPasswordChange,
                    "Whether a new password ends the account's auth keys");
  setting->add_flag("--disabled,!--enabled", changes.disabled, "Whether the account is shown as disabled");
  setting->add_option("--alias", changes.alias, "Relay alias");
  setting->add_option("--ddns", changes.ddns, "Dynamic DNS host name");

  addAccountCommand(accounts, chosen, "revoke", "End all auth keys of an account", revoke);
}

void addPurchaseCommands(CLI::App &program, ChosenCommand &chosen) {
  CLI::App &purchases = *program.add_subcommand("purchase", "Purchases of the accounts")->require_subcommand(1);
  const auto [adding, addOptions] = addAccountCommand(purchases, chosen, "add", "Record a purchase", record);
  Purchase &purchase = addOptions.purchase;
  purchase.app = "Antivirus by McAfee";
  purchase.model = "TV218";
  purchase.payStatus = "Completed";
  adding->add_option("--app", purchase.app, "What was bought")->capture_default_str();
  adding->add_option("--price", addOptions.price, "Price")->capture_default_str()->check(CLI::Range(0.0, 1e9));
  adding->add_option("--date", purchase.createdAt, "YYYY-MM-DD or \"YYYY-MM-DD HH:MM:SS\" (default: now)");
  adding->add_option("--model", purchase.model, "Device model")->capture_default_str();
  adding->add_option("--serial", purchase.serial, "Serial number of the device");
  adding->add_option("--paypal", purchase.paypalId, "PayPal identifier of the buyer");
  adding->add_option("--transaction", purchase.transactionId, "Transaction identifier (default: made up)");
  adding->add_option("--status", purchase.payStatus, "Payment status")->capture_default_str();

  const auto [seeding, seedOptions] =
      addAccountCommand(program, chosen, "seed", "Give an account a plausible history", seed);
  seeding->add_option("--purchases", seedOptions.purchases, "Number of purchases")
      ->capture_default_str()
      ->check(CLI::Range(0, 10000));
}

}  // namespace kova::center
