// How the operations on the service end: result, error code, log lines and requests.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <kova/kova.h>
#include <unistd.h>

#include <algorithm>
#include <cinttypes>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <functional>
#include <set>
#include <tuple>
#include <utility>

#include "base/descriptor.h"
#include "base/json.h"
#include "support/device.h"

namespace {

using Json::Value;
using Call = std::function<int(Value &)>;
using Texts = std::vector<std::string>;

constexpr char kAuthen[] = "kova_account_authen", kUnified[] = "kova_account_is_unified";
constexpr char kLogin[] = "kova_account_login", kLogout[] = "kova_account_logout", kReport[] = "kova_report_info";
constexpr char kMigrate[] = "kova_account_migrate", kQuery[] = "kova_account_query_info";
constexpr char kRegister[] = "kova_account_register", kCheck[] = "kova_account_service_check";
constexpr char kPurchases[] = "kova_account_purchase_list", kUpdate[] = "kova_account_set_info";
constexpr char kPassword[] = "correcthorsebattery";
constexpr char kPasswordMd5[] = "3c077829151f03a4101bf36510d551b1";
constexpr char kBefore[] = R"({"kept":1})";
constexpr char kFirst[] = R"({"alias":"x","ddns":"y"})";  // what the first of two replies makes of the value
const std::string kUnsent = "Failed to send https request. err=[0x0ABC]";

// An operation with good arguments; its value begins as kBefore.
struct Operation {
  std::string unit;
  Call call;
  std::string url;
  std::vector<hooks::Reply> replies;  // with which it succeeds
  Files files = {};                   // what the device needs for it
  std::string refused = "";           // what is told to have failed when a reply that is a bare word is refused
  bool keepsValue = false;            // a failure leaves the caller's value

  friend void PrintTo(const Operation &operation, std::ostream *out) { *out << operation.unit; }
};

Call migrating(const char *list) {
  return [merged = parsed(list)](Value &) { return TARVKOVAAccountMigrate("ada@kova.example", kPassword, merged); };
}

int purchases(const char *language, Value &result) {
  return TARVKOVAAccountPurchaseList(language, nullptr, nullptr, {}, {}, {}, {}, result);
}

const std::vector<Operation> &operations() {
  static const Files account = {{kAccountFile, kSignedIn}};
  static const Files inUse = {
      {kRelay, R"({"server_kova":{"account":"ada@kova.example"},"server_alias":{"alias":"ada"}})"},
      {"/usr/tarv/sbin/tarvddnsinfo", "#!/bin/sh\n"},
      {"/usr/tarv/etc/rc.d/ddns", "#!/bin/sh\n"},
      {"/usr/tarv/tarvkova/unify/hook", "#!/bin/sh\n> $KOVA_DEVICE_ROOT/ran\n"}};
  static const std::string sign = "https://account.kova.example/dnsauth.php";
  static const std::string keep = "https://account.kova.example/account.php";
  static const std::string list = "https://query.kova.example/api/query.php";
  static const std::string services = R"({"code":"good","alias":"x","ddns":"y","entries":[{"price":"1"}]})";
  static const std::string alias(1100, 'x');  // for which the form has to grow
  const Call authen = [](Value &v) { return TARVKOVAAccountAuthen("ada@kova.example", kPassword, alias.c_str(), v); };
  const Call login = [](Value &v) { return TARVKOVAAccountLogin("ada@kova.example", kPassword, v, false); };
  const Call enroll = [](Value &) { return TARVKOVAAccountRegister("e", kPassword, "Ada", true); };
  const Call query = [](Value &v) { return TARVKOVAAccountQueryInfo(v, true, false); };
  const Call check = [](Value &v) { return TARVKOVAAccountServiceCheck("4711", "key-1", v); };
  const Call set = [](Value &) {
    return TARVKOVAAccountSetInfo("", "", kPassword, kPassword, "", "", "", -1, -1, -1, "");
  };
  static const std::vector<Operation> all = {
      {kAuthen, authen, sign, {{kGood}}},
      {kUnified, [](Value &v) { return TARVKOVAAccountIsUnified(v); }, sign, {{kUnknownKey}, {kKeys}}, inUse},
      {kLogin, login, sign, {{kUnknownKey}, {kKeys}, {kProfile}}},
      {kLogout, [](Value &) { return TARVKOVAAccountLogout(); }, sign, {{kGood}}, account},
      {kMigrate, migrating(R"([{"email":"bob","passwd":"pw"}])"), keep, {{"good"}}, inUse, "migrate"},
      {kPurchases, [](Value &v) { return purchases("enu", v); }, list, {{services}}, account, "", true},
      {kQuery, query, sign, {{kProfile}}, account, "", true},
      {kRegister, enroll, keep, {{"good"}}, {}, "register e"},
      {kCheck, check, sign, {{services}}, {}, "", true},
      {kUpdate, set, keep, {{"good"}, {kProfile}}, account, "update account:4711"},
      {kReport, [](Value &) { return TARVKOVAReportInfo(); }, sign, {{kGood}}, account},
  };
  return all;
}

// One run of an operation, on a device of its own.
class Trial : public DeviceTest {
 public:
  explicit Trial(const std::string &unit, std::vector<hooks::Reply> replies = {})
      : operation_(*std::ranges::find(operations(), unit, &Operation::unit)), replies_(std::move(replies)) {
    with(operation_.files);
  }

