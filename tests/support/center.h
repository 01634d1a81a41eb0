// The running service for development.
#pragma once

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/device.h"
#include "support/json.h"

// The service in a process of its own, on ports of its own.
class Center {
 public:
  explicit Center(const std::string &options = "") {
    int ends[2];
    if (pipe(ends) != 0) throw std::runtime_error("no pipe");
    child_ = fork();
    if (child_ == 0) {
      dup2(ends[1], STDOUT_FILENO);
      close(ends[0]);
      close(ends[1]);
      const std::string command = "exec " KOVA_CENTER " serve --state " + state() + " " + options;
      execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
      _exit(127);
    }
    close(ends[1]);
    char byte = 0;
    while (::read(ends[0], &byte, 1) == 1 && byte != '\n') continue;  // its one line says that it listens
    output_ = ends[0];
    const Json::Value run = parsed(readFile(directory_.path() / "run.json"));
    setenv("https_proxy", ("http://127.0.0.1:" + run["proxy_port"].asString()).c_str(), 1);
    unsetenv("no_proxy");
    unsetenv("NO_PROXY");
  }
  ~Center() {
    kill(child_, SIGTERM);
    int status = -1;
    waitpid(child_, &status, 0);
    EXPECT_EQ(status, 0) << "the service ends cleanly";
    close(output_);
    unsetenv("https_proxy");
  }
  Center(const Center &) = delete;
  Center &operator=(const Center &) = delete;

  std::string state() const { return directory_.path(); }

  void command(const std::string &words, const std::string &input = "") const {
    const std::string line = "printf '%s\\n' '" + input + "' | " KOVA_CENTER " " + words + " --state " + state();
    EXPECT_EQ(std::system((line + " > /dev/null").c_str()), 0) << words;
  }

  // The requests that it received, in order.
  std::vector<Json::Value> journal() const {
    std::vector<Json::Value> requests;
    std::istringstream lines(readFile(directory_.path() / "journal.jsonl"));
    for (std::string line; std::getline(lines, line);) requests.push_back(parsed(line));
    return requests;
  }

 private:
  TemporaryDirectory directory_;
  pid_t child_ = -1;
  int output_ = -1;
};
