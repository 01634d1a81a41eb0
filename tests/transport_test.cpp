// Base URLs, user agent, identity, token and the HTTPS request, asserted without a socket.
#include <curl/curl.h>
#include <gtest/gtest.h>
#include <kova/kova.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <set>
#include <tuple>
#include <utility>

#include "support/device.h"

namespace {

constexpr char kUnit[] = "kova_https_req_send";
constexpr char kToken[] = "kova_token_generation";
const std::string kBase = "https://account.kova.example";
const std::string kUrl = kBase + "/dnsauth.php";
const hooks::Reply kReply = {" \t{}\r\n"};

// How a log line tells libcurl's error, in the words of the libcurl that is there.
std::string curlError(CURLcode code) {
  return "code=" + std::to_string(code) + ", err=" + curl_easy_strerror(code);
}

class Transport : public DeviceTest {
 protected:
  Transport() {
    request_->base = kBase.c_str();
    request_->path = "dnsauth.php";
    request_->params = TLIBCSzHashAlloc(4);
    set("action", "authen");
    answer();
  }
  ~Transport() override {
    TARVKOVAHttpsResponseFree(&response_);
    TLIBCSzHashFree(request_->params);
  }

  int send(std::vector<hooks::Reply> replies = {kReply}, hooks::Failing failing = {}) {
    answer(std::move(replies), std::move(failing));
    TARVKOVAHttpsResponseFree(&response_);
    std::memset(&response_, 0x5A, sizeof response_);  // the record need not be initialised
    return TARVKOVAHttpsRequestSend(request_.get(), &response_);
  }
  // The attempt of a request that succeeds at once.
  const hooks::Attempt &attempt(hooks::Failing failing = {}) {
    EXPECT_TRUE(ended(send({kReply}, std::move(failing)), 0, 77, {}));
    return state().attempts.at(0);
  }
  void set(const char *key, const char *value) { TLIBCSzHashSetValue(request_->params, key, value); }

