// The account file against plain system calls on a file with the same bytes.
#include <fcntl.h>
#include <kova/account.h>
#include <kova/platform.h>
#include <kova/session.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/descriptor.h"
#include "bench/measures.h"
#include "bench/timing.h"

namespace bench {
namespace {

using kova::Descriptor;
using kova::writeAll;

std::string accountFile() {
  std::array<char, PATH_MAX> path;
  require(KovaDevicePath("/etc/kova.conf", path.data(), path.size()) > 0, "device path");
  return path.data();
}

using Buffer = std::array<char, 16384>;

std::string_view readPlainly(Buffer &buffer, const std::string &path) {
  struct stat status;
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  require(fstat(file.get(), &status) == 0 && status.st_size < static_cast<off_t>(buffer.size()), "reading");
  const ssize_t size = read(file.get(), buffer.data(), static_cast<std::size_t>(status.st_size));
  return {buffer.data(), static_cast<std::size_t>(size)};
}

std::map<std::string, std::string> parsePlainly(std::string_view text) {
  std::map<std::string, std::string> values;
  while (!text.empty()) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    const std::size_t equals = line.find('=');
    if (equals == std::string::npos) continue;
    std::string_view value = line.substr(equals + 1);
    if (value.size() >= 2 && value.front() == '"' && value.back() == '"') value = value.substr(1, value.size() - 2);
    values.emplace(line.substr(0, equals), value);
  }
  return values;
}

void replacePlainly(const std::string &directory, std::string_view text) {
  const std::string temporary = directory + "/plain.tmp";
  const Descriptor file(open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
  require(writeAll(file.get(), text) && fsync(file.get()) == 0, "writing");
  require(std::rename(temporary.c_str(), (directory + "/plain.conf").c_str()) == 0, "replacing");
  const Descriptor parent(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  require(fsync(parent.get()) == 0, "writing");
}

void measureReading(const Setting &setting, Table &table) {
  const auto account = std::make_unique<AccountInfo>();
  Buffer buffer;
  const std::string path = accountFile();
  const auto get = [&] { require(TARVKOVAAccountGet(account.get()) == 0, "reading the account"); };
  const auto readOnly = [&] { readPlainly(buffer, path); };
  get();
  require(account->last_query_time > 0, "a full account file");
  const auto query = [&] {
    Json::Value profile;
    require(TARVKOVAAccountQueryInfo(profile, false, true) == 0, "cached query");
  };
  const auto readAndParse = [&] { require(parsePlainly(readPlainly(buffer, path)).size() >= 15, "parsing"); };
  const std::vector<double> times =
      medianTimes({{get, 500}, {readOnly, 500}, {query, 500}, {readAndParse, 500}}, setting.samples(201));
  table.addTimes("account read / read of the file", times[0], times[1], 3.0);
  table.addTimes("cached query / read and parse of the file", times[2], times[3], 3.0);
}

void measureWriting(const char *name, unsigned batch, double mark, const Setting &setting, Table &table) {
  const auto account = std::make_unique<AccountInfo>();
  require(TARVKOVAAccountGet(account.get()) == 0, "reading the account");
  const std::string path = accountFile();
  const std::string directory = path.substr(0, path.rfind('/'));
  Buffer buffer;
  const std::string_view text = readPlainly(buffer, path);
  const auto set = [&] { require(TARVKOVAAccountSet(account.get()) == 0, "writing the account"); };
  const auto replace = [&] { replacePlainly(directory, text); };
  const std::vector<double> times = medianTimes({{set, batch}, {replace, batch}}, setting.samples(101));
  table.addTimes(std::string("account write / write of the file, ") + name, times[0], times[1], mark);
}

}  // namespace

void measureAccountFile(const Setting &setting, Table &table) {
  measureReading(setting, table);
  measureWriting("device's place", 20, 0, setting, table);
  std::filesystem::create_directories(setting.disk / "etc");
  std::filesystem::copy_file(accountFile(), setting.disk / "etc/kova.conf");
  const char *root = std::getenv("KOVA_DEVICE_ROOT");
  require(root != nullptr, "KOVA_DEVICE_ROOT");
  const std::string device = root;
  setenv("KOVA_DEVICE_ROOT", setting.disk.c_str(), 1);
  measureWriting("on disk", 1, 1.2, setting, table);
  setenv("KOVA_DEVICE_ROOT", device.c_str(), 1);
}

}  // namespace bench
