// Unification: scan, detection with the API key, abandoning, migration.
#include <gtest/gtest.h>
#include <kova/kova.h>
#include <sys/stat.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>

#include "base/json.h"
#include "support/device.h"

namespace {

namespace fs = std::filesystem;

constexpr char kTool[] = "/usr/tarv/sbin/tarvddnsinfo";
constexpr char kHooks[] = "/usr/tarv/tarvkova/unify/";
// A tool that records each call.
const std::string kRecord = "#!/bin/sh\necho \"$*\" >> $KOVA_DEVICE_ROOT/asked\n";
constexpr char kScan[] = "kova_account_scan_existing";
constexpr char kUnified[] = "kova_account_is_unified";

class Unify : public DeviceTest {
 protected:
  Unify() {
    writeProgram(kTool, "#!/bin/sh\n");
    answer();
  }
  void usePackages(const std::string &account) { write(kAccountFile, keyFile("kovaPW=secret kovaID=" + account)); }
  void useRelay(const std::string &account, const std::string &alias = "alias") {
    write(kRelay, R"({"server_kova":{"account":")" + account + R"("},"server_alias":{"alias":")" + alias + "\"}}");
  }
  void useDdns(const std::string &account, const std::string &host = "host") {
    const std::string answer = "[ $1 = --get-tarv-hostname ] && echo '" + host + "' || echo '" + account + "'\n";
    writeProgram(kTool, kRecord + answer);
  }
  // Installs a hook that records its name and the list that it was given.
  void addHook(const std::string &name, const std::string &end = "") {
    const std::string record = "echo \"" + name + ":$#:$KOVA_ABANDON_LIST\" >> $KOVA_DEVICE_ROOT/ran\n";
    writeProgram(kHooks + name, "#!/bin/sh\n" + record + end + "\n");
  }
  std::string ran() {
    const std::string lines = read("/ran");
    remove("/ran");
    return lines;
  }
  // The accounts that were found, each with its services: "A{ddns=host}".
  std::string scanned() {
    Json::Value accounts = "replaced";
    EXPECT_EQ(TARVKOVAAccountScanExisting(accounts), 0);
    std::string text;
    for (const std::string &name : accounts.getMemberNames()) {
      text += name;
      for (const Json::Value &service : accounts[name]["services"])
        text += "{" + service["type"].asString() + "=" + service["value"].asString() + "}";
    }
    return text;
  }
  bool isMarked() const { return has(kInfoFile, keyFile("kova_unified=yes")); }
  Json::Value accounts_;
};

// ---- Scan ----

TEST_F(Unify, TheScanGroupsServicesByAccount) {
  EXPECT_EQ(scanned(), "");
  EXPECT_EQ(TARVKOVAErrGet(), 3) << "left by the account file's reader";
  usePackages("A");
  useRelay("B");
  EXPECT_EQ(scanned(), "A{package=Antivirus by McAfee}B{farlink=alias}");
  useRelay("A", "");
  useDdns("A\n", "h.example");
  EXPECT_EQ(scanned(), "A{package=Antivirus by McAfee}{farlink=}A\n{ddns=h.example\n}") << "a line with its newline";
  writeProgram(kTool, "#!/bin/sh\nprintf A\n");
  EXPECT_EQ(scanned(), "A{package=Antivirus by McAfee}{farlink=}{ddns=A}");
  write(kAccountFile, keyFile("kovaID=A"));
  remove(kRelay);
  EXPECT_EQ(scanned(), "A{ddns=A}") << "packages need a password";
  ASSERT_EQ(TARVKOVAAccountScanExisting(accounts_), 0);
  EXPECT_EQ(kova::jsonLine(accounts_), R"({"A":{"services":[{"type":"ddns","value":"A"}]}})");
}

TEST_F(Unify, UnreadableRelayFilesAreSkipped) {
  for (const std::string &text : std::vector<std::string>{
           "", "x", "[]", "7", R"({"server_kova":{"account":"B"}})",
           R"({"server_kova":{"account":"B"},"server_alias":{}})", R"({"server_kova":{},"server_alias":{"alias":"a"}})",
           R"({"server_kova":{"account":""},"server_alias":{"alias":"a"}})",
           R"({"server_kova":{"account":["B"]},"server_alias":{"alias":"a"}})",
           R"({"server_kova":["account"],"server_alias":"alias"})",
           R"({"server_kova":{"account":"B"},"server_alias":{"alias":"a"}})" + std::string(16 << 20, ' ')}) {
    write(kRelay, text);
    EXPECT_EQ(scanned(), "") << text.substr(0, 80);
  }
  remove(kRelay);
  fs::create_directory(at(kRelay));
  EXPECT_EQ(scanned(), "");
  EXPECT_TRUE(loggedExactly({}));
}

