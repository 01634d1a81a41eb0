// Unification: scan, detection with the API key, abandoning, migration.
#include <gtest/gtest.h>
#include <kova/kova.h>

#include <csignal>
#include <cstdlib>
#include <tuple>

#include "base/json.h"
#include "support/device.h"

namespace {

namespace fs = std::filesystem;

constexpr char kTool[] = "/usr/tarv/sbin/tarvddnsinfo";
constexpr char kHook[] = "/usr/tarv/tarvkova/unify/hook";
constexpr char kUnified[] = "kova_account_is_unified";

std::string relay(const std::string &account, const std::string &alias = "alias") {
  return R"({"server_kova":{"account":")" + account + R"("},"server_alias":{"alias":")" + alias + "\"}}";
}

std::string ddns(const std::string &account, const std::string &host = "host") {
  return "#!/bin/sh\n[ $1 = --get-tarv-hostname ] && echo '" + host + "' || echo '" + account + "'\n";
}

class Unify : public DeviceTest {
 protected:
  Unify() {
    use();
    // Records the list that it was given, and fails.
    writeProgram(kHook, "#!/bin/sh\necho \"hook:$#:$KOVA_ABANDON_LIST\" >> $KOVA_DEVICE_ROOT/ran\nexit 7\n");
    writeProgram("/usr/tarv/etc/rc.d/ddns", "#!/bin/sh\necho \"$@\" > $KOVA_DEVICE_ROOT/restarted\n");
    answer();
  }
  // The accounts in use: of the packages, the relay's configuration, the dynamic DNS tool.
  void use(const std::string &packages = "", const std::string &relay = "", const std::string &tool = "#!/bin/sh\n") {
    for (const char *file : {kAccountFile, kTool}) remove(file);
    if (!packages.empty()) write(kAccountFile, keyFile("kovaPW=secret kovaID=" + packages));
    write(kRelay, relay);
    if (!tool.empty()) writeProgram(kTool, tool);
  }
  // The accounts that were found, each with its services, and then the log: "A{ddns=host}!unit text".
  std::string scanned(hooks::Failing failing = {}) {
    answer({}, std::move(failing));
    EXPECT_EQ(TARVKOVAAccountScanExisting(accounts_), 0);
    std::string text;
    for (const std::string &name : accounts_.getMemberNames()) {
      text += name;
      for (const Json::Value &service : accounts_[name]["services"])
        text += "{" + service["type"].asString() + "=" + service["value"].asString() + "}";
    }
    for (const std::string &line : state().log)
      text += "!" + line.substr(0, line.find(':')) + line.substr(line.find(' '));
    return text;
  }
  bool isMarked() const { return has(kInfoFile, keyFile("kova_unified=yes")); }
  Json::Value accounts_ = "replaced";
};

// ---- Scan ----

