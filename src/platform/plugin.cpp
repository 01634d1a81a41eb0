#include <dirent.h>
#include <kova/platform.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <string>
#include <vector>

#include "base/release.h"
#include "platform/device_path.h"
#include "platform/last_error.h"
#include "platform/process.h"

struct TLIBPlugin {
  std::string directory;
};

namespace kova::platform {
namespace {

// The names of the executables in a directory, in order; none where the directory is missing.
std::vector<std::string> executablesOf(const std::string &directory) {
  const std::unique_ptr<DIR, Release<closedir>> entries(opendir(directory.c_str()));
  if (!entries) {
    if (errno == ENOENT) return {};
    throw Failure{TLIBC_ERR_OPEN_FAILED};
  }
  std::vector<std::string> names;
  errno = 0;
  while (const dirent *entry = readdir(entries.get())) {
    struct stat status;
    const bool executable = fstatat(dirfd(entries.get()), entry->d_name, &status, 0) == 0 && S_ISREG(status.st_mode) &&
                            (status.st_mode & (S_IXUSR | S_IXGRP | S_IXOTH)) != 0;
    if (executable) names.emplace_back(entry->d_name);
    errno = 0;
  }
  if (errno != 0) throw Failure{TLIBC_ERR_READ_FAILED};
  std::ranges::sort(names);
  return names;
}

bool succeeds(const std::string &program, const char *const arguments[]) noexcept {
  return withLastError(false, [&] { return run(program, arguments) == 0; });
}

}  // namespace
}  // namespace kova::platform

using namespace kova::platform;

TLIBPlugin *TLIBPluginSDKInit(const char *package, const char *action) {
  return withLastError<TLIBPlugin *>(nullptr, [&] {
    require(package != nullptr && action != nullptr);
    require(isPlainRelativePath(package) && isPlainRelativePath(action));
    return new TLIBPlugin{devicePath(std::string("/usr/tarv/kova/plugin/") + package + "/" + action)};
  });
}

int TLIBPluginAction(TLIBPlugin *plugin, int action) {
  return withLastError(-1, [&] {
    require(plugin != nullptr);
    const std::string number = std::to_string(action);
    const char *const arguments[] = {number.c_str(), nullptr};
    bool allSucceeded = true;
    for (const std::string &name : executablesOf(plugin->directory)) {
      allSucceeded &= succeeds(plugin->directory + "/" + name, arguments);
    }
    if (!allSucceeded) throw Failure{TLIBC_ERR_EXEC_FAILED};
    return 0;
  });
}

void TLIBPluginExit(TLIBPlugin *plugin) {
  delete plugin;
}
