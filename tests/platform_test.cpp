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
#include <memory>
#include <set>

#include "base/release.h"
#include "support/device.h"

namespace {

namespace fs = std::filesystem;
using SzHash = std::unique_ptr<TLIBCSzHash, kova::Release<TLIBCSzHashFree>>;
using SzList = std::unique_ptr<TLIBCSzList, kova::Release<TLIBCSzListFree>>;
using Plugin = std::unique_ptr<TLIBPlugin, kova::Release<TLIBPluginExit>>;

constexpr char kFile[] = "/etc/test.conf";
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
  std::vector<std::pair<std::string, const char *>> values;
  for (int i = 0; i < 3000; ++i) {
    const std::string key = "key" + std::to_string(i);
    ASSERT_EQ(TLIBCSzHashSetValue(hash.get(), key.c_str(), key.c_str()), 0);
    values.emplace_back(key, TLIBCSzHashGetValue(hash.get(), key.c_str()));
  }
  for (const auto &[key, value] : values)
    EXPECT_TRUE(TLIBCSzHashGetValue(hash.get(), key.c_str()) == value && value == key);
  const std::string longer(5000, 'x');
  EXPECT_EQ(TLIBCSzHashSetValue(hash.get(), "key7", longer.c_str()), 0);
  EXPECT_EQ(TLIBCSzHashSetValue(hash.get(), "key7", TLIBCSzHashGetValue(hash.get(), "key7") + 1), 0);
  EXPECT_EQ(TLIBCSzHashGetValue(hash.get(), "key7"), longer.substr(1));
  EXPECT_EQ(TLIBCSzHashGetValue(hash.get(), "key"), nullptr);
  const SzList keys(TLIBCSzListAlloc(1));
  EXPECT_EQ(TLIBCSzHashEnumKey(hash.get(), keys.get()), 3000);
  EXPECT_STREQ(TLIBCSzListGet(keys.get(), 7), "key7") << "set again, it keeps its place";
  EXPECT_STREQ(TLIBCSzListGet(keys.get(), 2999), "key2999");
  EXPECT_EQ(TLIBCSzListGet(keys.get(), 3000), nullptr);
  const std::string key(100, 'k');
  for (int result = -1; result != 0;) {
    ++state().failAt;
    state().calls = 0;
    state().sweeps = true;
    result = TLIBCSzHashSetValue(hash.get(), key.c_str(), key.c_str());
    state().sweeps = false;
    EXPECT_EQ(TLIBCSzHashEnumKey(hash.get(), keys.get()), result == 0 ? 3001 : 3000) << "not half of it";
  }
  EXPECT_GT(state().failAt, 3);
}

TEST_F(Platform, TextGrowsAndMayBeAddedToItself) {
  TLIBCSzText text{};
  for (int i = 0; i < 5; ++i) ASSERT_EQ(TLIBCStrCat(&text, i == 0 ? "ab" : text.text), 0);
  EXPECT_STREQ(text.text, std::string("abababababababababababababababab").c_str());
  EXPECT_EQ(text.length, 32U);
  std::free(text.text);
  for (const auto &[given, trimmed] :
       {std::pair{" \t\n\v\f\r a b \r\n", "a b"}, {"   ", ""}, {"\xC2\xA0x", "\xC2\xA0x"}}) {
    std::string copy = given;
    EXPECT_STREQ(TLIBCStrTrimSpace(copy.data()), trimmed);
  }
}