  Trial &with(const Files &files) {
    for (const auto &[path, text] : files) writeProgram(path, text);
    return *this;
  }
  Trial &failing(hooks::Failing failing) { return failing_ = std::move(failing), *this; }
  Trial &calling(Call call) { return call_ = std::move(call), *this; }

  // With a number, the fallible call of this number fails, or all from that on.
  int run(int failAt = 0, bool keepsFailing = false) {
    value_ = parsed(kBefore);
    answer(replies_, failing_);
    state().failAt = failAt;
    state().keepsFailing = keepsFailing;
    state().sweeps = failAt != 0;
    const int result = (call_ ? call_ : operation_.call)(value_);
    state().sweeps = false;
    return result;
  }
  // Leaves no copy of what it is given, and none of what is sent. Where there is a reply it is the first.
  int runSecretly(std::string_view account, std::string_view key, std::string_view reply) {
    for (const auto &[path, text] : {std::pair{kAccountFile, account}, {"/var/lib/kova/apikey", key}}) {
      std::filesystem::create_directories(at(path).parent_path());
      const kova::Descriptor file(open(at(path).c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600));
      EXPECT_TRUE(kova::writeAll(file.get(), text));
    }
    answer(std::vector<hooks::Reply>(operation_.replies.begin(), operation_.replies.end()));
    state().failing.clear();
    state().keepsForms = false;
    if (!reply.empty()) state().replies[0].body = reply;
    state().keepsMemory = true;
    const int result = operation_.call(value_);
    state().keepsMemory = false;
    for (hooks::Reply &each : state().replies) explicit_bzero(each.body.data(), each.body.size());
    const char *begin = nullptr, *end = nullptr;  // the caller's own
    const bool hasKey = value_.isObject() && value_["auth_key"].getString(&begin, &end);
    if (hasKey) explicit_bzero(const_cast<char *>(begin), static_cast<std::size_t>(end - begin));
    return result;
  }
  // Makes of these files the earlier ones again.
  void restore(const Files &before, const Files &now) {
    for (const auto &[path, text] : now)
      if (before.count(path) == 0) remove("/" + path);
    for (const auto &[path, text] : before)
      if (now.count(path) == 0 || now.at(path) != text) write("/" + path, text);
  }
  // As many requests are sent as there are replies, and the operation's unit logs these texts. A failure, and what
  // sends nothing, changes no file but those of an API key that was registered.
  void ends(int result, int32_t code, const Texts &texts = {}) {
    SCOPED_TRACE(operation_.unit + ": " + testing::PrintToString(texts));
    const Files before = files();
    std::vector<LogLine> log;
    for (const std::string &text : texts) log.emplace_back(operation_.unit, text);
    EXPECT_TRUE(ended(run(), result, code));
    EXPECT_TRUE(loggedExactly(log, operation_.unit));
    EXPECT_EQ(state().attempts.size(), replies_.size());
    EXPECT_TRUE(state().attempts.empty() || state().attempts[0].url == operation_.url);
    if (result == 0 && !replies_.empty()) return;
    const Value left = parsed(replies_.size() > 1 ? kFirst : kBefore);
    EXPECT_TRUE(!operation_.keepsValue || call_ || value_ == left) << value_;
    const bool registers = !texts.empty() && texts[0].rfind("ApiKey not found", 0) == 0;
    EXPECT_EQ(registers ? unregistered(files()) : files(), before);
  }
  // The files without an API key that was registered, which a failure does not take back.
  static Files unregistered(Files files) {
    files["var/lib/kova/apikey"] = kApiKey;
    files.erase("var/lib/kova/apikey.enrolled");
    return files;
  }
  // A step's failure, of which the sign-in without a password tells once more. Returns the line of the last statement.
  int fails(int32_t code, Texts texts) {
    const std::string again = "DirectLoginByApiKey failed, account=ada@kova.example, code=" + std::to_string(code);
    if (operation_.unit == kUnified) texts.push_back(again);
    ends(-1, code, texts);
    return std::stoi(state().log.back().substr(operation_.unit.size() + 1));
  }

