// What the operations on the service end with: result, error code, log lines and requests, for every reply and failure.
#include <gtest/gtest.h>
#include <kova/kova.h>

#include <functional>

#include "support/device.h"
#include "support/json.h"

namespace {

using Json::Value;
using Run = std::function<int(Value &)>;
using Files = std::map<std::string, std::string>;

constexpr char kAuthen[] = "kova_account_authen", kUnified[] = "kova_account_is_unified", kLogin[] = "kova_account_login";
constexpr char kLogout[] = "kova_account_logout", kMigrate[] = "kova_account_migrate", kPurchases[] = "kova_account_purchase_list";
constexpr char kQuery[] = "kova_account_query_info", kRegister[] = "kova_account_register", kCheck[] = "kova_account_service_check";
constexpr char kUpdate[] = "kova_account_set_info", kReport[] = "kova_report_info";
constexpr char kKeys[] = R"({"code":"good","kova_id":"4711","auth_key":"key-1"})";
constexpr char kProfile[] =
    R"({"activated":true,"code":"good","country":"DE","critical_release":0,"critical_version_list":{},"disabled":false,)"
    R"("email":"ada@kova.example","enews":1,"enews_local_promotion":"yes","full_name":"Ada","notify_language":"ger","timezone":"UTC"})";
constexpr char kBefore[] = R"({"kept":1})";
constexpr char kRelay[] = "/usr/tarv/etc/tarvrelayd/tarvrelayd.conf";
constexpr char kNotified[] = "/var/log/kova/notifications.jsonl";

// An operation with good arguments; its value begins as kBefore.
struct Operation {
  std::string unit;
  Run run;
  std::string url;
  Files files = {};          // what the device needs for it
  int parameterHash = 1;     // which allocation of a hash is that of the parameters
  std::string refused = "";  // what begins the log line on a reply that is a bare word; else replies are JSON
  bool keepsValue = false;   // a failure leaves the caller's value
};

Run migrating(const char *list) {
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
  static const Files inUse = {{kRelay, R"({"server_kova": {"account": "ada@kova.example"}, "server_alias": {"alias": "ada"}})"},
      {"/usr/tarv/sbin/tarvddnsinfo", "#!/bin/sh\n"}, {"/usr/tarv/etc/rc.d/ddns", "#!/bin/sh\n"}};
  static const std::string sign = "https://account.kova.example/dnsauth.php", keep = "https://account.kova.example/account.php";
  static const std::vector<Operation> all = {
      {kAuthen, [](Value &v) { return TARVKOVAAccountAuthen("ada@kova.example", "secret", nullptr, v); }, sign},
      {kUnified, [](Value &v) { return TARVKOVAAccountIsUnified(v); }, sign, inUse},
      {kLogin, [](Value &v) { return TARVKOVAAccountLogin("ada@kova.example", "secret", v, false); }, sign},
      {kLogout, [](Value &) { return TARVKOVAAccountLogout(); }, sign, account, 2},
      {kMigrate, migrating(R"([{"email":"bob@kova.example","passwd":"secret"}])"), keep, inUse, 1, "Failed to migrate, resp="},
      {kPurchases, [](Value &v) { return purchases("enu", v); }, "https://query.kova.example/api/query.php", account, 2, "", true},
      {kQuery, [](Value &v) { return TARVKOVAAccountQueryInfo(v, true, false); }, sign, account, 2, "", true},
      {kRegister, [](Value &) { return TARVKOVAAccountRegister("e", "secret", "Ada", true); }, keep, {}, 2, "Failed to register e, resp="},
      {kCheck, [](Value &v) { return TARVKOVAAccountServiceCheck("4711", "key-1", v); }, sign, {}, 1, "", true},
      {kUpdate, [](Value &) { return update(); }, keep, account, 2, "Failed to update account:4711, resp="},
      {kReport, [](Value &) { return TARVKOVAReportInfo(); }, sign, account, 3},
  };
  return all;
}

struct More {
  std::map<std::string, int> failing = {};
  Files files = {};              // beside the operation's own
  Run run = {};                  // in place of the operation's own
  const char *left = kBefore;    // what a failure makes of the caller's value
  const char *absent = nullptr;  // a file that must not be there in the end
};

// One outcome: as many requests are sent as there are replies, and a failure changes no file but those of an API key that was registered.
struct Row {
  std::string unit;
  std::vector<hooks::Reply> replies;
  int result;
  int32_t code;
  std::vector<std::string> texts;  // all that the operation's unit logs
  More more = {};
};

class Device : public DeviceTest {
 public:
  using DeviceTest::answer;
  void TestBody() override {}
  void prepare(const Files &files) const {
    for (const auto &[path, text] : files) writeProgram(path, text);
  }
  void expect(const Operation &operation, const Row &row) {
    SCOPED_TRACE(row.unit + ": " + testing::PrintToString(row.texts));
    prepare(operation.files);
    prepare(row.more.files);
    answer(row.replies, row.more.failing);
    const Files before = files();
    Value value = parsed(kBefore);
    std::vector<LogLine> log;
    for (const std::string &text : row.texts) log.push_back({row.unit, text});
    EXPECT_TRUE(ended((row.more.run ? row.more.run : operation.run)(value), row.result, row.code));
    EXPECT_TRUE(loggedExactly(log, row.unit));
    EXPECT_EQ(hooks::state().attempts.size(), row.replies.size());
    EXPECT_EQ(hooks::state().attempts.empty() ? operation.url : hooks::state().attempts[0].url, operation.url);
    EXPECT_FALSE(row.more.absent != nullptr && exists(row.more.absent));
    if (row.result == 0) return;
    EXPECT_TRUE(!operation.keepsValue || row.more.run || value == parsed(row.more.left)) << value;
    Files after = files();
    if (!row.texts.empty() && row.texts[0].rfind("ApiKey not found", 0) == 0) {
      after["var/lib/kova/apikey"] = kApiKey;
      after.erase("var/lib/kova/apikey.enrolled");
    }
    EXPECT_EQ(after, before);
  }
};

const std::string direct = "DirectLoginByApiKey failed, account=ada@kova.example, code=";

// The failures of the steps that all of them take.
std::vector<Row> commonRows(const Operation &operation) {
  std::vector<Row> rows;
  const auto add = [&](std::vector<hooks::Reply> replies, int32_t code, const std::string &text, const More &more = {}) {
    rows.push_back({operation.unit, std::move(replies), -1, code, {text}, more});
    if (operation.unit == kUnified) rows.back().texts.push_back(direct + std::to_string(code));
  };
  const std::string unsent =
      operation.unit == kRegister ? "failed to send https request. err=[0x0ABC]" : "Failed to send https request. err=[0x0ABC]";
  add({}, 23, "TARVKOVAServerConfigGet, code=6", {.failing = {{"TARVEncodingBase64Decode", 1}}});
  add({}, 8, "Failed to get serial number, err=[0x0ABC]", {.files = {{kDeviceFile, ""}}});
  add({}, 4, unsent, {.files = {{kDeviceFile, "serial=\"-1\"\nmac=\"02:00:00:00:00:01\"\n"}}});
  add({}, 6, "Failed to alloc https request, err=[0x0ABC]", {.failing = {{"TLIBCSzHashAlloc", operation.parameterHash}}});
  for (const long status : {204L, 401L, 500L}) add({{kGood, status}}, 4, unsent);
  const bool isJson = operation.refused.empty();
  const auto reject = [&](const std::string &body, const std::string &shown, const More &more = {}) {
    add({{body}}, isJson ? 2 : 24, (isJson ? "Failed to parse json: " : operation.refused) + shown, more);
  };
  for (const std::string &body :
      {std::string("<html>"), std::string("{\"code\":"), std::string("\xEF\xBB\xBF{}"), std::string(1001, '[')}) {
    reject(body, body);
  }
  reject("  ", "");
  reject(std::string("\0{}", 3), "");
  reject(kGood, "", {.failing = {{"strdup", 0}}});
  return rows;
}

TEST(Operations, SendAllOfTheirParametersAndSurviveAnyReply) {
  for (const Operation &operation : operations()) {
    SCOPED_TRACE(operation.unit);
    Device device;
    device.prepare(operation.files);
    Value value = parsed(kBefore);
    int refused = 0;
    for (int call = 1;; ++call) {
      device.answer({{"", 500}}, {{"TLIBCSzHashSetValue", call}});
      ASSERT_EQ(operation.run(value), -1);
      if (!hooks::state().attempts.empty()) break;
      EXPECT_EQ(TARVKOVAErrGet(), 6) << call;
      ++refused;
    }
    EXPECT_GE(refused, 4);
    for (const char *body : {"null", "[]", "7", "\"good\"", "{\"code\":{}}", "{\"code\":[{\"good\":1}],\"x\":1}"}) {
      device.prepare(operation.files);
      device.answer({{body}});
      operation.run(value = parsed(kBefore));
      EXPECT_NE(TARVKOVAErrGet(), 6) << body;
    }
  }
}

TEST(Operations, TakeTheirStepsInOrder) {
  using Step = std::pair<const char *, int32_t>;
  const Step config = {"TARVEncodingBase64Decode", 23}, serial = {"TLIBGetSerialNumber", 8}, mac = {"TARVCloudServiceGetMacAddress", 20};
  const Step key = {"TARVCloudServiceGetApiKey", 15}, digest = {"MD5_Init", 0}, token = {"MD5_Init", 22}, zone = {"TARVZoneGet", 0};
  const Step hash = {"TLIBCSzHashAlloc", 6};
  const std::map<std::string, std::vector<Step>> orders = {{kAuthen, {config, serial, digest, hash}},
      {kUnified, {serial, config, mac, key, hash}}, {kLogin, {config, serial, mac, key, hash}}, {kLogout, {serial, config, hash}},
      {kMigrate, {config, serial, token, hash, {"TARVKOVAAccountScanExisting", 23}}}, {kPurchases, {config, serial, hash}},
      {kQuery, {config, serial, hash}}, {kRegister, {serial, config, token, zone, hash}}, {kCheck, {config, serial, hash}},
      {kUpdate, {config, serial, hash}}, {kReport, {config, zone, serial, hash}}};
  for (const Operation &operation : operations()) {
    Device device;
    device.prepare(operation.files);
    for (std::vector<Step> left = orders.at(operation.unit); !left.empty(); left.erase(left.begin())) {
      std::map<std::string, int> failing = {{"TARVCloudServiceGetErrorCode", 0}};
      for (const auto &[name, code] : left) failing[name] = name == hash.first ? operation.parameterHash : 0;
      device.answer({}, failing);
      Value value = parsed(kBefore);
      EXPECT_EQ(operation.run(value), -1);
      EXPECT_EQ(TARVKOVAErrGet(), left[0].second) << operation.unit << " " << left[0].first;
    }
  }
}

std::vector<Row> ownRows() {
  const std::string registering = "ApiKey not found. Register new one.", unsent = "Failed to send https request. err=[0x0ABC]";
  const std::string badauth = R"({"code":"badauth"})", serviceRefused = "Failed to query service check, resp=";
  std::vector<Row> rows;
  // What replies end with; a refusal is logged with the reply.
  const auto each = [&](const char *unit, const std::string &text, const std::vector<std::pair<std::string, int32_t>> &replies) {
    for (const auto &[body, code] : replies) {
      rows.push_back({unit, {{body + " "}}, code == 0 ? 0 : -1, code, {}});
      if (code != 0) rows.back().texts = {text + body};
    }
  };
  const auto refusal = [&](const char *unit, const char *text, const std::vector<Run> &runs) {
    for (const Run &run : runs) rows.push_back({unit, {}, -1, 1, {text}, {.run = run}});
  };
  const auto add = [&](const std::vector<Row> &more) { rows.insert(rows.end(), more.begin(), more.end()); };

  const std::string unauthentic = "Failed to authen ada@kova.example, resp=";
  for (const char *body : {"{}", "null", "17", "true", "\"badauth\"", R"([{"code":"badauth"}])", R"({"code":"good","extra":[1]})",
           R"({"code":"account_userid"})", R"({"code":"bad","code":"good"})"})
    each(kAuthen, unauthentic, {{body, 0}});
  for (const char *body : {"\"\"", "\"x\"", "null", "0", "true", "{}", "[\"good\"]", R"("\u0000good")"})
    each(kAuthen, unauthentic, {{std::string("{\"code\":") + body + "}", 24}});
  each(kAuthen, unauthentic, {{R"({"code":"badauth","detail":"no"})", 14}, {R"({"code":"account_unverified"})", 18}});
  add({{kAuthen, {}, -1, 0, {"Failed to get md5 string"}, {.failing = {{"MD5_Init", 1}}}}});
  refusal(kAuthen, "Bad Parameters",
      {[](Value &v) { return TARVKOVAAccountAuthen(nullptr, "x", nullptr, v); },
          [](Value &v) { return TARVKOVAAccountAuthen("x", nullptr, nullptr, v); }});
  // The caller's texts may lie in the value that the reply replaces.
  const Run authenFromReply = [](Value &v) { return TARVKOVAAccountAuthen((v = "ada@kova.example").asCString(), "secret", nullptr, v); };
  const Run loginFromReply = [](Value &v) { return TARVKOVAAccountLogin((v = "ada@kova.example").asCString(), "secret", v, false); };
  add({{kAuthen, {{badauth}}, -1, 14, {"Failed to authen ada@kova.example, resp=" + badauth}, {.run = authenFromReply}},
      {kLogin, {{badauth}}, -1, 14, {"Failed to login ada@kova.example, resp=" + badauth}, {.run = loginFromReply}}});

  for (const std::string unit : {kLogin, kUnified}) {
    const bool isLogin = unit == kLogin;
    const std::string refused = isLogin ? "Failed to login ada@kova.example, resp="
                                        : "DirectLoginByApiKey failed, account=ada@kova.example, http-status: 200 response: ";
    const auto both = [&](std::vector<hooks::Reply> replies, int32_t code, std::vector<std::string> texts, const More &more = {}) {
      if (!isLogin) texts.push_back(direct + std::to_string(code));
      rows.push_back({unit, std::move(replies), -1, code, std::move(texts), more});
    };
    for (const char *body : {"{}", "[]"})
      both({{body}}, isLogin ? 5 : 2, {isLogin ? "bad response, no code" : std::string("Failed to parse json: ") + body});
    for (const auto &[body, code] :
        {std::pair{badauth, 14}, {R"({"code":"account_unverified"})", 18}, {R"({"code":"account_not_found"})", 25}}) {
      both({{body}}, code, {refused + body});
    }
    both({{kUnknownKey}, {kUnknownKey}}, 26, {registering, refused + kUnknownKey});
    both({{kUnknownKey}, {badauth}}, 14, {registering, refused + badauth});
    both({{kUnknownKey}, {"{}"}}, isLogin ? 24 : 2, {registering, isLogin ? refused + "{}" : "Failed to parse json: {}"});
    both({{kUnknownKey}, {"<"}}, 2, {registering, "Failed to parse json: <"});
    both({{kUnknownKey}, {"", 500}}, 4, {registering, unsent});
    both({{kUnknownKey}}, 26, {registering, "TARVCloudServiceRegisterApiKey failed"}, {.failing = {{"TARVCloudServiceRegisterApiKey", 0}}});
    both({}, 20, {"Failed to get mac address"}, {.failing = {{"TARVCloudServiceGetMacAddress", 0}}});
    both({}, 20, {"Failed to get mac address"}, {.files = {{kDeviceFile, "serial=\"S\"\nmac=\"02:00:00:00:00:0g\"\n"}}});
    both({}, 15, {"Failed to get apikey"}, {.failing = {{"TARVCloudServiceGetApiKey", 0}, {"TARVCloudServiceGetErrorCode", 0}}});
    both({{kKeys}}, 19, {isLogin ? "TARVKOVAAccountSet failed, code=19" : "TARVKOVAAccountSet failed"},
        {.failing = {{"TLIBCFileSetKeys", 0}}});
  }
  refusal(kLogin, "Bad Parameters",
      {[](Value &v) { return TARVKOVAAccountLogin(nullptr, "x", v, false); },
          [](Value &v) { return TARVKOVAAccountLogin("x", nullptr, v, false); }});
  add({{kLogin, {{kKeys}, {"", 500}}, 0, 4, {"Logged in Kova Center as ada@kova.example"}},
      {kLogin, {{kKeys}, {kProfile}}, 0, 0, {"Failed to add crontab for kova", "Logged in Kova Center as ada@kova.example"},
          {.failing = {{"TARVScheduleSet", 0}}, .absent = kCron}},
      {kUnified, {}, -1, 23, {"TARVKOVAAccountScanExisting failed"}, {.failing = {{"TARVKOVAAccountScanExisting", 1}}}}});

  const std::string insufficient = "Server returned insufficient data. resp=", unread = "Failed to query 4711, resp=";
  add({{kQuery, {{"{}"}}, -1, 5, {insufficient + R"({"code":null})"}}, {kQuery, {{"null"}}, -1, 5, {insufficient + R"({"code":null})"}},
      {kQuery, {{"[ 1 ]"}}, -1, 5, {insufficient + "[1]"}}, {kQuery, {{R"("good")"}}, -1, 5, {insufficient + R"("good")"}},
      {kQuery, {}, -1, 1, {}, {.run = [](Value &) {
         Value text = "no object";
         return TARVKOVAAccountQueryInfo(text, true, false);
       }}}});
  for (const std::string &name : parsed(kProfile).getMemberNames()) {
    Value reply = parsed(kProfile);
    reply.removeMember(name);
    const bool isCode = name == "code";
    rows.push_back({kQuery, {{compact(reply)}}, -1, isCode ? 24 : 5,
        {isCode ? unread + compact(reply) + ", code=24" : insufficient + compact(reply)}});
  }
  for (const auto &[word, code] : {std::pair<Value, int>{"badauthx", 14}, {"badsys", 6}, {"", 24}, {7, 24}, {"account_userid", 0}}) {
    Value reply = parsed(kProfile);
    reply["code"] = word;
    rows.push_back({kQuery, {{compact(reply)}}, code == 0 ? 0 : -1, code, {}});
    if (code != 0) rows.back().texts = {unread + compact(reply) + ", code=" + std::to_string(code)};
  }

  each(kUpdate, "Failed to update account:4711, resp=", {{"good", 0}, {"badauth", 14}, {"badparam", 1}, {kGood, 24}, {"", 24}});
  const Files catalogue = {{"/usr/tarv/share/kova/notifications.conf", R"({"KovaPasswordChanged":{"subject":"S","text":"T"}})"}};
  const auto unnotified = [&](const char *second, int32_t code, const char *text, std::map<std::string, int> failing = {}) {
    rows.push_back(
        {kUpdate, {{"good"}, {second}}, 0, code, {text}, {failing, catalogue, [](Value &) { return update("new"); }, kBefore, kNotified}});
  };
  unnotified(R"({"code":"x"})", 5, "TARVKOVAAccountQueryInfo failed, code=5");
  unnotified(kProfile, 0, "Failed to alloc notification hash, err=[0x0ABC]", {{"TLIBCSzHashAlloc", 6}});
  unnotified(kProfile, 0, "Cant set kova account", {{"TLIBCSzHashSetValue", 26}});
  unnotified(kProfile, 0, "Send notification failed", {{"TARVSysNotifySendNotifiction", 0}});
  add({{kUpdate, {}, -1, 3, {"TARVKOVAAccountGet failed"}, {.files = {{kAccountFile, ""}}}},
      {kPurchases, {}, -1, 3, {"TARVKOVAAccountGet failed"}, {.files = {{kAccountFile, ""}}}}});

  add({{kReport, {{"{}"}}, -1, 5, {}}, {kReport, {{"[]"}}, -1, 5, {}}, {kReport, {}, 0, 0, {}, {.files = {{kAccountFile, ""}}}},
      {kReport, {}, 0, 0, {}, {.files = {{kInfoFile, "kova_disable_report=\"yes\"\n"}}}},
      {kReport, {{kGood}}, 0, 0, {}, {.files = {{kInfoFile, "kova_disable_report=\"Yes\"\ntimezone=\"UTC\"\n"}}}}});
  each(kReport, serviceRefused, {{badauth, 14}});
  for (const auto &[unit, hash] : {std::pair{kRegister, 1}, {kReport, 2}}) {
    const auto zone = [&](const std::string &name) { return More{.files = {{kInfoFile, "timezone=\"" + name + "\"\n"}}}; };
    const std::string noZone = "failed to get time zone, size need: ", noInfo = "failed to get timezone info[0x0ABC]";
    add({{unit, {}, -1, 0, {noZone + "-1, err=[0x0ABC]"}, {.failing = {{"TARVZoneGet", 0}}}},
        {unit, {}, -1, 0, {noZone + "301, err=[0x0ABC]"}, zone(std::string(300, 'z'))},
        {unit, {}, -1, 6, {"Failed to alloc pTZInfo, err=[0x0ABC]"}, {.failing = {{"TLIBCSzHashAlloc", hash}}}},
        {unit, {}, -1, 6, {noInfo}, zone("Europe/Nowhere")}, {unit, {}, -1, 6, {noInfo}, zone("../../etc/passwd")},
        {unit, {}, -1, 6, {"failed to get tmz[0x0ABC]"}, {.failing = {{"nameInTZDB", 0}}}}});
  }

  each(kRegister, "Failed to register e, resp=",
      {{"account_inused", 16}, {"serial_exceed_max_account_register", 17}, {"badparam", 1}, {"no such word", 24}});
  refusal(kRegister, "Bad Parameters",
      {[](Value &) { return TARVKOVAAccountRegister(nullptr, "p", "n", true); },
          [](Value &) { return TARVKOVAAccountRegister("e", nullptr, "n", true); },
          [](Value &) { return TARVKOVAAccountRegister("e", "p", nullptr, true); }});
  for (const char *unit : {kRegister, kMigrate})
    rows.push_back({unit, {}, -1, 22, {"TARVVxtokenGenerateToken Failed, err=[0x0ABC]"}, {.failing = {{"MD5_Init", 1}}}});

  const std::string first = R"({"code":"good","alias":"x","ddns":"y"})", second = R"({"code":"good","entries":[]})";
  const std::string refused = R"({"code":"badauth","alias":1,"ddns":2})", refusedLater = R"({"code":"x","entries":1})";
  static constexpr char kHalf[] = R"({"alias":"x","ddns":"y"})";
  each(kCheck, serviceRefused, {{refused, 14}});
  for (const char *body : {R"({"code":"good","alias":"x"})", kHalf, R"({"code":"badauth","alias":"x"})", "[]"})
    rows.push_back({kCheck, {{body}}, -1, 5, {}});
  add({{kCheck, {{first}, {kGood}}, -1, 5, {}, {.left = kHalf}}, {kCheck, {{first}, {badauth}}, -1, 5, {}, {.left = kHalf}},
      {kCheck, {{first}, {refusedLater}}, -1, 24, {serviceRefused + refusedLater}, {.left = kHalf}},
      {kCheck, {{first}, {"<"}}, -1, 2, {"Failed to parse json: <"}, {.left = kHalf}},
      {kCheck, {{first}, {"", 500}}, -1, 4, {unsent}, {.left = kHalf}}, {kCheck, {{first}, {second}}, 0, 0, {}, {.run = [](Value &v) {
                                                                           v = parsed(R"({"id":"4711","key":"key-1"})");
                                                                           return TARVKOVAAccountServiceCheck(
                                                                               v["id"].asCString(), v["key"].asCString(), v);
                                                                         }}}});
  refusal(kCheck, "Bad parameter",
      {[](Value &v) { return TARVKOVAAccountServiceCheck(nullptr, "key-1", v); },
          [](Value &v) { return TARVKOVAAccountServiceCheck("4711", nullptr, v); },
          [](Value &v) { return TARVKOVAAccountServiceCheck("4711", "key-1", v = {}); }});
  add({{kPurchases, {{"{\"entries\":[]}"}}, -1, 5, {}}, {kPurchases, {{"[]"}}, -1, 5, {}}});
  each(kPurchases, "Failed to query purchase info, resp=", {{badauth, 14}});
  refusal(kPurchases, "Bad parameter", {[](Value &v) { return purchases(nullptr, v); }, [](Value &v) { return purchases("enu", v = {}); }});

  each(kMigrate, "Failed to migrate, resp=", {{"badauth", 14}, {"account_not_found", 25}, {"?", 24}, {"good", 0}});
  refusal(kMigrate, "Bad Parameters",
      {migrating(R"([{"email":"a","passwd":"b"},{"email":"c"}])"), migrating(R"([{"passwd":"b"}])"), migrating("[7]"), migrating("[null]"),
          migrating(R"([["email","passwd"]])"), migrating("{}"), migrating("null"),
          [](Value &) { return TARVKOVAAccountMigrate(nullptr, "p", Json::arrayValue); },
          [](Value &) { return TARVKOVAAccountMigrate("e", nullptr, Json::arrayValue); }});
  for (const char *accounts : {"{}", "\"B\"", "true"})
    refusal(kMigrate, "Bad parameters", {[accounts](Value &) { return TARVKOVAAbandonUnmerged(parsed(accounts)); }});
  const Files left = {
      {kRelay, R"({"server_kova":{"account":"eve"},"server_alias":{"alias":"a"}})"}, {"/usr/tarv/tarvkova/unify/hook", "#!/bin/sh\n"}};
  const std::string unhooked = "ExecCustomUnifyHook failed, abandon_list=farlink";
  const Run abandonAll = [](Value &) { return TARVKOVAAbandonUnmerged(Value()); };
  add({{kMigrate, {}, -1, 23, {"TARVKOVAAccountScanExisting failed"}, {.failing = {{"TARVKOVAAccountScanExisting", 1}}}},
      {kMigrate, {}, -1, 23, {"TARVKOVAAccountScanExisting failed"}, {.failing = {{"TARVKOVAAccountScanExisting", 1}}, .run = abandonAll}},
      {kMigrate, {}, -1, 3, {unhooked}, {.failing = {{"opendir", 0}}, .files = left, .run = abandonAll}},
      {kMigrate, {{"good"}}, 0, 3, {unhooked, R"(TARVKOVAAbandonUnmerged failed, jsonAccounts=["eve"])"},
          {.failing = {{"opendir", 0}}, .files = left}},
      {kMigrate, {{"good"}}, 0, 0, {"Failed to restart DDNS", "RestartRelatedServices failed"}, {.failing = {{"TLIBServiceRestart", 0}}}},
      {kMigrate, {{"good"}}, -1, 19, {"Failed to update kova_unified in /etc/tarvinfo.conf[0x0ABC]"},
          {.failing = {{"TLIBCINFOSetKeyValue", 0}}}}});
  return rows;
}

TEST(Operations, EndAsTheServiceAndTheDeviceDecide) {
  const std::vector<Row> own = ownRows();
  for (const Operation &operation : operations()) {
    for (const std::vector<Row> &rows : {commonRows(operation), own}) {
      for (const Row &row : rows) {
        if (row.unit == operation.unit) Device().expect(operation, row);
      }
    }
  }
}

}  // namespace
