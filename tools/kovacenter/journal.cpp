#include "kovacenter/journal.h"

#include <fcntl.h>
#include <poll.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>

#include "base/json.h"
#include "base/utc_time.h"
#include "common/terminal_text.h"
#include "kovacenter/diagnostic.h"
#include "kovacenter/files.h"
#include "kovacenter/request_line.h"

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

void printJournal(const std::filesystem::path &file, bool asJson, bool follow) {
  const Descriptor journal = openFile(file, O_RDONLY | O_CREAT, 0600);
  const std::optional<std::size_t> width = terminalWidth(STDOUT_FILENO);
  std::string line;  // what has been read of it
  const auto printLine = [&] {
    if (const std::optional<std::string> shown = requestLine(line, width)) {
      std::cout << *shown << '\n';
    } else {
      writeDiagnostic(file.string() + ": a line that does not tell of a request is left out");
    }
    line.clear();
  };
  char buffer[65536];
  while (true) {
    const ssize_t size = read(journal.get(), buffer, sizeof buffer);
    if (size < 0) throwErrno(file.string());
    std::string_view text(buffer, static_cast<std::size_t>(size));
    if (asJson) std::cout << text;
    while (!asJson && !text.empty()) {
      const std::size_t end = std::min(text.find('\n'), text.size());
      line += text.substr(0, end);
      if (end == text.size()) break;
      printLine();
      text.remove_prefix(end + 1);
    }
    if (size > 0) continue;
    if (!follow && !line.empty()) printLine();
    std::cout.flush();
    if (!follow) return;
    pollfd reader{STDOUT_FILENO, 0, 0};
    if (poll(&reader, 1, 100) > 0) return;  // the reader of the output has gone
  }
}

}  // namespace kova::center
