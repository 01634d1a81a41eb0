// The library against the running service, over TLS.
#include <gtest/gtest.h>
#include <kova/kova.h>

#include "support/center.h"
#include "support/device.h"
#include "support/json.h"

namespace {

class Live : public DeviceTest {
 protected:
  void makeDevice(const Center &center) {
    center.command("device " + root_.path().string() + " --force --serial 1430TST000001");
    center.command("account add ada@kova.example --name Ada --language enu", "secret");
    state().log.clear();
  }
  static bool logged(const std::string &text) {
    return !state().log.empty() && state().log[0].find(text) != std::string::npos;
  }
  static int authen(const char *password = "secret") {
    Json::Value reply;
    return TARVKOVAAccountAuthen("ada@kova.example", password, nullptr, reply);
  }
};

TEST_F(Live, PasswordsAreJudgedInEveryEnvironment) {
  const Center center;
  makeDevice(center);
  for (const std::string environment : {"", "test", "test2", "dev"}) {
    write("/etc.defaults/tarvinfo.conf", "tarvpkg_server=\"" + environment + "\"\n");
    EXPECT_TRUE(ended(authen(), 0, 0)) << environment;
    EXPECT_TRUE(ended(authen("wrong"), -1, 14)) << environment;
    const Json::Value request = center.journal().back();
    EXPECT_EQ(request["host"], environment.empty() ? "account.kova.example" : "account-test.kova.example");
    EXPECT_EQ(request["method"].asString() + request["path"].asString(), "POST/dnsauth.php");
  }
}

TEST_F(Live, MisbehaviourEndsInAFailureOrIsSurvived) {
  const Center center;
  makeDevice(center);
  const std::string again = "https://account.kova.example/dnsauth.php";
  const std::pair<std::string, const char *> faults[] = {
      {"status 500", "httpResponseCode=500"},
      {"body ''", "Failed to get response"},
      {"redirect 302 " + again, "Failed to authen ada@kova.example"},  // it becomes a GET without parameters
      {"redirect 302 https://elsewhere.example/", "Failed to curl perform, code=56"},
      {"redirect 307 http://127.0.0.1:9/", "Failed to curl perform, code=1,"},  // a redirect never leaves https
      {"cut", "Failed to curl perform, code=18"},
      {"reset", "Failed to curl perform, code="},
      {"garbage", "Failed to curl perform, code=1"},
      {"redirect 307 " + again, ""},
      {"drip 1", ""},
  };
  const auto before = files();
  for (const auto &[fault, log] : faults) {
    state().log.clear();
    center.command("fault add " + fault);
    EXPECT_EQ(authen(), *log == '\0' ? 0 : -1) << fault;
    EXPECT_TRUE(*log == '\0' || logged(log)) << fault << testing::PrintToString(state().log);
  }
  setenv("https_proxy", "http://127.0.0.1:9", 1);  // where nobody listens
  state().log.clear();
  EXPECT_TRUE(ended(authen(), -1, 4));
  EXPECT_TRUE(logged("Failed to curl perform, code=7,"));
  EXPECT_EQ(files(), before);
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
  remove("/etc/ssl/certs/ca-certificates.crt");
  EXPECT_EQ(authen(), -1) << "an authority that the device does not trust";
}

// What the service's commands print, in an empty directory beside the running service.
TEST_F(Live, TheServicesCommandsHoldAgainstOthers) {
  const Center center;
  const std::string functions = "state=" + center.state() + R"(
      center() { )" KOVA_CENTER R"( "$@" --state $state; }
      device() { center device "$@" >/dev/null; }
      fields() {
        { printf 'GET / HTTP/1.1\r\nHost: h\r\nConnection: close\r\n'; printf '%.0sa:\r\n' $(seq 3 $1); echo $'\r'; } |
          openssl s_client -quiet -connect 127.0.0.1:$(grep -o "[0-9]*" $state/run.json | head -1) 2>/dev/null | head -1; }
      )";
  const std::string here = "kovacenter: " + root_.path().string() + "/";
  const std::string shared = here + "open is open to others and holds other files\n";
  const std::pair<std::string, std::string> scripts[] = {
      {"ln -s . link; device link/ --force", here + "link is a symbolic link\n"},
      {"mkdir open; touch open/x; chmod 777 open; device open --force; stat -c %a open; rm open/x", shared + "777\n"},
      {"umask 0; device open; device new/root; find open new -perm /022 ! -type l", ""},
      {"umask 77; device strict; stat -c %a strict strict/etc", "755\n755\n"},
      {"[ -O /usr ] && mkdir r && chown 1 r || ln -s /usr r; device $(realpath r) 2>&1 | cut -d' ' -f5", "another\n"},
      {"device bad --serial '\"'; ls -d bad 2>&-", "kovacenter: not a plain text: \"\n"},
      {"(ulimit -f 0; device half) 2>&-; device half; ls -A half; device half",
       here + "half was left half made; it is made anew\netc\netc.defaults\nusr\nvar\n" + here + "half is not empty\n"},
      {"run() { " KOVA_CENTER " run --state own --device open -- true; }; run; touch open/.kovacenter-unfinished; run; "
       "chmod 777 open; run",
       here + "open trusts the service of another state\n" + here + "open was left half made; it is made anew\n" +
           shared},
      {"state=no; device d; center account add e@kova.example 2>&1 | cut -c-23; ls no 2>&-",
       "kovacenter: no holds no service's state; \"kovacenter serve --state no\" makes one\nkovacenter: no holds no\n"},
      {"center account add e@k.example --name $'E\\033[m\u202e' <<<pw; center account list | grep -o 'E.*'", "E?[m?\n"},
      {"fields 100; fields 101", "HTTP/1.1 404 Not Found\r\nHTTP/1.1 431 Request Header Fields Too Large\r\n"},
  };
  for (const auto &[script, printed] : scripts) {
    write("/script", functions + script);
    std::system(("cd " + root_.path().string() + "; bash script >out 2>&1").c_str());
    EXPECT_EQ(read("/out"), printed) << script;
  }
}

}  // namespace
