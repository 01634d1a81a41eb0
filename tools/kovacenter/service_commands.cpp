#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "kovacenter/commands.h"
#include "kovacenter/journal.h"
#include "kovacenter/serve.h"

namespace kova::center {
namespace {

struct ServeCommandOptions : StateOptions {
  ServeOptions serve;
  bool inBackground = false;
};

struct RunCommandOptions : StateOptions {
  ServeOptions serve;
  std::string device;
  std::vector<std::string> command;
};

struct DeviceCommandOptions : StateOptions {
  DeviceOptions device;
};

struct JournalCommandOptions : StateOptions {
  bool asJson = false;
  bool follow = false;
};

void addServeOptions(CLI::App &command, ServeOptions &options) {
  static const std::map<std::string, ServerCertificate> kCertificates = {
      {"good", ServerCertificate::kGood},
      {"expired", ServerCertificate::kExpired},
      {"wrong-name", ServerCertificate::kWrongName},
      {"self-signed", ServerCertificate::kSelfSigned}};
  command.add_option("--port", options.port, "HTTPS port (default: any free one)")->check(CLI::Range(0, 65535));
  command
      .add_option_function<std::string>(
          "--certificate", [&options](const std::string &name) { options.certificate = kCertificates.at(name); },
          "Certificate to present (default: good)")
      ->check(CLI::IsMember(&kCertificates));
  command.add_option("--register-limit", options.rules.registerLimit, "Accounts that one device may register")
      ->capture_default_str()
      ->check(CLI::NonNegativeNumber);
  command.add_flag("--register-unverified", options.rules.registerUnverified, "Registered accounts start unverified");
}

int serveUntilSignal(const ServeCommandOptions &options) {
  const State state(options.state);
  if (options.inBackground) return serveInBackground(state, options.serve);
  serve(state, options.serve);
  return 0;
}

int stop(const StateOptions &options) {
  stopService(State::existing(options.state));
  return 0;
}

// The path as an absolute one, without what a slash or a dot at its end would do: follow a symbolic link.
std::filesystem::path absolutePath(const std::filesystem::path &path) {
  std::filesystem::path absolute = std::filesystem::absolute(path);
  while (absolute.has_relative_path() && (!absolute.has_filename() || absolute.filename() == ".")) {
    absolute = absolute.parent_path();
  }
  return absolute;
}

// The device root that was named, else the environment's, else one that belongs to the state.
std::filesystem::path deviceRoot(const State &state, const std::string &named) {
  if (!named.empty()) return absolutePath(named);
  const char *root = std::getenv("KOVA_DEVICE_ROOT");
  return root != nullptr && *root != '\0' ? absolutePath(root) : state.file("device");
}

int runWithService(const RunCommandOptions &options) {
  if (options.command.empty()) throw CLI::RequiredError("-- COMMAND");
  const State state(options.state);
  return runBesideService(state, options.serve, deviceRoot(state, options.device), options.command);
}

int makeDeviceFromOptions(const DeviceCommandOptions &options) {
  DeviceOptions device = options.device;
  device.root = absolutePath(device.root);
  makeDevice(State::existing(options.state), device);
  return 0;
}

int printRequests(const JournalCommandOptions &options) {
  printJournal(State::existing(options.state).journal(), options.asJson, options.follow);
  return 0;
}

}  // namespace

void addServiceCommands(CLI::App &program, ChosenCommand &chosen, const std::vector<std::string> &words) {
  const auto [serve, serveOptions] =
      addStateCommand(program, chosen, "serve", "Run the service until a signal ends it", serveUntilSignal);
  addServeOptions(*serve, serveOptions.serve);
  serve->add_flag("--background", serveOptions.inBackground,
                  "Return when the service is ready; its messages then go to \"serve.log\" in the state");
  addStateCommand(program, chosen, "stop", "End the service that runs on the state", stop);

  const auto [run, runOptions] = addStateCommand(
      program, chosen, "run", "Run a command with the service beside it: ... -- COMMAND [ARGUMENT...]", runWithService);
  addServeOptions(*run, runOptions.serve);
  run->add_option("--device", runOptions.device, "Device root; made when absent")->type_name("DIR");
  runOptions.command = words;
}

void addDeviceCommand(CLI::App &program, ChosenCommand &chosen) {
  const auto [command, options] = addStateCommand(
      program, chosen, "device", "Make a device root and print the environment to use it", makeDeviceFromOptions);
  DeviceOptions &device = options.device;
  command->add_option("ROOT", device.root, "Directory that becomes the device root")->required()->type_name("DIR");
  command->add_option("--serial", device.serial, "Factory serial number");
  command->add_option("--custom-serial", device.customSerial, "Serial number set by hand");
  command->add_option("--mac", device.mac, "MAC address");
  command->add_option("--relay-account", device.relayAccount, "Account of the relay service");
  command->add_option("--relay-alias", device.relayAlias, "Alias of the relay service");
  command->add_option("--ddns-account", device.ddnsAccount, "Account of the dynamic DNS service");
  command->add_option("--ddns-host", device.ddnsHost, "Host name of the dynamic DNS service");
  command->add_option("--environment", device.environment, "Service environment (default: production)")
      ->check(CLI::IsMember({"test", "dev", "test2"}));
  command->add_flag("--force", device.force, "Write into a directory that holds something already");
  command->footer(
      "A device root of this state that is there already stays as it is, and its environment is printed\n"
      "again; with --force it is made anew.\n\n" +
      command->get_footer());
}

void addJournalCommand(CLI::App &program, ChosenCommand &chosen) {
  const auto [command, options] = addStateCommand(
      program, chosen, "journal", "Print every request: number, time (UTC), target, action, status, result and fault",
      printRequests);
  command->add_flag("--json", options.asJson, "Print the journal's JSON lines, which have the form and the reply too");
  command->add_flag("--follow", options.follow, "Go on with what is added");
}

}  // namespace kova::center