TEST_F(Platform, Base64IsDecodedStrictly) {
  const auto decoded = [](const std::string &text) -> std::string {
    char output[8] = "";
    std::size_t length = sizeof output;
    const bool isGood = TARVEncodingBase64Decode(text.data(), text.size(), output, &length) != 0;
    return isGood ? std::string(output, length) : "(failure)";
  };
  for (const auto &[text, plain] :
       {std::pair{"", ""}, {"Zg==", "f"}, {"Zm8=", "fo"}, {"Zm9v", "foo"}, {"Zm9vYg==", "foob"}})
    EXPECT_EQ(decoded(text), plain);
  for (const char *text : {"Zg=", "Z", "Zm9v\n", "Zm 9", "A===", "====", "Zg==Zg==", "Zh==", "Zm9=", "Zm9vYmFyYmF6"})
    EXPECT_EQ(decoded(text), "(failure)") << text;
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
  write(kFile,
        "# a=comment\n  spaced \t = \t v 1  \nquoted=\"  in \"side\" \"\nempty=\nbare=x=y\r\nmac=\"1\"\rtwice=\"1\"\n"
        "no separator\n=no key\nopen=\"unclosed\nlone=\"\ntwice=\"2\"\nlast=\"end\"");
  const std::pair<const char *, const char *> entries[] = {{"spaced", "v 1  "}, {"quoted", "  in \"side\" "},
                                                           {"bare", "x=y"},     {"mac", "1"},
                                                           {"twice", "2"},      {"last", "end"}};
  for (const auto &[key, value] : entries) EXPECT_EQ(get(key), value) << key;
  write("/etc/nul.conf", std::string("a=1\0\nb=\0\n", 10));
  char value[8] = "";
  EXPECT_EQ(TLIBCFileGetKeyValue("/etc/nul.conf", "a", value, sizeof value, 0), 0) << "a line with a NUL is no entry";
  for (const char *key : {"a", "# a", "empty", "no separator", "open", "lone"}) EXPECT_EQ(get(key), "") << key;
  EXPECT_EQ(TLIBCFileCheckKeyValue(kFile, "twice", "2", 0), 1);
  EXPECT_EQ(TLIBCFileCheckKeyValue(kFile, "twice", "1", 0), 0);
  EXPECT_LT(TLIBCFileCheckKeyValue("/etc/absent.conf", "twice", "1", 0), 0);
  EXPECT_EQ(TLIBCErrGet(), TLIBC_ERR_NOT_FOUND);
  ASSERT_EQ(set({{"twice", "3"}, {"new", ""}}), 0);
  EXPECT_EQ(
      read(kFile),
      "# a=comment\n  spaced \t = \t v 1  \nquoted=\"  in \"side\" \"\nempty=\nbare=x=y\r\nmac=\"1\"\rtwice=\"3\"\n"
      "no separator\n=no key\nopen=\"unclosed\nlone=\"\nlast=\"end\"\nnew=\"\"\n");
}

TEST_F(Platform, WhatWouldNotReadBackIsRefused) {
  write(kFile, keyFile("a=1"));
  const std::pair<const char *, const char *> values[] = {{"a", "x\nb=\"2\""}, {"a", "x\r"}, {"a=b", "x"},
                                                          {"#a", "x"},         {"", "x"},    {" a", "x"}};
  const std::tuple<const char *, const char *, int> formats[] = {
      {"%s=%s\n", " x", TLIBC_ERR_BAD_VALUE},      {"%s=%s\n", "\"x", TLIBC_ERR_BAD_VALUE},
      {"%s=%s\nb=1\n", "x", TLIBC_ERR_BAD_VALUE},  {"%s=\n", "x", TLIBC_ERR_BAD_PARAMETER},
      {"%s=%s%s\n", "x", TLIBC_ERR_BAD_PARAMETER}, {"%s=%n%s\n", "x", TLIBC_ERR_BAD_PARAMETER}};
  const auto refuse = [&](const char *key, const char *value, const char *format, int error) {
    EXPECT_LT(set({{"z", "good"}, {key, value}}, format), 0) << key << value << format;
    EXPECT_EQ(TLIBCErrGet(), error) << key << value << format;
    EXPECT_EQ(read(kFile), keyFile("a=1"));
  };
  for (const auto &[key, value] : values) refuse(key, value, kFormat, TLIBC_ERR_BAD_VALUE);
  for (const auto &[format, value, error] : formats) refuse("a", value, format, error);
}