  std::unique_ptr<HttpsRequest> request_ = std::make_unique<HttpsRequest>();
  HttpsResponse response_{};
};

TEST_F(Transport, EnvironmentChoosesTheBaseUrls) {
  const auto config = std::make_unique<ServerConfig>();
  for (const std::string setting : {"", "test", "dev", "test2", "Test"}) {
    const std::string suffix = setting.empty() || setting == "Test" ? "" : "-" + setting;
    write("/etc.defaults/tarvinfo.conf", keyFile("tarvpkg_server=" + setting));
    EXPECT_TRUE(ended(TARVKOVAServerConfigGet(config.get()), 0, 77)) << "success leaves the code";
    EXPECT_EQ(config->first_url, "https://query" + suffix + ".kova.example");
    EXPECT_EQ(config->service_url, suffix.empty() ? kBase : "https://account-test.kova.example");
  }
  answer({}, {"TARVEncodingBase64Decode YWNjb3VudC5rb3ZhLmV4YW1wbGU="});
  EXPECT_TRUE(ended(TARVKOVAServerConfigGet(config.get()), -1, 6,
                    {{"kova_server_config_get", "base64 decode failed: [YWNjb3VudC5rb3ZhLmV4YW1wbGU=], [0x0ABC]"}}));
  EXPECT_TRUE(ended(TARVKOVAServerConfigGet(nullptr), -1, 1));
}

TEST_F(Transport, UserAgentIsSentEvenWhenUnknown) {
  char agent[16] = "";
  EXPECT_TRUE(ended(TARVKOVAUserAgentNameGet(nullptr, 5), -1, 1));
  EXPECT_EQ(TARVKOVAUserAgentNameGet(agent, 0), -1);
  EXPECT_EQ(TARVKOVAUserAgentNameGet(agent, 5), 0);
  EXPECT_STREQ(agent, "Test");
  for (const std::string given : {"", "a\x1F", "a\x7F"}) {
    answer();
    write(kDeviceFile, keyFile("user_agent=" + given));
    EXPECT_EQ(TARVKOVAUserAgentNameGet(agent, sizeof agent), 0);
    const LogLine failure = {"kova_agent_name_get", "TLIBVxinfoUserAgentGet failed, tarverr=[0x0ABC]"};
    EXPECT_TRUE(given.empty() ? std::string(agent).rfind("kova/", 0) == 0 : loggedExactly({failure})) << agent;
  }
}

TEST_F(Transport, SerialNumberComesFromTheDevice) {
  const std::tuple<std::string, const char *, std::string> cases[] = {
      {keyFile("custom_serial=C1 serial=F1"), "C1", ""},
      {keyFile("custom_serial=123456789012345678901234567890123456"), "123456789012345678901234567890", ""},
      {keyFile("custom_serial= serial=F1"), "F1", ""},
      {keyFile("serial=-1"), "-1", "Serial number is invalid: [-1][0x0ABC]"},
      {"serial=\"\xC3\xBC\"\n", "\xC3\xBC", "Serial number is invalid: [\xC3\xBC][0x0ABC]"},
      {"", "", "Failed to get serial number from flash. [0x0ABC]"},
  };
  for (const auto &[device, expected, text] : cases) {
    answer();
    write(kDeviceFile, device);
    char serial[64] = "";
    EXPECT_EQ(TARVKOVAGetSerialNumber(serial, sizeof serial), text.empty() ? 0 : -1) << device;
    EXPECT_STREQ(serial, expected);
    EXPECT_TRUE(text.empty() ? state().log.empty() : loggedExactly({{kToken, text}})) << device;
  }
  for (const char first : std::string("09AZaz/:@[`{")) {
    char cut[4] = "";
    write(kDeviceFile, keyFile("serial=" + std::string(1, first) + "BCDEF"));
    EXPECT_EQ(TARVKOVAGetSerialNumber(cut, sizeof cut), std::isalnum(first) != 0 ? 0 : -1) << first;
    EXPECT_EQ(cut, std::string(1, first) + "BC");
  }
  answer();
  EXPECT_TRUE(ended(TARVKOVAGetSerialNumber(nullptr, 5), -1, 77, {{kToken, "Wrong parameters"}}));
}

TEST_F(Transport, Md5TextAcceptsTheSizeWithoutRoomForItsEnd) {
  char text[40];
  for (const int size : {-1, 0, 31, 32, 33, 40}) {
    std::memset(text, 'x', sizeof text);
    EXPECT_EQ(KovaGetMd5String("abc", text, size), size < 32 ? -1 : 0);
    EXPECT_EQ(std::string(text, 32), size < 32 ? std::string(32, 'x') : "900150983cd24fb0d6963f7d28e17f72") << size;
    EXPECT_EQ(text[39], size == 40 ? '\0' : 'x') << "all of the buffer is cleared, and no more";
  }
  EXPECT_EQ(KovaGetMd5String(nullptr, text, 40), -1);
}

TEST_F(Transport, TokenMatchesAnIndependentComputation) {
  char token[33] = "", empty[256] = "";
  std::set<char> firstDigits;
  for (int i = 0; i < 100; ++i) {
    std::string serial = "S" + std::to_string(i);
    const int size = std::min(i + 1, 33);
    ASSERT_EQ(TARVKOVAGenerateToken("id", nullptr, serial.data(), 4, token, size), 0);
    EXPECT_EQ(token, expectedToken(serial + "id").substr(0, static_cast<std::size_t>(size) - 1));
    firstDigits.insert(expectedMd5(serial + "id")[0]);
  }
  EXPECT_EQ(firstDigits.size(), 16U) << "every number of rounds was met";
  const std::string text(6000, 'q');
  ASSERT_EQ(TARVKOVAGenerateToken(nullptr, text.c_str(), empty, sizeof empty, token, sizeof token), 0);
  EXPECT_STREQ(empty, "1430TST000001") << "an empty buffer is filled from the device";
  EXPECT_EQ(token, expectedToken(empty + text));
}

TEST_F(Transport, TokenFailures) {
  const std::string round = "Sid" + expectedMd5("Sid"), undigested = "Failed to get md5 string from \"";
  const LogLine wrapped = {kToken, "TARVVxtokenGenerateToken Failed, err=[0x0ABC]"};
  const std::tuple<std::string, int, std::string, std::vector<LogLine>> cases[] = {
      {"-S", 33, "", {{kToken, "Serial number is invalid: [-S][0x0ABC]"}}},
      {"S", 0, "", {{kToken, "Parameter error"}, wrapped}},
      {"S", 33, "TLIBCStrCat id", {{kToken, "Fail to concat string"}}},
      {"S", 33, "MD5_Update Sid", {{kToken, undigested + "Sid\"."}, wrapped}},
      {"S", 33, "MD5_Update " + round, {{kToken, undigested + round + "\"."}, wrapped}},
  };
  char token[33] = "";
  for (auto [serial, size, failing, log] : cases) {
    answer({}, {failing});
    EXPECT_TRUE(ended(TARVKOVAGenerateToken("id", nullptr, serial.data(), 3, token, size), -1, 77, log));
  }
  EXPECT_EQ(TARVKOVAGenerateToken("id", nullptr, nullptr, 3, token, 33), -1);
  EXPECT_EQ(TARVKOVAGenerateToken("id", nullptr, std::string("S").data(), 2, nullptr, 33), -1);
}

TEST_F(Transport, TheFormBeginsWithSerialAndToken) {
  const std::string serial = "vx_sn=1430TST000001&vx_token=", own = "vx_sn=OWN%2F1";
  const std::string escaped = "&passwd=a%20b%26c%3Dd%25%C3%BC%22%2F~&key not escaped=";
  const std::string form = serial + expectedToken("1430TST000001") + "&action=authen" + escaped;
  set("passwd", "a b&c=d%\xC3\xBC\"/~");
  set("key not escaped", "");
  EXPECT_EQ(attempt().form, form);
  request_->method = 1;
  EXPECT_EQ(attempt().url, kUrl + "?" + form) << "a GET carries everything in its URL";
  EXPECT_EQ(state().options[0].first, CURLOPT_URL) << "and has no form";
  request_->method = 0;

  std::strcpy(request_->account.kovaID, "id");
  std::strcpy(request_->account.kovaPW, "pw");
  set("vx_sn", "OWN/1");
  // A serial number in the hash goes first, and again in its own place. Keys without a value are left out.
  EXPECT_EQ(attempt().form, own + "&vx_token=" + expectedToken("OWN/1idpw") + "&action=authen" + escaped + "&" + own);
  EXPECT_EQ(attempt({"TLIBCSzHashGetValue action", "TLIBCSzHashGetValue vx_sn"}).form,
            serial + expectedToken("1430TST000001idpw") + escaped);
  set("vx_sn", std::string(300, 's').c_str());
  EXPECT_EQ(attempt().form.rfind("vx_sn=" + std::string(255, 's') + "&vx_token=", 0), 0U);
  request_->method = 1;
  set("long", std::string(5000, 'x').c_str());
  EXPECT_EQ(attempt().url.size(), 4095U);
}

TEST_F(Transport, OptionsAreSetInOrder) {
  const std::string restricted = "REDIR_PROTOCOLS_STR=https ";  // other bases than https keep libcurl's redirects
  for (const auto &[base, seconds, end] : {std::tuple{kBase, "120", restricted},
                                           {"HTTPS://account.kova.example", "15", restricted},
                                           {"http://plain.kova.example", "15", ""}}) {
    request_->base = base.c_str();
    request_->short_timeout = seconds == std::string("15");
    std::string options, form = attempt().form;
    for (const auto &[option, value] : state().options)
      options += std::string(curl_easy_option_by_id(option)->name) + "=" + value + " ";
    EXPECT_EQ(options,
              "POST=1 POSTFIELDS=" + form + " URL=" + base + "/dnsauth.php" +
                  " FOLLOWLOCATION=1 USERAGENT=TestDevice/1.0 HTTPHEADER=[] SSL_VERIFYPEER=1 SSL_VERIFYHOST=2 CAPATH=" +
                  at("/etc/ssl/certs/ca-certificates.crt").string() +
                  " SSLVERSION=1 LOW_SPEED_LIMIT=128 LOW_SPEED_TIME=60 CONNECTTIMEOUT=" + seconds +
                  " TIMEOUT=" + seconds + " WRITEFUNCTION= WRITEDATA= IPRESOLVE=0 MAXREDIRS=30 " + end);
  }
}

TEST_F(Transport, FailuresBeforeTheTransfer) {
  const std::string unknown = curlError(CURLE_UNKNOWN_OPTION), value = "return value" + unknown.substr(4);
  const std::string reason = curl_easy_strerror(CURLE_UNKNOWN_OPTION), setopt = "curl_easy_setopt";
  // What fails, for which texts, and what is logged.
  const std::tuple<std::string, std::vector<std::string>, std::string> cases[] = {
      {"curl_easy_init", {""}, "failed to init pCurl"},
      {"TLIBCSzListAlloc", {""}, "out of memory, ERR=[0x0ABC]"},
      {"curl_easy_escape", {"authen"}, "URL encoding failed: authen"},
      {"TLIBCStrCat", {"action"}, "Fail to concat string"},
      {setopt, {"POST", "POSTFIELDS"}, kUrl + ", Failed to set POST parameters, " + unknown},
      {setopt, {"URL", "FOLLOWLOCATION"}, "Failed to set url to " + kUrl + ", " + unknown},
      {setopt, {"USERAGENT"}, "failed to set agent=TestDevice/1.0, " + value},
      {setopt, {"HTTPHEADER"}, "failed to set req=" + kUrl + ", header=Host: " + kBase + ", " + value},
      {setopt, words("SSL_VERIFYPEER SSL_VERIFYHOST CAPATH SSLVERSION MAXREDIRS REDIR_PROTOCOLS_STR"),
       "Failed to set curl opt error:(48)" + reason},
      {setopt, {"LOW_SPEED_LIMIT", "LOW_SPEED_TIME"}, "Failed to set time-out, " + value},
      {setopt, {"CONNECTTIMEOUT", "TIMEOUT"}, "failed to set time-out, " + value},
      {setopt, {"WRITEFUNCTION"}, "failed to write function WriteMemoryCallback, " + value},
      {setopt, {"WRITEDATA"}, "failed to write data, " + value},
  };
  for (const auto &[function, texts, failure] : cases) {
    for (const std::string &text : texts) {
      const bool isFatal = text != "CONNECTTIMEOUT" && text.find("LOW_SPEED") == std::string::npos;
      const int result = send({kReply}, {function + " " + text});
      EXPECT_TRUE(ended(result, isFatal ? -1 : 0, isFatal ? 4 : 77, {{kUnit, failure}})) << text;
      EXPECT_EQ(state().attempts.size(), isFatal ? 0U : 1U) << failure;
    }
  }
  TLIBCSzHashFree(std::exchange(request_->params, TLIBCSzHashAlloc(4)));
  EXPECT_TRUE(ended(send(), -1, 4, {{kUnit, "no key in the hash, ERR=[0x0ABC]"}}));
  EXPECT_TRUE(ended(TARVKOVAHttpsRequestSend(request_.get(), nullptr), -1, 1));
  request_->path = nullptr;
  EXPECT_TRUE(ended(send(), -1, 1, {}));
  std::swap(request_->path, request_->base);
  EXPECT_TRUE(ended(send(), -1, 1, {}));
}

TEST_F(Transport, NameAndTimeOutFailuresAreTriedAgain) {
  const hooks::Reply noHost = {"", 200, CURLE_COULDNT_RESOLVE_HOST}, noProxy = {"", 200, CURLE_COULDNT_RESOLVE_PROXY};
  const hooks::Reply half = {"{\"half\":", 200, CURLE_OPERATION_TIMEDOUT};
  const hooks::Reply untrusted = {"", 200, CURLE_PEER_FAILED_VERIFICATION};
  const LogLine gaveUp = {kUnit, kUrl + ", Failed to request packages, httpResponseCode=0"};
  const LogLine distrust = {kUnit, kUrl + ", Failed to curl perform, " + curlError(CURLE_PEER_FAILED_VERIFICATION)};
  // Whether the time-out is the short one, the replies, each attempt's address family and each pause, what is logged.
  const std::tuple<bool, std::vector<hooks::Reply>, std::string, std::vector<LogLine>> cases[] = {
      {false, {noHost}, "0 0 1 +1 +1 +1", {gaveUp}},
      {true, {noProxy}, "0 1 +1 +1", {gaveUp}},
      {false, {noHost, half, kReply}, "0 0 1 +1 +1", {}},
      {false, {half, untrusted}, "0 0 +1", {distrust}},
  };
  for (const auto &[isShort, replies, expected, log] : cases) {
    const bool succeeds = log.empty();
    request_->short_timeout = isShort;
    EXPECT_TRUE(ended(send(replies), succeeds ? 0 : -1, succeeds ? 77 : 4, log)) << expected;
    std::string course;
    for (const hooks::Attempt &attempt : state().attempts) course += std::to_string(attempt.ipResolve) + " ";
    for (const unsigned pause : state().pauses) course += "+" + std::to_string(pause) + " ";
    EXPECT_EQ(course, expected + " ");
    EXPECT_STREQ(response_.body, succeeds ? "{}" : nullptr);
    EXPECT_EQ(response_.transfer_result, replies.back().result);
  }
}

TEST_F(Transport, AUserOfAProgramWithMoreRightsChoosesNothing) {
  const std::vector<std::string> names = words("SSLKEYLOGFILE https_proxy ALL_PROXY SSL_CERT_FILE UNRELATED");
  for (const std::string &name : names) setenv(name.c_str(), "/dev/null", 1);
  answer({kReply});
  state().hasMoreRights = true;
  EXPECT_EQ(TARVKOVAHttpsRequestSend(request_.get(), &response_), 0);
  for (const std::string &name : names) EXPECT_EQ(getenv(name.c_str()) != nullptr, name == "UNRELATED") << name;
  for (const std::string &name : names) unsetenv(name.c_str());
}

TEST_F(Transport, OnlyStatus200WithABodyIsAReply) {
  const std::string failed = kUrl + ", Failed to ";
  for (const long status : {0L, 201L, 302L, 500L}) {
    EXPECT_TRUE(ended(send({{"{}", status}}), -1, 4,
                      {{kUnit, failed + "request packages, httpResponseCode=" + std::to_string(status)}}));
    EXPECT_TRUE(response_.http_status == status && response_.body == nullptr);
  }
  EXPECT_TRUE(ended(send({{""}}), -1, 4, {{kUnit, failed + "get response"}}));
  EXPECT_EQ(send({{" \r\n\t\v\f \xC2\xA0 x \v\f\n"}}), 0);
  EXPECT_STREQ(response_.body, "\xC2\xA0 x");
  const std::string large(std::size_t{64} << 20, 'x');
  EXPECT_EQ(send({{large, 200, CURLE_OK, 1 << 20}}), 0);
  EXPECT_EQ(std::strlen(response_.body), large.size());
  response_.transfer_result = 28;
  for (HttpsResponse *each : {&response_, &response_, static_cast<HttpsResponse *>(nullptr)})
    TARVKOVAHttpsResponseFree(each);
  EXPECT_TRUE(response_.body == nullptr && response_.http_status == 0 && response_.transfer_result == 28);
  const std::string unread = failed + "curl_easy_getinfo, " + curlError(CURLE_UNKNOWN_OPTION);
  EXPECT_TRUE(ended(send({kReply}, {"curl_easy_getinfo"}), -1, 4, {{kUnit, unread}}));
  EXPECT_TRUE(ended(send({{"{}"}}, {"strdup"}), 0, 77)) << "a reply without a copy of its body is still a reply";
  EXPECT_TRUE(response_.body == nullptr && response_.http_status == 200);
}

}  // namespace