TEST_F(Unify, ToolsOfEveryKind) {
  const std::string longName(1023, 'x');
  const std::vector<LogLine> unopened = {{kScan, "Failed to open pipe"}};
  const std::tuple<std::string, std::string, std::vector<LogLine>> cases[] = {
      {"", "", unopened},
      {"#!/nowhere/interpreter\n", "", unopened},
      {"#!/bin/sh\nexit 3\n", "", {}},
      {"#!/bin/sh\n[ $1 = --get-tarv-account ] && echo a\n", "", {}},
      {"#!/bin/sh\n[ $# = 1 ] && printf 'a b'\nexit 9\n", "a b{ddns=a b}", {}},
      {"#!/bin/sh\nhead -c 10000 /dev/zero | tr '\\0' x\n", longName + "{ddns=" + longName + "}", {}},
      {"#!/bin/sh\nexec yes ''\n", "\n{ddns=\n}", {}},
  };
  for (const auto &[script, accounts, log] : cases) {
    answer();
    remove(kTool);
    if (!script.empty()) writeProgram(kTool, script);
    EXPECT_EQ(scanned(), accounts) << script;
    EXPECT_TRUE(loggedExactly(log)) << script;
  }
  useDdns("a");
  answer({}, {"fgetc"});
  EXPECT_EQ(scanned(), "");
  EXPECT_TRUE(loggedExactly({{kScan, "Failed to execute ddns command, option=--get-tarv-account"}}));
  answer();
  remove("/asked");
  writeProgram(kTool, kRecord);
  EXPECT_EQ(scanned(), "");
  EXPECT_EQ(read("/asked"), "--get-tarv-account\n") << "no host without an account";
}

TEST_F(Unify, ASignalLosesNoAccount) {
  struct sigaction action = {}, before = {};
  action.sa_handler = [](int) {};  // without SA_RESTART
  ASSERT_EQ(sigaction(SIGUSR1, &action, &before), 0);
  const std::string signals = "for i in 1 2 3 4 5 6 7 8 9; do kill -USR1 $PPID; done\n";
  writeProgram(kTool, "#!/bin/sh\n" + signals + "printf user\n" + signals + "echo @host\n" + signals);
  EXPECT_EQ(scanned(), "user@host\n{ddns=user@host\n}");
  sigaction(SIGUSR1, &before, nullptr);
}

// ---- Detection ----

TEST_F(Unify, AMarkedDeviceIsNotScannedAndOneWithoutAccountsIsMarked) {
  EXPECT_EQ(TARVKOVAAccountIsUnified(accounts_), 0);
  EXPECT_TRUE(isMarked());
  useRelay("A");
  useDdns("B");
  accounts_ = "untouched";
  EXPECT_TRUE(ended(TARVKOVAAccountIsUnified(accounts_), 0, 0));
  EXPECT_EQ(accounts_, "untouched");
  EXPECT_EQ(TARVKOVAAccountIsUnified_C(), 0);
  write(kInfoFile, keyFile("kova_unified=no"));
  remove("/asked");
  EXPECT_TRUE(ended(TARVKOVAAccountIsUnified(accounts_), -1, 0, {})) << "whatever the scan met";
  EXPECT_EQ(accounts_.size(), 2U);
  EXPECT_EQ(TARVKOVAAccountIsUnified_C(), -1);
  EXPECT_TRUE(state().attempts.empty());
  EXPECT_FALSE(isMarked() || exists(kAccountFile));
}

TEST_F(Unify, OneAccountIsSignedInToByApiKey) {
  const hooks::Reply keys = {R"({"code":"good","kova_id":4711,"auth_key":"key-1"})"};  // a number reads as text
  useRelay("ada@kova.example");
  const auto asked = [&] {
    return "action=get_auth_key&type=acnt_apikey&email=ada%40kova.example&serial=1430TST000001&api_key=" +
           read("/var/lib/kova/apikey").substr(0, 64) + "&mac=02%3A00%3A00%3A00%3A00%3A01";
  };
  answer({keys});
  EXPECT_TRUE(ended(TARVKOVAAccountIsUnified(accounts_), 0, 0, {{kUnified, "Logged in Kova as ada@kova.example"}}));
  EXPECT_EQ(sent(), asked());
  EXPECT_EQ(read(kAccountFile), kSignedIn);
  EXPECT_TRUE(isMarked());
  EXPECT_EQ(parsed(read("/var/log/kova/events.jsonl"))["event"], "0x13A00001");
  EXPECT_FALSE(exists(kCron)) << "only the sign-in with a password schedules";

  remove(kAccountFile);
  write(kInfoFile, "");
  answer({{kUnknownKey}, keys}, {"TLIBCINFOSetKeyValue"});
  EXPECT_TRUE(ended(TARVKOVAAccountIsUnified(accounts_), 0, 19)) << "the outcome stands without the mark";
  const LogLine registering = {kUnified, "ApiKey not found. Register new one."};
  const LogLine unmarked = {kUnified, "Failed to update kova_unified in /etc/tarvinfo.conf[0x0ABC]"};
  EXPECT_TRUE(loggedExactly({registering, {kUnified, "Logged in Kova as ada@kova.example"}, unmarked}));
  EXPECT_EQ(sent(1), asked()) << "with the new key";
}