TEST_F(Platform, LinksStayAndOtherKindsOfFilesAreRefused) {
  for (const fs::path &target : {fs::path("../elsewhere/real.conf"), at("/elsewhere/real.conf")}) {
    write("/elsewhere/real.conf", keyFile("a=1"));
    fs::create_symlink(target, at(kFile));
    EXPECT_EQ(set({{"a", "2"}}), 0);
    EXPECT_TRUE(fs::is_symlink(at(kFile)));
    EXPECT_EQ(read("/elsewhere/real.conf"), keyFile("a=2"));
    remove(kFile);
  }
  ASSERT_EQ(mkfifo(at(kFile).c_str(), 0600), 0);
  EXPECT_LT(set({{"a", "2"}}), 0);
  EXPECT_EQ(get("a"), "") << "and nothing waits for its writer";
  remove(kFile);
  fs::create_directory(at(kFile));
  EXPECT_LT(set({{"a", "2"}}), 0);
  EXPECT_EQ(get("a"), "(failure)");
}

TEST_F(Platform, TwoWritersLoseNeithersKeys) {
  constexpr int kKeys = 100;
  for (const std::string name : {"a", "b", "c"}) {
    if (fork() != 0) continue;
    int failed = 0;
    for (int i = 0; i < kKeys; ++i) failed += set({{name + std::to_string(i), "1"}}) != 0 ? 1 : 0;
    _exit(failed);
  }
  for (int status = -1; wait(&status) > 0;) EXPECT_EQ(status, 0);
  const std::string text = read(kFile);
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 3 * kKeys);
}

TEST_F(Platform, ALockThatIsNeverGivenUpIsAFailure) {
  write(kFile, keyFile("a=1"));
  const auto before = files();
  for (const auto update : {+[] { return set({{"a", "2"}}); }, +[] { return TARVLogSet1(2, 1, 1, "", "", "", ""); }}) {
    answer();
    state().isLocked = true;
    EXPECT_LT(update(), 0);
    EXPECT_NEAR(state().skipped, 30, 2) << "seconds";
    answer();
    state().failing.clear();
    EXPECT_EQ(TLIBCErrGet(), TLIBC_ERR_LOCK_FAILED);
  }
  EXPECT_EQ(read(kFile), keyFile("a=1"));
}

// ---- The device ----

TEST_F(Platform, TheDeviceRootIsInFrontOfEveryPath) {
  char path[64];
  EXPECT_EQ(KovaDevicePath(kAccountFile, path, sizeof path), static_cast<int>(at(kAccountFile).string().size()));
  EXPECT_EQ(path, at(kAccountFile));
  EXPECT_LT(KovaDevicePath(kAccountFile, path, 10), 0);
  EXPECT_EQ(TLIBCErrGet(), TLIBC_ERR_TOO_LONG);
  for (const char *root : {"", "/"}) {
    setenv("KOVA_DEVICE_ROOT", root, 1);
    EXPECT_EQ(KovaDevicePath(kAccountFile, path, sizeof path), 14);
    EXPECT_STREQ(path, kAccountFile);
  }
}

TEST_F(Platform, WithoutAnEntryTheMacAddressIsAnInterfaces) {
  write(kDeviceFile, keyFile("serial=S"));
  std::set<std::string> addresses;
  const std::unique_ptr<struct if_nameindex, decltype(&if_freenameindex)> interfaces(if_nameindex(), if_freenameindex);
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
  ASSERT_EQ(TARVCloudServiceGetApiKey(first, 1), 0);
  ASSERT_EQ(TARVCloudServiceGetApiKey(again, 0), 0);
  EXPECT_STREQ(first, again);
  EXPECT_EQ(std::string(first).find_first_not_of("0123456789abcdef"), std::string::npos);
  EXPECT_EQ(std::strlen(first), 64U);
  EXPECT_EQ(mode(file), fs::perms(0600));
  write(file, "key\x01");
  EXPECT_LT(TARVCloudServiceGetApiKey(again, 0), 0) << "not a key";
  fs::permissions(at(file), fs::perms(0644));
  write(kDeviceFile, "custom_serial=\"" + std::string(40, 'S') + "\"\n");
  ASSERT_EQ(TARVCloudServiceRegisterApiKey(registered), 0);
  EXPECT_STRNE(registered, first);
  EXPECT_EQ(parsed(read(enrolled))["serial"], std::string(30, 'S')) << "as it is sent";
  for (const std::string &path : {file, enrolled}) EXPECT_EQ(mode(path), fs::perms(0600));
}

