// Base URLs, user agent, identity, token and the HTTPS request, asserted without a socket.
#include <curl/curl.h>
#include <gtest/gtest.h>
#include <kova/kova.h>

#include <cctype>
#include <cstring>
#include <memory>
#include <set>

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
  void set(const char *key, const char *value) { TLIBCSzHashSetValue(request_->params, key, value); }
  static const hooks::Attempt &attempt() { return state().attempts.at(0); }

  std::unique_ptr<HttpsRequest> request_ = std::make_unique<HttpsRequest>();
  HttpsResponse response_{};
};

TEST_F(Transport, EnvironmentChoosesTheBaseUrls) {
  const auto config = std::make_unique<ServerConfig>();
  for (const std::string setting : {"", "test", "dev", "test2", "Test"}) {
    const bool isKnown = !setting.empty() && setting != "Test";
    const std::string first = isKnown ? "query-" + setting : "query", service = isKnown ? "account-test" : "account";
    write("/etc.defaults/tarvinfo.conf", keyFile("tarvpkg_server=" + setting));
    EXPECT_TRUE(ended(TARVKOVAServerConfigGet(config.get()), 0, 77)) << "success leaves the code";
    EXPECT_EQ(config->first_url, "https://" + first + ".kova.example") << setting;
    EXPECT_EQ(config->service_url, "https://" + service + ".kova.example") << setting;
  }
  answer({}, {"TARVEncodingBase64Decode YWNjb3VudC5rb3ZhLmV4YW1wbGU="});
  EXPECT_TRUE(ended(TARVKOVAServerConfigGet(config.get()), -1, 6,
                    {{"kova_server_config_get", "base64 decode failed: [YWNjb3VudC5rb3ZhLmV4YW1wbGU=], [0x0ABC]"}}));
  EXPECT_TRUE(ended(TARVKOVAServerConfigGet(nullptr), -1, 1));
}

TEST_F(Transport, UserAgentIsSentEvenWhenUnknown) {
  char agent[16] = "";
  EXPECT_EQ(TARVKOVAUserAgentNameGet(agent, sizeof agent), 0);
  EXPECT_STREQ(agent, "TestDevice/1.0");
  EXPECT_EQ(TARVKOVAUserAgentNameGet(agent, 5), 0);
  EXPECT_STREQ(agent, "Test");
  EXPECT_TRUE(ended(TARVKOVAUserAgentNameGet(nullptr, 5), -1, 1));
  EXPECT_EQ(TARVKOVAUserAgentNameGet(agent, 0), -1);
  write(kDeviceFile, "");
  EXPECT_EQ(TARVKOVAUserAgentNameGet(agent, sizeof agent), 0);
  EXPECT_EQ(std::string(agent).rfind("kova/", 0), 0U) << "that of this package";
  for (const char *control : {"\x1F", "\x7F"}) {
    answer();
    write(kDeviceFile, keyFile(std::string("user_agent=a") + control));
    EXPECT_EQ(TARVKOVAUserAgentNameGet(agent, sizeof agent), 0);
    EXPECT_TRUE(loggedExactly({{"kova_agent_name_get", "TLIBVxinfoUserAgentGet failed, tarverr=[0x0ABC]"}}));
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
    EXPECT_STREQ(serial, expected) << device;
    EXPECT_TRUE(text.empty() ? state().log.empty() : loggedExactly({{kToken, text}})) << device;
  }
  answer();
  char cut[4] = "";
  EXPECT_TRUE(ended(TARVKOVAGetSerialNumber(nullptr, 5), -1, 77, {{kToken, "Wrong parameters"}}));
  write(kDeviceFile, keyFile("serial=ABCDEF"));
  EXPECT_EQ(TARVKOVAGetSerialNumber(cut, sizeof cut), 0);
  EXPECT_STREQ(cut, "ABC");
  for (const char first : std::string("09AZaz/:@[`{")) {
    write(kDeviceFile, keyFile(std::string("serial=") + first));
    EXPECT_EQ(TARVKOVAGetSerialNumber(cut, sizeof cut), std::isalnum(first) != 0 ? 0 : -1) << first;
  }
}