TEST_F(Unify, TheScanGroupsServicesByAccount) {
  const std::string b = relay("B"), package = "{package=Antivirus by McAfee}", line(1023, 'x'), silent = "#!/bin/sh\n";
  const std::string unit = "!kova_account_scan_existing ", unopened = unit + "Failed to open pipe";
  std::vector<std::tuple<std::string, std::string, std::string, std::string>> cases = {
      {"A", b, silent, "A" + package + "B{farlink=alias}"},
      {"A", relay("A", ""), ddns("A\n", "h.example"), "A" + package + "{farlink=}A\n{ddns=h.example\n}"},
      {"A", relay("A", ""), "#!/bin/sh\nprintf A\n", "A" + package + "{farlink=}{ddns=A}"},
      {"", "", "#!/bin/sh\n[ $1 = --get-tarv-account ] && echo a\n", ""},
      {"", "", "#!/bin/sh\n[ $1 = --get-tarv-account ] || touch $KOVA_DEVICE_ROOT/asked\n", ""},
      {"", "", "#!/bin/sh\n[ $# = 1 ] && printf 'a b'\nexit 9\n", "a b{ddns=a b}"},
      {"", "", "#!/bin/sh\nhead -c 10000 /dev/zero | tr '\\0' x\n", line + "{ddns=" + line + "}"},
      {"", "", "#!/bin/sh\nexec yes ''\n", "\n{ddns=\n}"},
      {"", b + std::string(16 << 20, ' '), silent, ""},
  };
  if (isFailedStartTold())
    for (const char *tool : {"", "#!/nowhere/interpreter\n"}) cases.emplace_back("", "", tool, unopened);
  for (const std::string &text :
       words(R"(x [] 7 {"server_kova":{"account":"B"}} {"server_kova":["account"],"server_alias":"alias"}
           {"server_kova":{"account":"B"},"server_alias":{}} {"server_kova":{},"server_alias":{"alias":"a"}}
           {"server_kova":{"account":""},"server_alias":{"alias":"a"}}
           {"server_kova":{"account":["B"]},"server_alias":{"alias":"a"}})"))
    cases.emplace_back("", text, silent, "");
  for (const auto &[packages, configuration, tool, expected] : cases) {
    use(packages, configuration, tool);
    EXPECT_EQ(scanned(), expected) << configuration.substr(0, 80) << tool;
  }
  EXPECT_EQ(TARVKOVAErrGet(), 3) << "left by the account file's reader";
  EXPECT_FALSE(exists("/asked")) << "no host without an account";
  use("", "", ddns("a"));
  EXPECT_EQ(scanned({"fgetc"}), unit + "Failed to execute ddns command, option=--get-tarv-account");
  remove(kRelay);
  fs::create_directory(at(kRelay));
  write(kAccountFile, keyFile("kovaID=A"));
  EXPECT_EQ(scanned(), "a\n{ddns=host\n}!kova_config_get key [kovaPW] not found in /etc/kova.conf, errno=Success/0\n")
      << "packages need a password";
  EXPECT_EQ(kova::jsonLine(accounts_), R"({"a\n":{"services":[{"type":"ddns","value":"host\n"}]}})");
}

TEST_F(Unify, ASignalLosesNoAccount) {
  struct sigaction action = {}, before = {};
  action.sa_handler = [](int) {};  // without SA_RESTART
  ASSERT_EQ(sigaction(SIGUSR1, &action, &before), 0);
  const std::string signal = "until grep -q ') S' /proc/$PPID/stat; do :; done; kill -USR1 $PPID\n";  // while it reads
  use("", "", "#!/bin/sh\n" + signal + signal + "printf user\n" + signal + "echo @host\n");
  EXPECT_EQ(scanned(), "user@host\n{ddns=user@host\n}");
  sigaction(SIGUSR1, &before, nullptr);
}

// ---- Detection ----

TEST_F(Unify, AMarkedDeviceIsNotScannedAndOneWithoutAccountsIsMarked) {
  EXPECT_TRUE(TARVKOVAAccountIsUnified(accounts_) == 0 && isMarked());
  use("", relay("A"), ddns("B"));
  accounts_ = "untouched";
  EXPECT_TRUE(ended(TARVKOVAAccountIsUnified(accounts_), 0, 0));
  EXPECT_TRUE(accounts_ == "untouched" && TARVKOVAAccountIsUnified_C() == 0);
  write(kInfoFile, keyFile("kova_unified=no"));
  const auto before = files();
  EXPECT_TRUE(ended(TARVKOVAAccountIsUnified(accounts_), -1, 0, {})) << "whatever the scan met";
  EXPECT_TRUE(accounts_.size() == 2 && TARVKOVAAccountIsUnified_C() == -1);
  EXPECT_TRUE(state().attempts.empty() && files() == before);
}

TEST_F(Unify, OneAccountIsSignedInToByApiKey) {
  const hooks::Reply keys = {R"({"code":"good","kova_id":4711,"auth_key":"key-1"})"};  // a number reads as text
  const LogLine done = {kUnified, "Logged in Kova as ada@kova.example"};
  const std::string ask = "action=get_auth_key&type=acnt_apikey&email=ada%40kova.example&serial=1430TST000001&api_key=";
  const std::string mac = "&mac=02%3A00%3A00%3A00%3A00%3A01";
  use("", relay("ada@kova.example"));
  answer({keys});
  EXPECT_TRUE(ended(TARVKOVAAccountIsUnified(accounts_), 0, 0, {done}));
  EXPECT_EQ(sent(), ask + kApiKey + mac);
  EXPECT_EQ(read(kAccountFile), kSignedIn);
  EXPECT_TRUE(isMarked() && has("/var/log/kova/events.jsonl", "0x13A00001"));
  EXPECT_FALSE(exists(kCron)) << "only the sign-in with a password schedules";

  remove(kAccountFile);
  write(kInfoFile, "");
  answer({{kUnknownKey}, keys}, {"TLIBCINFOSetKeyValue"});
  EXPECT_TRUE(ended(TARVKOVAAccountIsUnified(accounts_), 0, 19)) << "the outcome stands without the mark";
  const LogLine unmarked = {kUnified, "Failed to update kova_unified in /etc/tarvinfo.conf[0x0ABC]"};
  EXPECT_TRUE(loggedExactly({{kUnified, "ApiKey not found. Register new one."}, done, unmarked}));
  EXPECT_EQ(sent(1), ask + read("/var/lib/kova/apikey").substr(0, 64) + mac) << "with the new key";
}

// ---- Abandoning ----

TEST_F(Unify, OnlyTheServicesOfTheseAccountsAreTold) {
  use("", relay("B"), ddns("A"));
  // A hook that fails does not keep the other, which a link names, from running.
  fs::copy_file(at(kHook), at("/target"));
  fs::create_symlink(at("/target"), at(kHook) += "-link");
  const auto abandon = [&](const char *accounts, const char *failing = "") {
    answer({}, {failing});
    remove("/ran");
    setenv("KOVA_ABANDON_LIST", "mine", 1);
    const int result = TARVKOVAAbandonUnmerged(parsed(accounts));
    EXPECT_EQ(getenv("KOVA_ABANDON_LIST"), nullptr) << accounts;
    return result;
  };
  const std::pair<const char *, std::string> cases[] = {
      {"null", "hook:0:ddns,farlink\n"},           {"[]", ""},
      {R"(["B","B","C"])", "hook:0:farlink\n"},    {R"(["A"])", ""},
      {R"(["A\n","B"])", "hook:0:ddns,farlink\n"}, {R"([["B"],{},7])", ""}};
  for (const auto &[accounts, told] : cases) {
    for (const char *failing : {"", "d_type"}) {  // also where the file system does not tell what an entry is
      EXPECT_TRUE(ended(abandon(accounts, failing), 0, 3, {})) << "left by the scan";
      EXPECT_EQ(read("/ran"), told + told) << accounts << failing;
    }
  }
  fs::remove_all(at(kHook).parent_path());
  EXPECT_EQ(abandon("null"), 0) << "no directory, nothing to run";
  writeFile(at(kHook).parent_path(), "a file");
  EXPECT_EQ(abandon("null"), -1);
}

// ---- Migration ----

TEST_F(Unify, MigrationMergesAbandonsRestartsAndMarks) {
  const auto migrate = [](const char *list) { return TARVKOVAAccountMigrate("ada", "s&cret", parsed(list)); };
  use("ada", relay("bob"), ddns("eve"));
  answer({{"good"}});
  EXPECT_TRUE(ended(migrate(R"([{"email":"bob","passwd":"b"},{"email":"x@y","passwd":7,"more":1}])"), 0, 0, {}));
  EXPECT_EQ(sent(),
            "action=migrate&email=ada&passwd=s%26cret&serial=1430TST000001&token=" + expectedToken("1430TST000001") +
                "&merge_list[0][email]=bob&merge_list[0][passwd]=b&merge_list[1][email]=x%40y&merge_list[1][passwd]=7");
  EXPECT_EQ(read("/ran"), "hook:0:ddns\n") << "its account ends in a newline and matches nothing";
  EXPECT_TRUE(isMarked() && read("/restarted") == "restart\n");
  for (const auto &[account, code, hooked] : {std::tuple{"bob", 3, "hook:0:farlink\n"}, {"ada", 0, ""}}) {
    for (const char *file : {kInfoFile, "/ran"}) remove(file);
    use("", relay(account));
    answer();
    EXPECT_TRUE(ended(migrate("[]"), 0, code)) << "3 is left by the scan of the abandoning";
    EXPECT_TRUE(state().attempts.empty() && isMarked());
    EXPECT_EQ(read("/ran"), hooked);
  }
}

}  // namespace
