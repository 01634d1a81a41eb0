// What the commands do with the service's accounts, purchases and faults.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "kovacenter/accounts.h"
#include "kovacenter/faults.h"
#include "kovacenter/purchases.h"
#include "kovacenter/state.h"

namespace kova::center {

// Reads the account's password from the file or, without one, from standard input.
void createAccount(const State &state, Account account, const std::filesystem::path &passwordFile);
void listAccounts(const State &state);

struct AccountChanges {
  std::optional<bool> verified;
  std::optional<bool> disabled;
  std::optional<bool> revokeOnPasswordChange;
  std::optional<std::string> alias;
  std::optional<std::string> ddns;
};
void changeAccount(const State &state, const std::string &email, const AccountChanges &changes);
// Ends every auth key of the account: its devices are refused with "badauth" from then on.
void revokeAccount(const State &state, const std::string &email);

// Fills in the date and the transaction identifier where they are empty.
void recordPurchase(const State &state, const std::string &email, Purchase purchase);
void seedPurchases(const State &state, const std::string &email, unsigned count);

void createFault(const State &state, const Fault &fault);
void listFaults(const State &state);
void deleteFaults(const State &state);

}  // namespace kova::center
