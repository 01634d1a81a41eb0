// Every file that is written, when the process ends at any system call of the write or that call fails.
#include <gtest/gtest.h>
#include <kova/kova.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

#include "base/release.h"
#include "support/device.h"

namespace {

using Files = std::map<std::string, std::string>;

constexpr char kCatalogue[] = "/usr/tarv/share/kova/notifications.conf";
constexpr char kEvents[] = "/var/log/kova/events.jsonl", kNotifications[] = "/var/log/kova/notifications.jsonl";
constexpr char kHalfLine[] = "{\"event\":1}\n{\"ev";

int writeAccount() {
  const auto account = std::make_unique<AccountInfo>();
  std::strcpy(account->vx_auth_key, "new");
  std::strcpy(account->kovaIDSerial, "4711");
  return TARVKOVAAccountSet(account.get());
}

int schedule() {
  TARVSchedule schedule{};
  schedule.weekdays = 1;
  std::strcpy(schedule.command, "/bin/a");
  return TARVScheduleSet(&schedule, 0);
}

int notify() {
  const std::unique_ptr<TLIBCSzHash, kova::Release<TLIBCSzHashFree>> parameters(TLIBCSzHashAlloc(1));
  return TARVSysNotifySendNotifiction("N", parameters.get());
}

template <int (*ask)(char *)>
int apiKey() {
  char key[1024];
  return ask(key);
}

constexpr auto setting = [] { return TLIBCINFOSetKeyValue("kova_unified", "yes"); };
constexpr auto unschedule = [] { return TARVScheduleRemove("/bin/a"); };
constexpr auto firstKey = [](char *key) { return TARVCloudServiceGetApiKey(key, 1); };
constexpr auto logEvent = [] { return TARVLogSet1(2, 1, 1, "a", "", "", ""); };
const Files kNotifiable = {{kNotifications, ""}, {kCatalogue, R"({"N":{"subject":"s","text":"t"}})"}};

struct Write {
  const char *name;
  Files before;  // beside those of every device
  int (*call)();
  const char *order;  // system calls that it makes one after another
};

void PrintTo(const Write &write, std::ostream *out) {
  *out << write.name;
}

const Write kWrites[] = {
    {"account", {{kAccountFile, kSignedIn}}, writeAccount, "write fsync renameat fsync flock"},
    {"firstAccount", {}, writeAccount, "write fsync renameat fsync flock"},
    {"removedAccount", {{kAccountFile, kSignedIn}}, TARVKOVAAccountRemove, "unlink open fsync"},
    {"setting", {}, setting, "fchmod write fsync renameat fsync flock"},
    {"schedule", {}, schedule, "mkdir open fsync"},
    {"unscheduled", {{kCron, "1 1 * * 1 root /bin/a\n"}}, unschedule, "renameat fsync"},
    {"firstKey", {{"/var/lib/kova/apikey", ""}}, apiKey<firstKey>, "renameat fsync"},
    {"key", {}, apiKey<TARVCloudServiceRegisterApiKey>, "renameat fsync flock"},
    {"event", {}, logEvent, "mkdir open fsync"},
    {"nextEvent", {{kEvents, kHalfLine}}, logEvent, "pread64 write flock"},
    {"notification", kNotifiable, notify, "open fsync write"},
};

class Crash : public DeviceTest, public testing::WithParamInterface<Write> {
 protected:
  // The device as it was before the write.
  void prepare() {
    for (const char *made : {"/etc", "/var"}) remove(made);
    write(kInfoFile, "timezone=\"UTC\"\n");
    write("/var/lib/kova/apikey", kApiKey);
    for (const auto &[path, text] : GetParam().before) write(path, text);
    answer();
    state().now = 1'000'000'000;
  }
  // The device's files, where all random texts are the same.
  Files texts() const {
    Files found = files();
    for (auto &[path, text] : found) {
      for (std::size_t at = 0; at + 64 <= text.size(); ++at) {
        if (text.find_first_not_of("0123456789abcdef", at) >= at + 64) text.replace(at, 64, "(random)");
      }
    }
    return found;
  }
};

bool endsProcess(int how) {
  return how == hooks::kCut || how == hooks::kShortThenCut;
}

// Makes the write while the system call of this number ends so. Returns its result, or 1 where the process ended.
int attempt(const Write &write, int at, int how) {
  state().systemCalls.clear();
  state().endAt = at;
  state().endWith = how;
  const pid_t child = endsProcess(how) ? fork() : -1;
  int result = child > 0 ? 0 : write.call();
  if (child == 0) _exit(result == 0 ? 0 : 2);
  if (child > 0 && waitpid(child, &result, 0) == child) result = WEXITSTATUS(result);
  state().endWith = 0;
  return result;
}

bool isLog(const std::string &path) {
  return path.find(".jsonl") != std::string::npos;
}

TEST_P(Crash, LeavesTheOldOrTheNewFileAndTheNextWriteWorks) {
  prepare();
  Files before = texts();
  ASSERT_EQ(attempt(GetParam(), 0, 0), 0);
  const std::vector<std::string> calls = state().systemCalls, order = words(GetParam().order);
  Files after = texts();
  EXPECT_FALSE(std::ranges::search(calls, order).empty()) << testing::PrintToString(calls);
  ASSERT_NE(before, after);
  int injections = 0;
  for (const int how : {hooks::kCut, hooks::kShort, hooks::kShortThenCut, ENOSPC, EIO, EINTR}) {
    for (int at = 1; at <= std::ssize(calls); ++at) {
      const std::string &call = calls[static_cast<std::size_t>(at) - 1];
      if ((how == hooks::kShort || how == hooks::kShortThenCut) && call != "write") continue;
      SCOPED_TRACE(call + " " + std::to_string(at) + " ends with " + std::to_string(how));
      ++injections;
      prepare();
      const int result = attempt(GetParam(), at, how);
      EXPECT_EQ(result == 1, endsProcess(how));
      Files left = texts();
      for (const auto &[path, text] : left) EXPECT_TRUE(result == 1 || path.find(".tmp") == std::string::npos) << path;
      for (const auto &[path, unused] : Files(after)) {
        const std::string &was = before[path], &is = left[path], &becomes = after[path];
        const bool isPart = result == 1 && isLog(path) && is.starts_with(was) && becomes.starts_with(is);
        EXPECT_TRUE(is == was || is == becomes || isPart) << path << ": " << is;
        // Of what fails, only a sync after the change leaves it, and the record of a key that was made known.
        const bool mayRemain = call == "fsync" || path.ends_with(".enrolled");
        EXPECT_TRUE(result >= 0 || is == was || mayRemain) << path << ": " << is;
        EXPECT_TRUE(result != 0 || is == becomes || call == "unlink") << path << ": " << is;
      }
      ASSERT_EQ(GetParam().call(), 0);
      left = texts();
      for (const auto &[path, becomes] : after) {
        const std::string line = becomes.substr(becomes.rfind('\n', becomes.size() - 2) + 1), &is = left[path];
        const bool isAppended = isLog(path) && (is == line || is.ends_with("\n" + line));
        EXPECT_TRUE(is == becomes || isAppended) << path << ": " << is;
      }
    }
  }
  RecordProperty("injections", injections);
}

INSTANTIATE_TEST_SUITE_P(, Crash, testing::ValuesIn(kWrites),
                         [](const auto &write) { return std::string(write.param.name); });

}  // namespace
