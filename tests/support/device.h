// A device in a directory of its own, and what the tests look at on it.
#pragma once

#include <gtest/gtest.h>
#include <json/value.h>

#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/files.h"
#include "support/hooks.h"

// The device token, by code of the tests' own.
std::string expectedMd5(const std::string &text);
std::string expectedToken(const std::string &text);
// The JSON in a text.
Json::Value parsed(const std::string &text);
// The words of a text that blanks separate.
std::vector<std::string> words(const std::string &text);
// Whether it is told that a program cannot be executed. In an emulator, whose vfork is a fork, it looks like a program
// that ends with 127; a line says so then.
bool isFailedStartTold();
// A key file's text with these entries, each a word: "key=value".
std::string keyFile(const std::string &entries);

using hooks::state;
using Files = std::map<std::string, std::string>;

inline constexpr char kAccountFile[] = "/etc/kova.conf";
inline constexpr char kInfoFile[] = "/etc/tarvinfo.conf";
inline constexpr char kDeviceFile[] = "/etc.defaults/kovadevice.conf";
inline constexpr char kCron[] = "/etc/cron.d/tarvkova";
// The account file of a signed-in device.
inline constexpr char kSignedIn[] = "vx_auth_key=\"key-1\"\nkovaIDSerial=\"4711\"\n";
inline constexpr char kGood[] = R"({"code":"good"})";
inline constexpr char kBadauth[] = R"({"code":"badauth"})";
inline constexpr char kUnknownKey[] = R"({"code":"apikey_not_found"})";
inline constexpr char kRelay[] = "/usr/tarv/etc/tarvrelayd/tarvrelayd.conf";
inline constexpr char kKeys[] = R"({"code":"good","kova_id":"4711","auth_key":"key-1"})";
inline constexpr char kProfile[] =
    R"({"code":"good","email":"ada@kova.example","full_name":"Ada","country":"DE","timezone":"Europe/Berlin",)"
    R"("notify_language":"ger","activated":true,"disabled":false,"enews":1,"critical_release":0,)"
    R"("enews_local_promotion":"yes","critical_version_list":{"b":true,"a":false,"c":1}})";
// The API key that the device has.
inline constexpr char kApiKey[] = "00112233445566778899aabbccddeeff00112233445566778899aabbccddeeff";

// The base of the tests that need a device: KOVA_DEVICE_ROOT names a directory with a serial number, a MAC address, a
// time zone and an API key, and every function is the real one again at the end.
class DeviceTest : public testing::Test {
 public:
  DeviceTest();
  ~DeviceTest() override;
  void TestBody() override {}  // one that is not a test's own base can be made as well

  std::filesystem::path at(std::string_view path) const { return root_.path() / path.substr(1); }
  std::string read(std::string_view path) const { return readFile(at(path)); }
  void write(std::string_view path, std::string_view text) const { writeFile(at(path), text); }
  // The same, executable when it is a script.
  void writeProgram(std::string_view path, std::string_view text) const;
  // From now on these replies stand in for the network and these functions fail. What was recorded is forgotten.
  void answer(std::vector<hooks::Reply> replies = {}, hooks::Failing failing = {});
  bool has(std::string_view path, const std::string &text) const { return read(path).find(text) != std::string::npos; }
  bool exists(std::string_view path) const { return std::filesystem::exists(at(path)); }
  void remove(std::string_view path) const { std::filesystem::remove_all(at(path)); }
  std::filesystem::perms mode(std::string_view path) const { return std::filesystem::status(at(path)).permissions(); }
  // The device's files and their contents, without the lock files.
  Files files() const;

  TemporaryDirectory root_;
};

// The form of an attempt after serial number and token, which are checked here.
std::string sent(std::size_t attempt = 0);

// A log line is "<unit>:<line> <text>"; here it is the unit and the text.
using LogLine = std::pair<std::string, std::string>;

// Whether the log holds exactly these lines. With a unit given, only its lines count.
testing::AssertionResult loggedExactly(const std::vector<LogLine> &expected, const std::string &unit = "");

// Whether a call gave this result and left this error code and, where a log is given, exactly that.
testing::AssertionResult ended(int got, int result, int32_t code, const std::vector<LogLine> &log);
testing::AssertionResult ended(int got, int result, int32_t code);
