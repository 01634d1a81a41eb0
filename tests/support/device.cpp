#include "support/device.h"

#include <json/reader.h>
#include <kova/error.h>
#include <openssl/evp.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <sstream>

#include "base/hexadecimal.h"

namespace fs = std::filesystem;

std::string expectedMd5(const std::string &text) {
  unsigned char digest[16];
  EVP_Digest(text.data(), text.size(), digest, nullptr, EVP_md5(), nullptr);
  return kova::hexadecimal(digest);
}

std::string expectedToken(const std::string &text) {
  std::string token = text.substr(0, 4095);
  const int rounds = std::stoi(expectedMd5(text).substr(0, 1), nullptr, 16) + 1;
  for (int i = 0; i < rounds; ++i) token = expectedMd5((token + expectedMd5(token)).substr(0, 4128));
  return token;
}

Json::Value parsed(const std::string &text) {
  Json::Value value;
  std::istringstream(text) >> value;  // throws where the text is anything else
  return value;
}

std::vector<std::string> words(const std::string &text) {
  std::istringstream stream(text);
  return {std::istream_iterator<std::string>(stream), {}};
}

bool isFailedStartTold() {
  pid_t child = 0;
  char *const none[] = {nullptr};
  if (posix_spawn(&child, "/nowhere", nullptr, nullptr, none, none) != 0) return true;
  waitpid(child, nullptr, 0);
  std::puts("Not tested, since the emulator does not tell it: programs that cannot be executed");
  return false;
}

std::string keyFile(const std::string &entries) {
  std::string text;
  for (std::string entry : words(entries)) text += entry.insert(entry.find('=') + 1, "\"") + "\"\n";
  return text;
}

DeviceTest::DeviceTest() {
  setenv("KOVA_DEVICE_ROOT", root_.path().c_str(), 1);
  write(kDeviceFile, keyFile("serial=1430TST000001 user_agent=TestDevice/1.0 mac=02:00:00:00:00:01"));
  write(kInfoFile, keyFile("timezone=Europe/Berlin"));
  write("/var/lib/kova/apikey", kApiKey);
  fs::permissions(at("/var/lib/kova/apikey"), fs::perms(0600));
  hooks::reset();
  TARVKOVAErrSet(0);
}

DeviceTest::~DeviceTest() {
  hooks::reset();
  unsetenv("KOVA_DEVICE_ROOT");
}

void DeviceTest::writeProgram(std::string_view path, std::string_view text) const {
  write(path, text);
  if (text.substr(0, 2) == "#!") fs::permissions(at(path), fs::perms(0700));
}

void DeviceTest::answer(std::vector<hooks::Reply> replies, hooks::Failing failing) {
  const std::optional<std::time_t> now = state().now;
  hooks::reset();
  failing.insert("TLIBCErrGet");
  state().now = now;
  state().wired = true;
  state().replies = std::move(replies);
  state().failing = std::move(failing);
  TARVKOVAErrSet(77);
  errno = 0;
}

Files DeviceTest::files() const {
  Files found;
  for (const auto &entry : fs::recursive_directory_iterator(root_.path())) {
    if (!entry.is_regular_file() || entry.path().extension() == ".lock") continue;
    found[entry.path().lexically_relative(root_.path())] = readFile(entry.path());
  }
  return found;
}

std::string sent(std::size_t attempt) {
  if (attempt >= state().attempts.size()) return "(nothing was sent)";
  const std::string &form = state().attempts[attempt].form;
  const std::string identity = "vx_sn=1430TST000001&vx_token=" + expectedToken("1430TST000001") + "&";
  return form.rfind(identity, 0) == 0 ? form.substr(identity.size()) : "(without identity) " + form;
}

testing::AssertionResult loggedExactly(const std::vector<LogLine> &expected, const std::string &unit) {
  std::vector<LogLine> logged;
  for (const std::string &line : state().log) {
    const std::size_t colon = line.find(':'), blank = line.find(' '),
                      end = line.find_first_not_of("0123456789", colon + 1);
    if (colon == std::string::npos || blank == colon + 1 || blank != end)
      return testing::AssertionFailure() << "without unit and line: " << line;
    if (unit.empty() || line.substr(0, colon) == unit)
      logged.emplace_back(line.substr(0, colon), line.substr(blank + 1));
  }
  if (logged == expected) return testing::AssertionSuccess();
  return testing::AssertionFailure() << "logged " << testing::PrintToString(logged) << ", expected "
                                     << testing::PrintToString(expected);
}

testing::AssertionResult ended(int got, int result, int32_t code) {
  if (got == result && TARVKOVAErrGet() == code) return testing::AssertionSuccess();
  return testing::AssertionFailure() << "result " << got << ", expected " << result << "; code " << TARVKOVAErrGet()
                                     << ", expected " << code << "; log " << testing::PrintToString(state().log);
}

testing::AssertionResult ended(int got, int result, int32_t code, const std::vector<LogLine> &log) {
  const testing::AssertionResult asCalled = ended(got, result, code);
  return asCalled ? loggedExactly(log) : asCalled;
}
