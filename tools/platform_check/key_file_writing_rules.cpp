// Writing key files.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

#include "base/descriptor.h"
#include "platform_check/children.h"
#include "platform_check/key_file.h"

namespace kova::check {
namespace {

// Takes a line out of the text, wherever it stands.
void take(const Check &check, std::string &text, const std::string &line) {
  const std::size_t found = text.find(line);
  if (found == std::string::npos) return check.finding("the line " + shown(line) + " is missing from " + shown(text));
  text.erase(found, line.size());
}

void refuses(const Check &check, const Hash::Pairs &pairs, const char *format = kLineFormat) {
  check.root.write(kKeyFile, "a=\"1\"\n");
  const std::string what = "the key " + shown(pairs.back().first) + " with " + shown(pairs.back().second);
  check.fails(what, TLIBC_ERR_BAD_VALUE, [&] { return setKeys(check, pairs, kKeyFile, format); });
  check.equal(check.root.read(kKeyFile), "a=\"1\"\n", "the file after it was refused");
}

std::string octal(mode_t mode) {
  char text[16];
  std::snprintf(text, sizeof text, "%o", static_cast<unsigned>(mode));
  return text;
}

std::string keys(int count, const char *value) {
  std::string text;
  for (int i = 0; i < count; ++i) text += "key" + std::to_string(i) + "=\"" + value + "\"\n";
  return text;
}

// A writer that goes on until it is killed.
void writeAlternately(const Check &check, int count, const char *const values[]) {
  for (int turn = 0;; ++turn) {
    Hash::Pairs pairs;
    for (int i = 0; i < count; ++i) pairs.emplace_back("key" + std::to_string(i), values[turn % 2]);
    setKeys(check, pairs);
  }
}

// Children wait at it until it is opened.
class Barrier {
 public:
  Barrier() {
    if (pipe2(ends_, O_CLOEXEC) != 0) throw NotJudged{"no pipe"};
  }
  Barrier(const Barrier &) = delete;
  Barrier &operator=(const Barrier &) = delete;
  void wait() {
    close(ends_[1]);
    char nothing = 0;
    retried([&] { return read(ends_[0], &nothing, 1); });
  }
  void open() {
    for (const int end : ends_) close(end);
  }

