// The stand-alone platform, through its interface.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <kova/kova.h>
#include <net/if.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <set>
#include <tuple>
#include <utility>

#include "base/release.h"
#include "support/device.h"

namespace {

namespace fs = std::filesystem;
using SzHash = std::unique_ptr<TLIBCSzHash, kova::Release<TLIBCSzHashFree>>;
using SzList = std::unique_ptr<TLIBCSzList, kova::Release<TLIBCSzListFree>>;
using Plugin = std::unique_ptr<TLIBPlugin, kova::Release<TLIBPluginExit>>;

constexpr char kFile[] = "/etc/test.conf", kEvents[] = "/var/log/kova/events.jsonl";
constexpr char kFormat[] = "%s=\"%s\"\n";

class Platform : public DeviceTest {
 protected:
  static int set(const std::vector<std::pair<std::string, std::string>> &pairs, const char *format = kFormat) {
    const SzHash hash(TLIBCSzHashAlloc(4));
    for (const auto &[key, value] : pairs) TLIBCSzHashSetValue(hash.get(), key.c_str(), value.c_str());
    return TLIBCFileSetKeys(kFile, hash.get(), 0, format);
  }
  static std::string get(const char *key) {
    char value[256] = "";
    return TLIBCFileGetKeyValue(kFile, key, value, sizeof value, 0) < 0 ? "(failure)" : value;
  }
};

// ---- Containers and text ----

TEST_F(Platform, AHashKeepsItsOrderAndItsPointers) {
  const SzHash hash(TLIBCSzHashAlloc(1));
  const SzList keys(TLIBCSzListAlloc(1));
  const auto get = [&](const std::string &key) { return TLIBCSzHashGetValue(hash.get(), key.c_str()); };
  std::map<std::string, const char *> values;
  const std::string begin(40, 'k'), seventh = begin + "7", added = begin + "x";
  for (std::string key = begin; values.size() < 3000; key = begin + std::to_string(values.size())) {
    ASSERT_EQ(TLIBCSzHashSetValue(hash.get(), key.c_str(), key.c_str()), 0);
    values[key] = get(key);
  }
  for (const auto &[key, value] : values) EXPECT_TRUE(get(key) == value && value == key);
  EXPECT_EQ(TLIBCSzHashSetValue(hash.get(), seventh.c_str(), get(seventh) + 1), 0);
  EXPECT_EQ(TLIBCSzHashEnumKey(hash.get(), keys.get()), 3000);
  EXPECT_EQ(TLIBCSzListGet(keys.get(), 7) + seventh.substr(1), seventh + get(seventh)) << "in the same place";
  EXPECT_TRUE(get("absent") == nullptr && TLIBCSzListGet(keys.get(), 3000) == nullptr);
  for (int result = -1; result != 0;) {
    ++state().failAt;
    state().calls = 0;
    state().sweeps = true;
    result = TLIBCSzHashSetValue(hash.get(), added.c_str(), "value");
    state().sweeps = false;
    EXPECT_EQ(TLIBCSzHashEnumKey(hash.get(), keys.get()), result == 0 ? 3001 : 3000) << "not half of it";
  }
  EXPECT_GT(state().failAt, 3);
}

TEST_F(Platform, TextMayBeAddedToItself) {
  TLIBCSzText text{};
  for (int i = 0; i < 8; ++i) ASSERT_EQ(TLIBCStrCat(&text, i == 0 ? "a" : text.text), 0);
  EXPECT_EQ(text.text, std::string(128, 'a'));
  std::free(text.text);
}

TEST_F(Platform, Base64IsDecodedStrictly) {
  std::string all;
  for (const std::string text : {"", "Zg==", "Zm8=", "Zm9v", "Zm9vYg==", "Zg=", "Z", "Zm9v\n", "Zm 9",
                                 "A===", "====", "Zg==Zg==", "Zh==", "Zm9=", "Zm9vYmFyYmF6"}) {
    char output[8] = "";
    std::size_t length = sizeof output;
    const bool isGood = TARVEncodingBase64Decode(text.data(), text.size(), output, &length) != 0;
    all += (isGood ? std::string(output, length) : "-") + " ";
  }
  EXPECT_EQ(all, " f fo foo foob - - - - - - - - - - ");
}

TEST_F(Platform, NullIsAFailureNotACrash) {
  char buffer[8];
  TLIBCSzHash *none = nullptr;
  const auto results = [](auto... each) { return std::vector<int>{each...}; };
  const std::vector<int> failures = results(
      KovaDevicePath(nullptr, buffer, 8), TLIBCSzListPush(nullptr, "x"), TLIBCSzHashSetValue(nullptr, "x", "x"),
      TLIBCSzHashEnumKey(nullptr, nullptr), TLIBCStrCat(nullptr, "x"), TLIBCFileGetKeys(kFile, nullptr, nullptr, "="),
      TLIBCFileSetKeys(nullptr, nullptr, 0, kFormat), TLIBCFileGetKeyValue(kFile, nullptr, buffer, 8, 0),
      TLIBCFileCheckKeyValue(kFile, "x", nullptr, 0), TLIBCINFOSetKeyValue(nullptr, "x"),
      TLIBGetSerialNumber(nullptr, 8), TLIBVxinfoUserAgentGet(nullptr, buffer, 8), TLIBPluginAction(nullptr, 4),
      TARVCloudServiceGetApiKey(nullptr, 1), TARVCloudServiceGetMacAddress(nullptr, 8),
      TARVCloudServiceRegisterApiKey(nullptr), TARVScheduleRemove(nullptr), TARVLogSet1(1, 1, 1, nullptr, "", "", ""),
      TARVSysNotifySendNotifiction("x", nullptr), TARVZoneGet(nullptr, 8, nullptr), TARVZoneGetInfo("UTC", &none) - 1,
      TLIBCPclose(nullptr), TLIBCExecv(nullptr, nullptr, 1), -std::abs(TARVScheduleSet(nullptr, 0)),
      -std::abs(TLIBServiceRestart(nullptr)));
  for (const int &result : failures) EXPECT_LT(result, 0) << &result - failures.data();
  EXPECT_EQ(TLIBCErrGet(), TLIBC_ERR_BAD_PARAMETER);
}

// ---- Key files ----

TEST_F(Platform, EveryKindOfLineIsRead) {
  const std::string begin =
      "#a=comment\n  spaced \t = \t v 1  \nquoted=\"  in \"side\" \"\nempty=\nbare=x=y\r\nmac=\"1\"\rtwice=\"";
  const std::string middle = "alone\n=no key\nopen=\"unclosed\nlone=\"\nnul=1" + std::string("\0\n", 2);
  write(kFile, begin + "1\"\n" + middle + "twice=\"2\"\nlast=\"end\"");
  std::string all;
  for (const std::string &key : words("spaced quoted bare mac twice last a #a empty alone open lone nul"))
    all += get(key.c_str()) + "|";
  EXPECT_EQ(all, "v 1  |  in \"side\" |x=y|1|2|end||||||||");
  EXPECT_LT(TLIBCFileCheckKeyValue("/etc/absent.conf", "twice", "1", 0), 0);
  EXPECT_EQ(TLIBCErrGet(), TLIBC_ERR_NOT_FOUND);
  EXPECT_LT(TLIBCFileCheckKeyValue("/etc", "twice", "1", 0), 0) << "a directory";
  ASSERT_EQ(set({{"twice", "3"}, {"new", ""}}), 0);
  EXPECT_EQ(read(kFile), begin + "3\"\n" + middle + "last=\"end\"\nnew=\"\"\n");
}

TEST_F(Platform, WhatWouldNotReadBackIsRefused) {
  write(kFile, keyFile("a=1"));
  const auto refuse = [&](const char *key, const char *value, const char *format, int error) {
    EXPECT_LT(set({{"z", "good"}, {key, value}}, format), 0) << key << value << format;
    EXPECT_EQ(TLIBCErrGet(), error) << key << value << format;
    EXPECT_EQ(read(kFile), keyFile("a=1"));
  };
  for (const char *key : {"a=b", "#a", "", " a"}) refuse(key, "x", kFormat, TLIBC_ERR_BAD_VALUE);
  for (const char *value : {" x", "\"x", "x\r"}) refuse("a", value, "%s=%s\n", TLIBC_ERR_BAD_VALUE);
  refuse("a", "x", "%s=%s\nb=1\n", TLIBC_ERR_BAD_VALUE);
  for (const char *format : {"%s=\n", "%s=%s%s\n", "%s=%n%s\n"}) refuse("a", "x", format, TLIBC_ERR_BAD_PARAMETER);
}

TEST_F(Platform, LinksStayAndOtherKindsOfFilesAreRefused) {
  for (const fs::path &target : {fs::path("../elsewhere/real.conf"), at("/elsewhere/real.conf")}) {
    write("/elsewhere/real.conf", keyFile("a=1"));
    fs::create_symlink(target, at(kFile));
    EXPECT_EQ(set({{"a", "2"}}), 0);
    EXPECT_EQ(read("/elsewhere/real.conf"), keyFile("a=2"));
    EXPECT_TRUE(fs::is_symlink(at(kFile)) && fs::remove(at(kFile)));
  }
  ASSERT_EQ(mkfifo(at(kFile).c_str(), 0600), 0);
  EXPECT_LT(set({{"a", "2"}}), 0);
  EXPECT_EQ(get("a"), "") << "and nothing waits for its writer";
}

TEST_F(Platform, WritersAtOnceLoseNoKeys) {
  for (const std::string name : {"a", "b", "c"}) {
    if (fork() != 0) continue;
    int failed = 0;
    for (int i = 0; i < 100; ++i) failed += set({{name + std::to_string(i), "1"}}) != 0 ? 1 : 0;
    _exit(failed);
  }
  for (int status = -1; wait(&status) > 0;) EXPECT_EQ(status, 0);
  EXPECT_EQ(std::ranges::count(read(kFile), '\n'), 300);
}

TEST_F(Platform, ALockThatIsNeverGivenUpIsAFailure) {
  write(kFile, keyFile("a=1"));
  for (const auto update : {+[] { return set({{"a", "2"}}); }, +[] { return TARVLogSet1(2, 1, 1, "", "", "", ""); }}) {
    hooks::reset();
    state().isLocked = true;
    EXPECT_LT(update(), 0);
    EXPECT_NEAR(state().skipped, 30, 2) << "seconds";
    EXPECT_EQ(TLIBCErrGet(), TLIBC_ERR_LOCK_FAILED);
  }
  EXPECT_EQ(read(kFile), keyFile("a=1"));
}

// ---- The device ----

TEST_F(Platform, TheDeviceRootIsInFrontOfEveryPath) {
  char path[sizeof kAccountFile];
  for (const char *root : {"", "/"}) {
    setenv("KOVA_DEVICE_ROOT", root, 1);
    EXPECT_EQ(KovaDevicePath(kAccountFile, path, sizeof path), 14);
    EXPECT_STREQ(path, kAccountFile);
    EXPECT_LT(KovaDevicePath(kAccountFile, path, sizeof path - 1), 0);
    EXPECT_EQ(TLIBCErrGet(), TLIBC_ERR_TOO_LONG);
  }
}

TEST_F(Platform, WithoutAnEntryTheMacAddressIsAnInterfaces) {
  write(kDeviceFile, "");
  std::set<std::string> addresses;
  const std::unique_ptr<struct if_nameindex, kova::Release<if_freenameindex>> interfaces(if_nameindex());
  for (const auto *each = interfaces.get(); each->if_name != nullptr; ++each) {
    const fs::path shown = fs::path("/sys/class/net") / each->if_name;
    if (!fs::exists(shown)) GTEST_SKIP() << "nothing to compare with";
    const std::string address = readFile(shown / "address").substr(0, 17);
    if (readFile(shown / "type") == "1\n" && address != "00:00:00:00:00:00") addresses.insert(address);
  }
  char mac[24] = "";
  EXPECT_EQ(TARVCloudServiceGetMacAddress(mac, sizeof mac) == 0, !addresses.empty());
  EXPECT_EQ(addresses.count(mac), addresses.empty() ? 0 : 1) << mac;
}

TEST_F(Platform, TheApiKeyIsMadeOnceAndRegisteredAnew) {
  const std::string file = "/var/lib/kova/apikey", enrolled = file + ".enrolled";
  remove("/var/lib/kova");
  char first[1024] = "", again[1024] = "", registered[1024] = "";
  EXPECT_LT(TARVCloudServiceGetApiKey(first, 0), 0);
  ASSERT_EQ(TARVCloudServiceGetApiKey(first, 1) + TARVCloudServiceGetApiKey(again, 0), 0);
  EXPECT_STREQ(first, again);
  EXPECT_TRUE(std::strlen(first) == 64 && std::strspn(first, "0123456789abcdef") == 64) << first;
  EXPECT_EQ(mode(file), fs::perms(0600));
  write(file, "key\x01");
  EXPECT_LT(TARVCloudServiceGetApiKey(again, 0), 0) << "not a key";
  fs::permissions(at(file), fs::perms(0644));
  write(kDeviceFile, keyFile("custom_serial=" + std::string(40, 'S')));
  ASSERT_EQ(TARVCloudServiceRegisterApiKey(registered), 0);
  EXPECT_STRNE(registered, first);
  EXPECT_EQ(parsed(read(enrolled))["serial"], std::string(30, 'S')) << "as it is sent";
  EXPECT_TRUE(mode(file) == fs::perms(0600) && mode(enrolled) == fs::perms(0600));
}

TEST_F(Platform, TheCronTableIsWhatCronAccepts) {
  const TARVSchedule first = {1, 2, 0, 2, 3, 0, "/bin/a 50% --b"}, next = {0x41, 23, 0, 23, 6, 0, "/bin/a 50% --b"};
  ASSERT_EQ(TARVScheduleSet(&first, 0), 0);
  write(kCron, read(kCron) + "1 2 * * 3 root /bin/other");
  ASSERT_EQ(TARVScheduleSet(&next, 0), 0);
  const std::string before = read(kCron);
  EXPECT_TRUE(has(kCron, "\n6 23 * * 0,6 root /bin/a 50\\% --b\n1 2 * * 3 root /bin/other\n")) << before;
  EXPECT_EQ(mode(kCron), fs::perms(0644)) << "cron ignores what others may write";
  std::vector<TARVSchedule> refused = {{0, 1, 0, 1, 1, 0, "a"}, {0x80, 1, 0, 1, 1, 0, "a"}, {1, 24, 0, 24, 1, 0, "a"},
                                       {1, 2, 0, 1, 1, 0, "a"}, {1, 1, 0, 1, -1, 0, "a"},   {1, 1, 0, 1, 60, 0, "a"}};
  for (const char *command : {"/bin/a\n* * * * * root evil", "/bin/a 50\\% --b"})
    std::strcpy(refused.emplace_back(first).command, command);
  std::memset(refused.emplace_back(first).command, 'x', sizeof first.command);
  for (const TARVSchedule &each : refused) EXPECT_NE(TARVScheduleSet(&each, 0), 0) << &each - refused.data();
  EXPECT_EQ(TARVScheduleRemove("/bin/absent"), 0);
  EXPECT_EQ(read(kCron), before);
  write(kCron, before + "@weekly root /bin/a 50\\% --b \n");
  EXPECT_EQ(TARVScheduleRemove("/bin/a 50% --b"), 0);
  EXPECT_TRUE(!has(kCron, "/bin/a") && has(kCron, "1 2 * * 3 root /bin/other\n"));
}

TEST_F(Platform, EventsAreJsonWhateverTheyHoldInRegularFiles) {
  ASSERT_EQ(TARVLogSet1(2, 1, 1, "a\"\n\x01\x7F\\", "\xFF\xC3\xBC\xED\xA0\x80", "\xE0\x80\x80", ""), 0);
  const std::string text = read(kEvents);
  const Json::Value event = parsed(text), &texts = event["texts"];
  EXPECT_EQ(texts[0], "a\"\n\x01\x7F\\");
  EXPECT_EQ(texts[1].asString() + texts[2].asString(), "\uFFFD\u00FC\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD");
  EXPECT_EQ(text.find_first_of("\x7F\x01\n"), text.size() - 1);
  EXPECT_EQ(mode(kEvents), fs::perms(0600));
  remove(kEvents);
  fs::create_symlink("other", at(kEvents));
  EXPECT_LT(TARVLogSet1(2, 1, 1, "", "", "", ""), 0) << "a link is not followed";
  remove(kEvents);
  ASSERT_EQ(mkfifo(at(kEvents).c_str(), 0600), 0);
  EXPECT_LT(TARVLogSet1(2, 1, 1, "", "", "", ""), 0);
}

TEST_F(Platform, NotificationsNeedTheirCatalogue) {
  const SzHash parameters(TLIBCSzHashAlloc(1));
  TLIBCSzHashSetValue(parameters.get(), "%A%", "%B%");
  TLIBCSzHashSetValue(parameters.get(), "%B%", "b");
  for (const std::string text :
       {"", "[]", R"({"N":7})", R"({"N":{"text":[]}})", R"({"N":{"subject":"S %B%","text":"%A% %B% %C%"}})"}) {
    write("/usr/tarv/share/kova/notifications.conf", text);
    EXPECT_EQ(TARVSysNotifySendNotifiction("N", parameters.get()), text.size() > 30 ? 0 : -1) << text;
  }
  const Json::Value sent = parsed(read("/var/log/kova/notifications.jsonl"));
  EXPECT_EQ(sent["subject"].asString() + sent["text"].asString(), "S b%B% b %C%") << "what was filled in is text";
}

TEST_F(Platform, TheTimeZoneComesFromSettingOrLink) {
  char zone[32] = "";
  int32_t needed = -1;
  write(kInfoFile, keyFile("timezone="));
  EXPECT_LT(TARVZoneGet(zone, sizeof zone, &needed), 0);
  for (const std::string directory : {"", "posix/", "right/"}) {
    remove("/etc/localtime");
    fs::create_symlink("/usr/share/zoneinfo/" + directory + "Asia/Kathmandu", at("/etc/localtime"));
    EXPECT_EQ(TARVZoneGet(zone, sizeof zone, &needed), 0);
    EXPECT_STREQ(zone, "Asia/Kathmandu");
  }
  std::string known;
  for (const char *name : {"Asia/Kathmandu", "UTC", "Etc/GMT+12", "/etc/passwd", "../zoneinfo/UTC",
                           "../../../etc/passwd", "Europe", "Nowhere/City", ""}) {
    const SzHash details(TLIBCSzHashAlloc(4));
    TLIBCSzHash *filled = details.get();
    if (TARVZoneGetInfo(name, &filled) > 0) known += TLIBCSzHashGetValue(filled, "nameInTZDB") + std::string(" ");
  }
  EXPECT_EQ(known, "Asia/Kathmandu UTC Etc/GMT+12 ");
}

// ---- Programs ----

TEST_F(Platform, ProgramsStartCleanAndAreWaitedFor) {
  const int leaked = open("/dev/null", O_RDONLY);
  ASSERT_GT(leaked, 2);
  writeProgram("/bin/p", "#!/bin/sh\n{ ls /proc/self/fd | wc -l; echo $#:$1:$2; } >$KOVA_DEVICE_ROOT/ran\nexit 3\n");
  const char *const arguments[] = {"a b; exit 9", "$HOME", nullptr};
  EXPECT_EQ(WEXITSTATUS(TLIBCPclose(TLIBCPopen("/bin/p", arguments, "r"))), 3);
  EXPECT_EQ(read("/ran"), "4\n2:a b; exit 9:$HOME\n") << "0 to 2, and the directory that ls reads";
  close(leaked);
  EXPECT_EQ(TLIBCPopen("/bin/p", nullptr, "w"), nullptr);
  EXPECT_EQ(TLIBCExecv("/bin/p/absent", nullptr, 1), isFailedStartTold() ? -1 : 127);
  writeProgram("/bin/q", "#!/bin/sh\n[ \"$1\" ] || kill $$\nexit 127\n");
  sigset_t all, before;
  sigfillset(&all);
  sigprocmask(SIG_BLOCK, &all, &before);
  EXPECT_EQ(TLIBCExecv("/bin/q", nullptr, 1), 128 + SIGTERM) << "what is blocked here is not blocked there";
  sigprocmask(SIG_SETMASK, &before, nullptr);
  EXPECT_EQ(TLIBCExecv("/bin/q", nullptr, 0), 0);
  signal(SIGCHLD, SIG_IGN);  // the program around may not want to hear of children
  EXPECT_EQ(TLIBCExecv("/bin/q", arguments, 1), 127) << "not the same as one that could not start";
  signal(SIGCHLD, SIG_DFL);
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "no child is left";
}

TEST_F(Platform, PluginsAndServices) {
  const std::string directory = "/usr/tarv/kova/plugin/kova/kova/logout/";
  const auto act = [] { return TLIBPluginAction(Plugin(TLIBPluginSDKInit("kova", "kova/logout")).get(), 4); };
  EXPECT_EQ(act(), 0) << "none";
  for (const std::string name : {"20-b", "10-a", "30-c"})
    writeProgram(directory + name, "#!/bin/sh\necho ${0##*/}:$* >> $KOVA_DEVICE_ROOT/ran\n[ ${0##*/} != 10-a ]\n");
  write(directory + "README", "not executable");
  EXPECT_LT(act(), 0) << "one failed";
  EXPECT_EQ(read("/ran"), "10-a:4\n20-b:4\n30-c:4\n") << "in the names' order, all of them";
  for (const char *package : {"..", "/etc", "a/../..", ""}) EXPECT_EQ(TLIBPluginSDKInit(package, "x"), nullptr);
  writeProgram("/usr/tarv/etc/rc.d/s", "#!/bin/sh\n[ \"$*\" = restart ]\n");
  EXPECT_EQ(TLIBServiceRestart("s"), 0);
  for (const char *name : {"absent", "../rc.d/s", "..", ""}) EXPECT_NE(TLIBServiceRestart(name), 0) << name;
}

}  // namespace
