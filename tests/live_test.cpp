// The library against the running service, over TLS.
#include <gtest/gtest.h>
#include <kova/kova.h>

#include <memory>
#include <tuple>

#include "support/center.h"
#include "support/device.h"

namespace {

class Live : public DeviceTest {};

TEST_F(Live, MisbehaviourEndsInAFailureOrIsSurvived) {
  const std::string done = "Logged in Kova Center as ada@kova.example",
                    refused = "Failed to login ada@kova.example, resp=";
  const std::string again = "https://account.kova.example/dnsauth.php", perform = "Failed to curl perform, code=";
  const std::string keys = R"(@{"code":"good","kova_id":"1","auth_key":"k")", nul(1, '\0');
  // How the service was started, what it does in place of answering (or, behind "@", the body of its reply), and the
  // error code and a log line of the login that meets it.
  std::vector<std::tuple<std::string, std::string, int32_t, std::string>> cases = {
      {"--certificate expired", "", 4, perform + "60,"},
      {"--certificate wrong-name", "", 4, perform + "60,"},
      {"--certificate self-signed", "", 4, perform + "60,"},
      {"", "status 500", 4, "httpResponseCode=500"},
      {"", "redirect 302 " + again, 1, refused},  // it becomes a GET without parameters
      {"", "redirect 302 https://elsewhere.example/", 4, perform + "56,"},
      {"", "redirect 307 http://127.0.0.1:9/", 4, perform + "1,"},  // a redirect never leaves https
      {"", "--count 30 redirect 307 " + again, 0, done},
      {"", "--count 31 redirect 307 " + again, 4, perform + "47,"},
      {"", "@" + std::string((64 << 20) + 1, ' '), 4, perform + "23,"},
      {"", "cut", 4, perform + "18,"},
      {"", "garbage", 4, perform + "1,"},
      {"", "drip 1", 0, done},
      {"", "delay 10", 0, done},
      {"", "@" + std::string(1000000, '['), 2, "Failed to parse json: "},
      {"", keys + ",\"code\":\"" + std::string(1 << 20, 'x') + "\"}", 24, refused},
      {"", keys + "}" + nul + "{", 3, done},  // the text ends there, and the key does not work
      {"", keys + R"(,"kova_id":"4\nkovaPW=\"x"})", 19, "TLIBCFileSetKeys() failed"},
  };
  // The refresh that follows has no key that works.
  for (const std::string &value : words(R"(7 0.5 true null ["good"] {"good":1} "")"))
    cases.emplace_back("", keys + ",\"kova_id\":" + value + ",\"auth_key\":" + value + "}", 3, done);
  const auto login = [&](int32_t code, const std::string &log) {
    write(kAccountFile, kSignedIn);
    const auto before = files();
    state().log.clear();
    Json::Value reply = "mine";
    EXPECT_TRUE(ended(TARVKOVAAccountLogin("ada@kova.example", "secret", reply, false), log == done ? 0 : -1, code));
    const std::string logged = testing::PrintToString(state().log);
    EXPECT_NE(logged.find(log), std::string::npos) << logged.substr(0, 1000);
    EXPECT_TRUE(log == done || files() == before);
  };
  std::unique_ptr<Center> center;
  std::string started = "not";
  for (const auto &[service, fault, code, log] : cases) {
    SCOPED_TRACE(service + fault.substr(0, 100));
    if (service != started) {
      center.reset();
      center = std::make_unique<Center>(started = service);
      center->command("device " + root_.path().string() + " --force --serial 1430TST000001");
      center->command("account add ada@kova.example --name Ada --language enu", "secret");
    }
    const std::string file = center->state() + "/body";
    writeFile(file, fault.substr(fault.empty() ? 0 : 1));
    if (!fault.empty()) center->command("fault add " + (fault[0] == '@' ? "body @" + file : fault));
    login(code, log);
  }
  for (const std::string environment : {"test", "test2", "dev"}) {
    write("/etc.defaults/tarvinfo.conf", keyFile("tarvpkg_server=" + environment));
    login(0, done);
    EXPECT_EQ(center->journal().back()["host"], "account-test.kova.example") << environment;
  }
  remove("/etc/ssl/certs/ca-certificates.crt");
  login(4, "code=60,");                            // an authority that the device does not trust
  setenv("https_proxy", "http://127.0.0.1:9", 1);  // where nobody listens
  login(4, "Failed to curl perform, code=7,");
}

