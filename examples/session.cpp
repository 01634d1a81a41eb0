// Signs the device in to an account, shows the account and signs out again.
//
// Exit code: 0 success, 1 failure, 2 wrong usage, 3 not signed in.
#include <json/value.h>
#include <kova/kova.h>
#include <string.h>  // explicit_bzero
#include <termios.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <iostream>
#include <string>

namespace {

constexpr int kSuccess = 0, kFailure = 1, kUsage = 2, kNotSignedIn = 3;

// Tells what failed and why. The next call of the library may set another code, so it is read at once. A failure may
// leave code 0, where the header says so: -1 has a text for it.
int fail(const char *what) {
  const int32_t code = TARVKOVAErrGet();
  const KovaErrorText &text = *KovaErrorTextGet(code != KOVA_SUCCESS ? code : -1);
  std::cerr << what << ": " << text.sentence << " (" << text.name << ", code " << code << ")\n";
  return code == KOVA_ERR_ACCOUNT_GET ? kNotSignedIn : kFailure;
}

// While it lives, a terminal on standard input shows nothing that is typed, and Ctrl-C is a character like others: the
// program is not ended before the terminal is as it was.
class SilentTerminal {
 public:
  SilentTerminal() : isTerminal_(tcgetattr(STDIN_FILENO, &before_) == 0) {
    if (!isTerminal_) return;
    termios silent = before_;
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO | ISIG);
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent);
    std::cerr << "Password: ";
  }
  ~SilentTerminal() {
    if (!isTerminal_) return;
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &before_);
    std::cerr << '\n';
  }
  SilentTerminal(const SilentTerminal &) = delete;
  SilentTerminal &operator=(const SilentTerminal &) = delete;

 private:
  termios before_{};
  bool isTerminal_;
};

// The first line of standard input. A password in an argument or in the environment could be read by other users. It
// is read without a stream, whose buffer would keep it, and overwritten at the end.
class Password {
 public:
  Password() = default;
  Password(const Password &) = delete;
  Password &operator=(const Password &) = delete;
  ~Password() { explicit_bzero(text_, sizeof text_); }

  // False where there is none, or it is too long.
  bool read() {
    const SilentTerminal terminal;
    std::size_t length = 0;
    while (length + 1 < sizeof text_ && ::read(STDIN_FILENO, &text_[length], 1) == 1 && text_[length] != '\n') {
      if (text_[length] == '\0' || text_[length] == '\x03') return false;
      ++length;
    }
    text_[length] = '\0';
    return length > 0 && length + 1 < sizeof text_;
  }
  const char *c_str() const { return text_; }

 private:
  char text_[1024] = "";
};

// What the library fills. It holds the device's auth key, which is overwritten at the end.
class Reply {
 public:
  Reply() = default;
  Reply(const Reply &) = delete;
  Reply &operator=(const Reply &) = delete;
  ~Reply() {
    const char *begin = nullptr;
    const char *end = nullptr;
    if (!member("auth_key").getString(&begin, &end)) return;
    explicit_bzero(const_cast<char *>(begin), static_cast<std::size_t>(end - begin));
  }

  Json::Value &value() { return value_; }
  // The values are the service's own and may be of any type: jsoncpp throws where a member is asked of what is not an
  // object, or a text of what cannot be one.
  std::string text(const char *name) const {
    const Json::Value &found = member(name);
    return found.isConvertibleTo(Json::stringValue) ? found.asString() : std::string();
  }

 private:
  const Json::Value &member(const char *name) const {
    return value_.isObject() ? value_[name] : Json::Value::nullSingleton();
  }

  Json::Value value_;  // the caller's own: the library only assigns to it
};

// From the account file while that is fresh, else from the service, within 2 attempts of 15 s.
int status() {
  Reply profile;
  if (TARVKOVAAccountQueryInfo(profile.value(), false, true) < 0) return fail("account");
  std::cout << "signed in as " << profile.text("email") << " (" << profile.text("full_name") << ")\n";
  return kSuccess;
}

int login(const char *email) {
  Password password;
  if (!password.read()) {
    std::cerr << "no password on standard input\n";
    return kFailure;
  }
  Reply reply;
  if (TARVKOVAAccountLogin(email, password.c_str(), reply.value(), false) < 0) return fail("login");
  // The sign-in succeeds also where its last steps failed, which the code tells; code 3 is that it did not last.
  if (TARVKOVAErrGet() == KOVA_ERR_ACCOUNT_GET) return fail("login");
  return status();
}

int logout() {
  if (TARVKOVAAccountLogout() < 0) return fail("logout");
  // The service may have refused, which does not keep the device from signing out.
  if (TARVKOVAErrGet() != KOVA_SUCCESS) fail("signed out here, but the service did not agree");
  char path[4096];
  if (KovaDevicePath("/etc/kova.conf", path, sizeof path) >= 0 && access(path, F_OK) == 0) {
    std::cerr << path << " could not be removed\n";
    return kFailure;
  }
  std::cout << "signed out\n";
  return kSuccess;
}

}  // namespace

int main(int argc, char **argv) try {
  const std::string command = argc > 1 ? argv[1] : "";
  if (command == "login" && argc == 3) return login(argv[2]);
  if (command == "status" && argc == 2) return status();
  if (command == "logout" && argc == 2) return logout();
  std::cerr << "usage: session login EMAIL | session status | session logout\n";
  return kUsage;
} catch (const std::exception &error) {  // from this program's own code: the library throws nothing
  std::cerr << error.what() << '\n';
  return kFailure;
}