TEST_F(Transport, Md5TextAcceptsTheSizeWithoutRoomForItsEnd) {
  char text[40];
  for (const int size : {31, 0, -1}) EXPECT_EQ(KovaGetMd5String("abc", text, size), -1) << size;
  for (const int size : {32, 33, 40}) {
    std::memset(text, 'x', sizeof text);
    EXPECT_EQ(KovaGetMd5String("abc", text, size), 0) << size;
    EXPECT_STREQ(text, "900150983cd24fb0d6963f7d28e17f72") << size;
    EXPECT_EQ(text[39], size == 40 ? '\0' : 'x') << "all of the buffer is cleared, and no more";
  }
  EXPECT_EQ(KovaGetMd5String(nullptr, text, 40), -1);
  EXPECT_EQ(KovaGetMd5String("", text, 40), 0);
  EXPECT_STREQ(text, "d41d8cd98f00b204e9800998ecf8427e");
}

TEST_F(Transport, TokenMatchesAnIndependentComputation) {
  std::set<char> firstDigits;
  for (int i = 0; i < 100; ++i) {
    char serial[64];
    std::snprintf(serial, sizeof serial, "S%d", i);
    char token[33] = "";
    ASSERT_EQ(TARVKOVAGenerateToken("id", nullptr, serial, sizeof serial, token, sizeof token), 0);
    EXPECT_EQ(token, expectedToken(serial + std::string("id"))) << serial;
    firstDigits.insert(expectedMd5(serial + std::string("id"))[0]);
  }
  EXPECT_EQ(firstDigits.size(), 16U) << "every number of rounds was met";
  const std::string text(6000, 'q');
  char serial[256] = "";
  char token[33] = "";
  ASSERT_EQ(TARVKOVAGenerateToken(text.c_str(), "pw", serial, sizeof serial, token, sizeof token), 0);
  EXPECT_STREQ(serial, "1430TST000001") << "an empty buffer is filled from the device";
  EXPECT_EQ(token, expectedToken(serial + text + "pw"));
  char cut[9] = "";
  ASSERT_EQ(TARVKOVAGenerateToken(nullptr, nullptr, serial, sizeof serial, cut, sizeof cut), 0);
  EXPECT_EQ(cut, expectedToken(serial).substr(0, 8));
}

TEST_F(Transport, TokenFailures) {
  const std::string wrapped = "TARVVxtokenGenerateToken Failed, err=[0x0ABC]", round = "Sid" + expectedMd5("Sid");
  const std::tuple<const char *, int, std::string, std::vector<std::string>> cases[] = {
      {"-S", 33, "", {"Serial number is invalid: [-S][0x0ABC]"}},
      {nullptr, 33, "", {"Wrong parameters"}},
      {"S", 0, "", {"Parameter error", wrapped}},
      {"S", 33, "TLIBCStrCat id", {"Fail to concat string"}},
      {"S", 33, "MD5_Update Sid", {"Failed to get md5 string from \"Sid\".", wrapped}},
      {"S", 33, "MD5_Update " + round, {"Failed to get md5 string from \"" + round + "\".", wrapped}},
  };
  for (const auto &[given, size, failing, texts] : cases) {
    answer({}, {failing});
    char serial[64] = "", token[33] = "";
    if (given != nullptr) std::strcpy(serial, given);
    std::vector<LogLine> log;
    for (const std::string &text : texts) log.emplace_back(kToken, text);
    char *buffer = given != nullptr ? serial : nullptr;
    EXPECT_TRUE(ended(TARVKOVAGenerateToken("id", nullptr, buffer, sizeof serial, token, size), -1, 77, log));
  }
  char serial[64] = "S";
  EXPECT_EQ(TARVKOVAGenerateToken("id", nullptr, serial, sizeof serial, nullptr, 33), -1);
}

