// The account session and the device services: what goes over the wire, what callers get and what the device keeps.
#include <gtest/gtest.h>
#include <kova/kova.h>

#include <cstdlib>
#include <functional>
#include <tuple>

#include "base/json.h"
#include "support/device.h"

namespace {

constexpr char kQuery[] = "action=query&kova_id=4711&auth_key=key-1&serial=1430TST000001";
constexpr char kEvents[] = "/var/log/kova/events.jsonl";
constexpr std::time_t kNow = 1'800'000'000;
constexpr std::time_t kLast32BitTime = 2'147'483'647;
// What the account file keeps of the profile.
constexpr char kStored[] =
    " kovaID=ada@kova.example full_name=Ada country=DE timezone=Europe/Berlin notify_language=ger activated=yes "
    "disabled=no enews=yes critical_release=no enews_local_promotion=no critical_version_list=b,c "
    "critical_version_domain=a,b,c last_query_time=";

int change(const char *name, const char *mail, const char *password, const char *newPassword) {
  return TARVKOVAAccountSetInfo(name, mail, password, newPassword, nullptr, nullptr, nullptr, -1, -1, -1, nullptr);
}

// On a device that is signed in.
class Session : public DeviceTest {
 protected:
  Session() {
    state().now = kNow;
    write(kAccountFile, kSignedIn);
  }
  int query(bool force = true) { return TARVKOVAAccountQueryInfo(value_, force, false); }
  int login(const hooks::Reply &profile = {kProfile}, bool checkOnly = false) {
    answer({{kKeys}, profile});
    return TARVKOVAAccountLogin("ada@kova.example", "s&cret", value_, checkOnly);
  }
  // The requests: each form and its time-out.
  static std::string requests() {
    std::string text;
    std::size_t attempt = 0;
    for (const auto &[option, value] : state().options)
      if (option == CURLOPT_TIMEOUT) text += sent(attempt++) + " " + value + "\n";
    return text;
  }

