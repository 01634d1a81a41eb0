// Running the service, alone or beside a command.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "kovacenter/certificates.h"
#include "kovacenter/device_root.h"
#include "kovacenter/rules.h"
#include "kovacenter/state.h"

namespace kova::center {

struct ServeOptions {
  int port = 0;
  ServerCertificate certificate = ServerCertificate::kGood;
  Rules rules;
};

// Runs the service until a signal ends it.
void serve(const State &state, const ServeOptions &options);

// The same in a process of its own, away from the terminal. Returns when that is ready, or has failed: the exit code.
int serveInBackground(const State &state, const ServeOptions &options);

// Runs a command with the service beside it; returns the command's exit code.
int runBesideService(const State &state, const ServeOptions &options, const std::filesystem::path &device,
                     const std::vector<std::string> &command);

// Makes a device root where there is none, and prints the environment to use it.
void makeDevice(const State &state, const DeviceOptions &options);

}  // namespace kova::center
