// Device services: registration, service check, purchase history.
#include <gtest/gtest.h>
#include <kova/kova.h>

#include "base/json.h"
#include "support/device.h"
#include "support/json.h"
#include "support/token.h"

namespace {

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
