// The account session and the device services: what goes over the wire, what callers get and what the device keeps.
#include <gtest/gtest.h>
#include <kova/kova.h>

#include <cstdlib>

#include "base/json.h"
#include "support/device.h"

namespace {

constexpr char kQuery[] = "action=query&kova_id=4711&auth_key=key-1&serial=1430TST000001";
constexpr char kUnit[] = "kova_account_query_info";
constexpr std::time_t kNow = 1'800'000'000;

std::string withMember(const char *name, const Json::Value &value) {
  Json::Value reply = parsed(kProfile);
  reply[name] = value;
  return kova::jsonLine(reply);
}

class Session : public DeviceTest {
 protected:
  Session() { state().now = kNow; }
  int query(bool force = true) { return TARVKOVAAccountQueryInfo(info_, force, false); }
  int login(bool checkOnly = false) { return TARVKOVAAccountLogin("ada@kova.example", "s&cret", reply_, checkOnly); }
  static int change(const char *name, const char *mail, const char *password, const char *newPassword) {
    return TARVKOVAAccountSetInfo(name, mail, password, newPassword, nullptr, nullptr, nullptr, -1, -1, -1, nullptr);
  }
  void expectEvent(const std::string &number, const std::string &account) const {
    const Json::Value event = parsed(read("/var/log/kova/events.jsonl"));
    EXPECT_EQ(event["log"], 2);
    EXPECT_EQ(event["severity"], 1);
    EXPECT_EQ(event["event"], number);
    EXPECT_EQ(event["texts"], parsed("[\"" + account + "\",\"\",\"\",\"\"]"));
  }
  // The time-outs of the requests.
  static std::string timeouts() {
    std::string seconds;
    for (const auto &[option, value] : state().options) seconds += option == CURLOPT_TIMEOUT ? value + " " : "";
    return seconds;
  }

