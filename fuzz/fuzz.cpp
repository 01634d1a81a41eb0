#include "fuzz/fuzz.h"

#include <kova/platform.h>

static FuzzDevice device;

FILE *TLIBCPopen(const char *, const char *const arguments[], const char *) {
  std::string &output = std::string_view(arguments[0]) == "--get-tarv-account" ? device.account : device.host;
  return fmemopen(output.data(), output.size(), "r");
}

int TLIBCPclose(FILE *stream) {
  return std::fclose(stream);
}

int TLIBCExecv(const char *, const char *const[], int) {
  device.abandoned = std::getenv("KOVA_ABANDON_LIST");
  return 0;
}

int TLIBServiceRestart(const char *) {
  return 1;
}

extern "C" int LLVMFuzzerTestOneInput(const char *data, std::size_t size) {
  setenv("KOVA_DEVICE_ROOT", device.root.path().c_str(), 1);
  for (const auto &entry : std::filesystem::directory_iterator(device.root.path())) remove_all(entry.path());
  device.write("/etc.defaults/kovadevice.conf", "serial=\"1430TST000001\"\nmac=\"02:00:00:00:00:01\"\n");
  device.write("/etc/tarvinfo.conf", "timezone=\"UTC\"\n");
  device.write("/etc/kova.conf", kSignedIn);
  device.account = device.host = device.abandoned = "";
  hooks::reset();
  hooks::state().wired = true;
  fuzz(device, {data, size});
  return 0;
}

// Gives the inputs in a directory to the target. libFuzzer's own main function takes the place of this one.
[[gnu::weak]] int main(int, char **argv) {
  for (const auto &file : std::filesystem::directory_iterator(argv[1])) {
    const std::string input = readFile(file);
    LLVMFuzzerTestOneInput(input.data(), input.size());
  }
}
