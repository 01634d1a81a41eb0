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

const Files kNotifiable = {{"/var/log/kova/notifications.jsonl", ""},
                           {"/usr/tarv/share/kova/notifications.conf", R"({"N":{"subject":"s","text":"t"}})"}};

AccountInfo account;
const TARVSchedule kSchedule = {1, 0, 0, 0, 0, 0, "/bin/a"};
char key[1024];

int notify() {
  const std::unique_ptr<TLIBCSzHash, kova::Release<TLIBCSzHashFree>> parameters(TLIBCSzHashAlloc(1));
  return TARVSysNotifySendNotifiction("N", parameters.get());
}

constexpr auto setAccount = [] { return TARVKOVAAccountSet(&account); };
constexpr auto setValue = [] { return TLIBCINFOSetKeyValue("kova_unified", "yes"); };
constexpr auto unschedule = [] { return TARVScheduleRemove("/bin/a"); };
constexpr auto logEvent = [] { return TARVLogSet1(2, 1, 1, "a", "", "", ""); };

struct Write {
  const char *name;
  Files before;  // beside those of every device
  int (*call)();
  const char *order;  // system calls that it makes one after another
};

const Write kWrites[] = {
    {"account", {{kAccountFile, kSignedIn}}, setAccount, "write fsync renameat fsync flock"},
    {"first account", {}, setAccount, "write fsync renameat fsync flock"},
    {"removed account", {{kAccountFile, kSignedIn}}, TARVKOVAAccountRemove, "unlink open fsync"},
    {"setting", {}, setValue, "fchmod write fsync renameat fsync flock"},
    {"schedule", {}, [] { return TARVScheduleSet(&kSchedule, 0); }, "mkdir open fsync"},
    {"unscheduled", {{kCron, "1 1 * * 1 root /bin/a\n"}}, unschedule, "renameat fsync"},
    {"first key", {{"/var/lib/kova/apikey", ""}}, [] { return TARVCloudServiceGetApiKey(key, 1); }, "renameat fsync"},
    {"key", {}, [] { return TARVCloudServiceRegisterApiKey(key); }, "renameat fsync flock"},
    {"event", {}, logEvent, "mkdir open fsync"},
    {"next event", {{"/var/log/kova/events.jsonl", "{\"event\":1}\n{\"ev"}}, logEvent, "pread64 write flock"},
    {"notification", kNotifiable, notify, "open fsync write"},
};

// Makes a device what it is before the write.
void prepare(DeviceTest &device, const Write &write) {
  for (const auto &[path, text] : write.before) device.write(path, text);
  device.answer();
  state().now = 1'000'000'000;
}

// Makes the write while the system call of this number ends so. Returns its result, or 1 where the process ended.
int attempt(const Write &write, int at = 0, int how = 0, bool endsProcess = false) {
  state().systemCalls.clear();
  state().endAt = at;
  state().endWith = how;
  const pid_t child = endsProcess ? fork() : -1;
  int result = child > 0 ? 0 : write.call();
  if (child == 0) _exit(result == 0 ? 0 : 2);
  if (child > 0 && waitpid(child, &result, 0) == child) result = WEXITSTATUS(result);
  state().endWith = 0;
  return result;
}

void expectOldOrNew(const Write &write, int how) {
  const bool isShort = how == hooks::kShort || how == hooks::kShortThenCut;
  const bool endsProcess = how == hooks::kCut || how == hooks::kShortThenCut;
  DeviceTest unharmed;
  prepare(unharmed, write);
  Files before = unharmed.files();
  ASSERT_EQ(attempt(write), 0);
  const std::vector<std::string> calls = state().systemCalls, order = words(write.order);
  Files after = unharmed.files();
  EXPECT_NE(std::search(calls.begin(), calls.end(), order.begin(), order.end()), calls.end())
      << testing::PrintToString(calls);
  ASSERT_NE(before, after);
  for (int at = 1; at <= std::ssize(calls); ++at) {
    const std::string &call = calls[static_cast<std::size_t>(at) - 1];
    if (isShort && call != "write") continue;
    SCOPED_TRACE(call + " " + std::to_string(at));
    DeviceTest device;
    prepare(device, write);
    const int result = attempt(write, at, how, endsProcess);
    EXPECT_EQ(result == 1, endsProcess);
    const bool isRepeated = how == EINTR && std::ranges::count(words("open openat read write fsync flock"), call) > 0;
    EXPECT_TRUE(result == 0 || !isRepeated) << "a signal ends no write";
    Files left = device.files();
    for (const auto &[path, text] : left) EXPECT_TRUE(result == 1 || path.find(".tmp") == std::string::npos) << path;
    for (const auto &[path, becomes] : after) {
      const std::string &was = before[path], &is = left[path];
      const bool isPart = path.ends_with(".jsonl") && is.starts_with(was) && becomes.starts_with(is);
      // Of what fails, only a sync after the change leaves it, and the record of a key that was made known.
      const bool mayBeNew = result >= 0 || call == "fsync" || path.ends_with(".enrolled");
      const bool mayBeOld = result != 0 || call == "unlink";
      EXPECT_TRUE((is == was && mayBeOld) || (is == becomes && mayBeNew) || (isPart && result == 1)) << path << is;
    }
    ASSERT_EQ(write.call(), 0);
    left = device.files();
    for (const auto &[path, becomes] : after) {
      const std::string line = becomes.substr(becomes.rfind('\n', becomes.size() - 2) + 1), &is = left[path];
      const bool isAppended = path.ends_with(".jsonl") && (is == line || is.ends_with("\n" + line));
      EXPECT_TRUE(is == becomes || isAppended) << path << ": " << is;
    }
  }
}

TEST(Crash, LeavesTheOldOrTheNewFileAndTheNextWriteWorks) {
  std::strcpy(account.vx_auth_key, "new");
  std::strcpy(account.kovaIDSerial, "4711");
  for (const Write &write : kWrites) {
    for (const int how : {hooks::kCut, hooks::kShort, hooks::kShortThenCut, ENOSPC, EIO, EINTR}) {
      SCOPED_TRACE(write.name + std::string(" ends with ") + std::to_string(how));
      expectOldOrNew(write, how);
    }
  }
}

}  // namespace