TEST_F(Platform, TheCronTableIsWhatCronAccepts) {
  fs::create_directories(at("/etc/cron.d"));
  TARVSchedule schedule{};
  schedule.weekdays = 0x01 | 0x40;
  schedule.hour = schedule.last_hour = 23;
  schedule.minute = 5;
  std::strcpy(schedule.command, "/bin/a 50% --b");
  ASSERT_EQ(TARVScheduleSet(&schedule, 0), 0);
  write(kCron, read(kCron) + "1 2 * * 3 root /bin/other\n");
  schedule.minute = 6;
  schedule.weekdays = 0x02;
  ASSERT_EQ(TARVScheduleSet(&schedule, 0), 0);
  const std::string before = read(kCron);
  EXPECT_TRUE(has(kCron, "\n6 23 * * 1 root /bin/a 50\\% --b\n1 2 * * 3 root /bin/other\n")) << before;
  EXPECT_EQ(mode(kCron), fs::perms(0644)) << "cron ignores what others may write";
  for (const auto change :
       {+[](TARVSchedule &s) { s.weekdays = 0; }, +[](TARVSchedule &s) { s.weekdays = 0x80; },
        +[](TARVSchedule &s) { s.hour = s.last_hour = 24; }, +[](TARVSchedule &s) { s.minute = -1; },
        +[](TARVSchedule &s) { s.minute = 60; }, +[](TARVSchedule &s) { s.last_hour = 1; },
        +[](TARVSchedule &s) { std::strcpy(s.command, "/bin/a\n* * * * * root evil"); },
        +[](TARVSchedule &s) { std::strcpy(s.command, "/bin/a 50\\% --b"); },
        +[](TARVSchedule &s) { std::memset(s.command, 'x', sizeof s.command); }}) {
    TARVSchedule bad = schedule;
    change(bad);
    EXPECT_NE(TARVScheduleSet(&bad, 0), 0);
    EXPECT_EQ(read(kCron), before);
  }
  EXPECT_EQ(TARVScheduleRemove("/bin/absent"), 0);
  write(kCron, before + "@weekly root /bin/a 50\\% --b \n");
  EXPECT_EQ(TARVScheduleRemove("/bin/a 50% --b"), 0);
  EXPECT_FALSE(has(kCron, "/bin/a"));
  EXPECT_TRUE(has(kCron, "1 2 * * 3 root /bin/other\n"));
}

