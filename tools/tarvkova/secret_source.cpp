#include "tarvkova/secret_source.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "tarvkova/outcome.h"
#include "tarvkova/streams.h"
#include "tarvkova/values.h"

namespace kova::cli {
namespace {

constexpr std::size_t kLargestFile = std::size_t{1} << 20;

Descriptor openSecrets(const std::string &path) {
  Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
  if (!file) throw localFailure("cannot open " + path + ": " + std::strerror(errno));
  struct stat status = {};
  if (fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode) && (status.st_mode & (S_IRGRP | S_IROTH)) != 0) {
    writeMessage("warning: " + path + " can be read by other users");
  }
  return file;
}

}  // namespace

Argument addPasswordFile(Command command, std::string &file) {
  command.setFooter(kPasswordHelp);
  return command.addOption("--password-file", file, "Read the password from this file; \"-\" is standard input")
      .typeName("FILE")
      .check(checkName);
}

SecretSource::SecretSource(const std::string &file) {
  if (file.empty()) {
    terminal_ = Terminal::open();
  } else if (file != "-") {
    file_ = openSecrets(file);
  }
}

int SecretSource::input() const {
  return file_ ? file_.get() : STDIN_FILENO;
}

Secret SecretSource::ask(const std::string &what) {
  Secret secret;
  const bool isGiven = terminal_ ? terminal_->ask(what + ": ", secret) : readLine(input(), secret);
  if (!isGiven || secret.text().empty()) throw localFailure("no password was given");
  return secret;
}

Secret SecretSource::askNew(const std::string &what) {
  Secret secret = ask(what);
  if (terminal_ && ask(what + " again").text() != secret.text()) throw localFailure("the two passwords differ");
  return secret;
}

Secret SecretSource::readAll() {
  Secret all(kLargestFile);
  while (true) {
    char character = 0;
    const ssize_t length = retried([&] { return read(input(), &character, 1); });
    if (length == 0) return all;
    if (length < 0) throw localFailure(std::string("cannot read the passwords: ") + std::strerror(errno));
    if (!all.append(character)) throw localFailure("the file of passwords is too large");
  }
}

}  // namespace kova::cli
