// What the operations on the service end with: result, error code, log lines and requests.
#include <gtest/gtest.h>
#include <kova/kova.h>

#include <algorithm>
#include <functional>
#include <set>
#include <sstream>
#include <tuple>

#include "support/device.h"
#include "support/json.h"

namespace {

namespace fs = std::filesystem;
using Json::Value;
using Call = std::function<int(Value &)>;
using Files = std::map<std::string, std::string>;
using Replies = std::vector<hooks::Reply>;

constexpr char kAuthen[] = "kova_account_authen", kUnified[] = "kova_account_is_unified",
               kLogin[] = "kova_account_login";
constexpr char kLogout[] = "kova_account_logout", kMigrate[] = "kova_account_migrate", kReport[] = "kova_report_info";
constexpr char kQuery[] = "kova_account_query_info", kRegister[] = "kova_account_register";
constexpr char kCheck[] = "kova_account_service_check", kPurchases[] = "kova_account_purchase_list";
constexpr char kUpdate[] = "kova_account_set_info";
constexpr char kKeys[] = R"({"code":"good","kova_id":"4711","auth_key":"key-1"})";
constexpr char kProfile[] =
    R"({"activated":true,"code":"good","country":"DE","critical_release":0,"critical_version_list":{},"disabled":false,)"
    R"("email":"ada@kova.example","enews":1,"enews_local_promotion":"yes","full_name":"Ada","notify_language":"ger",)"
    R"("timezone":"UTC"})";
constexpr char kBadauth[] = R"({"code":"badauth"})";
constexpr char kBefore[] = R"({"kept":1})";
constexpr char kRelay[] = "/usr/tarv/etc/tarvrelayd/tarvrelayd.conf";
const std::string kUnsent = "Failed to send https request. err=[0x0ABC]";
const std::string kNoParameters = "Failed to alloc https request, err=[0x0ABC]";

// An operation with good arguments; its value begins as kBefore.
struct Operation {
  std::string unit;
  Call run;
  std::string url;
  Files files = {};              // what the device needs for it
  std::string replyLogged = "";  // what begins the log line on a bare word that is no success; else replies are JSON
  bool keepsValue = false;       // a failure leaves the caller's value
};

Call migrating(const char *list) {
  return [list](Value &) { return TARVKOVAAccountMigrate("ada@kova.example", "secret", parsed(list)); };
}

int update(const char *password = nullptr) {
  return TARVKOVAAccountSetInfo(nullptr, nullptr, password, password, nullptr, nullptr, nullptr, -1, -1, -1, nullptr);
}

int purchases(const char *language, Value &result) {
  return TARVKOVAAccountPurchaseList(language, nullptr, nullptr, {}, {}, {}, {}, result);
}

const std::vector<Operation> &operations() {
  static const Files account = {{kAccountFile, kSignedIn}};
  static const Files inUse = {
      {kRelay, R"({"server_kova": {"account": "ada@kova.example"}, "server_alias": {"alias": "ada"}})"},
      {"/usr/tarv/sbin/tarvddnsinfo", "#!/bin/sh\n"},
      {"/usr/tarv/etc/rc.d/ddns", "#!/bin/sh\n"}};
  static const std::string sign = "https://account.kova.example/dnsauth.php";
  static const std::string keep = "https://account.kova.example/account.php";
  static const std::vector<Operation> all = {
      {kAuthen, [](Value &v) { return TARVKOVAAccountAuthen("ada@kova.example", "secret", nullptr, v); }, sign},
      {kUnified, [](Value &v) { return TARVKOVAAccountIsUnified(v); }, sign, inUse},
      {kLogin, [](Value &v) { return TARVKOVAAccountLogin("ada@kova.example", "secret", v, false); }, sign},
      {kLogout, [](Value &) { return TARVKOVAAccountLogout(); }, sign, account},
      {kMigrate, migrating(R"([{"email":"bob","passwd":"secret"}])"), keep, inUse, "Failed to migrate, resp="},
      {kPurchases, [](Value &v) { return purchases("enu", v); }, "https://query.kova.example/api/query.php", account,
       "", true},
      {kQuery, [](Value &v) { return TARVKOVAAccountQueryInfo(v, true, false); }, sign, account, "", true},
      {kRegister,
       [](Value &) { return TARVKOVAAccountRegister("e", "secret", "Ada", true); },
       keep,
       {},
       "Failed to register e, resp="},
      {kCheck, [](Value &v) { return TARVKOVAAccountServiceCheck("4711", "key-1", v); }, sign, {}, "", true},
      {kUpdate, [](Value &) { return update(); }, keep, account, "Failed to update account:4711, resp="},
      {kReport, [](Value &) { return TARVKOVAReportInfo(); }, sign, account},
  };
  return all;
}

const Operation &operation(const std::string &unit) {
  return *std::ranges::find(operations(), unit, &Operation::unit);
}

// One outcome. As many requests are sent as there are replies.
struct Outcome {
  Replies replies;
  int result;
  int32_t code;
  std::vector<std::string> texts = {};  // all that the operation's unit logs
  hooks::Failing failing = {};
  Files files = {};            // beside the operation's own
  Call run = {};               // in place of the operation's own
  const char *left = kBefore;  // what a failure makes of the caller's value
};

class Device : public DeviceTest {
 public:
  using DeviceTest::answer, DeviceTest::exists, DeviceTest::at;
  void TestBody() override {}
  void prepare(const Files &files) const {
    for (const auto &[path, text] : files) writeProgram(path, text);
  }
  // A failure changes no file but those of an API key that was registered.
  void expect(const Operation &operation, const Outcome &outcome) {
    SCOPED_TRACE(operation.unit + ": " + testing::PrintToString(outcome.texts));
    prepare(operation.files);
    prepare(outcome.files);
    answer(outcome.replies, outcome.failing);
    const Files before = files();
    Value value = parsed(kBefore);
    std::vector<LogLine> log;
    for (const std::string &text : outcome.texts) log.emplace_back(operation.unit, text);
    EXPECT_TRUE(ended((outcome.run ? outcome.run : operation.run)(value), outcome.result, outcome.code));
    EXPECT_TRUE(loggedExactly(log, operation.unit));
    EXPECT_EQ(hooks::state().attempts.size(), outcome.replies.size());
    EXPECT_TRUE(hooks::state().attempts.empty() || hooks::state().attempts[0].url == operation.url);
    if (outcome.result == 0) return;
    EXPECT_TRUE(!operation.keepsValue || outcome.run || value == parsed(outcome.left)) << value;
    Files after = files();
    if (!outcome.texts.empty() && outcome.texts[0].rfind("ApiKey not found", 0) == 0) {
      after["var/lib/kova/apikey"] = kApiKey;
      after.erase("var/lib/kova/apikey.enrolled");
    }
    EXPECT_EQ(after, before);
  }
};

void expect(const std::string &unit, const std::vector<Outcome> &outcomes) {
  for (const Outcome &outcome : outcomes) Device().expect(operation(unit), outcome);
}

// The end of an operation that gets these replies; all but a success is logged with the reply.
void expectReplies(const std::string &unit, const std::string &text,
                   const std::vector<std::pair<std::string, int32_t>> &replies) {
  for (const auto &[body, code] : replies) {
    if (code == 0) expect(unit, {{{{body + " "}}, 0, 0}});
    if (code != 0) expect(unit, {{{{body + " "}}, -1, code, {text + body}}});
  }
}

void expectRefused(const std::string &unit, const std::string &text, const std::vector<Call> &runs) {
  for (const Call &run : runs) expect(unit, {{{}, -1, 1, {text}, {}, {}, run}});
}

std::string directLoginFailed(int32_t code) {
  return "DirectLoginByApiKey failed, account=ada@kova.example, code=" + std::to_string(code);
}

// ---- What all of them have in common ----

TEST(Operations, SendNothingWhenAParameterCannotBeSet) {
  for (const Operation &operation : operations()) {
    Device device;
    Value value;
    device.prepare(operation.files);
    device.answer({{"", 500}});
    operation.run(value = parsed(kBefore));
    std::istringstream form(sent());
    std::set<std::string> keys;
    for (std::string pair; std::getline(form, pair, '&');) keys.insert(pair.substr(0, pair.find('=')));
    EXPECT_GE(keys.size(), 4U) << operation.unit;
    for (const std::string &key : keys) {
      device.answer({}, {"TLIBCSzHashSetValue " + key});
      EXPECT_TRUE(ended(operation.run(value = parsed(kBefore)), -1, 6)) << operation.unit << " " << key;
      EXPECT_TRUE(hooks::state().attempts.empty());
    }
  }
}

TEST(Operations, SurviveAnyReply) {
  for (const Operation &operation : operations()) {
    Device device;
    for (const char *body : {"null", "[]", "7", "\"good\"", "{\"code\":{}}", "{\"code\":[{\"good\":1}],\"x\":1}"}) {
      device.prepare(operation.files);
      device.answer({{body}});
      Value value = parsed(kBefore);
      operation.run(value);
      EXPECT_NE(TARVKOVAErrGet(), 6) << operation.unit << body;
    }
  }
}

TEST(Operations, TakeTheirStepsInOrder) {
  using Step = std::pair<const char *, int32_t>;
  const Step config = {"TARVEncodingBase64Decode", 23}, serial = {"TLIBGetSerialNumber", 8};
  const Step mac = {"TARVCloudServiceGetMacAddress", 20}, key = {"TARVCloudServiceGetApiKey", 15};
  const Step digest = {"MD5_Update", 0}, token = {"MD5_Update", 22}, zone = {"TARVZoneGet", 0};
  const Step parameters = {"TLIBCSzHashSetValue action", 6}, scan = {"TARVKOVAAccountScanExisting", 23};
  const std::map<std::string, std::vector<Step>> orders = {
      {kAuthen, {config, serial, digest, parameters}},
      {kUnified, {serial, config, mac, key, parameters}},
      {kLogin, {config, serial, mac, key, parameters}},
      {kLogout, {serial, config, parameters}},
      {kMigrate, {config, serial, token, parameters, scan}},
      {kPurchases, {config, serial, parameters}},
      {kQuery, {config, serial, parameters}},
      {kRegister, {serial, config, token, zone, parameters}},
      {kCheck, {config, serial, parameters}},
      {kUpdate, {config, serial, parameters}},
      {kReport, {config, zone, serial, parameters}},
  };
  for (const Operation &operation : operations()) {
    Device device;
    device.prepare(operation.files);
    for (std::vector<Step> left = orders.at(operation.unit); !left.empty(); left.erase(left.begin())) {
      hooks::Failing failing = {"TARVCloudServiceGetErrorCode"};
      for (const auto &[name, code] : left) failing.insert(name);
      device.answer({}, failing);
      Value value = parsed(kBefore);
      EXPECT_TRUE(ended(operation.run(value), -1, left[0].second)) << operation.unit << " " << left[0].first;
    }
  }
}

TEST(Operations, FailWithTheirSteps) {
  for (const Operation &operation : operations()) {
    const auto fails = [&](int32_t code, const std::string &text, const Replies &replies, hooks::Failing failing = {},
                           const Files &files = {}) {
      std::vector<std::string> texts = {text};
      if (operation.unit == kUnified) texts.push_back(directLoginFailed(code));
      Device().expect(operation, {replies, -1, code, texts, std::move(failing), files});
    };
    const std::string unsent = (operation.unit == kRegister ? "f" : "F") + kUnsent.substr(1);
    fails(23, "TARVKOVAServerConfigGet, code=6", {}, {"TARVEncodingBase64Decode"});
    fails(8, "Failed to get serial number, err=[0x0ABC]", {}, {}, {{kDeviceFile, ""}});
    fails(4, unsent, {}, {}, {{kDeviceFile, "serial=\"-1\"\nmac=\"02:00:00:00:00:01\"\n"}});
    for (const long status : {204L, 401L, 500L}) fails(4, unsent, {{kGood, status}});
    const bool isJson = operation.replyLogged.empty();
    const int32_t code = isJson ? 2 : 24;
    const std::string text = isJson ? "Failed to parse json: " : operation.replyLogged;
    for (const std::string &body : {std::string("<html>"), std::string("\xEF\xBB\xBF{}"), std::string(1001, '[')}) {
      fails(code, text + body, {{body}});
    }
    fails(code, text, {{"  "}});
    fails(code, text, {{std::string("\0{}", 3)}});
    fails(code, text, {{kGood}}, {"strdup"});
  }
}

// What an operation ends with, and how many requests it sent, when one of its hashes cannot be allocated; by what its
// unit logs then.
using WithoutHash = std::map<std::string, std::tuple<int, int32_t, std::size_t>>;
WithoutHash withoutHashes(const Operation &operation, const Call &run, const Replies &replies = {{"", 500}}) {
  WithoutHash outcomes;
  for (int hash = 1;; ++hash) {
    Device device;
    device.prepare(operation.files);
    device.answer(replies);
    hooks::state().failingHash = hash;
    Value value = parsed(kBefore);
    const int result = run(value);
    if (hooks::state().hashes < hash) return outcomes;
    for (const std::string &line : hooks::state().log) {
      if (line.rfind(operation.unit + ":", 0) != 0) continue;
      outcomes[line.substr(line.find(' ') + 1)] = {result, TARVKOVAErrGet(), hooks::state().attempts.size()};
    }
  }
}

TEST(Operations, FailWithoutTheirHashes) {
  const WithoutHash::mapped_type nothingSent = {-1, 6, 0};
  for (const Operation &operation : operations()) {
    WithoutHash outcomes = withoutHashes(operation, operation.run);
    EXPECT_EQ(outcomes[kNoParameters], nothingSent) << operation.unit;
    if (operation.unit != kRegister && operation.unit != kReport) continue;
    EXPECT_EQ(outcomes["Failed to alloc pTZInfo, err=[0x0ABC]"], nothingSent) << operation.unit;
  }
  const Call changePassword = [](Value &) { return update("new"); };
  WithoutHash outcomes = withoutHashes(operation(kUpdate), changePassword, {{"good"}, {kProfile}});
  const WithoutHash::mapped_type updated = {0, 0, 2};
  EXPECT_EQ(outcomes["Failed to alloc notification hash, err=[0x0ABC]"], updated);
}

std::vector<std::string> sourceLines(const std::string &unit) {
  std::vector<std::string> lines;
  for (const auto &entry : fs::recursive_directory_iterator(KOVA_SOURCE_DIR "/src")) {
    if (entry.path().filename() != unit + ".cpp") continue;
    std::istringstream text(readFile(entry.path()));
    for (std::string line; std::getline(text, line);) lines.push_back(line);
  }
  return lines;
}

// The line that the unit logged first.
std::size_t loggedLine(const std::string &unit) {
  for (const std::string &line : hooks::state().log) {
    if (line.rfind(unit + ":", 0) == 0) return std::stoul(line.substr(unit.size() + 1));
  }
  return 0;
}

// A line of code that operations share would be the same for all of them, or none of the operation's file.
TEST(Operations, LogTheLineOfTheirOwnStatement) {
  std::set<std::size_t> configLines, sendLines;
  for (const Operation &operation : operations()) {
    SCOPED_TRACE(operation.unit);
    const std::vector<std::string> source = sourceLines(operation.unit);
    const auto lineOfFailure = [&](const hooks::Failing &failing) {
      Device device;
      device.prepare(operation.files);
      device.answer({{"", 500}}, failing);
      Value value = parsed(kBefore);
      operation.run(value);
      return loggedLine(operation.unit);
    };
    const std::size_t config = lineOfFailure({"TARVEncodingBase64Decode"}), send = lineOfFailure({});
    EXPECT_EQ(config, lineOfFailure({"TARVEncodingBase64Decode"}));
    EXPECT_NE(config, send);
    for (const std::size_t line : {config, send}) {
      ASSERT_TRUE(line >= 1 && line <= source.size()) << line;
      EXPECT_NE(source[line - 1].find('('), std::string::npos) << "a call, not: " << source[line - 1];
    }
    configLines.insert(config);
    sendLines.insert(send);
  }
  EXPECT_GT(configLines.size(), operations().size() / 2);
  EXPECT_GT(sendLines.size(), operations().size() / 2);
}

// ---- One by one ----

TEST(Operations, PasswordCheckEnds) {
  const std::string refused = "Failed to authen ada@kova.example, resp=";
  for (const char *body : {"{}", "null", "17", "\"badauth\"", R"([{"code":"badauth"}])", R"({"code":"account_userid"})",
                           R"({"code":"bad","code":"good"})"}) {
    expectReplies(kAuthen, refused, {{body, 0}});
  }
  for (const char *word : {"\"\"", "\"x\"", "null", "0", "true", "{}", "[\"good\"]", R"("\u0000good")"}) {
    expectReplies(kAuthen, refused, {{std::string("{\"code\":") + word + "}", 24}});
  }
  expectReplies(kAuthen, refused,
                {{R"({"code":"badauth","detail":"no"})", 14}, {R"({"code":"account_unverified"})", 18}});
  expect(kAuthen, {{{}, -1, 0, {"Failed to get md5 string"}, {"MD5_Update secret"}}});
  expectRefused(kAuthen, "Bad Parameters",
                {[](Value &v) { return TARVKOVAAccountAuthen(nullptr, "x", nullptr, v); },
                 [](Value &v) { return TARVKOVAAccountAuthen("x", nullptr, nullptr, v); }});
  // The caller's text may lie in the value that the reply replaces.
  const Call fromReply = [](Value &v) {
    return TARVKOVAAccountAuthen((v = "ada@kova.example").asCString(), "secret", nullptr, v);
  };
  expect(kAuthen, {{{{kBadauth}}, -1, 14, {refused + kBadauth}, {}, {}, fromReply}});
}

// Both sign in with the API key: one with a password, one without.
TEST(Operations, BothLoginsEnd) {
  const std::string registering = "ApiKey not found. Register new one.", unread = "Failed to parse json: ";
  for (const std::string unit : {kLogin, kUnified}) {
    const bool isLogin = unit == kLogin;
    const std::string refused =
        isLogin ? "Failed to login ada@kova.example, resp="
                : "DirectLoginByApiKey failed, account=ada@kova.example, http-status: 200 response: ";
    const auto fails = [&](int32_t code, std::vector<std::string> texts, const Replies &replies,
                           hooks::Failing failing = {}, const Files &files = {}) {
      if (!isLogin) texts.push_back(directLoginFailed(code));
      expect(unit, {{replies, -1, code, texts, std::move(failing), files}});
    };
    for (const std::string body : {"{}", "[]"}) {
      fails(isLogin ? 5 : 2, {isLogin ? "bad response, no code" : unread + body}, {{body}});
    }
    fails(14, {refused + kBadauth}, {{kBadauth}});
    fails(26, {registering, refused + kUnknownKey}, {{kUnknownKey}, {kUnknownKey}});
    fails(14, {registering, refused + kBadauth}, {{kUnknownKey}, {kBadauth}});
    fails(isLogin ? 24 : 2, {registering, (isLogin ? refused : unread) + "{}"}, {{kUnknownKey}, {"{}"}});
    fails(2, {registering, unread + "<"}, {{kUnknownKey}, {"<"}});
    fails(4, {registering, kUnsent}, {{kUnknownKey}, {"", 500}});
    fails(26, {registering, "TARVCloudServiceRegisterApiKey failed"}, {{kUnknownKey}},
          {"TARVCloudServiceRegisterApiKey"});
    fails(20, {"Failed to get mac address"}, {}, {}, {{kDeviceFile, "serial=\"S\"\nmac=\"02:00:00:00:00:0g\"\n"}});
    fails(15, {"Failed to get apikey"}, {}, {"TARVCloudServiceGetApiKey", "TARVCloudServiceGetErrorCode"});
    fails(19, {isLogin ? "TARVKOVAAccountSet failed, code=19" : "TARVKOVAAccountSet failed"}, {{kKeys}},
          {"TLIBCFileSetKeys"});
  }
  expect(kUnified, {{{}, -1, 23, {"TARVKOVAAccountScanExisting failed"}, {"TARVKOVAAccountScanExisting"}}});
}

TEST(Operations, LoginEnds) {
  expectRefused(kLogin, "Bad Parameters",
                {[](Value &v) { return TARVKOVAAccountLogin(nullptr, "x", v, false); },
                 [](Value &v) { return TARVKOVAAccountLogin("x", nullptr, v, false); }});
  const Call fromReply = [](Value &v) {
    return TARVKOVAAccountLogin((v = "ada@kova.example").asCString(), "secret", v, false);
  };
  const std::string refused = std::string("Failed to login ada@kova.example, resp=") + kBadauth;
  const std::string done = "Logged in Kova Center as ada@kova.example";
  expect(kLogin, {{{{kBadauth}}, -1, 14, {refused}, {}, {}, fromReply}, {{{kKeys}, {"", 500}}, 0, 4, {done}}});
  Device device;
  device.expect(operation(kLogin),
                {{{kKeys}, {kProfile}}, 0, 0, {"Failed to add crontab for kova", done}, {"TARVScheduleSet"}});
  EXPECT_FALSE(device.exists(kCron));
}

TEST(Operations, QueryEnds) {
  const std::string insufficient = "Server returned insufficient data. resp=", refused = "Failed to query 4711, resp=";
  for (const auto &[body, shown] : {std::pair{"{}", R"({"code":null})"},
                                    {"null", R"({"code":null})"},
                                    {"[ 1 ]", "[1]"},
                                    {R"("good")", R"("good")"}}) {
    expect(kQuery, {{{{body}}, -1, 5, {insufficient + shown}}});
  }
  const Call intoText = [](Value &) {
    Value text = "not an object";
    return TARVKOVAAccountQueryInfo(text, true, false);
  };
  expect(kQuery, {{{}, -1, 1, {}, {}, {}, intoText}});
  for (const std::string &name : parsed(kProfile).getMemberNames()) {
    Value reply = parsed(kProfile);
    reply.removeMember(name);
    const std::string body = compact(reply);
    if (name != "code") expect(kQuery, {{{{body}}, -1, 5, {insufficient + body}}});
    if (name == "code") expect(kQuery, {{{{body}}, -1, 24, {refused + body + ", code=24"}}});
  }
  for (const auto &[word, code] : {std::pair<Value, int>{"badauthx", 14}, {"badsys", 6}, {"", 24}, {7, 24}}) {
    Value reply = parsed(kProfile);
    reply["code"] = word;
    const std::string body = compact(reply);
    expect(kQuery, {{{{body}}, -1, code, {refused + body + ", code=" + std::to_string(code)}}});
  }
}

TEST(Operations, UpdateEnds) {
  expectReplies(kUpdate, "Failed to update account:4711, resp=",
                {{"good", 0}, {"badauth", 14}, {"badparam", 1}, {kGood, 24}, {"", 24}});
  for (const char *unit : {kUpdate, kPurchases}) {
    expect(unit, {{{}, -1, 3, {"TARVKOVAAccountGet failed"}, {}, {{kAccountFile, ""}}}});
  }
  const Files catalogue = {{"/usr/tarv/share/kova/notifications.conf", R"({"KovaPasswordChanged":{"text":"T"}})"}};
  const std::string noProfile = R"({"code":"x"})";
  for (const auto &[profile, code, text, failing] :
       {std::tuple{noProfile.c_str(), 5, "TARVKOVAAccountQueryInfo failed, code=5", ""},
        {kProfile, 0, "Cant set kova account", "TLIBCSzHashSetValue %KOVA_ACCOUNT%"},
        {kProfile, 0, "Send notification failed", "TARVSysNotifySendNotifiction"}}) {
    Device device;
    const Call changePassword = [](Value &) { return update("new"); };
    device.expect(operation(kUpdate), {{{"good"}, {profile}}, 0, code, {text}, {failing}, catalogue, changePassword});
    EXPECT_FALSE(device.exists("/var/log/kova/notifications.jsonl")) << text;
  }
}

TEST(Operations, ReportEnds) {
  expect(kReport, {{{{"{}"}}, -1, 5},
                   {{{"[]"}}, -1, 5},
                   {{}, 0, 0, {}, {}, {{kAccountFile, ""}}},
                   {{}, 0, 0, {}, {}, {{kInfoFile, "kova_disable_report=\"yes\"\n"}}},
                   {{{kGood}}, 0, 0, {}, {}, {{kInfoFile, "kova_disable_report=\"Yes\"\ntimezone=\"UTC\"\n"}}}});
  expectReplies(kReport, "Failed to query service check, resp=", {{kBadauth, 14}});
}

TEST(Operations, TheTimeZoneMustBeKnown) {
  const std::string noZone = "failed to get time zone, size need: ", noDetails = "failed to get timezone info[0x0ABC]";
  for (const char *unit : {kRegister, kReport}) {
    const auto in = [](const std::string &zone) { return Files{{kInfoFile, "timezone=\"" + zone + "\"\n"}}; };
    expect(unit, {{{}, -1, 0, {noZone + "-1, err=[0x0ABC]"}, {"TARVZoneGet"}},
                  {{}, -1, 0, {noZone + "301, err=[0x0ABC]"}, {}, in(std::string(300, 'z'))},
                  {{}, -1, 6, {noDetails}, {}, in("Europe/Nowhere")},
                  {{}, -1, 6, {noDetails}, {}, in("../../etc/passwd")},
                  {{}, -1, 6, {"failed to get tmz[0x0ABC]"}, {"TLIBCSzHashGetValue nameInTZDB"}}});
  }
}

TEST(Operations, RegistrationEnds) {
  expectReplies(kRegister, "Failed to register e, resp=",
                {{"account_inused", 16}, {"serial_exceed_max_account_register", 17}, {"badparam", 1}, {"no such", 24}});
  expectRefused(kRegister, "Bad Parameters",
                {[](Value &) { return TARVKOVAAccountRegister(nullptr, "p", "n", true); },
                 [](Value &) { return TARVKOVAAccountRegister("e", nullptr, "n", true); },
                 [](Value &) { return TARVKOVAAccountRegister("e", "p", nullptr, true); }});
  for (const char *unit : {kRegister, kMigrate}) {
    expect(unit, {{{}, -1, 22, {"TARVVxtokenGenerateToken Failed, err=[0x0ABC]"}, {"MD5_Update 1430TST000001"}}});
  }
}

TEST(Operations, ServiceCheckEnds) {
  const std::string first = R"({"code":"good","alias":"x","ddns":"y"})", second = R"({"code":"good","entries":[]})";
  const std::string refused = R"({"code":"x","entries":1})", text = "Failed to query service check, resp=";
  static constexpr char kHalf[] = R"({"alias":"x","ddns":"y"})";
  expectReplies(kCheck, text, {{R"({"code":"badauth","alias":1,"ddns":2})", 14}});
  for (const char *body : {R"({"code":"good","alias":"x"})", kHalf, R"({"code":"badauth","alias":"x"})", "[]"}) {
    expect(kCheck, {{{{body}}, -1, 5}});
  }
  const Call fromResult = [](Value &v) {
    v = parsed(R"({"id":"4711","key":"key-1"})");
    return TARVKOVAAccountServiceCheck(v["id"].asCString(), v["key"].asCString(), v);
  };
  expect(kCheck, {{{{first}, {kGood}}, -1, 5, {}, {}, {}, {}, kHalf},
                  {{{first}, {kBadauth}}, -1, 5, {}, {}, {}, {}, kHalf},
                  {{{first}, {refused}}, -1, 24, {text + refused}, {}, {}, {}, kHalf},
                  {{{first}, {"<"}}, -1, 2, {"Failed to parse json: <"}, {}, {}, {}, kHalf},
                  {{{first}, {"", 500}}, -1, 4, {kUnsent}, {}, {}, {}, kHalf},
                  {{{first}, {second}}, 0, 0, {}, {}, {}, fromResult}});
  expectRefused(kCheck, "Bad parameter",
                {[](Value &v) { return TARVKOVAAccountServiceCheck(nullptr, "key-1", v); },
                 [](Value &v) { return TARVKOVAAccountServiceCheck("4711", nullptr, v); },
                 [](Value &v) { return TARVKOVAAccountServiceCheck("4711", "key-1", v = {}); }});
}

TEST(Operations, PurchaseListEnds) {
  expect(kPurchases, {{{{"{\"entries\":[]}"}}, -1, 5}, {{{"[]"}}, -1, 5}});
  expectReplies(kPurchases, "Failed to query purchase info, resp=", {{kBadauth, 14}});
  expectRefused(kPurchases, "Bad parameter",
                {[](Value &v) { return purchases(nullptr, v); }, [](Value &v) { return purchases("enu", v = {}); }});
}

TEST(Operations, MigrationEnds) {
  expectReplies(kMigrate,
                "Failed to migrate, resp=", {{"badauth", 14}, {"account_not_found", 25}, {"?", 24}, {"good", 0}});
  std::vector<Call> refused = {[](Value &) { return TARVKOVAAccountMigrate(nullptr, "p", Json::arrayValue); },
                               [](Value &) { return TARVKOVAAccountMigrate("e", nullptr, Json::arrayValue); }};
  for (const char *list : {R"([{"email":"a","passwd":"b"},{"email":"c"}])", R"([{"passwd":"b"}])", "[7]", "[null]",
                           R"([["email","passwd"]])", "{}", "null"}) {
    refused.push_back(migrating(list));
  }
  expectRefused(kMigrate, "Bad Parameters", refused);
  for (const char *accounts : {"{}", "\"B\"", "true"}) {
    expectRefused(kMigrate, "Bad parameters", {[=](Value &) { return TARVKOVAAbandonUnmerged(parsed(accounts)); }});
  }
  const Files left = {{kRelay, R"({"server_kova":{"account":"eve"},"server_alias":{"alias":"a"}})"},
                      {"/usr/tarv/tarvkova/unify/hook", "#!/bin/sh\n"}};
  const std::string unhooked = "ExecCustomUnifyHook failed, abandon_list=farlink",
                    noScan = "TARVKOVAAccountScanExisting";
  const Call abandonAll = [](Value &) { return TARVKOVAAbandonUnmerged(Value()); };
  const std::string unmarked = "Failed to update kova_unified in /etc/tarvinfo.conf[0x0ABC]";
  expect(kMigrate,
         {{{}, -1, 23, {noScan + " failed"}, {noScan}},
          {{}, -1, 23, {noScan + " failed"}, {noScan}, {}, abandonAll},
          {{}, -1, 3, {unhooked}, {"opendir"}, left, abandonAll},
          {{{"good"}}, 0, 3, {unhooked, R"(TARVKOVAAbandonUnmerged failed, jsonAccounts=["eve"])"}, {"opendir"}, left},
          {{{"good"}}, 0, 0, {"Failed to restart DDNS", "RestartRelatedServices failed"}, {"TLIBServiceRestart"}},
          {{{"good"}}, -1, 19, {unmarked}, {"TLIBCINFOSetKeyValue"}}});
}

}  // namespace