TEST_F(Platform, EventsAreJsonWhateverTheyHold) {
  ASSERT_EQ(TARVLogSet1(2, 1, 0x13A00001, "a\"\n\x01\x7F\\", "\xFF\xC3\xBC\xED\xA0\x80", "", ""), 0);
  ASSERT_EQ(TARVLogSet1(2, 1, 7, "", "", "", ""), 0);
  const std::string text = read("/var/log/kova/events.jsonl");
  ASSERT_EQ(std::count(text.begin(), text.end(), '\n'), 2);
  const Json::Value event = parsed(text.substr(0, text.find('\n')));
  EXPECT_EQ(event["texts"][0], "a\"\n\x01\x7F\\");
  EXPECT_EQ(event["texts"][1], "\uFFFD\u00FC\uFFFD\uFFFD\uFFFD");
  EXPECT_EQ(mode("/var/log/kova/events.jsonl"), fs::perms(0600));
  EXPECT_EQ(text.find_first_of("\x7F\x01"), std::string::npos);
  write("/other", "kept");
  remove("/var/log/kova/events.jsonl");
  fs::create_symlink("../../../other", at("/var/log/kova/events.jsonl"));
  EXPECT_LT(TARVLogSet1(2, 1, 7, "", "", "", ""), 0) << "a link is not followed";
  EXPECT_EQ(read("/other"), "kept");
  remove("/var/log/kova/events.jsonl");
  ASSERT_EQ(mkfifo(at("/var/log/kova/events.jsonl").c_str(), 0600), 0);
  EXPECT_LT(TARVLogSet1(2, 1, 7, "", "", "", ""), 0);
}

TEST_F(Platform, NotificationsNeedTheirCatalogue) {
  const std::string catalogue = "/usr/tarv/share/kova/notifications.conf";
  const SzHash parameters(TLIBCSzHashAlloc(1));
  TLIBCSzHashSetValue(parameters.get(), "%A%", "%B%");
  TLIBCSzHashSetValue(parameters.get(), "%B%", "b");
  EXPECT_LT(TARVSysNotifySendNotifiction("N", parameters.get()), 0);
  for (const char *text : {"[]", R"({"N":7})", R"({"N":{"text":[]}})"}) {
    write(catalogue, text);
    EXPECT_LT(TARVSysNotifySendNotifiction("N", parameters.get()), 0) << text;
  }
  write(catalogue, R"({"N":{"subject":"S %B%","text":"%A% %B% %C%"}})");
  EXPECT_EQ(TARVSysNotifySendNotifiction("N", parameters.get()), 0);
  const Json::Value sent = parsed(read("/var/log/kova/notifications.jsonl"));
  EXPECT_EQ(sent["subject"], "S b");
  EXPECT_EQ(sent["text"], "%B% b %C%") << "what was filled in is text";
}

TEST_F(Platform, TheTimeZoneComesFromSettingOrLink) {
  char zone[32] = "";
  int32_t needed = -1;
  const auto found = [&] { return TARVZoneGet(zone, sizeof zone, &needed) == 0 ? zone : "(failure)"; };
  EXPECT_STREQ(found(), "Europe/Berlin");
  EXPECT_LT(TARVZoneGet(zone, 5, &needed), 0);
  EXPECT_EQ(needed, 14);
  write(kInfoFile, keyFile("timezone="));
  EXPECT_STREQ(found(), "(failure)");
  for (const char *directory : {"", "posix/", "right/"}) {
    remove("/etc/localtime");
    fs::create_symlink(std::string("/usr/share/zoneinfo/") + directory + "Asia/Kathmandu", at("/etc/localtime"));
    EXPECT_STREQ(found(), "Asia/Kathmandu");
  }
  const auto nameOf = [](const char *zone) -> std::string {
    TLIBCSzHash *details = TLIBCSzHashAlloc(4);
    const int count = TARVZoneGetInfo(zone, &details);
    const SzHash owner(details);
    return count >= 1 ? TLIBCSzHashGetValue(details, "nameInTZDB") : "(failure)";
  };
  for (const char *name : {"Asia/Kathmandu", "UTC", "Etc/GMT+12"}) EXPECT_EQ(nameOf(name), name);
  for (const char *name : {"/etc/passwd", "../zoneinfo/UTC", "../../../etc/passwd", "Europe", "Nowhere/City", ""})
    EXPECT_EQ(nameOf(name), "(failure)") << name;
}

// ---- Programs ----

