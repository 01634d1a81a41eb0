#include "kovacenter/journal.h"

#include <fcntl.h>
#include <poll.h>

#include <algorithm>
#include <chrono>
#include <iostream>
#include <string>

#include "base/json.h"
#include "base/utc_time.h"
#include "kovacenter/files.h"

namespace kova::center {
namespace {

int64_t countLines(const std::filesystem::path &file) {
  if (!std::filesystem::exists(file)) return 0;
  const std::string content = readFile(file);
  return std::ranges::count(content, '\n');
}

std::string now() {
  const auto time = std::chrono::system_clock::now();
  const auto part = std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count() % 1000;
  const std::string digits = std::to_string(1000 + part).substr(1);
  return utcText(time, "%Y-%m-%dT%H:%M:%S.") + digits + "Z";
}

}  // namespace

Journal::Journal(const std::filesystem::path &file)
    : file_(openFile(file, O_WRONLY | O_CREAT | O_APPEND, 0600)), count_(countLines(file)) {}

void Journal::add(const Request &request, const Reply &reply, std::string_view fault) {
  Json::Value line;
  line["n"] = static_cast<Json::Int64>(++count_);
  line["time"] = now();
  line["host"] = request.host;
  line["path"] = request.path;
  line["method"] = request.method;
  line["form"] = request.form;
  line["status"] = reply.status;
  line["reply"] = reply.body;
  if (!fault.empty()) line["fault"] = std::string(fault);
  if (!writeAll(file_.get(), jsonLine(line) + "\n")) throwErrno("write");
}

void printJournal(const std::filesystem::path &file, bool follow) {
  const Descriptor journal = openFile(file, O_RDONLY | O_CREAT, 0600);
  char buffer[65536];
  while (true) {
    const ssize_t size = read(journal.get(), buffer, sizeof buffer);
    if (size < 0) throwErrno(file.string());
    std::cout.write(buffer, size);
    if (size > 0) continue;
    std::cout.flush();
    if (!follow) return;
    pollfd reader{STDOUT_FILENO, 0, 0};
    if (poll(&reader, 1, 100) > 0) return;  // the reader of the output has gone
  }
}

}  // namespace kova::center
