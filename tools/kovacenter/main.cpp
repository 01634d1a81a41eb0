// kovacenter: the account service for development. It listens on the loopback only.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iostream>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "kovacenter/commands.h"
#include "kovacenter/journal.h"

namespace kova::center {
namespace {

constexpr int kWrongUsage = 2;

// The command line: what it can hold, and what it holds once parsed. Parsing runs the command.
class CommandLine {
 public:
  CommandLine();
  int parse(int argc, char **argv);

 private:
  void addServing();
  void addDevice();
  void addAccounts();
  void addPurchases();
  void addFaults();
  void addJournal();
  CLI::App *command(CLI::App &parent, const char *name, const char *description);
  CLI::App *commandOnAccount(CLI::App &parent, const char *name, const char *description);
  void addServeOptions(CLI::App *command);
  std::filesystem::path deviceOfRun(const State &state) const;

  CLI::App app_{"The account service for development, on the loopback only"};
  int exitCode_ = 0;
  std::string state_;
  std::string email_;
  ServeOptions serve_;
  std::string runDevice_;
  DeviceOptions device_;
  Account account_;
  bool unverified_ = false;
  std::string passwordFile_;
  AccountChanges changes_;
  Purchase purchase_;
  double price_ = 29.99;
  unsigned purchases_ = 12;
  Fault fault_;
  bool follow_ = false;
  std::vector<std::string> words_;  // what follows a "--"
};

CommandLine::CommandLine() {
  app_.name("kovacenter")->require_subcommand(1);
  app_.set_version_flag("--version", "kovacenter " KOVA_VERSION, "Print the version and exit");
  addServing();
  addDevice();
  addAccounts();
  addPurchases();
  addFaults();
  addJournal();
}

int CommandLine::parse(int argc, char **argv) try {
  // The parser would take "[a,b]" for a list of two; a command's words are to stay as they are.
  const bool hasWords = argc > 1 && (std::string_view(argv[1]) == "run" || std::string_view(argv[1]) == "fault");
  char **const end = hasWords ? std::find(argv, argv + argc, std::string_view("--")) : argv + argc;
  words_.assign(std::min(end + 1, argv + argc), argv + argc);
  app_.parse(static_cast<int>(end - argv), argv);
  return exitCode_;
} catch (const CLI::Success &wanted) {
  return app_.exit(wanted);
} catch (const CLI::ParseError &error) {
  std::cerr << "kovacenter: " << error.what() << std::endl;
  return kWrongUsage;
}

CLI::App *CommandLine::command(CLI::App &parent, const char *name, const char *description) {
  CLI::App *command = parent.add_subcommand(name, description);
  command->add_option("--state", state_, "Directory of the service's state")->type_name("DIR")->required();
  return command;
}

CLI::App *CommandLine::commandOnAccount(CLI::App &parent, const char *name, const char *description) {
  CLI::App *made = command(parent, name, description);
  made->add_option("email", email_, "E-mail address of the account")->required();
  return made;
}

void CommandLine::addServeOptions(CLI::App *command) {
  static const std::map<std::string, ServerCertificate> kCertificates = {
      {"good", ServerCertificate::kGood},
      {"expired", ServerCertificate::kExpired},
      {"wrong-name", ServerCertificate::kWrongName},
      {"self-signed", ServerCertificate::kSelfSigned}};
  command->add_option("--port", serve_.port, "HTTPS port (default: any free one)")->check(CLI::Range(0, 65535));
  command
      ->add_option_function<std::string>(
          "--certificate", [this](const std::string &name) { serve_.certificate = kCertificates.at(name); },
          "What to present (default: good)")
      ->check(CLI::IsMember(&kCertificates));
  command->add_option("--register-limit", serve_.rules.registerLimit, "Accounts that one device may register")
      ->capture_default_str()
      ->check(CLI::NonNegativeNumber);
  command->add_flag("--register-unverified", serve_.rules.registerUnverified, "Registered accounts start unverified");
}

// The one named, else the environment's, else one that belongs to the state.
std::filesystem::path CommandLine::deviceOfRun(const State &state) const {
  if (!runDevice_.empty()) return std::filesystem::absolute(runDevice_);
  const char *root = std::getenv("KOVA_DEVICE_ROOT");
  return root != nullptr && *root != '\0' ? std::filesystem::absolute(root) : state.file("device");
}

void CommandLine::addServing() {
  CLI::App *serving = command(app_, "serve", "Run the service until a signal ends it");
  addServeOptions(serving);
  serving->callback([this] { serve(State(state_), serve_); });

  CLI::App *running = command(app_, "run", "Run a command with the service beside it: ... -- COMMAND [ARGUMENT...]");
  addServeOptions(running);
  running->add_option("--device", runDevice_, "Device root; made when absent")->type_name("DIR");
  running->callback([this] {
    if (words_.empty()) throw CLI::RequiredError("-- COMMAND");
    const State state(state_);
    exitCode_ = run(state, serve_, deviceOfRun(state), words_);
  });
}

void CommandLine::addDevice() {
  CLI::App *device = command(app_, "device", "Make a device root and print the environment to use it");
  device->add_option("root", device_.root, "Directory")->required()->type_name("DIR");
  device->add_option("--serial", device_.serial, "Factory serial number");
  device->add_option("--custom-serial", device_.customSerial, "Serial number set by hand");
  device->add_option("--mac", device_.mac, "MAC address");
  device->add_option("--relay-account", device_.relayAccount, "Account of the relay service");
  device->add_option("--relay-alias", device_.relayAlias, "Alias of the relay service");
  device->add_option("--ddns-account", device_.ddnsAccount, "Account of the dynamic DNS service");
  device->add_option("--ddns-host", device_.ddnsHost, "Host name of the dynamic DNS service");
  device->add_option("--environment", device_.environment, "Service environment (default: production)")
      ->check(CLI::IsMember({"test", "dev", "test2"}));
  device->add_flag("--force", device_.force, "Write into a directory that holds something already");
  device->callback([this] {
    device_.root = std::filesystem::absolute(device_.root);
    makeDevice(State(state_), device_);
  });
}

void CommandLine::addAccounts() {
  CLI::App *accounts = app_.add_subcommand("account", "Accounts of the service")->require_subcommand(1);

  CLI::App *add =
      commandOnAccount(*accounts, "add", "Add an account; its password is asked for, or read from standard input");
  add->add_option("--name", account_.fullName, "Full name");
  add->add_option("--country", account_.country, "Country");
  add->add_option("--timezone", account_.timezone, "Time zone");
  add->add_option("--language", account_.notifyLanguage, "Language of notification mail");
  add->add_option("--password-file", passwordFile_, "Read the password from this file")->type_name("FILE");
  add->add_flag("--unverified", unverified_, "Its e-mail address is not verified yet");
  add->callback([this] {
    account_.email = email_;
    account_.verified = !unverified_;
    createAccount(State(state_), account_, passwordFile_);
  });

  command(*accounts, "list", "List the accounts")->callback([this] { listAccounts(State::existing(state_)); });

  commandOnAccount(*accounts, "verify", "Verify an account's e-mail address")->callback([this] {
    changes_.verified = true;
    changeAccount(State::existing(state_), email_, changes_);
  });

  CLI::App *set = commandOnAccount(*accounts, "set", "Change an account");
  set->add_flag("--revoke-on-password-change,!--keep-on-password-change", changes_.revokeOnPasswordChange,
                "Whether a new password ends the account's auth keys");
  set->add_flag("--disabled,!--enabled", changes_.disabled, "Whether the account is shown as disabled");
  set->add_option("--alias", changes_.alias, "Relay alias");
  set->add_option("--ddns", changes_.ddns, "Dynamic DNS host name");
  set->callback([this] { changeAccount(State::existing(state_), email_, changes_); });

  commandOnAccount(*accounts, "revoke", "End all auth keys of an account")->callback([this] {
    revokeAccount(State::existing(state_), email_);
  });
}

void CommandLine::addPurchases() {
  CLI::App *purchases = app_.add_subcommand("purchase", "Purchases of the accounts")->require_subcommand(1);
  purchase_.app = "Antivirus by McAfee";
  purchase_.model = "TV218";
  purchase_.payStatus = "Completed";
  CLI::App *add = commandOnAccount(*purchases, "add", "Record a purchase");
  add->add_option("--app", purchase_.app, "What was bought")->capture_default_str();
  add->add_option("--price", price_, "Price")->capture_default_str()->check(CLI::Range(0.0, 1e9));
  add->add_option("--date", purchase_.createdAt, "YYYY-MM-DD or \"YYYY-MM-DD HH:MM:SS\" (default: now)");
  add->add_option("--model", purchase_.model, "Device model")->capture_default_str();
  add->add_option("--serial", purchase_.serial, "Serial number of the device");
  add->add_option("--paypal", purchase_.paypalId, "PayPal identifier of the buyer");
  add->add_option("--transaction", purchase_.transactionId, "Transaction identifier (default: made up)");
  add->add_option("--status", purchase_.payStatus, "Payment status")->capture_default_str();
  add->callback([this] {
    purchase_.cents = std::llround(price_ * 100);
    recordPurchase(State::existing(state_), email_, purchase_);
  });

  CLI::App *seed = commandOnAccount(app_, "seed", "Give an account a plausible history");
  seed->add_option("--purchases", purchases_, "Number of purchases")
      ->capture_default_str()
      ->check(CLI::Range(0, 10000));
  seed->callback([this] { seedPurchases(State::existing(state_), email_, purchases_); });
}

void CommandLine::addFaults() {
  CLI::App *faults = app_.add_subcommand("fault", "Misbehaviour of the service")->require_subcommand(1);
  CLI::App *add = command(*faults, "add", "Misbehave at the next requests that match: ... KIND [ARGUMENT...]");
  add->add_option("--script", fault_.script, "Only at this script")
      ->check(CLI::IsMember({"dnsauth.php", "account.php", "api/query.php"}));
  add->add_option("--action", fault_.action, "Only at this action");
  add->add_option("--count", fault_.remaining, "At how many requests")
      ->capture_default_str()
      ->check(CLI::Range(1, 1000000));
  add->allow_extras()->footer(
      "KIND: status CODE, body TEXT|@FILE, delay MILLISECONDS, redirect CODE LOCATION, cut, reset, drip MILLISECONDS,"
      " garbage or silence");
  add->callback([this, add] {
    std::vector<std::string> words = add->remaining();
    words.insert(words.end(), words_.begin(), words_.end());
    if (words.empty()) throw CLI::RequiredError("KIND");
    setKind(fault_, words);
    createFault(State::existing(state_), fault_);
  });
  command(*faults, "list", "List what is still to come")->callback([this] { listFaults(State::existing(state_)); });
  command(*faults, "clear", "Behave again")->callback([this] { deleteFaults(State::existing(state_)); });
}

void CommandLine::addJournal() {
  CLI::App *journal = command(app_, "journal", "Print every request and reply");
  journal->add_flag("--follow", follow_, "Go on with what is added");
  journal->callback([this] { printJournal(State::existing(state_).journal(), follow_); });
}

}  // namespace
}  // namespace kova::center

int main(int argc, char **argv) try {
  const int code = kova::center::CommandLine().parse(argc, argv);
  if (!std::cout.flush()) throw std::runtime_error("cannot write the output");
  return code;
} catch (const std::exception &error) {
  std::cerr << "kovacenter: " << error.what() << std::endl;
  return 1;
}