TEST_F(Platform, ProgramsStartCleanAndAreWaitedFor) {
  const int leaked = open("/dev/null", O_RDONLY);
  ASSERT_GT(leaked, 2);
  writeProgram("/bin/p", "#!/bin/sh\nls /proc/self/fd | wc -l\necho \"$#:$1:$2\"\nexit 3\n");
  const char *const arguments[] = {"a b; exit 9", "$HOME", nullptr};
  FILE *stream = TLIBCPopen("/bin/p", arguments, "r");
  ASSERT_NE(stream, nullptr);
  char output[256] = "";
  output[std::fread(output, 1, sizeof output - 1, stream)] = '\0';
  EXPECT_EQ(WEXITSTATUS(TLIBCPclose(stream)), 3);
  EXPECT_STREQ(output, "4\n2:a b; exit 9:$HOME\n") << "0 to 2, and the directory that ls reads";
  close(leaked);
  EXPECT_EQ(TLIBCPopen("/bin/p", nullptr, "w"), nullptr);
  EXPECT_EQ(TLIBCExecv("/bin/p/absent", nullptr, 1), -1);
  writeProgram("/bin/q", "#!/bin/sh\nkill $$\n");
  sigset_t mask;
  sigemptyset(&mask);
  sigaddset(&mask, SIGTERM);
  sigprocmask(SIG_BLOCK, &mask, nullptr);
  EXPECT_EQ(TLIBCExecv("/bin/q", nullptr, 1), 128 + SIGTERM) << "what is blocked here is not blocked there";
  sigprocmask(SIG_UNBLOCK, &mask, nullptr);
  writeProgram("/bin/r", "#!/bin/sh\nexit 127\n");
  EXPECT_EQ(TLIBCExecv("/bin/r", nullptr, 0), 0);
  signal(SIGCHLD, SIG_IGN);  // the program around may not want to hear of children
  EXPECT_EQ(TLIBCExecv("/bin/r", nullptr, 1), 127) << "not the same as one that could not start";
  signal(SIGCHLD, SIG_DFL);
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "no child is left";
}

TEST_F(Platform, AHookIsFoundWhereTheFileSystemDoesNotTellTypes) {
  write(kRelay, R"({"server_kova":{"account":"A"},"server_alias":{"alias":"a"}})");
  writeProgram("/usr/tarv/tarvkova/unify/hook", "#!/bin/sh\necho ran > $KOVA_DEVICE_ROOT/ran\n");
  state().failing = {"d_type"};
  EXPECT_EQ(TARVKOVAAbandonUnmerged(Json::Value()), 0);
  EXPECT_EQ(read("/ran"), "ran\n");
}

TEST_F(Platform, PluginsAndServices) {
  const std::string directory = "/usr/tarv/kova/plugin/kova/kova/logout/";
  const auto act = [] {
    const Plugin plugin(TLIBPluginSDKInit("kova", "kova/logout"));
    return plugin ? TLIBPluginAction(plugin.get(), 4) : -2;
  };
  EXPECT_EQ(act(), 0) << "none";
  const auto add = [&](const std::string &name, const std::string &end) {
    writeProgram(directory + name, "#!/bin/sh\necho " + name + ":$* >> $KOVA_DEVICE_ROOT/ran\n" + end + "\n");
  };
  add("20-b", "");
  add("10-a", "exit 1");
  add("30-c", "");
  write(directory + "README", "not executable");
  EXPECT_LT(act(), 0) << "one failed";
  EXPECT_EQ(read("/ran"), "10-a:4\n20-b:4\n30-c:4\n") << "in the names' order, all of them";
  for (const char *package : {"..", "/etc", "a/../..", ""}) EXPECT_EQ(TLIBPluginSDKInit(package, "x"), nullptr);
  writeProgram("/usr/tarv/etc/rc.d/s", "#!/bin/sh\n[ \"$*\" = restart ]\n");
  EXPECT_EQ(TLIBServiceRestart("s"), 0);
  for (const char *name : {"absent", "../rc.d/s", "..", ""}) EXPECT_NE(TLIBServiceRestart(name), 0) << name;
}

}  // namespace