  Json::Value info_;
  Json::Value reply_;
};

TEST_F(Session, ThePasswordCheckSendsTheDigestAndHandsBackTheReply) {
  const auto authen = [&](const char *email, const char *password, const char *alias, const char *reply) {
    answer({{reply}});
    return TARVKOVAAccountAuthen(email, password, alias, reply_);
  };
  EXPECT_EQ(authen("ada@kova.example", "secret", nullptr, kGood), 0);
  EXPECT_EQ(sent(), "action=authen&email=ada%40kova.example&passwd=" + expectedMd5("secret") + "&serial=1430TST000001");
  EXPECT_EQ(authen("a", "", "a&b", R"({"code":"badauth","detail":"no"})"), -1);
  EXPECT_EQ(sent(), "action=authen&email=a&passwd=" + expectedMd5("") + "&serial=1430TST000001&alias=a%26b");
  EXPECT_EQ(reply_["detail"], "no") << "also a refusal is handed back";
  EXPECT_EQ(authen("", "x", "", "{\"code\":"), -1);
  EXPECT_EQ(reply_["detail"], "no") << "what is not JSON is not handed back";
  write(kDeviceFile, keyFile("custom_serial=MINE serial=F"));
  EXPECT_EQ(authen("", "x", nullptr, "17"), 0);
  const std::string form = "&action=authen&email=&passwd=" + expectedMd5("x") + "&serial=MINE";
  EXPECT_EQ(state().attempts.at(0).form, "vx_sn=MINE&vx_token=" + expectedToken("MINE") + form);
  EXPECT_EQ(reply_, 17);
}

// ---- Query ----

TEST_F(Session, TheCacheAnswersForTenMinutesEitherWay) {
  for (const std::time_t queried : {kNow - 599, kNow - 600, kNow + 599, kNow + 600, kNow, std::time_t{0}}) {
    write(kAccountFile, kSignedIn);
    for (const bool isFirst : {true, false}) {
      state().now = isFirst ? queried : kNow;
      answer({{kProfile}});
      EXPECT_TRUE(ended(query(isFirst), 0, 0));
    }
    EXPECT_EQ(state().attempts.empty(), std::abs(queried - kNow) < 600) << queried - kNow;
  }
  state().now = 300;
  write(kAccountFile, kSignedIn);
  answer({{kProfile}});
  EXPECT_EQ(query(false), 0);
  EXPECT_EQ(state().attempts.size(), 1U) << "a profile that was never queried is not fresh";
}

TEST_F(Session, AQueryHandsOnAndStoresTheReplyAndTheFileAnswersTheNext) {
  write(kAccountFile, kSignedIn + keyFile("other=kept"));
  answer({{withMember("other", 1)}});
  info_["mine"] = 1;
  EXPECT_TRUE(ended(query(), 0, 0));
  EXPECT_EQ(sent(), kQuery);
  Json::Value expected = parsed(
      R"({"mine":1,"auth_key":"key-1","email":"ada@kova.example","full_name":"Ada","country":"DE",)"
      R"("timezone":"Europe/Berlin","notify_language":"ger","activated":true,"disabled":false,"enews":1,)"
      R"("critical_release":0,"enews_local_promotion":"yes","critical_version_list":"b,c","critical_version_domain":"a,b,c"})");
  EXPECT_EQ(info_, expected);
  EXPECT_EQ(
      read(kAccountFile),
      kSignedIn +
          keyFile(
              "other=kept kovaID=ada@kova.example full_name=Ada country=DE timezone=Europe/Berlin "
              "notify_language=ger activated=yes disabled=no enews=yes critical_release=no enews_local_promotion=no "
              "critical_version_list=b,c critical_version_domain=a,b,c last_query_time=1800000000"));
  info_ = Json::Value();
  answer();
  EXPECT_TRUE(ended(query(false), 0, 0));
  for (const char *name : {"mine", "critical_version_list", "critical_version_domain"}) expected.removeMember(name);
  expected["enews"] = true;
  expected["critical_release"] = expected["enews_local_promotion"] = false;
  EXPECT_EQ(info_, expected) << "text and booleans";
}

TEST_F(Session, BadauthToTheLetterSignsTheDeviceOut) {
  write(kAccountFile, kSignedIn);
  answer({{kBadauth}});
  EXPECT_TRUE(ended(query(), -1, 3));
  EXPECT_TRUE(
      loggedExactly({{kUnit, "Logged out Kova due to authentication failure. kova_id_serial=4711, auth_key=key-1"}}));
  EXPECT_FALSE(exists(kAccountFile));
  EXPECT_TRUE(info_.isNull());
  answer({{kProfile}});
  EXPECT_TRUE(ended(query(), -1, 3));
  EXPECT_TRUE(state().attempts.empty());
}

TEST_F(Session, AHostileProfileNeverAddsAKey) {
  const Json::Value array(Json::arrayValue), object(Json::objectValue);
  const auto ask = [&](const char *name, const Json::Value &value) {
    write(kAccountFile, kSignedIn);
    answer({{withMember(name, value), 200, CURLE_OK, 16384}});
    EXPECT_EQ(query(), 0);
  };
  for (const char *name : {"full_name", "country", "email", "timezone", "notify_language"}) {
    for (const Json::Value &value : {Json::Value("a\nvx_auth_key=\"evil\""),
                                     {"a\rvx_auth_key=\"evil\""},
                                     {"a\"b\" = c"},
                                     {std::string("nul\0nul", 7)},
                                     {std::string(1 << 20, 'x')},
                                     array,
                                     object,
                                     {7.5}}) {
      ask(name, value);
      const bool isRefused = value.isString() && value.asString().find("evil") != std::string::npos;
      EXPECT_EQ(info_[name], value) << "as received";
      EXPECT_EQ(TARVKOVAErrGet(), isRefused ? 19 : 0);
      EXPECT_EQ(read(kAccountFile).rfind(kSignedIn, 0), 0U);
      const LogLine refused = {kUnit, "Failed to update Kova conf, code=19"};
      EXPECT_TRUE(isRefused ? loggedExactly({refused}, kUnit) && read(kAccountFile) == kSignedIn : state().log.empty());
    }
  }
  for (const char *name : {"activated", "disabled", "enews", "critical_release", "enews_local_promotion"}) {
    for (const Json::Value &value : {array, object, Json::Value("yes"), Json::Value(0.5), Json::Value()}) {
      ask(name, value);
      EXPECT_TRUE(has(kAccountFile, name + std::string(value.isNumeric() ? "=\"yes\"\n" : "=\"no\"\n")));
    }
  }
  for (const auto &[list, all, critical] :
       {std::tuple{"[true,false]", "0,1", "0"}, {"\"text\"", "", ""}, {"{}", "", ""}}) {
    ask("critical_version_list", parsed(list));
    EXPECT_EQ(info_["critical_version_domain"], all);
    EXPECT_EQ(info_["critical_version_list"], critical);
  }
}

// ---- Login ----

constexpr char kAsked[] =
    "action=get_auth_key&type=acnt_pw_apikey&email=ada%40kova.example&passwd=s%26cret&serial=1430TST000001&api_key=";
constexpr char kMac[] = "&mac=02%3A00%3A00%3A00%3A00%3A01";
const LogLine kLoggedIn = {"kova_account_login", "Logged in Kova Center as ada@kova.example"};

TEST_F(Session, LoginStoresSchedulesLogsAndRefreshes) {
  answer({{kKeys}, {kProfile}});
  EXPECT_TRUE(ended(login(), 0, 0, {kLoggedIn}));
  EXPECT_EQ(sent(0), kAsked + std::string(kApiKey) + kMac);
  EXPECT_EQ(sent(1), kQuery);
  EXPECT_EQ(timeouts(), "120 15 ");
  EXPECT_EQ(read(kAccountFile).rfind(kSignedIn + keyFile("kovaID=ada@kova.example"), 0), 0U) << "identity first";
  EXPECT_EQ(reply_["auth_key"], "key-1");
  expectEvent("0x13A00001", "ada@kova.example");
  answer({{kKeys}, {kProfile}});
  ASSERT_EQ(login(), 0);
  EXPECT_TRUE(has(kCron, " root /usr/tarv/bin/tarvkova --report_info\n"));
  EXPECT_EQ(read(kCron).find("--report_info"), read(kCron).rfind("--report_info"));
}

TEST_F(Session, TheScheduleIsOneRandomHourAWeek) {
  for (int i = 0; i < 50; ++i) {
    remove(kCron);
    answer({{kKeys}, {kProfile}});
    state().now = kNow + i;
    ASSERT_EQ(login(), 0);
    std::srand(static_cast<unsigned>(kNow + i));
    const int day = (std::rand() % 7 + 1) % 7, hour = std::rand() % 24, minute = std::rand() % 60;
    const std::string when = std::to_string(minute) + " " + std::to_string(hour) + " * * " + std::to_string(day);
    EXPECT_TRUE(has(kCron, "\n" + when + " root ")) << read(kCron);
  }
}

TEST_F(Session, ALoginThatOnlyChecksChangesNothingAndADeviceThatDoesNotReportIsNotScheduled) {
  const auto before = files();
  answer({{kKeys}});
  EXPECT_TRUE(ended(login(true), 0, 0, {}));
  EXPECT_EQ(files(), before);
  EXPECT_EQ(state().attempts.size(), 1U);
  EXPECT_EQ(reply_["kova_id"], "4711");
  write(kInfoFile, keyFile("kova_disable_report=yes"));
  answer({{kKeys}, {"", 500}});
  EXPECT_TRUE(ended(login(), 0, 4)) << "left by the refresh";
  EXPECT_FALSE(exists(kCron));
  EXPECT_EQ(read(kAccountFile), kSignedIn);
}

// ---- Logout ----

TEST_F(Session, LogoutSignsOutHereWhateverTheServiceSays) {
  for (const auto &[body, code] :
       {std::pair<std::string, int>{kGood, 0}, {"[]", 0}, {kBadauth, 14}, {R"({"code":{}})", 24}}) {
    answer({{kKeys}, {kProfile}});
    ASSERT_EQ(login(), 0);
    remove("/var/log/kova");
    answer({{body}});
    std::vector<LogLine> log = {{"kova_account_logout", "Logged out Kova"}};
    if (code != 0) log.insert(log.begin(), {"kova_account_logout", "Failed to logout 4711, resp=" + body});
    EXPECT_TRUE(ended(TARVKOVAAccountLogout(), 0, code, log)) << body;
    EXPECT_EQ(sent(), "action=destroy&serial=1430TST000001&kova_id=4711&auth_key=key-1");
    EXPECT_FALSE(exists(kAccountFile)) << body;
    EXPECT_FALSE(has(kCron, "--report_info")) << body;
    expectEvent("0x13A00002", "");
  }
  write(kAccountFile, kSignedIn);
  answer({{kGood}}, {"TLIBPluginAction"});
  EXPECT_TRUE(ended(TARVKOVAAccountLogout(), 0, 0));
  EXPECT_TRUE(loggedExactly({{"kova_account_logout", "Logged out Kova"}}, "kova_account_logout"));
  EXPECT_EQ(read(kAccountFile), kSignedIn) << "a component that could not let go keeps it";
}

// ---- Update and report ----

constexpr char kUpdate[] = "action=update&kova_id=4711&auth_key=key-1&serial=1430TST000001";

TEST_F(Session, OnlyWhatIsGivenIsSent) {
  write(kAccountFile, kSignedIn);
  const auto before = files();
  answer({{"good"}});
  EXPECT_TRUE(ended(change(nullptr, nullptr, nullptr, nullptr), 0, 0));
  EXPECT_EQ(sent(), kUpdate);
  answer({{"good"}});
  EXPECT_EQ(TARVKOVAAccountSetInfo("A", "e", nullptr, "new", "DE", "ger", "UTC", 0, 1, 5, "v"), 0);
  const std::string given =
      "&full_name=A&country=DE&notify_lang=ger&timezone=UTC&enews=false&critical_release=true"
      "&enews_local_promotion=true&critical_version_list=v";
  EXPECT_EQ(sent(), kUpdate + given) << "address and new password count only with the password";
  answer({{"goodbye"}});
  EXPECT_EQ(change("", "e", "p", nullptr), 0);
  EXPECT_EQ(sent(), std::string(kUpdate) + "&full_name=&passwd=p&email=e");
  EXPECT_EQ(files(), before) << "nothing of it is stored here";
  answer({{kGood}});
  EXPECT_TRUE(ended(TARVKOVAReportInfo(), 0, 0));
  EXPECT_EQ(sent(), "action=check&kova_id=4711&auth_key=key-1&timezone=Europe%2FBerlin&serial=1430TST000001&vx_info=");
  EXPECT_EQ(files(), before);
}

TEST_F(Session, AChangedPasswordIsNotified) {
  write("/usr/tarv/share/kova/notifications.conf",
        R"({"KovaPasswordChanged": {"subject": "Changed", "text": "The password of %KOVA_ACCOUNT% was changed."}})");
  write(kAccountFile, kSignedIn);
  answer({{"good"}, {kProfile}});
  EXPECT_TRUE(ended(change(nullptr, nullptr, "old", "new"), 0, 0));
  EXPECT_EQ(sent(0), std::string(kUpdate) + "&passwd=old&passwd_new=new&passwd_confirmation=new");
  EXPECT_EQ(sent(1), kQuery);
  EXPECT_EQ(timeouts(), "120 15 ");
  EXPECT_TRUE(has("/var/log/kova/notifications.jsonl", "The password of ada@kova.example was changed."));
}

// ---- Device services: registration, service check, purchase history ----

class Services : public DeviceTest {
 protected:
  Services() { write(kAccountFile, kSignedIn); }
  int list(const char *from = nullptr, const char *to = nullptr, const Json::Value &apps = {},
           const Json::Value &serials = {}, const Json::Value &prices = {}, const Json::Value &paypals = {}) {
    return TARVKOVAAccountPurchaseList("enu", from, to, apps, serials, prices, paypals, result_);
  }
  Json::Value result_ = Json::Value(Json::objectValue);
};

TEST_F(Services, RegistrationSendsWhatItIsGiven) {
  const std::string identity = "&serial=1430TST000001&notify_lang=";
  const std::string end = "&token=" + expectedToken("1430TST000001") + "&timezone=Europe%2FBerlin&critical_release=";
  const auto before = files();
  answer({{"good\n"}});
  EXPECT_TRUE(ended(TARVKOVAAccountRegister("ada@kova.example", "s&cret", "Ada L\xC3\xB6v", true), 0, 0));
  EXPECT_EQ(sent(), "action=register&email=ada%40kova.example&passwd=s%26cret&full_name=Ada%20L%C3%B6v" + identity +
                        "enu" + end + "true");
  EXPECT_EQ(files(), before);
  for (const auto &[setting, language] :
       {std::pair{"ger", "ger"},
        {"", "enu"},
        {"abcdefghijklmnopqrstuvwxyz0123456789", "abcdefghijklmnopqrstuvwxyz01234"}}) {
    write(kInfoFile, std::string("language=\"") + setting + "\"\ntimezone=\"Europe/Berlin\"\n");
    answer({{"good"}});
    EXPECT_EQ(TARVKOVAAccountRegister("", "", "", false), 0);
    EXPECT_EQ(sent(), "action=register&email=&passwd=&full_name=" + identity + language + end + "false");
  }
}

TEST_F(Services, ServiceCheckMergesTwoReplies) {
  const std::string rest = "&kova_id=47%2611&auth_key=key-1&serial=1430TST000001&vx_info=alias%2Cddns";
  for (const std::string entries : {"[]", "{}", "\"x\"", "7", "null", "[{}]", "{\"a\":1}"}) {
    result_ = "replaced";
    answer({{R"({"code":"good","alias":"x","ddns":{"a":[1]}})"}, {R"({"code":"good","entries":)" + entries + "}"}});
    EXPECT_TRUE(ended(TARVKOVAAccountServiceCheck("47&11", "key-1", result_), 0, 0));
    const bool isHeld = entries == "[{}]" || entries == "{\"a\":1}";
    EXPECT_EQ(result_,
              parsed(std::string(R"({"alias":"x","ddns":{"a":[1]},"mcafee":)") + (isHeld ? "true}" : "false}")));
    EXPECT_EQ(sent(0), "action=check" + rest);
    EXPECT_EQ(state().attempts.at(1).url, "https://query.kova.example/api/query.php");
    EXPECT_EQ(sent(1), "action=get_history" + rest + "&apps=Antivirus%20by%20McAfee");
  }
}

TEST_F(Services, PurchaseFiltersAreJoined) {
  const char *const cases[][7] = {{nullptr, nullptr, "null", "null", "null", "null", ""},
                                  {"2026-01-01", nullptr, "null", "null", "null", "null", "&dates=2026-01-01%2C"},
                                  {nullptr, "2026-02-01", "null", "null", "null", "null", "&dates=%2C2026-02-01"},
                                  {"a", "b", R"(["x\u0000y","y z"])", "[]", R"([5,9.5,"7",true])", R"(["p",[1],null])",
                                   "&dates=a%2Cb&apps=x%2Cy%20z&serials=&prices=5%2C9.5%2C7%2Ctrue&paypals=p%2C%2C"},
                                  {nullptr, nullptr, "{}", "\"text\"", "7", "true", ""}};
  for (const auto &[from, to, apps, serials, prices, paypals, filters] : cases) {
    answer({{kGood}});
    EXPECT_TRUE(ended(list(from, to, parsed(apps), parsed(serials), parsed(prices), parsed(paypals)), 0, 0));
    EXPECT_EQ(sent(), "action=get_history&kova_id=4711&auth_key=key-1&serial=1430TST000001&language=enu" +
                          std::string(filters));
    EXPECT_EQ(kova::jsonLine(result_), R"({"logs":[],"offset":0,"total":0})");
  }
}

TEST_F(Services, PurchaseEntriesAreRenamed) {
  answer({{R"({"code":"good","entries":[
    {"create_at":"2026-01-02","app":"A","paypal_id":"p","transaction_id":"t","model":"M","serial":"S","price":5,
     "pay_status":{"deep":[1]},"more":1},
    {"price":"9.50","app":["x"]}, {"price":true}, {"price":{}}, {}, 7, null, ["a"], "text",
    {"price":"free","date":"not the date"}, {"price":"nan"}, {"price":"9,50"}]})"}});
  EXPECT_EQ(list(), 0);
  const Json::Value &logs = result_["logs"];
  ASSERT_EQ(logs.size(), 12U);
  EXPECT_EQ(logs[0], parsed(R"({"date":"2026-01-02","item":"A","buyer_id":"p","transaction_id":"t","model":"M",
    "serial":"S","price":5.0,"pay_status":{"deep":[1]}})"));
  Json::Value log = parsed(R"({"date":null,"item":null,"buyer_id":null,"transaction_id":null,"model":null,
    "serial":null,"price":0.0,"pay_status":null})");
  for (Json::ArrayIndex i = 3; i < 12; ++i) EXPECT_EQ(logs[i], log) << i;
  log["price"] = 1.0;
  EXPECT_EQ(logs[2], log);
  log["price"] = 9.5;
  log["item"][0] = "x";
  EXPECT_EQ(logs[1], log);
  EXPECT_EQ(result_["total"], 12U) << "unsigned";
  EXPECT_EQ(result_["offset"], 0);
  for (const char *entries : {"{\"a\":1}", "\"x\"", "3", "null"}) {
    answer({{R"({"code":"account_userid","entries":)" + std::string(entries) + "}"}});
    EXPECT_EQ(list(), 0);
    EXPECT_EQ(kova::jsonLine(result_), R"({"logs":[],"offset":0,"total":0})") << entries;
  }
}

}  // namespace