 private:
  int ends_[2];
};

constexpr Rule kRules[] = {
    {"TLIBCFileSetKeys", "round-trip", "a value is stored so that it is read back unchanged",
     [](const Check &check) {
       for (const std::string value : {"", " ", "plain", "  blanks  ", "a=b", "#", "a\"b", "\"", "back\\slash\\",
                                       "%s%n", "tab\there", "G\xC3\xBCnther", "\xFF\xFE", "$(id) `id` 'x'"}) {
         check.succeeds(shown(value), [&] { return setKeys(check, {{"key", value}, {"other", "1"}}); });
         check.equal(valueOf(check, "key"), value, "what is read back");
       }
     }},
    {"TLIBCFileSetKeys", "format", "a line is what the format makes",
     [](const Check &check) {
       setKeys(check, {{"a", "1"}}, kKeyFile, "%s: %s\n");
       setKeys(check, {{"b", "2"}, {"a", "3"}}, kKeyFile, "%s: %s\n");
       std::string text = check.root.read(kKeyFile);
       for (const char *line : {"a: 3\n", "b: 2\n"}) take(check, text, line);
       check.equal(text, "", "the rest of the file");
     }},
    {"TLIBCFileSetKeys", "keeps", "comments, other keys and what is not an entry stay as they are",
     [](const Check &check) {
       check.root.write(kKeyFile, "# comment\n\n other = 1\nnonsense\n#key=\"0\"\nkey=\"1\"\nopen=\"x\nlast=\"2\"");
       check.succeeds("a call", [&] { return setKeys(check, {{"key", "3"}, {"new", "4"}}); });
       std::string text = check.root.read(kKeyFile);
       take(check, text, "\nkey=\"3\"");
       take(check, text, "\nnew=\"4\"");
       check.equal(text, "# comment\n\n other = 1\nnonsense\n#key=\"0\"\nopen=\"x\nlast=\"2\"\n",
                   "the rest of the file");
     }},
    {"TLIBCFileSetKeys", "line-ends", "other lines keep their line ends",
     [](const Check &check) {
       check.root.write(kKeyFile, "# comment\r\na=\"1\"\r\nb=\"2\"\r\n");
       check.succeeds("a call", [&] { return setKeys(check, {{"b", "3"}}); });
       check.equal(check.root.read(kKeyFile).substr(0, 18), "# comment\r\na=\"1\"\r\n", "the file's begin");
       check.equal(valueOf(check, "b"), "3", "the key");
     }},
    {"TLIBCFileSetKeys", "twice", "a key that the file has twice has its new value",
     [](const Check &check) {
       check.root.write(kKeyFile, "a=\"1\"\nb=\"1\"\na=\"2\"\n");
       check.succeeds("a call", [&] { return setKeys(check, {{"a", "3"}}); });
       check.equal(valueOf(check, "a") + valueOf(check, "b"), "31", "what is read back");
     }},
    {"TLIBCFileSetKeys", "refused", "what could not be read back is refused, and the file stays as it was",
     [](const Check &check) {
       for (const char *value : {"line\nbreak", "x\r", "\n", "1\"\nb=\"2"}) refuses(check, {{"a", value}});
       for (const char *key : {"", "#a", "a=b", " a", "a\nb"}) refuses(check, {{key, "1"}});
       for (const char *value : {" x", "\"x"}) refuses(check, {{"a", value}}, "%s=%s\n");
       refuses(check, {{"good", "1"}, {"a", "line\nbreak"}});
     }},
    {"TLIBCFileSetKeys", "bad-format", "a format that is not of two \"%s\" is a failure",
     [](const Check &check) {
       for (const char *format : {"%s=\n", "%s=%s%s\n", "%s=%n%s\n", "%s=%d\n"}) {
         check.fails(shown(format), TLIBC_ERR_NONE, [&] { return setKeys(check, {{"a", "1"}}, kKeyFile, format); });
       }
     }},
    {"TLIBCFileSetKeys", "empty", "an empty hash leaves the file alone",
     [](const Check &check) {
       check.succeeds("an empty hash", [&] { return setKeys(check, {}); });
       check.equal(check.root.read(kKeyFile), "(no file)", "a file that was absent");
     }},
    {"TLIBCFileSetKeys", "new-mode", "a new file has mode 0600",
     [](const Check &check) {
       for (const mode_t mask : {0000, 0022, 0077}) {
         const std::string file = kKeyFile + std::to_string(mask);
         umask(mask);
         check.succeeds("a call", [&] { return setKeys(check, {{"a", "1"}}, file); });
         check.equal(octal(check.root.mode(file)), "600", "the mode");
       }
     }},
    {"TLIBCFileSetKeys", "existing-mode", "an existing file keeps mode, owner and group",
     [](const Check &check) {
       constexpr uid_t kOwner = 1;
       for (const mode_t mode : {0600, 0640, 0644, 0666}) {
         check.root.write(kKeyFile, "a=\"1\"\n", mode);
         const bool isGiven = chown(check.root.at(kKeyFile).c_str(), kOwner, kOwner) == 0;
         check.succeeds("a call", [&] { return setKeys(check, {{"a", "2"}}); });
         check.equal(octal(check.root.mode(kKeyFile)), octal(mode), "the mode");
         struct stat status = {};
         stat(check.root.at(kKeyFile).c_str(), &status);
         if (isGiven) check.equal(status.st_uid, kOwner, "the owner");
         if (isGiven) check.equal(status.st_gid, kOwner, "the group");
       }
     }},
    {"TLIBCFileSetKeys", "account-file", "\"/etc/kova.conf\" is closed to its group and others",
     [](const Check &check) {
       for (const mode_t mode : {0600, 0644, 0660}) {
         check.root.write(kAccountFile, "user=\"ada\"\n", mode);
         check.succeeds("a call", [&] { return setKeys(check, {{"user", "bob"}}, kAccountFile); });
         check.equal(octal(check.root.mode(kAccountFile) & (S_IRWXG | S_IRWXO)), "0", "what group and others may then");
       }
     },
     Touches::kDevice},
    {"TLIBCFileSetKeys", "replaced", "a reader that has opened the file sees the whole old file",
     [](const Check &check) {
       check.root.write(kKeyFile, keys(100, "old"));
       const Descriptor reader(open(check.root.at(kKeyFile).c_str(), O_RDONLY | O_CLOEXEC));
       check.succeeds("a call", [&] { return setKeys(check, {{"key7", "a value that is longer"}}); });
       SecretText text;
       readAll(reader, text);
       check.expect(text == std::string_view(keys(100, "old")), "the file is written in place, not replaced");
       check.equal(valueOf(check, "key7"), "a value that is longer", "what is read back");
     }},
    {"TLIBCFileSetKeys", "killed", "a writer that is killed leaves the whole old or the whole new file",
     [](const Check &check) {
       constexpr int kMoments = 40, kKeys = 200;
       constexpr useconds_t kStep = 499;
       const char *const values[] = {"old value", "new"};
       const std::string states[] = {keys(kKeys, values[0]), keys(kKeys, values[1])};
       check.root.write(kKeyFile, states[1]);
       for (int moment = 0; moment < kMoments; ++moment) {
         const pid_t writer = inChild([&] { writeAlternately(check, kKeys, values); });
         usleep(static_cast<useconds_t>(moment) * kStep);
         kill(writer, SIGKILL);
         waitForChild(writer);
         const std::string text = check.root.read(kKeyFile);
         if (text != states[0] && text != states[1]) return check.equal(text, states[1], "the file");
       }
       check.succeeds("the next writer", [&] { return setKeys(check, {{"key0", "x"}}); });
     }},
    {"TLIBCFileSetKeys", "writers", "writers at the same time lose nothing",
     [](const Check &check) {
       constexpr int kWriters = 4, kTurns = 50;
       check.root.write(kKeyFile, keys(300, "a value that makes the file larger"));
       Barrier barrier;
       std::vector<pid_t> writers;
       writers.reserve(kWriters);
       for (int writer = 0; writer < kWriters; ++writer) {
         writers.push_back(inChild([&] {
           barrier.wait();
           for (int turn = 0; turn < kTurns; ++turn) {
             setKeys(check, {{"w" + std::to_string(writer) + "t" + std::to_string(turn), "1"}});
           }
         }));
       }
       barrier.open();
       for (const pid_t writer : writers) waitForChild(writer);
       const std::string text = check.root.read(kKeyFile);
       int lost = 0;
       for (int i = 0; i < kWriters * kTurns; ++i) {
         const std::string key = "w" + std::to_string(i / kTurns) + "t" + std::to_string(i % kTurns);
         if (text.find(key + "=\"1\"\n") == std::string::npos) ++lost;
       }
       check.equal(lost, 0, "keys lost of " + std::to_string(kWriters * kTurns));
     }},
    {"TLIBCFileSetKeys", "no-directory", "a file whose directory is absent is a failure",
     [](const Check &check) {
       check.fails("a call", TLIBC_ERR_NONE,
                   [&] { return setKeys(check, {{"a", "1"}}, std::string(kOwnDirectory) + "/absent/keys.conf"); });
     }},
    {"TLIBCFileSetKeys", "null", "null is a failure",
     [](const Check &check) {
       const Hash hash(check, {{"a", "1"}});
       const auto refuses = [&](const char *file, const TLIBCSzHash *pairs, const char *format) {
         check.refusesNull([&] { return check->TLIBCFileSetKeys(file, pairs, 0, format); });
       };
       refuses(nullptr, hash.get(), kLineFormat);
       refuses(kKeyFile.c_str(), nullptr, kLineFormat);
       refuses(kKeyFile.c_str(), hash.get(), nullptr);
     }},
    {"TLIBCINFOSetKeyValue", "sets", "sets one key of \"/etc/tarvinfo.conf\" and keeps the others",
     [](const Check &check) {
       check.root.write(kInformationFile, "# comment\nlanguage=\"enu\"\ntimezone=\"Europe/Berlin\"\n");
       check.succeeds("a call", [&] { return check->TLIBCINFOSetKeyValue("language", "ger"); });
       check.equal(valueOf(check, "language", kInformationFile), "ger", "what is read back");
       check.equal(check.root.read(kInformationFile).substr(0, 10), "# comment\n", "the file's begin");
       check.equal(valueOf(check, "timezone", kInformationFile), "Europe/Berlin", "another key");
       check.fails("a value with a line break", TLIBC_ERR_BAD_VALUE,
                   [&] { return check->TLIBCINFOSetKeyValue("language", "a\nb"); });
     },
     Touches::kDevice},
    {"TLIBCINFOSetKeyValue", "null", "null is a failure",
     [](const Check &check) {
       check.refusesNull([&] { return check->TLIBCINFOSetKeyValue(nullptr, "value"); });
       check.refusesNull([&] { return check->TLIBCINFOSetKeyValue("language", nullptr); });
     },
     Touches::kDevice},
};

}  // namespace

std::span<const Rule> keyFileWritingRules() {
  return kRules;
}

}  // namespace kova::check