 private:
  const Operation &operation_;
  std::vector<hooks::Reply> replies_;
  hooks::Failing failing_;
  Call call_;
  Value value_ = parsed(kBefore);
};

// ---- What all of them have in common ----

// The codes of a failure, by the first call that failed. A step's own code is replaced by that of the step around it.
bool isCodeOf(const std::string &failed, int32_t code) {
  static const std::string kCodes =
      " KovaDevicePath=3 KovaDevicePath=4 MD5_Update=0 MD5_Update=4 MD5_Update=22 TARVCloudServiceGetApiKey=24"
      " TARVCloudServiceGetMacAddress=20 TARVCloudServiceRegisterApiKey=26 TARVEncodingBase64Decode=23 TARVZoneGet=0"
      " TARVZoneGetInfo=6 TLIBCFileGetKeys=3 TLIBCFileSetKeys=19 TLIBCINFOSetKeyValue=19 TLIBCSzHashAlloc=3"
      " TLIBCSzHashAlloc=6 TLIBCSzHashAlloc=19 TLIBCSzHashGetValue=3 TLIBCSzHashGetValue=6 TLIBCSzHashSetValue=6"
      " TLIBCSzHashSetValue=19 TLIBCSzListAlloc=3 TLIBCSzListAlloc=4 TLIBCSzListPush=3 TLIBGetSerialNumber=4"
      " TLIBGetSerialNumber=8 malloc=4 strdup=2 strdup=6 strdup=24 ";
  if (kCodes.find(" " + failed + "=") == std::string::npos) return failed == "new" || code == 4;
  return kCodes.find(" " + failed + "=" + std::to_string(code) + " ") != std::string::npos;
}

class Sweep : public testing::TestWithParam<Operation> {};

// Every fallible call fails in turn, alone and with all that follow, until none is left to fail.
TEST_P(Sweep, EveryFailureIsToldAndChangesNothing) {
  const std::string config = "TARVEncodingBase64Decode ", serial = "TLIBGetSerialNumber ", digest = "MD5_Update ";
  const std::string key = "TARVCloudServiceGetMacAddress TARVCloudServiceGetApiKey ", zone = "TARVZoneGet ";
  const std::map<std::string, std::string> orders = {
      {kAuthen, config + serial + digest},
      {kUnified, serial + config + key},
      {kLogin, config + serial + key},
      {kLogout, serial + config},
      {kMigrate, config + serial + digest + "TLIBCPopen"},
      {kRegister, serial + config + digest + zone},
      {kReport, config + zone + serial},
  };
  const Operation &operation = GetParam();
  const Texts order = words(orders.count(operation.unit) != 0 ? orders.at(operation.unit) : config + serial);
  Texts steps;  // as they are taken
  const auto descriptors = [] { return std::ranges::distance(std::filesystem::directory_iterator("/proc/self/fd")); };
  Trial trial(operation.unit, operation.replies);
  const Files before = trial.files();
  for (const bool keepsFailing : {false, true}) {
    std::string failed = "any";
    for (int failAt = 1; !failed.empty(); ++failAt) {
      const auto opened = descriptors();
      const int result = trial.run(failAt, keepsFailing);
      failed = state().failed;
      SCOPED_TRACE(failed + " " + std::to_string(failAt));
      EXPECT_EQ(state().handles, 0);
      EXPECT_EQ(descriptors(), opened);
      EXPECT_TRUE(result == 0 || !failed.empty()) << TARVKOVAErrGet();
      if (std::ranges::count(order, failed) > std::ranges::count(steps, failed)) steps.push_back(failed);
      const Files after = trial.files();
      if (result != 0) {
        EXPECT_TRUE(result == -1 && (keepsFailing || isCodeOf(failed, TARVKOVAErrGet()))) << TARVKOVAErrGet();
        EXPECT_EQ(Trial::unregistered(after), before);
      }
      trial.restore(before, after);
    }
  }
  EXPECT_EQ(steps, order);
}

INSTANTIATE_TEST_SUITE_P(, Sweep, testing::ValuesIn(operations()), [](const auto &each) { return each.param.unit; });

TEST(Operations, FailWithTheirSteps) {
  std::set<int> lines;
  for (const Operation &operation : operations()) {
    const std::string &unit = operation.unit, unsent = (unit == kRegister ? "f" : "F") + kUnsent.substr(1);
    const bool isJson = operation.refused.empty();
    const std::string refused = isJson ? "Failed to parse json: " : "Failed to " + operation.refused + ", resp=";
    Trial(unit).with({{kDeviceFile, ""}}).fails(8, {"Failed to get serial number, err=[0x0ABC]"});
    for (const std::string &body : {std::string("<html>"), std::string("\xEF\xBB\xBF{}"), std::string(1001, '['), {}})
      Trial(unit, {{body + '\0' + "{}"}}).fails(isJson ? 2 : 24, {refused + body});
    if (!isJson) Trial(unit, {{"badauth"}}).fails(14, {refused + "badauth"});
    lines.insert(Trial(unit).failing({"TARVEncodingBase64Decode"}).fails(23, {"TARVKOVAServerConfigGet, code=6"}));
    lines.insert(Trial(unit, {{kGood, 401}}).fails(4, {unsent}));
  }
  EXPECT_GT(lines.size(), operations().size() + 1) << "the lines of their own statements, not of code that they share";
  Trial(kAuthen).failing({"TLIBCSzHashAlloc"}).fails(6, {"Failed to alloc https request, err=[0x0ABC]"});
  Trial(kRegister).failing({"TLIBCSzHashAlloc"}).fails(6, {"Failed to alloc pTZInfo, err=[0x0ABC]"});
  const std::string untold = "TARVVxtokenGenerateToken Failed, err=[0x0ABC]";
  for (const char *unit : {kRegister, kMigrate}) Trial(unit).failing({"MD5_Update 1430TST000001"}).fails(22, {untold});
  const std::string refusal = R"({"code":"badauth","alias":1,"ddns":2})";
  for (const auto &[unit, what] : {std::pair{kAuthen, "authen ada@kova.example"},
                                   {kCheck, "query service check"},
                                   {kReport, "query service check"},
                                   {kPurchases, "query purchase info"}})
    Trial(unit, {{refusal + " "}}).ends(-1, 14, {std::string("Failed to ") + what + ", resp=" + refusal});
}

// How often each secret stands in the memory that the process can write.
using Secrets = std::map<std::string, std::string_view>;
std::map<std::string, int> copiesOf(const Secrets &secrets) {
  static char piece[1 << 20];
  constexpr std::size_t kLongest = 64;
  std::map<std::string, int> copies;
  const kova::Descriptor memory(open("/proc/self/mem", O_RDONLY));
  std::ifstream regions("/proc/self/maps");
  for (std::string region; std::getline(regions, region);) {
    std::uintptr_t begin = 0, end = 0;
    char access[5] = "";
    std::sscanf(region.c_str(), "%" SCNxPTR "-%" SCNxPTR " %4s", &begin, &end, access);
    if (std::string(access) != "rw-p" || end - begin > (std::size_t{1} << 28)) continue;  // a sanitizer's are larger
    for (; begin < end; begin += sizeof piece - kLongest) {
      const ssize_t size = pread(memory.get(), piece, std::min(sizeof piece, end - begin), static_cast<off_t>(begin));
      const std::string_view text(piece, size > 0 ? static_cast<std::size_t>(size) : 0);
      for (const auto &[name, secret] : secrets) copies[name] += text.find(secret) != std::string_view::npos ? 1 : 0;
      explicit_bzero(piece, sizeof piece);
    }
  }
  return copies;
}

TEST(Operations, LeaveNoSecretInMemory) {
  // Constants are not searched. The text of a file that was written from one leaves no copy in the test either.
  static constexpr std::string_view kAccount =
      "vx_auth_key=\"authkeyauthkeyauthkey\"\nkovaIDSerial=\"4711\"\nkovaPW=\"storedstoredstored\"\n";
  static constexpr std::string_view kKey = "apikeyapikeyapikeyapikey", kReply = "good:replyreplyreplyreply";
  const Secrets secrets = {{"password", kPassword},  {"password in the file", "storedstoredstored"},
                           {"digest", kPasswordMd5}, {"auth key", kAccount.substr(13, 21)},
                           {"API key", kKey},        {"reply", kReply.substr(5)}};
  for (const Operation &operation : operations()) {
    Trial trial(operation.unit);
    const std::map<std::string, int> before = copiesOf(secrets);  // what earlier tests left
    EXPECT_EQ(trial.runSecretly(kAccount, kKey, operation.refused.empty() ? "" : kReply), 0) << operation.unit;
    for (const auto &[name, copies] : copiesOf(secrets))
      EXPECT_LE(copies, before.at(name)) << operation.unit << ": " << name;
  }
}

TEST(Operations, RefuseMissingArguments) {
  for (const char *x : {static_cast<const char *>(nullptr), "x"}) {
    const char *y = x == nullptr ? "y" : nullptr;
    const std::pair<const char *, Call> calls[] = {
        {kAuthen, [=](Value &v) { return TARVKOVAAccountAuthen(x, y, nullptr, v); }},
        {kLogin, [=](Value &v) { return TARVKOVAAccountLogin(x, y, v, false); }},
        {kRegister, [=](Value &) { return TARVKOVAAccountRegister(x, y, "n", true); }},
        {kRegister, [=](Value &) { return TARVKOVAAccountRegister("e", x, y, true); }},
        {kMigrate, [=](Value &) { return TARVKOVAAccountMigrate(x, y, Json::arrayValue); }},
        {kCheck, [=](Value &v) { return TARVKOVAAccountServiceCheck(x, y, v); }},
        {kCheck, [=](Value &v) { return TARVKOVAAccountServiceCheck("4711", "key-1", v = {}); }},
        {kPurchases, [=](Value &v) { return purchases(nullptr, v); }},
        {kPurchases, [=](Value &v) { return purchases("enu", v = {}); }},
    };
    for (const auto &[unit, call] : calls)
      Trial(unit).calling(call).ends(-1, 1,
                                     {unit == kCheck || unit == kPurchases ? "Bad parameter" : "Bad Parameters"});
  }
}

// The reply may replace the value in which the caller's text lies.
TEST(Operations, TakeArgumentsFromTheirOwnResult) {
  const Call authen = [](Value &v) { return TARVKOVAAccountAuthen((v = "ada").asCString(), "x", nullptr, v); };
  const Call login = [](Value &v) { return TARVKOVAAccountLogin((v = "ada").asCString(), "x", v, false); };
  const std::string refused = std::string("ada, resp=") + kBadauth;
  Trial(kAuthen, {{kBadauth}}).calling(authen).ends(-1, 14, {"Failed to authen " + refused});
  Trial(kLogin, {{kBadauth}}).calling(login).ends(-1, 14, {"Failed to login " + refused});
}

// ---- One by one ----

TEST(Operations, PasswordCheckEnds) {
  for (const char *body : {"{}", "null", "17", "\"badauth\"", R"([{"code":"badauth"}])", R"({"code":"account_userid"})",
                           R"({"code":"bad","code":"good"})"})
    Trial(kAuthen, {{body}}).ends(0, 0);
  for (const char *word : {"\"\"", "null", "0", "true", "{}", "[\"good\"]", R"("\u0000good")"}) {
    const std::string body = std::string("{\"code\":") + word + "}";
    Trial(kAuthen, {{body}}).ends(-1, 24, {"Failed to authen ada@kova.example, resp=" + body});
  }
  Trial(kAuthen).failing({std::string("MD5_Update ") + kPassword}).ends(-1, 0, {"Failed to get md5 string"});
}

// Both sign in with the API key: one with a password, one without.
TEST(Operations, BothSignInsEnd) {
  const std::string registering = "ApiKey not found. Register new one.", unread = "Failed to parse json: ";
  const std::string registration = "TARVCloudServiceRegisterApiKey";
  const Files badMac = {{kDeviceFile, keyFile("serial=S mac=02:00:00:00:00:0g")}};
  const hooks::Failing unkeyed = {"TARVCloudServiceGetApiKey", "TARVCloudServiceGetErrorCode"};
  for (const std::string unit : {kLogin, kUnified}) {
    const bool isLogin = unit == kLogin;
    const std::string direct = "DirectLoginByApiKey failed, account=ada@kova.example, http-status: 200 response: ";
    const std::string refused = isLogin ? "Failed to login ada@kova.example, resp=" : direct;
    for (const std::string body : {"{}", "[]"})
      Trial(unit, {{body}}).fails(isLogin ? 5 : 2, {isLogin ? "bad response, no code" : unread + body});
    Trial(unit, {{kBadauth}}).fails(14, {refused + kBadauth});
    Trial(unit, {{kUnknownKey}, {kUnknownKey}}).fails(26, {registering, refused + kUnknownKey});
    Trial(unit, {{kUnknownKey}, {"{}"}}).fails(isLogin ? 24 : 2, {registering, (isLogin ? refused : unread) + "{}"});
    Trial(unit, {{kUnknownKey}}).failing({registration}).fails(26, {registering, registration + " failed"});
    Trial(unit).with(badMac).fails(20, {"Failed to get mac address"});
    Trial(unit).failing(unkeyed).fails(15, {"Failed to get apikey"});
    const std::string unstored = "TARVKOVAAccountSet failed";
    Trial(unit, {{kKeys}}).failing({"TLIBCFileSetKeys"}).fails(19, {unstored + (isLogin ? ", code=19" : "")});
  }
  const Texts done = {"Failed to add crontab for kova", "Logged in Kova Center as ada@kova.example"};
  Trial(kLogin, {{kKeys}, {kProfile}}).failing({"TARVScheduleSet"}).ends(0, 0, done);
}

TEST(Operations, QueryEnds) {
  const std::string insufficient = "Server returned insufficient data. resp=", refused = "Failed to query 4711, resp=";
  for (const char *body : {"{}", "null"}) Trial(kQuery, {{body}}).ends(-1, 5, {insufficient + R"({"code":null})"});
  Trial(kQuery, {{"[ 1 ]"}}).ends(-1, 5, {insufficient + "[1]"});
  Value text = "not an object";
  Trial(kQuery).calling([&](Value &) { return TARVKOVAAccountQueryInfo(text, true, false); }).ends(-1, 1);
  Value reply = parsed(kProfile);
  for (const std::string &name : reply.getMemberNames()) {
    Value rest = reply;
    rest.removeMember(name);
    const std::string body = kova::jsonLine(rest);
    Trial(kQuery, {{body}})
        .ends(-1, name == "code" ? 24 : 5, {name == "code" ? refused + body + ", code=24" : insufficient + body});
  }
  for (const auto &[word, code] : {std::pair<Value, int>{"badauthx", 14}, {"badsys", 6}, {"", 24}, {7, 24}}) {
    reply["code"] = word;
    const std::string body = kova::jsonLine(reply);
    Trial(kQuery, {{body}}).ends(-1, code, {refused + body + ", code=" + std::to_string(code)});
  }
}

TEST(Operations, UpdateEnds) {
  for (const char *unit : {kUpdate, kPurchases})
    Trial(unit).with({{kAccountFile, ""}}).ends(-1, 3, {"TARVKOVAAccountGet failed"});
  const std::tuple<const char *, const char *, int32_t, std::string> unnotified[] = {
      {R"({"code":"x"})", "", 5, "TARVKOVAAccountQueryInfo failed, code=5"},
      {kProfile, "TLIBCSzHashSetValue %KOVA_ACCOUNT%", 0, "Cant set kova account"},
      {kProfile, "TARVSysNotifySendNotifiction", 0, "Send notification failed"},
  };
  for (const auto &[profile, failing, code, text] : unnotified)
    Trial(kUpdate, {{"good"}, {profile}}).failing({failing}).ends(0, code, {text});
}

TEST(Operations, ReportAndLogoutEnd) {
  Trial(kReport).with({{kAccountFile, ""}}).ends(0, 0);
  Trial(kReport).with({{kInfoFile, keyFile("kova_disable_report=yes")}}).ends(0, 0);
  Trial(kReport, {{kGood}}).with({{kInfoFile, keyFile("kova_disable_report=Yes timezone=UTC")}}).ends(0, 0);
  const Files scheduled = {{kAccountFile, ""}, {kCron, "1 1 * * 1 root /usr/tarv/bin/tarvkova --report_info\n"}};
  Trial(kLogout).with(scheduled).ends(0, 0, {"Not logged in. Logout successfully"});
}

TEST(Operations, TheTimeZoneMustBeKnown) {
  for (const char *unit : {kRegister, kReport}) {
    const std::string noZone = "failed to get time zone, size need: ", longZone = std::string(300, 'z');
    Trial(unit).failing({"TARVZoneGet"}).ends(-1, 0, {noZone + "-1, err=[0x0ABC]"});
    Trial(unit).with({{kInfoFile, keyFile("timezone=" + longZone)}}).ends(-1, 0, {noZone + "301, err=[0x0ABC]"});
    Trial(unit).with({{kInfoFile, keyFile("timezone=No/where")}}).ends(-1, 6, {"failed to get timezone info[0x0ABC]"});
    Trial(unit).failing({"TLIBCSzHashGetValue nameInTZDB"}).ends(-1, 6, {"failed to get tmz[0x0ABC]"});
  }
}

TEST(Operations, RepliesLackMembers) {
  for (const char *unit : {kReport, kPurchases, kCheck})
    for (const char *body : {"{}", "[]", R"({"entries":[]})", kFirst}) Trial(unit, {{body}}).ends(-1, 5);
  for (const char *body : {R"({"code":"good","alias":"x"})", R"({"code":"badauth","ddns":"x"})"})
    Trial(kCheck, {{body}}).ends(-1, 5);
  // The second of the check's two requests leaves what the first told.
  const std::string refused = R"({"code":"x","entries":1})";
  const std::tuple<hooks::Reply, int32_t, Texts> seconds[] = {
      {{kGood}, 5, {}},
      {{kBadauth}, 5, {}},
      {{refused}, 24, {"Failed to query service check, resp=" + refused}},
      {{"<"}, 2, {"Failed to parse json: <"}},
      {{"", 500}, 4, {kUnsent}},
  };
  for (const auto &[second, code, texts] : seconds)
    Trial(kCheck, {{R"({"code":"good","alias":"x","ddns":"y"})"}, second}).ends(-1, code, texts);
}

TEST(Operations, MigrationEnds) {
  for (const char *list : {R"([{"email":"a","passwd":"b"},{"email":"c"}])", R"([{"passwd":"b"}])", "[7]", "[null]",
                           R"([["email","passwd"]])", "{}", "null"})
    Trial(kMigrate).calling(migrating(list)).ends(-1, 1, {"Bad Parameters"});
  for (const char *accounts : {"{}", "\"B\"", "true"}) {
    const Call abandon = [&](Value &) { return TARVKOVAAbandonUnmerged(parsed(accounts)); };
    Trial(kMigrate).calling(abandon).ends(-1, 1, {"Bad parameters"});
  }
  const Call abandonAll = [](Value &) { return TARVKOVAAbandonUnmerged(Value()); };
  const std::string scan = "TARVKOVAAccountScanExisting";
  for (const char *unit : {kUnified, kMigrate}) Trial(unit).failing({scan}).ends(-1, 23, {scan + " failed"});
  Trial(kMigrate).failing({scan}).calling(abandonAll).ends(-1, 23, {scan + " failed"});
  const Files left = {{kRelay, R"({"server_kova":{"account":"eve"},"server_alias":{"alias":"a"}})"}};
  const std::string unhooked = "ExecCustomUnifyHook failed, abandon_list=farlink";
  const std::string unabandoned = R"(TARVKOVAAbandonUnmerged failed, jsonAccounts=["eve"])";
  Trial(kMigrate).with(left).failing({"opendir"}).calling(abandonAll).ends(-1, 3, {unhooked});
  Trial(kMigrate, {{"good"}}).with(left).failing({"opendir"}).ends(0, 3, {unhooked, unabandoned});
  Trial restarting(kMigrate, {{"good"}});
  restarting.failing({"TLIBServiceRestart"}).ends(0, 0, {"Failed to restart DDNS", "RestartRelatedServices failed"});
  EXPECT_TRUE(restarting.has(kInfoFile, keyFile("kova_unified=yes")));
  const Texts unmarked = {"Failed to update kova_unified in /etc/tarvinfo.conf[0x0ABC]"};
  Trial(kMigrate, {{"good"}}).failing({"TLIBCINFOSetKeyValue"}).ends(-1, 19, unmarked);
}

}  // namespace