// What the service's commands print, in an empty directory beside the running service.
TEST_F(Live, TheServicesCommandsHoldAgainstOthers) {
  const Center center;
  const std::string functions = "state=" + center.state() + R"(
      center() { )" KOVA_CENTER R"( "$@" --state $state; }
      device() { center device "$@" >/dev/null; }
      fields() {
        { printf 'GET /dnsauth.php HTTP/1.1\r\nHost: Account.KOVA.example\r\nConnection: close\r\n'
          printf '%.0sa:\r\n' $(seq 3 $1); echo $'\r'; } |
          openssl s_client -quiet -connect 127.0.0.1:$(grep -o "[0-9]*" $state/run.json | head -1) 2>/dev/null | head -1; }
      )";
  const std::string shared = "! open is open to others and holds other files\n";
  const std::pair<std::string, std::string> scripts[] = {
      {"ln -s . link; device link/ --force", "! link is a symbolic link\n"},
      {"mkdir open; touch open/x; chmod 777 open; device open --force; stat -c %a open; rm open/x", shared + "777\n"},
      {"umask 0; device open; device new/root; find open new -perm /022 ! -type l", ""},
      {"umask 77; device strict; stat -c %a strict strict/etc", "755\n755\n"},
      {"[ -O /usr ] && mkdir r && chown 1 r || ln -s /usr r; device $(realpath r) 2>&1 | cut -d' ' -f5", "another\n"},
      {"device bad --serial '\"'; ls -d bad 2>&-", "kovacenter: not a plain text: \"\n"},
      {"(ulimit -f 0; device half) 2>&-; device half; ls -A half; device half --mac 0",
       "! half was left half made; it is made anew\netc\netc.defaults\nusr\nvar\n! half is not empty\n"},
      {"center device again >made; cp -r again copy; center device again/. | cmp - made; diff -r again copy", ""},
      {"run() { " KOVA_CENTER " run --state own --device open -- true; }; run; touch open/.kovacenter-unfinished; run; "
       "chmod 777 open; run",
       "! open trusts the service of another state\n! open was left half made; it is made anew\n" + shared},
      {"state=no; device d; center account add e@kova.example 2>&1 | cut -c-23; ls no 2>&-",
       "kovacenter: no holds no service's state; \"kovacenter serve --state no\" makes one\nkovacenter: no holds no\n"},
      {"center account add e@k.example --password-file - --name $'E\\033[m\u202e' <<<pw; center account list | grep -o "
       "'E.*'",
       "E?[m?\n"},
      {"device d; center fault add redirect 302 'https://account.kova.example/dnsauth.php?action=%1b'\n"
       "KOVA_DEVICE_ROOT=$PWD/d " KOVA_TOOL " check e@k.example <<<pw 2>&-; center journal | cut -c15-",
       "POST account.kova.example/dnsauth.php       authen       302 fault redirect\n"
       "GET  account.kova.example/dnsauth.php       ?            200 badparam\n"},
      {"state=b; center serve --background >/dev/null; center device b/d | grep -o http:; center serve --background\n"
       "center stop; [ -e b/run.json ] && echo left; center stop\n"
       "center serve --background | sed 's/ https.*//; s|/.*/|/|'; center stop",
       "http:\nkovacenter: a service runs on this state already\nkovacenter: no service runs on this state\n"
       "kovacenter, for development only, on the loopback only:\nstop it with: kovacenter stop --state '/b'\n"},
      {"fields 100; fields 101", "HTTP/1.1 200 OK\r\nHTTP/1.1 431 Request Header Fields Too Large\r\n"},
  };
  const std::string run = "cd " + root_.path().string() + "; bash script 2>&1 | sed \"s|^kovacenter: $PWD/|! |\" >out";
  for (const auto &[script, printed] : scripts) {
    write("/script", functions + script);
    EXPECT_EQ(std::system(run.c_str()), 0);
    EXPECT_EQ(read("/out"), printed) << script;
  }
}

}  // namespace
