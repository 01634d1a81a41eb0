// The library against the running service, over TLS.
#include <gtest/gtest.h>
#include <kova/kova.h>

#include <memory>

#include "support/center.h"
#include "support/device.h"

namespace {

class Live : public DeviceTest {
 protected:
  void makeDevice(const Center &center) {
    center.command("device " + root_.path().string() + " --force --serial 1430TST000001");
    center.command("account add ada@kova.example --name Ada --language enu", "secret");
    state().log.clear();
  }
  static bool logged(const std::string &text) {
    return testing::PrintToString(state().log).find(text) != std::string::npos;
  }
  static int authen() {
    Json::Value reply;
    return TARVKOVAAccountAuthen("ada@kova.example", "secret", nullptr, reply);
  }
};

// What the service does in place of answering, and the error code and a log line of the login that meets it.
struct Misbehaviour {
  std::string fault;
  int32_t code;
  std::string log;
  std::string body = "";     // in place of a fault
  std::string service = "";  // how the service was started
};

std::vector<Misbehaviour> misbehaviours(const std::string &refused, const std::string &done) {
  const std::string again = "https://account.kova.example/dnsauth.php", perform = "Failed to curl perform, code=";
  const std::string keys = R"({"code":"good","kova_id":"1","auth_key":"k")", nul(1, '\0');
  std::vector<Misbehaviour> rows = {
      {"status 500", 4, "httpResponseCode=500"},
      {"body ''", 4, "Failed to get response"},
      {"redirect 302 " + again, 1, refused},  // it becomes a GET without parameters
      {"redirect 302 https://elsewhere.example/", 4, perform + "56,"},
      {"redirect 307 http://127.0.0.1:9/", 4, perform + "1,"},  // a redirect never leaves https
      {"--count 30 redirect 307 " + again, 0, done},
      {"--count 31 redirect 307 " + again, 4, perform + "47,"},
      {"", 4, perform + "23,", std::string((64 << 20) + 1, ' ')},
      {"cut", 4, perform + "18,"},
      {"reset", 4, perform},
      {"garbage", 4, perform + "1,"},
      {"drip 1", 0, done},
      {"delay 10", 0, done},
      {"", 2, "Failed to parse json: ", std::string(1000000, '[')},
      {"", 24, refused, keys + ",\"code\":\"" + std::string(1 << 20, 'x') + "\"}"},
      {"", 3, done, keys + "}" + nul + "{"},  // the text ends there, and the key does not work
      {"", 19, "TLIBCFileSetKeys() failed", keys + R"(,"kova_id":"4\nkovaPW=\"x"})"},
  };
  // The refresh that follows has no key that works.
  for (const char *value : {"7", "0.5", "true", "null", "[\"good\"]", "{\"good\":1}", "\"\""})
    rows.push_back({"", 3, done, keys + ",\"kova_id\":" + value + ",\"auth_key\":" + value + "}"});
  for (const char *kind : {"expired", "wrong-name", "self-signed"})
    rows.push_back({"", 4, perform + "60,", "", std::string("--certificate ") + kind});
  return rows;
}

TEST_F(Live, MisbehaviourEndsInAFailureOrIsSurvived) {
  const std::string done = "Logged in Kova Center as ada@kova.example";
  std::unique_ptr<Center> center;
  std::string service = "none";
  for (const Misbehaviour &row : misbehaviours("Failed to login ada@kova.example, resp=", done)) {
    SCOPED_TRACE(row.service + row.fault + row.body.substr(0, 100));
    if (row.service != service) {
      center.reset();
      center = std::make_unique<Center>(service = row.service);
      makeDevice(*center);
    }
    const std::string file = center->state() + "/body";
    writeFile(file, row.body);
    if (!row.body.empty()) center->command("fault add body @" + file);
    if (!row.fault.empty()) center->command("fault add " + row.fault);
    write(kAccountFile, kSignedIn);
    const auto before = files();
    state().log.clear();
    Json::Value reply = "mine";
    EXPECT_TRUE(
        ended(TARVKOVAAccountLogin("ada@kova.example", "secret", reply, false), row.log == done ? 0 : -1, row.code));
    EXPECT_TRUE(logged(row.log)) << testing::PrintToString(state().log).substr(0, 1000);
    EXPECT_TRUE(row.log == done || files() == before);
  }
  center.reset();
  center = std::make_unique<Center>();
  makeDevice(*center);
  for (const std::string environment : {"test", "test2", "dev"}) {
    write("/etc.defaults/tarvinfo.conf", keyFile("tarvpkg_server=" + environment));
    EXPECT_TRUE(ended(authen(), 0, 0)) << environment;
    EXPECT_EQ(center->journal().back()["host"], "account-test.kova.example");
  }
  remove("/etc/ssl/certs/ca-certificates.crt");
  state().log.clear();
  EXPECT_TRUE(ended(authen(), -1, 4) && logged("code=60,")) << "an authority that the device does not trust";
  setenv("https_proxy", "http://127.0.0.1:9", 1);  // where nobody listens
  state().log.clear();
  EXPECT_TRUE(ended(authen(), -1, 4));
  EXPECT_TRUE(logged("Failed to curl perform, code=7,"));
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
    [[maybe_unused]] const int status =
        std::system(("cd " + root_.path().string() + "; bash script >out 2>&1").c_str());
    EXPECT_EQ(read("/out"), printed) << script;
  }
}

}  // namespace
