// The running service for development.
#pragma once

#include <gtest/gtest.h>
#include <signal.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/release.h"
#include "support/device.h"

// The service in a process of its own, on ports of its own.
class Center {
 public:
  explicit Center(const std::string &options = "")
      : output_(popen(("exec " KOVA_CENTER " serve --state " + state() + " " + options).c_str(), "r")) {
    while (output_ && std::fgetc(output_.get()) > '\n') continue;  // its one line says that it listens
    run_ = parsed(readFile(directory_.path() / "run.json"));
    if (!run_.isMember("pid")) throw std::runtime_error("the service does not run");
    setenv("https_proxy", ("http://127.0.0.1:" + run_["proxy_port"].asString()).c_str(), 1);
    unsetenv("no_proxy");
    unsetenv("NO_PROXY");
  }
  ~Center() {
    kill(run_["pid"].asInt(), SIGTERM);
    EXPECT_EQ(pclose(output_.release()), 0) << "the service ends cleanly";
    unsetenv("https_proxy");
  }

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
  std::unique_ptr<FILE, kova::Release<pclose>> output_;
  Json::Value run_;
};