TEST_F(Transport, TheFormBeginsWithSerialAndToken) {
  const std::string identity = "vx_sn=1430TST000001&vx_token=" + expectedToken("1430TST000001") + "&action=authen";
  const std::string escaped = "&passwd=a%20b%26c%3Dd%25%C3%BC%22%2F~&key not escaped=";
  set("passwd", "a b&c=d%\xC3\xBC\"/~");
  set("key not escaped", "");
  EXPECT_TRUE(ended(send(), 0, 77));
  EXPECT_EQ(state().attempts.size(), 1U);
  EXPECT_EQ(attempt().form, identity + escaped);
  EXPECT_STREQ(response_.body, "{}") << "white space is trimmed";
  EXPECT_EQ(response_.http_status, 200);
  EXPECT_EQ(response_.transfer_result, 0);

  request_->method = 1;
  EXPECT_EQ(send(), 0);
  EXPECT_EQ(attempt().url, kUrl + "?" + identity + escaped) << "a GET carries everything in its URL";
  for (const auto &set : state().options) EXPECT_TRUE(set.first != CURLOPT_POST && set.first != CURLOPT_POSTFIELDS);
  request_->method = 0;

  std::strcpy(request_->account.kovaID, "id");
  std::strcpy(request_->account.kovaPW, "pw");
  set("vx_sn", "OWN/1");
  EXPECT_EQ(send(), 0);
  EXPECT_EQ(attempt().form,
            "vx_sn=OWN%2F1&vx_token=" + expectedToken("OWN/1idpw") + "&action=authen" + escaped + "&vx_sn=OWN%2F1")
      << "a serial number in the hash goes first, and again in its own place";
  EXPECT_EQ(send({kReply}, {"TLIBCSzHashGetValue action", "TLIBCSzHashGetValue vx_sn"}), 0);
  EXPECT_EQ(attempt().form,
            identity.substr(0, identity.find("vx_token")) + "vx_token=" + expectedToken("1430TST000001idpw") + escaped)
      << "keys without a value are left out";
  set("vx_sn", std::string(300, 's').c_str());
  EXPECT_EQ(send(), 0);
  EXPECT_EQ(attempt().form.rfind("vx_sn=" + std::string(255, 's') + "&vx_token=", 0), 0U);
  request_->method = 1;
  set("long", std::string(5000, 'x').c_str());
  EXPECT_EQ(send(), 0);
  EXPECT_EQ(attempt().url.size(), 4095U);
}

TEST_F(Transport, OptionsAreSetInOrder) {
  for (const auto &[isShort, seconds] : {std::pair{false, "120"}, {true, "15"}}) {
    request_->short_timeout = isShort;
    ASSERT_EQ(send(), 0);
    std::string options;
    for (const auto &[option, value] : state().options)
      options += std::string(curl_easy_option_by_id(option)->name) + "=" + value + " ";
    EXPECT_EQ(options,
              "POST=1 POSTFIELDS=" + attempt().form + " URL=" + kUrl +
                  " FOLLOWLOCATION=1 USERAGENT=TestDevice/1.0 HTTPHEADER=[] SSL_VERIFYPEER=1 SSL_VERIFYHOST=2 CAPATH=" +
                  at("/etc/ssl/certs/ca-certificates.crt").string() +
                  " SSLVERSION=1 LOW_SPEED_LIMIT=128 LOW_SPEED_TIME=60 CONNECTTIMEOUT=" + seconds + " TIMEOUT=" +
                  seconds + " WRITEFUNCTION= WRITEDATA= IPRESOLVE=0 MAXREDIRS=30 REDIR_PROTOCOLS_STR=https ");
  }
  for (const std::string base : {"http://plain.kova.example", "HTTPS://account.kova.example"}) {
    request_->base = base.c_str();
    ASSERT_EQ(send(), 0);
    const CURLoption last = base[0] == 'H' ? CURLOPT_REDIR_PROTOCOLS_STR : CURLOPT_MAXREDIRS;
    EXPECT_EQ(state().options.back().first, last) << "other bases than https keep libcurl's redirects";
  }
}