// ---- Abandoning ----

TEST_F(Unify, HooksOfEveryKind) {
  usePackages("A");
  useRelay("A");
  useDdns("A");
  addHook("good");
  addHook("failing", "exit 7");
  addHook("loud", "head -c 300000 /dev/zero | tr '\\0' x");
  addHook("not executable");
  fs::permissions(at(kHooks + std::string("not executable")), fs::perms(0600));
  fs::create_directories(at(kHooks + std::string("directory")));
  fs::create_directory_symlink(at(kHooks + std::string("directory")), at(kHooks + std::string("to directory")));
  addHook("target");
  fs::rename(at(kHooks + std::string("target")), at("/target"));
  fs::create_symlink(at("/target"), at(kHooks + std::string("link")));
  ASSERT_EQ(mkfifo(at(kHooks + std::string("pipe")).c_str(), 0700), 0);
  testing::internal::CaptureStdout();
  EXPECT_EQ(TARVKOVAAbandonUnmerged(Json::Value()), 0);
  testing::internal::GetCapturedStdout();
  std::vector<std::string> lines = words(ran());
  std::sort(lines.begin(), lines.end());
  EXPECT_EQ(lines, words("failing:0:package,farlink,ddns good:0:package,farlink,ddns loud:0:package,farlink,ddns "
                         "target:0:package,farlink,ddns"));
  EXPECT_TRUE(loggedExactly({}));
}

TEST_F(Unify, OnlyTheServicesOfTheseAccountsAreTold) {
  useRelay("B");
  useDdns("A");
  addHook("hook");
  const std::pair<const char *, const char *> cases[] = {
      {"null", "hook:0:ddns,farlink\n"},
      {"[]", ""},
      {"[\"B\",\"B\",\"C\"]", "hook:0:farlink\n"},
      {"[\"A\"]", ""},
      {"[\"A\\n\",\"B\"]", "hook:0:ddns,farlink\n"},
      {"[[\"B\"],{},7]", ""},
  };
  for (const auto &[accounts, expected] : cases) {
    setenv("KOVA_ABANDON_LIST", "mine", 1);
    EXPECT_TRUE(ended(TARVKOVAAbandonUnmerged(parsed(accounts)), 0, 3)) << "left by the scan";
    EXPECT_EQ(getenv("KOVA_ABANDON_LIST"), nullptr) << accounts;
    EXPECT_EQ(ran(), expected) << accounts;
  }
  remove(kHooks);
  EXPECT_EQ(TARVKOVAAbandonUnmerged(Json::Value()), 0) << "no directory, nothing to run";
  writeFile(root_.path() / "usr/tarv/tarvkova/unify", "a file");
  setenv("KOVA_ABANDON_LIST", "mine", 1);
  EXPECT_EQ(TARVKOVAAbandonUnmerged(Json::Value()), -1);
  EXPECT_EQ(getenv("KOVA_ABANDON_LIST"), nullptr);
}

// ---- Migration ----

class Migration : public Unify {
 protected:
  Migration() {
    addHook("hook");
    writeProgram("/usr/tarv/etc/rc.d/ddns", "#!/bin/sh\necho \"$@\" > $KOVA_DEVICE_ROOT/restarted\n");
  }
  static int migrate(const std::string &list) { return TARVKOVAAccountMigrate("ada", "s&cret", parsed(list)); }
};

TEST_F(Migration, MergesAbandonsRestartsAndMarks) {
  usePackages("ada");
  useRelay("bob");
  useDdns("eve");
  answer({{"good"}});
  EXPECT_TRUE(ended(migrate(R"([{"email":"bob","passwd":"b"},{"email":"x@y","passwd":7,"more":1}])"), 0, 0, {}));
  EXPECT_EQ(sent(),
            "action=migrate&email=ada&passwd=s%26cret&serial=1430TST000001&token=" + expectedToken("1430TST000001") +
                "&merge_list[0][email]=bob&merge_list[0][passwd]=b&merge_list[1][email]=x%40y&merge_list[1][passwd]=7");
  EXPECT_EQ(ran(), "hook:0:ddns\n") << "its account ends in a newline and matches nothing";
  EXPECT_EQ(read("/restarted"), "restart\n");
  EXPECT_TRUE(isMarked());
}

TEST_F(Migration, AnEmptyListSendsNothing) {
  for (const auto &[account, code, hooked] : {std::tuple{"bob", 3, "hook:0:farlink\n"}, {"ada", 0, ""}}) {
    write(kInfoFile, "");
    useRelay(account);
    answer();
    EXPECT_TRUE(ended(migrate("[]"), 0, code)) << "3 is left by the scan of the abandoning";
    EXPECT_TRUE(state().attempts.empty());
    EXPECT_EQ(ran(), hooked);
    EXPECT_TRUE(isMarked());
  }
}

}  // namespace
