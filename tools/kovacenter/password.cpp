#include "kovacenter/password.h"

#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <iostream>
#include <stdexcept>

#include "kovacenter/files.h"

namespace kova::center {
namespace {

// Keeps the terminal from showing what is typed. Its destructor restores the terminal, and so does a signal that ends
// the program.
class NoEcho {
 public:
  NoEcho() {
    tcgetattr(STDIN_FILENO, &before_);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
      if (std::signal(signal, restoreAndRaise) == SIG_IGN) std::signal(signal, SIG_IGN);
    }
    termios changed = before_;
    changed.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &changed);
  }
  ~NoEcho() { restore(); }
  NoEcho(const NoEcho &) = delete;
  NoEcho &operator=(const NoEcho &) = delete;

 private:
  static void restore() { tcsetattr(STDIN_FILENO, TCSAFLUSH, &before_); }
  static void restoreAndRaise(int signal) {
    restore();
    std::signal(signal, SIG_DFL);
    raise(signal);
  }

  inline static termios before_{};  // static, for the signal handler
};

}  // namespace

std::string readPassword(const std::filesystem::path &file) {
  std::string password;
  if (!file.empty() && file != "-") {
    password = readFile(file);
    password.resize(std::min(password.find('\n'), password.size()));
  } else if (isatty(STDIN_FILENO) != 0) {
    const NoEcho noEcho;
    std::cerr << "Password: " << std::flush;
    std::getline(std::cin, password);
    std::cerr << '\n';
  } else {
    std::getline(std::cin, password);
  }
  if (password.empty()) throw std::invalid_argument("the password is empty");
  return password;
}

}  // namespace kova::center