TEST_F(Transport, OptionsMayFail) {
  const std::string unknown = curlError(CURLE_UNKNOWN_OPTION), value = "return value" + unknown.substr(4);
  const std::string post = kUrl + ", Failed to set POST parameters, " + unknown;
  const std::string url = "Failed to set url to " + kUrl + ", " + unknown;
  const std::string verification =
      std::string("Failed to set curl opt error:(48)") + curl_easy_strerror(CURLE_UNKNOWN_OPTION);
  const std::tuple<const char *, std::string, bool> cases[] = {
      {"POST POSTFIELDS", post, true},
      {"URL FOLLOWLOCATION", url, true},
      {"USERAGENT", "failed to set agent=TestDevice/1.0, " + value, true},
      {"HTTPHEADER", "failed to set req=" + kUrl + ", header=Host: " + kBase + ", " + value, true},
      {"SSL_VERIFYPEER SSL_VERIFYHOST CAPATH SSLVERSION", verification, true},
      {"MAXREDIRS REDIR_PROTOCOLS_STR", verification, true},
      {"LOW_SPEED_LIMIT LOW_SPEED_TIME", "Failed to set time-out, " + value, false},
      {"CONNECTTIMEOUT", "failed to set time-out, " + value, false},
      {"TIMEOUT", "failed to set time-out, " + value, true},
      {"WRITEFUNCTION", "failed to write function WriteMemoryCallback, " + value, true},
      {"WRITEDATA", "failed to write data, " + value, true},
  };
  for (const auto &[options, failure, isFatal] : cases) {
    for (const std::string &option : words(options)) {
      EXPECT_TRUE(ended(send({kReply}, {"curl_easy_setopt " + option}), isFatal ? -1 : 0, isFatal ? 4 : 77,
                        {{kUnit, failure}}));
      EXPECT_EQ(state().attempts.size(), isFatal ? 0U : 1U) << failure;
    }
  }
}

TEST_F(Transport, FailuresBeforeTheTransfer) {
  const std::pair<const char *, LogLine> cases[] = {
      {"curl_easy_init", {kUnit, "failed to init pCurl"}},
      {"TLIBGetSerialNumber", {kToken, "Failed to get serial number from flash. [0x0ABC]"}},
      {"TLIBCSzListAlloc", {kUnit, "out of memory, ERR=[0x0ABC]"}},
      {"curl_easy_escape authen", {kUnit, "URL encoding failed: authen"}},
      {"TLIBCStrCat action", {kUnit, "Fail to concat string"}},
  };
  for (const auto &[failing, line] : cases) {
    EXPECT_TRUE(ended(send({kReply}, {failing}), -1, 4, {line}));
    EXPECT_EQ(state().attempts.size(), 0U) << failing;
    EXPECT_EQ(response_.transfer_result, 0);
  }
  TLIBCSzHashFree(std::exchange(request_->params, TLIBCSzHashAlloc(4)));
  EXPECT_TRUE(ended(send(), -1, 4, {{kUnit, "no key in the hash, ERR=[0x0ABC]"}}));
  EXPECT_TRUE(ended(TARVKOVAHttpsRequestSend(request_.get(), nullptr), -1, 1));
  for (const char **field : {&request_->base, &request_->path}) {
    const char *kept = std::exchange(*field, nullptr);
    EXPECT_TRUE(ended(send(), -1, 1, {}));
    *field = kept;
  }
}

TEST_F(Transport, NameAndTimeOutFailuresAreTriedAgain) {
  const auto end = [](CURLcode result, const char *body = "") { return hooks::Reply{body, 200, result}; };
  const hooks::Reply late = end(CURLE_OPERATION_TIMEDOUT), noHost = end(CURLE_COULDNT_RESOLVE_HOST);
  const hooks::Reply noProxy = end(CURLE_COULDNT_RESOLVE_PROXY), half = end(CURLE_OPERATION_TIMEDOUT, "{\"half\":");
  const std::string gaveUp = "request packages, httpResponseCode=0";
  const std::string refusal = "curl perform, " + curlError(CURLE_COULDNT_CONNECT);
  const std::string distrust = "curl perform, " + curlError(CURLE_PEER_FAILED_VERIFICATION);
  // Whether the time-out is the short one, the replies, the result, the address families, the pauses, what is logged.
  const std::tuple<bool, std::vector<hooks::Reply>, int, std::vector<long>, std::size_t, std::string> cases[] = {
      {false, {noHost}, -1, {0, 0, 1}, 3, gaveUp},
      {true, {noProxy}, -1, {0, 1}, 2, gaveUp},
      {false, {late, noHost, kReply}, 0, {0, 0, 1}, 2, ""},
      {false, {half, kReply}, 0, {0, 0}, 1, ""},
      {false, {end(CURLE_COULDNT_CONNECT)}, -1, {0}, 0, refusal},
      {false, {late, end(CURLE_PEER_FAILED_VERIFICATION)}, -1, {0, 0}, 1, distrust},
  };
  for (const auto &[isShort, replies, result, families, pauses, text] : cases) {
    SCOPED_TRACE(testing::PrintToString(families) + text);
    request_->short_timeout = isShort;
    EXPECT_TRUE(ended(send(replies), result, result < 0 ? 4 : 77));
    std::vector<long> tried;
    for (const hooks::Attempt &attempt : state().attempts) tried.push_back(attempt.ipResolve);
    EXPECT_EQ(tried, families);
    EXPECT_EQ(state().pauses, std::vector<unsigned>(pauses, 1));
    const LogLine line = {kUnit, kUrl + ", Failed to " + text};
    EXPECT_TRUE(result == 0 ? state().log.empty() : loggedExactly({line}));
    EXPECT_STREQ(response_.body, result == 0 ? "{}" : nullptr);
    EXPECT_EQ(response_.http_status, result == 0 ? 200 : 0);
    EXPECT_EQ(response_.transfer_result, replies.back().result);
  }
}

