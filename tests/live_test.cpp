// The library against the running service, over TLS.
#include <gtest/gtest.h>
#include <kova/kova.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>

#include "support/center.h"
#include "support/device.h"
#include "support/json.h"
#include "support/token.h"

namespace {

constexpr char kSerial[] = "1430TST000001";

class Live : public DeviceTest {
 protected:
  void makeDevice(const Center &center) {
    center.command("device " + root_.path().string() + " --force --serial " + kSerial);
    center.command("account add ada@kova.example --name Ada --language enu", "secret");
    hooks::state().log.clear();
  }
  static bool logged(const std::string &text) {
    return !hooks::state().log.empty() && hooks::state().log[0].find(text) != std::string::npos;
  }
  static int authen(const char *password = "secret") {
    Json::Value reply;
    return TARVKOVAAccountAuthen("ada@kova.example", password, nullptr, reply);
  }
};

TEST_F(Live, PasswordsAreJudgedAndTheWireIsWhatTheServiceSees) {
  const Center center;
  makeDevice(center);
  EXPECT_TRUE(ended(authen(), 0, 0));
  EXPECT_TRUE(ended(authen("wrong"), -1, 14));
  for (const auto &[environment, host] : {std::pair{"test", "account-test.kova.example"},
                                          {"test2", "account-test.kova.example"},
                                          {"dev", "account-test.kova.example"},
                                          {"", "account.kova.example"}}) {
    write("/etc.defaults/tarvinfo.conf", std::string("tarvpkg_server=\"") + environment + "\"\n");
    EXPECT_EQ(authen(), 0) << environment;
    const std::vector<Json::Value> journal = center.journal();
    ASSERT_FALSE(journal.empty());
    EXPECT_EQ(journal.back()["host"], host);
    EXPECT_EQ(journal.back()["path"], "/dnsauth.php");
    EXPECT_EQ(journal.back()["method"], "POST");
    EXPECT_EQ(journal.back()["form"], "vx_sn=1430TST000001&vx_token=" + expectedToken(kSerial) +
                                          "&action=authen&email=ada%40kova.example&passwd=" + expectedMd5("secret") +
                                          "&serial=1430TST000001");
  }
}

TEST_F(Live, MisbehaviourEndsInAFailureOrIsSurvived) {
  const Center center;
  makeDevice(center);
  struct Case {
    std::string fault;
    int result;
    std::string log;
    std::size_t pauses;
  };
  const std::string home = "https://account.kova.example/dnsauth.php";
  const Case cases[] = {
      {"status 204", -1, "httpResponseCode=204", 0},
      {"status 401", -1, "httpResponseCode=401", 0},
      {"status 500", -1, "httpResponseCode=500", 0},
      {"body ''", -1, "Failed to get response", 0},
      {"body '  '", -1, "Failed to parse json: ", 0},
      {"body nonsense", -1, "Failed to parse json: nonsense", 0},
      {"redirect 307 " + home, 0, "", 0},
      {"redirect 302 " + home, -1, "Failed to authen ada@kova.example", 0},  // it becomes a GET without parameters
      {"redirect 302 https://elsewhere.example/", -1, "Failed to curl perform, code=56", 0},
      {"cut", -1, "Failed to curl perform, code=18", 0},
      {"reset", -1, "Failed to curl perform, code=", 0},
      {"garbage", -1, "Failed to curl perform, code=1", 0},
      {"drip 1", 0, "", 0},
      {"silence --count 3", -1, "httpResponseCode=0", 3},
      {"silence", 0, "", 1}};
  for (const Case &row : cases) {
    hooks::state().log.clear();
    hooks::state().pauses.clear();
    // Silence is waited for a moment instead of two minutes.
    hooks::state().timeoutMilliseconds = row.fault.rfind("silence", 0) == 0 ? 300 : 0;
    center.command("fault clear");
    center.command("fault add " + row.fault);
    const auto before = files();
    EXPECT_EQ(authen(), row.result) << row.fault;
    EXPECT_EQ(hooks::state().pauses.size(), row.pauses) << row.fault;
    EXPECT_TRUE(row.log.empty() ? hooks::state().log.empty() : logged(row.log))
        << row.fault << testing::PrintToString(hooks::state().log);
    EXPECT_EQ(files(), before);
  }
}

TEST_F(Live, ARedirectNeverLeavesHttps) {
  const Center center;
  makeDevice(center);
  const int listener = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr *>(&address), size), 0);
  ASSERT_EQ(listen(listener, 1), 0);
  ASSERT_EQ(getsockname(listener, reinterpret_cast<sockaddr *>(&address), &size), 0);
  center.command("fault add redirect 307 http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/");
  EXPECT_TRUE(ended(authen(), -1, 4));
  EXPECT_EQ(accept(listener, nullptr, nullptr), -1) << "nobody came";
  close(listener);
}

TEST_F(Live, BadCertificatesAreRefused) {
  for (const std::string kind : {"expired", "wrong-name", "self-signed"}) {
    const Center center("--certificate " + kind);
    makeDevice(center);
    EXPECT_TRUE(ended(authen(), -1, 4)) << kind;
    EXPECT_TRUE(logged("code=60, err="));
  }
  const Center center;
  makeDevice(center);
  std::filesystem::remove_all(at("/etc/ssl/certs/ca-certificates.crt"));
  EXPECT_EQ(authen(), -1) << "an authority that the device does not trust";
}

TEST_F(Live, AnUnreachableServiceIsReported) {
  setenv("https_proxy", "http://127.0.0.1:9", 1);
  EXPECT_TRUE(ended(authen(), -1, 4));
  unsetenv("https_proxy");
  EXPECT_TRUE(logged("Failed to curl perform, code=7"));
}

TEST_F(Live, TheKeyIsKnownFromTheSecondLoginOnAndEndsWithThePassword) {
  const Center center;
  makeDevice(center);
  center.command("account set ada@kova.example --revoke-on-password-change");
  Json::Value reply;
  ASSERT_EQ(TARVKOVAAccountLogin("ada@kova.example", "secret", reply, false), 0);
  const std::size_t requests = center.journal().size();
  ASSERT_EQ(TARVKOVAAccountLogin("ada@kova.example", "secret", reply, false), 0);
  EXPECT_EQ(center.journal().size(), requests + 2) << "one request, and the profile";
  const char *const none = nullptr;
  EXPECT_TRUE(ended(TARVKOVAAccountSetInfo(none, none, "secret", "changed", none, none, none, -1, -1, -1, none), 0, 3));
  EXPECT_FALSE(exists("/etc/kova.conf")) << "the refresh signs the device out";
  EXPECT_EQ(TARVKOVAAccountLogin("ada@kova.example", "changed", reply, false), 0);
}

}  // namespace