  Json::Value value_;
};

TEST_F(Session, OnlyWhatIsGivenIsSentAndNothingOfItIsStored) {
  const std::string serial = "&serial=1430TST000001", account = "&kova_id=4711&auth_key=key-1";
  const std::string update = "update" + account + serial, history = "get_history" + account + serial + "&language=enu";
  const auto authen = [&](auto... arguments) { return TARVKOVAAccountAuthen(arguments..., value_); };
  const auto list = [&](const char *from, const char *to, const char *filters) {
    const Json::Value lists = parsed(filters);
    value_ = Json::objectValue;
    return TARVKOVAAccountPurchaseList("enu", from, to, lists[0], lists[1], lists[2], lists[3], value_);
  };
  const std::tuple<const char *, std::function<int()>, std::string> cases[] = {
      {kGood, [&] { return authen("a@b", "x", nullptr); }, "authen&email=a%40b&passwd=" + expectedMd5("x") + serial},
      {kGood, [&] { return authen("", "", "a&b"); },
       "authen&email=&passwd=" + expectedMd5("") + serial + "&alias=a%26b"},
      {"good", [] { return change(nullptr, nullptr, nullptr, nullptr); }, update},
      {"goodbye", [] { return change("", "e", "p", nullptr); }, update + "&full_name=&passwd=p&email=e"},
      // Address and new password count only with the password.
      {"good", [] { return TARVKOVAAccountSetInfo("A", "e", nullptr, "new", "DE", "ger", "UTC", 0, 1, 5, "v"); },
       update + "&full_name=A&country=DE&notify_lang=ger&timezone=UTC&enews=false&critical_release=true"
                "&enews_local_promotion=true&critical_version_list=v"},
      {kGood, TARVKOVAReportInfo, "check" + account + "&timezone=Europe%2FBerlin" + serial + "&vx_info="},
      {kGood, [&] { return list(nullptr, nullptr, "[]"); }, history},
      {kGood, [&] { return list("2026-01-01", nullptr, "[]"); }, history + "&dates=2026-01-01%2C"},
      {kGood, [&] { return list(nullptr, "2026-02-01", "[]"); }, history + "&dates=%2C2026-02-01"},
      {kGood, [&] { return list(nullptr, nullptr, R"([{},"text",7,true])"); }, history},
      {kGood, [&] { return list("a", "b", R"([["x\u0000y","y z"],[],[5,9.5,"7",true],["p",[1],null]])"); },
       history + "&dates=a%2Cb&apps=x%2Cy%20z&serials=&prices=5%2C9.5%2C7%2Ctrue&paypals=p%2C%2C"},
  };
  const auto before = files();
  for (const auto &[reply, call, form] : cases) {
    answer({{reply}});
    EXPECT_TRUE(ended(call(), 0, 0));
    EXPECT_EQ(requests(), "action=" + form + " 120\n");
    EXPECT_EQ(files(), before);
  }
}

TEST_F(Session, RegistrationTellsTheLanguage) {
  write(kDeviceFile, keyFile("custom_serial=MINE serial=F"));
  const std::string token = expectedToken("MINE");
  const std::string identity = "vx_sn=MINE&vx_token=" + token + "&action=register&email=a%40b&passwd=s%26c";
  const std::string rest = "&token=" + token + "&timezone=Europe%2FBerlin&critical_release=";
  for (const std::string setting : {"ger", "", "abcdefghijklmnopqrstuvwxyz0123456789"}) {
    const bool isUnset = setting.empty();
    const std::string tells = (isUnset ? "enu" : setting.substr(0, 31)) + rest + (isUnset ? "true" : "false");
    write(kInfoFile, keyFile("timezone=Europe/Berlin language=" + setting));
    const auto before = files();
    answer({{"good\n"}});
    EXPECT_TRUE(ended(TARVKOVAAccountRegister("a@b", "s&c", "L\xC3\xB6v e", isUnset), 0, 0));
    EXPECT_EQ(state().attempts.at(0).form, identity + "&full_name=L%C3%B6v%20e&serial=MINE&notify_lang=" + tells);
    EXPECT_EQ(files(), before);
  }
}

TEST_F(Session, ThePasswordCheckHandsBackWhatIsJson) {
  constexpr char kRefusal[] = R"({"code":"badauth","detail":"no"})";
  for (const auto &[reply, handed] : {std::pair{kRefusal, kRefusal}, {"{\"code\":", kRefusal}, {"17", "17"}}) {
    answer({{reply}});
    TARVKOVAAccountAuthen("", "x", nullptr, value_);
    EXPECT_EQ(value_, parsed(handed)) << reply;
  }
}

// ---- Query ----

TEST_F(Session, TheCacheAnswersForTenMinutesEitherWay) {
  for (const std::time_t now : {std::time_t{300}, kNow, kLast32BitTime, kLast32BitTime + 300}) {
    for (const int age : {-599, -600, 599, 600, 300, 0}) {
      const std::time_t queried = now - age;
      state().now = now;
      write(kAccountFile, kSignedIn + keyFile(kStored + std::to_string(queried)));
      answer({{kProfile}});
      EXPECT_TRUE(ended(query(false), 0, 0));
      EXPECT_EQ(state().attempts.empty(), queried != 0 && std::abs(age) < 600) << now << ", " << age;
    }
  }
}

TEST_F(Session, TheClockMayBePast2038AndThenNoQueryTimeIsStored) {
  for (const auto &[now, text] :
       {std::pair{kLast32BitTime, "2038-01-19T03:14:07Z"}, {kLast32BitTime + 1, "2038-01-19T03:14:08Z"}}) {
    state().now = now;
    write(kAccountFile, kSignedIn);
    ASSERT_EQ(login(), 0);
    ASSERT_EQ(query(false), 0);
    EXPECT_TRUE(has(kEvents, text)) << read(kEvents);
    EXPECT_EQ(value_["email"], "ada@kova.example");
    EXPECT_EQ(has(kAccountFile, keyFile("last_query_time=2147483647")), now == kLast32BitTime) << text;
  }
}

TEST_F(Session, AQueryHandsOnAndStoresTheReplyAndTheFileAnswersTheNext) {
  write(kAccountFile, kSignedIn + keyFile("other=kept"));
  answer({{std::string(R"({"other":1,)") + (kProfile + 1)}});
  value_["mine"] = 1;
  EXPECT_TRUE(ended(query(), 0, 0));
  EXPECT_EQ(sent(), kQuery);
  EXPECT_EQ(
      kova::jsonLine(value_),
      R"({"activated":true,"auth_key":"key-1","country":"DE","critical_release":0,"critical_version_domain":"a,b,c",)"
      R"("critical_version_list":"b,c","disabled":false,"email":"ada@kova.example","enews":1,)"
      R"("enews_local_promotion":"yes","full_name":"Ada","mine":1,"notify_language":"ger",)"
      R"("timezone":"Europe/Berlin"})");
  EXPECT_EQ(read(kAccountFile), kSignedIn + keyFile("other=kept" + std::string(kStored) + "1800000000"));
  value_ = Json::Value();
  answer();
  EXPECT_TRUE(ended(query(false), 0, 0));
  EXPECT_EQ(kova::jsonLine(value_),  // texts and booleans
            R"({"activated":true,"auth_key":"key-1","country":"DE","critical_release":false,"disabled":false,)"
            R"("email":"ada@kova.example","enews":true,"enews_local_promotion":false,"full_name":"Ada",)"
            R"("notify_language":"ger","timezone":"Europe/Berlin"})");
}

TEST_F(Session, BadauthToTheLetterSignsTheDeviceOut) {
  constexpr char kText[] = "Logged out Kova due to authentication failure. kova_id_serial=4711, auth_key=key-1";
  answer({{kBadauth}});
  EXPECT_TRUE(ended(query(), -1, 3, {{"kova_account_query_info", kText}}));
  answer({{kProfile}});
  EXPECT_TRUE(ended(query(), -1, 3));
  EXPECT_TRUE(state().attempts.empty() && value_.isNull() && !exists(kAccountFile));
}

TEST_F(Session, AHostileProfileNeverAddsAKey) {
  const auto ask = [&](const std::string &name, const std::string &value) {
    Json::Value reply = parsed(kProfile);
    reply[name] = parsed(value);
    write(kAccountFile, kSignedIn);
    answer({{kova::jsonLine(reply), 200, CURLE_OK, 16384}});
    EXPECT_EQ(query(), 0);
  };
  std::vector<std::string> values =
      words(R"("a\nvx_auth_key=\"evil\"" "a\rvx_auth_key=\"evil\"" "nul\u0000nul" [] {} 7.5)");
  values.insert(values.end(), {R"("a\"b\" = c")", '"' + std::string(1 << 20, 'x') + '"'});
  for (const std::string &name : words("full_name country email timezone notify_language")) {
    for (const std::string &value : values) {
      ask(name, value);
      const bool isRefused = value.find("evil") != std::string::npos;
      std::vector<LogLine> log = {{"kova_account_query_info", "Failed to update Kova conf, code=19"}};
      EXPECT_EQ(value_[name], parsed(value)) << "as received";
      EXPECT_EQ(TARVKOVAErrGet(), isRefused ? 19 : 0);
      EXPECT_TRUE(isRefused ? loggedExactly(log, log[0].first) : loggedExactly({}));
      EXPECT_TRUE(isRefused ? read(kAccountFile) == kSignedIn : read(kAccountFile).starts_with(kSignedIn));
    }
  }
  for (const std::string &name : words("activated disabled enews critical_release enews_local_promotion")) {
    for (const std::string &value : words("[] {} \"yes\" 0.5 null")) {
      ask(name, value);
      EXPECT_TRUE(has(kAccountFile, keyFile(name + (value == "0.5" ? "=yes" : "=no"))));
    }
  }
  for (const auto &[list, versions] : {std::pair{"[true,false]", "0 of 0,1"}, {"\"x\"", " of "}, {"{}", " of "}}) {
    ask("critical_version_list", list);
    const std::string all = value_["critical_version_domain"].asString();
    EXPECT_EQ(value_["critical_version_list"].asString() + " of " + all, versions);
  }
}

// ---- Login ----

TEST_F(Session, LoginStoresSchedulesLogsAndRefreshes) {
  const std::string asked =
      "action=get_auth_key&type=acnt_pw_apikey&email=ada%40kova.example&passwd=s%26cret&serial=1430TST000001&api_key=" +
      std::string(kApiKey) + "&mac=02%3A00%3A00%3A00%3A00%3A01 120\n";
  const auto before = files();
  EXPECT_TRUE(ended(login({kProfile}, true), 0, 0, {}));
  EXPECT_EQ(requests(), asked);
  EXPECT_EQ(files(), before) << "it only checked";
  EXPECT_EQ(value_, parsed(kKeys));
  remove(kAccountFile);
  EXPECT_TRUE(ended(login(), 0, 0, {{"kova_account_login", "Logged in Kova Center as ada@kova.example"}}));
  EXPECT_EQ(requests(), asked + kQuery + " 15\n");
  EXPECT_TRUE(read(kAccountFile).starts_with(kSignedIn + keyFile("kovaID=ada@kova.example"))) << "identity first";
  EXPECT_TRUE(has(kEvents, R"({"event":"0x13A00001","log":2,"severity":1,"texts":["ada@kova.example","","",""],)"));
  for (const char *file : {kCron, kAccountFile}) remove(file);
  write(kInfoFile, keyFile("kova_disable_report=yes"));
  EXPECT_TRUE(ended(login({"", 500}), 0, 4)) << "left by the refresh";
  EXPECT_TRUE(value_ == parsed(kKeys) && !exists(kCron));
  EXPECT_EQ(read(kAccountFile), kSignedIn);
}

TEST_F(Session, TheScheduleIsOneRandomHourAWeek) {
  for (int i = 0; i < 50; ++i) {
    state().now = kNow + i;
    ASSERT_EQ(login(), 0);
    std::srand(static_cast<unsigned>(kNow + i));
    const int day = (std::rand() % 7 + 1) % 7, hour = std::rand() % 24, minute = std::rand() % 60;
    const std::string when = std::to_string(minute) + " " + std::to_string(hour) + " * * " + std::to_string(day);
    EXPECT_TRUE(has(kCron, "\n" + when + " root /usr/tarv/bin/tarvkova --report_info\n")) << read(kCron);
    EXPECT_EQ(read(kCron).find("--report_info"), read(kCron).rfind("--report_info"));
  }
}

// ---- Logout ----

TEST_F(Session, LogoutSignsOutHereWhateverTheServiceSays) {
  const LogLine done = {"kova_account_logout", "Logged out Kova"};
  for (const auto &[body, code] :
       {std::pair<std::string, int>{kGood, 0}, {"[]", 0}, {kBadauth, 14}, {R"({"code":{}})", 24}}) {
    ASSERT_EQ(login(), 0);
    remove(kEvents);
    answer({{body}});
    const LogLine refused = {done.first, "Failed to logout 4711, resp=" + body};
    EXPECT_TRUE(ended(TARVKOVAAccountLogout(), 0, code, code == 0 ? std::vector{done} : std::vector{refused, done}));
    EXPECT_EQ(requests(), "action=destroy&serial=1430TST000001&kova_id=4711&auth_key=key-1 120\n");
    EXPECT_FALSE(exists(kAccountFile) || has(kCron, "--report_info")) << body;
    EXPECT_TRUE(has(kEvents, R"({"event":"0x13A00002","log":2,"severity":1,"texts":["","","",""],)"));
  }
}

// ---- Update, service check, purchase history ----

TEST_F(Session, AChangedPasswordIsNotified) {
  write("/usr/tarv/share/kova/notifications.conf",
        R"({"KovaPasswordChanged": {"subject": "Changed", "text": "The password of %KOVA_ACCOUNT% was changed."}})");
  answer({{"good"}, {kProfile}});
  EXPECT_TRUE(ended(change(nullptr, nullptr, "old", "new"), 0, 0));
  const std::string form = "&passwd=old&passwd_new=new&passwd_confirmation=new 120\n" + std::string(kQuery) + " 15\n";
  EXPECT_EQ(requests(), "action=update&kova_id=4711&auth_key=key-1&serial=1430TST000001" + form);
  EXPECT_TRUE(has("/var/log/kova/notifications.jsonl", "The password of ada@kova.example was changed."));
}

TEST_F(Session, ServiceCheckMergesTwoReplies) {
  const std::string rest = "&kova_id=47%2611&auth_key=key-1&serial=1430TST000001&vx_info=alias%2Cddns";
  for (const std::string &entries : words(R"([] {} "x" 7 null [{}] {"a":1})")) {
    value_ = "replaced";
    answer({{R"({"code":"good","alias":"x","ddns":{"a":[1]}})"}, {R"({"code":"good","entries":)" + entries + "}"}});
    EXPECT_TRUE(ended(TARVKOVAAccountServiceCheck("47&11", "key-1", value_), 0, 0));
    const std::string held = entries == "[{}]" || entries == "{\"a\":1}" ? "true}" : "false}";
    EXPECT_EQ(kova::jsonLine(value_), R"({"alias":"x","ddns":{"a":[1]},"mcafee":)" + held);
    EXPECT_EQ(requests(),
              "action=check" + rest + " 120\naction=get_history" + rest + "&apps=Antivirus%20by%20McAfee 120\n");
    EXPECT_EQ(state().attempts.at(1).url, "https://query.kova.example/api/query.php");
  }
}

TEST_F(Session, PurchaseEntriesAreRenamed) {
  const auto list = [&](const std::string &entries) {
    value_ = Json::Value(Json::objectValue);
    answer({{R"({"code":"account_userid","entries":)" + entries + "}"}});
    EXPECT_EQ(TARVKOVAAccountPurchaseList("enu", nullptr, nullptr, {}, {}, {}, {}, value_), 0);
  };
  list(R"([{"create_at":"2026-01-02","app":["A"],"paypal_id":"p","transaction_id":"t","model":"M","serial":"S",
            "price":5,"pay_status":{"deep":[1]},"more":1}, {"price":"free","date":"not the date"}, {"price":"9.50"},
            {"price":true}, {"price":{}}, {}, 7, null, ["a"], "text", {"price":"nan"}, {"price":"9,50"}])");
  std::string prices;
  for (const Json::Value &log : value_["logs"]) prices += log["price"].asString() + " ";
  EXPECT_EQ(prices, "5.0 0.0 9.5 1.0 0.0 0.0 0.0 0.0 0.0 0.0 0.0 0.0 ");
  value_["logs"].resize(2);
  EXPECT_EQ(
      kova::jsonLine(value_),
      R"({"logs":[{"buyer_id":"p","date":"2026-01-02","item":["A"],"model":"M","pay_status":{"deep":[1]},"price":5.0,)"
      R"("serial":"S","transaction_id":"t"},{"buyer_id":null,"date":null,"item":null,"model":null,)"
      R"("pay_status":null,"price":0.0,"serial":null,"transaction_id":null}],"offset":0,"total":12})");
  for (const char *entries : {R"({"a":1})", "\"x\"", "null"}) {
    list(entries);
    EXPECT_EQ(kova::jsonLine(value_), R"({"logs":[],"offset":0,"total":0})") << entries;
  }
}

}  // namespace