TEST_F(Transport, AUserOfAProgramWithMoreRightsChoosesNothing) {
  for (const bool hasMoreRights : {false, true}) {
    for (const char *name : {"SSLKEYLOGFILE", "https_proxy", "ALL_PROXY", "SSL_CERT_FILE", "UNRELATED"}) {
      setenv(name, "/dev/null", 1);
      answer({kReply});
      state().hasMoreRights = hasMoreRights;
      EXPECT_EQ(TARVKOVAHttpsRequestSend(request_.get(), &response_), 0);
      TARVKOVAHttpsResponseFree(&response_);
      EXPECT_EQ(getenv(name) == nullptr, hasMoreRights && name != std::string("UNRELATED")) << name;
      unsetenv(name);
    }
  }
}

TEST_F(Transport, OnlyStatus200WithABodyIsAReply) {
  for (const long status : {0L, 201L, 302L, 500L}) {
    EXPECT_TRUE(ended(send({{"{}", status}}), -1, 4,
                      {{kUnit, kUrl + ", Failed to request packages, httpResponseCode=" + std::to_string(status)}}));
    EXPECT_EQ(response_.http_status, status);
    EXPECT_EQ(response_.body, nullptr);
  }
  EXPECT_TRUE(ended(send({{""}}), -1, 4, {{kUnit, kUrl + ", Failed to get response"}}));
  EXPECT_EQ(send({{" \r\n\t\v\f "}}), 0);
  EXPECT_STREQ(response_.body, "");
  std::string large(std::size_t{64} << 20, 'x');
  EXPECT_EQ(send({{large, 200, CURLE_OK, 1 << 20}}), 0);
  EXPECT_EQ(std::strlen(response_.body), large.size());
  large += 'x';
  const std::string cutOff = kUrl + ", Failed to curl perform, " + curlError(CURLE_WRITE_ERROR);
  EXPECT_TRUE(ended(send({{large, 200, CURLE_OK, 1 << 20}}), -1, 4, {{kUnit, cutOff}})) << "one byte too many";
  response_.transfer_result = 28;
  for (int i = 0; i < 2; ++i) TARVKOVAHttpsResponseFree(&response_);
  TARVKOVAHttpsResponseFree(nullptr);
  EXPECT_TRUE(response_.body == nullptr && response_.http_status == 0);
  EXPECT_EQ(response_.transfer_result, 28) << "releasing keeps it";
  const std::string unread = kUrl + ", Failed to curl_easy_getinfo, " + curlError(CURLE_UNKNOWN_OPTION);
  EXPECT_TRUE(ended(send({kReply}, {"curl_easy_getinfo"}), -1, 4, {{kUnit, unread}}));
  EXPECT_TRUE(ended(send({{"{}"}}, {"strdup"}), 0, 77)) << "a reply without a copy of its body is still a reply";
  EXPECT_TRUE(response_.body == nullptr && response_.http_status == 200);
}

}  // namespace
