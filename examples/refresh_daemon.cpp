// A daemon that keeps the account's profile fresh: every hour, and at once on SIGHUP. SIGTERM and SIGINT end it.
//
// What a program that runs for long should take from it:
// - One thread makes every call of the library, which locks nothing and has one error code for the whole process.
// - A call blocks for up to minutes and cannot be interrupted. So the calls wait in a queue; the queue has an end, and
//   what finds it full is refused.
// - Signals go to the main thread.
// - At the end the daemon waits a little for the call under way and then exits all the same. That leaves no file half
//   written, since each is replaced as a whole.
// - It stays in the foreground and logs to standard error, as service managers want it. A daemon that goes to the
//   background itself forks before it starts the thread. Later a child may only execute another program: it would have
//   the thread that forked and no other, and whatever these others had locked stays locked.
#include <json/value.h>
#include <kova/kova.h>
#include <pthread.h>
#include <signal.h>
#include <string.h>  // explicit_bzero
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <deque>
#include <exception>
#include <functional>
#include <initializer_list>
#include <mutex>
#include <thread>
#include <utility>

namespace {

constexpr std::time_t kIntervalSeconds = 3600;
constexpr std::chrono::seconds kLongestEnd(10);

// The thread that owns the library.
class LibraryThread {
 public:
  using Job = std::function<void()>;

  LibraryThread() : thread_([this] { run(); }) {}
  LibraryThread(const LibraryThread &) = delete;
  LibraryThread &operator=(const LibraryThread &) = delete;
  ~LibraryThread() {
    end(std::chrono::seconds(0));
    thread_.join();
  }

  // Returns at once: false where too many jobs wait already.
  bool post(Job job) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (isEnding_ || jobs_.size() == kMostJobs) return false;
    jobs_.push_back(std::move(job));
    changed_.notify_all();
    return true;
  }

  // Drops the jobs that wait. False where the one under way is not done within `limit`.
  bool end(std::chrono::seconds limit) {
    std::unique_lock<std::mutex> lock(mutex_);
    isEnding_ = true;
    changed_.notify_all();
    return changed_.wait_for(lock, limit, [this] { return hasEnded_; });
  }

 private:
  static constexpr std::size_t kMostJobs = 8;

  void run() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (true) {
      changed_.wait(lock, [this] { return isEnding_ || !jobs_.empty(); });
      if (isEnding_) break;
      const Job job = std::move(jobs_.front());
      jobs_.pop_front();
      lock.unlock();
      try {
        job();
      } catch (const std::exception &error) {  // from the job's own code: the library throws nothing
        std::fprintf(stderr, "a job failed: %s\n", error.what());
      }
      lock.lock();
    }
    hasEnded_ = true;
    changed_.notify_all();
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Job> jobs_;
  bool isEnding_ = false;
  bool hasEnded_ = false;
  std::thread thread_;  // last: it uses the others from its start
};

// Whether the same call may succeed later without anybody's doing: the service could not be reached.
bool isWorthRetrying(int32_t code) {
  return code == KOVA_ERR_REQUEST || code == KOVA_ERR_NETWORK;
}

// The profile's auth key must not stay in memory that is released.
void wipeAuthKey(const Json::Value &profile) {
  const char *begin = nullptr;
  const char *end = nullptr;
  if (!profile.isObject() || !profile["auth_key"].getString(&begin, &end)) return;
  explicit_bzero(const_cast<char *>(begin), static_cast<std::size_t>(end - begin));
}

// A job: the call, and its error code before the next call sets another one.
void refresh(bool force) {
  Json::Value profile;
  const int result = TARVKOVAAccountQueryInfo(profile, force, true);
  const int32_t code = TARVKOVAErrGet();
  wipeAuthKey(profile);
  const KovaErrorText &text = *KovaErrorTextGet(code);
  if (result < 0) {
    std::fprintf(stderr, "no profile: %s (%s)%s\n", text.sentence, text.name,
                 isWorthRetrying(code) ? "; the next turn tries again" : "");
  } else if (code != KOVA_SUCCESS) {
    std::fprintf(stderr, "a profile, but it is not stored: %s (%s)\n", text.sentence, text.name);
  } else {
    std::fprintf(stderr, "the profile is fresh\n");  // and nothing of it in the log
  }
}

}  // namespace

int main() {
  // The thread inherits the mask; programs that the stand-alone platform starts do not.
  sigset_t awaited;
  sigemptyset(&awaited);
  for (const int signal : {SIGHUP, SIGINT, SIGTERM}) sigaddset(&awaited, signal);
  pthread_sigmask(SIG_BLOCK, &awaited, nullptr);
  // libcurl ignores this one during a request, for the whole process: so it is ignored throughout.
  ::signal(SIGPIPE, SIG_IGN);

  LibraryThread library;
  bool force = false;
  int signal = 0;
  while (signal != SIGINT && signal != SIGTERM) {
    if (!library.post([force] { refresh(force); })) std::fprintf(stderr, "busy; nothing was done\n");
    const timespec interval = {kIntervalSeconds, 0};
    do {
      signal = sigtimedwait(&awaited, nullptr, &interval);
    } while (signal < 0 && errno == EINTR);
    force = signal == SIGHUP;
  }
  if (library.end(kLongestEnd)) return EXIT_SUCCESS;
  std::fprintf(stderr, "ended within a call\n");
  _exit(EXIT_SUCCESS);  // without destructors and exit handlers: the thread still uses what they would take apart
}
