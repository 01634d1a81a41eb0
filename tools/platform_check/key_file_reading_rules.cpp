// Reading key files.
#include <csignal>
#include <filesystem>
#include <system_error>

#include "platform_check/children.h"
#include "platform_check/key_file.h"

namespace kova::check {
namespace {

// Writes the text as key file and compares what is read of each key.
void reads(const Check &check, std::string_view text, const Hash::Pairs &expected, const char *separator = "=") {
  check.root.write(kKeyFile, text);
  for (const auto &[key, value] : expected) {
    check.equal(valueOf(check, key, kKeyFile, separator), value, "of " + shown(text) + " the key " + shown(key));
  }
}

int getKeyValue(const Check &check, const char *key, std::string &buffer, const std::string &file = kKeyFile) {
  return check->TLIBCFileGetKeyValue(file.c_str(), key, buffer.data(), buffer.size(), 0);
}

// Puts a new key file, with this value for each key, in the place of the one that is there.
void replace(const Check &check, const std::vector<std::string> &keys, const std::string &value) {
  std::string text;
  for (const std::string &key : keys) text.append(key).append("=").append(value).append("\n");
  const std::string other = kKeyFile + ".new";
  check.root.write(other, text);
  std::error_code error;
  std::filesystem::rename(check.root.at(other), check.root.at(kKeyFile), error);
  if (error) throw NotJudged{"cannot replace " + check.root.at(kKeyFile).string()};
}

constexpr Rule kRules[] = {
    {"TLIBCFileGetKeys", "quotes", "a value may stand in double quotes",
     [](const Check &check) {
       reads(check, "a=\"1\"\nb=2\nc=\"  3 \"\nd=\"in \"side\"\"\ne=\"\"\nf=\ng=x=y\nh=a\"b\"\n",
             {{"a", "1"},
              {"b", "2"},
              {"c", "  3 "},
              {"d", "in \"side\""},
              {"e", ""},
              {"f", ""},
              {"g", "x=y"},
              {"h", "a\"b\""}});
     }},
    {"TLIBCFileGetKeys", "blanks", "blanks before key, separator and value, and behind a quote, do not count",
     [](const Check &check) { reads(check, "  a \t = \t 1\n\tb\t=\t\"2\" \t\n", {{"a", "1"}, {"b", "2"}}); }},
    {"TLIBCFileGetKeys", "skipped", "comments, blank lines and lines without an entry are skipped",
     [](const Check &check) {
       reads(check, "#a=1\n  # b=2\n\n \t\nc\nd=\"open\ne=5\n",
             {{"a", "(absent)"},
              {"#a", "(absent)"},
              {"b", "(absent)"},
              {"c", "(absent)"},
              {"d", "(absent)"},
              {"e", "5"},
              {"E", "(absent)"}});
     }},
    {"TLIBCFileGetKeys", "last", "the last line of a key counts",
     [](const Check &check) { reads(check, "a=\"1\"\nb=1\na=\"2\"\n#a=3\na=\"open\n", {{"a", "2"}, {"b", "1"}}); }},
    {"TLIBCFileGetKeys", "line-ends", "lines end with LF, CRLF or CR, the last one also with nothing",
     [](const Check &check) {
       reads(check, "a=1\nb=2\r\nc=\"3\"\r\nd=4\re=\"5\"",
             {{"a", "1"}, {"b", "2"}, {"c", "3"}, {"d", "4"}, {"e", "5"}});
       reads(check, "", {{"a", "(absent)"}});
     }},
    {"TLIBCFileGetKeys", "separator", "the separator is the caller's",
     [](const Check &check) {
       reads(check, "a: 1\nb=2\nc:\"x:y\"\n", {{"a", "1"}, {"b", "(absent)"}, {"c", "x:y"}}, ":");
       reads(check, "a => 1\nb=2\n", {{"a", "1"}, {"b", "(absent)"}}, "=>");
     }},
    {"TLIBCFileGetKeys", "long-lines", "lines of any length are read",
     [](const Check &check) {
       const std::string value(100000, 'x');
       reads(check, "a=\"" + value + "\"\nb=2\n", {{"a", value}, {"b", "2"}});
     }},
    {"TLIBCFileGetKeys", "order", "fills the hash in the order of the keys, keeps its other keys, counts those found",
     [](const Check &check) {
       check.root.write(kKeyFile, "c=3\nb=2\na=1\n");
       const Hash hash(check, {{"other", "kept"}, {"absent", "kept"}});
       const List keys(check, {"a", "absent", "c", "b"});
       const int count = check.succeeds(
           "a call", [&] { return check->TLIBCFileGetKeys(kKeyFile.c_str(), keys.get(), hash.get(), "="); });
       check.equal(count, 3, "the number returned");
       check.equal(hash.text(), "other=kept;absent=kept;a=1;c=3;b=2;", "the hash");
     }},
    {"TLIBCFileGetKeys", "whole", "the keys are of one state of a file that is replaced meanwhile",
     [](const Check &check) {
       constexpr int kKeys = 200, kReads = 2000, kChanges = 100;
       std::vector<std::string> names;
       names.reserve(kKeys);
       for (int i = 0; i < kKeys; ++i) names.push_back("key" + std::to_string(i));
       replace(check, names, "0");
       const pid_t writer = inChild([&] {
         for (int turn = 0;; ++turn) replace(check, names, std::to_string(turn % 10));
       });
       const List keys(check, names);
       std::string before;
       for (int read = 0, changes = 0; read < kReads && changes < kChanges; ++read) {
         const Hash hash(check);
         check->TLIBCFileGetKeys(kKeyFile.c_str(), keys.get(), hash.get(), "=");
         std::string values;
         for (const std::string &name : names) {
           const char *value = check->TLIBCSzHashGetValue(hash.get(), name.c_str());
           values += value != nullptr ? *value : '?';
         }
         if (values.find_first_not_of(values[0]) != std::string::npos || values[0] == '?') {
           check.finding("the values of one call: " + shown(values));
           break;
         }
         if (values != before) ++changes;
         before = values;
       }
       kill(writer, SIGKILL);
       waitForChild(writer);
     }},
    {"TLIBCFileGetKeys", "no-file", "a file that is absent is a failure",
     [](const Check &check) {
       const Hash hash(check);
       const List keys(check, {"a"});
       check.fails("an absent file", TLIBC_ERR_NOT_FOUND,
                   [&] { return check->TLIBCFileGetKeys(kKeyFile.c_str(), keys.get(), hash.get(), "="); });
     }},
    {"TLIBCFileGetKeys", "null", "null is a failure",
     [](const Check &check) {
       check.root.write(kKeyFile, "a=1\n");
       const Hash hash(check);
       const List keys(check);
       const auto refuses = [&](const char *file, const TLIBCSzList *list, TLIBCSzHash *to, const char *separator) {
         check.refusesNull([&] { return check->TLIBCFileGetKeys(file, list, to, separator); });
       };
       refuses(nullptr, keys.get(), hash.get(), "=");
       refuses(kKeyFile.c_str(), nullptr, hash.get(), "=");
       refuses(kKeyFile.c_str(), keys.get(), nullptr, "=");
       refuses(kKeyFile.c_str(), keys.get(), hash.get(), nullptr);
     }},
    {"TLIBCFileGetKeyValue", "cut", "a value that is too long is cut and NUL-terminated; its whole length is returned",
     [](const Check &check) {
       check.root.write(kKeyFile, "key=\"0123456789\"\n");
       check.cuts("0123456789", [&](char *buffer, std::size_t size) {
         const int length = check->TLIBCFileGetKeyValue(kKeyFile.c_str(), "key", buffer, size, 0);
         check.equal(length, 10, "the length returned");
         return length;
       });
     }},
    {"TLIBCFileGetKeyValue", "absent", "0 and an empty buffer where the key is absent or empty",
     [](const Check &check) {
       check.root.write(kKeyFile, "empty=\"\"\n#commented=\"1\"\n");
       for (const char *key : {"absent", "empty", "commented"}) {
         std::string buffer(8, '#');
         check.equal(check.succeeds(key, [&] { return getKeyValue(check, key, buffer); }), 0, "the length returned");
         check.equal(buffer.substr(0, buffer.find('\0')), "", "the buffer");
       }
     }},
    {"TLIBCFileGetKeyValue", "no-file", "a file that is absent is a failure",
     [](const Check &check) {
       std::string buffer(8, '#');
       check.fails("an absent file", TLIBC_ERR_NOT_FOUND, [&] { return getKeyValue(check, "key", buffer); });
       check.fails("a directory", TLIBC_ERR_NONE, [&] { return getKeyValue(check, "key", buffer, kOwnDirectory); });
     }},
    {"TLIBCFileGetKeyValue", "null", "null is a failure",
     [](const Check &check) {
       check.root.write(kKeyFile, "a=1\n");
       char buffer[8];
       const auto refuses = [&](const char *file, const char *key, char *to) {
         check.refusesNull([&] { return check->TLIBCFileGetKeyValue(file, key, to, sizeof buffer, 0); });
       };
       refuses(nullptr, "a", buffer);
       refuses(kKeyFile.c_str(), nullptr, buffer);
       refuses(kKeyFile.c_str(), "a", nullptr);
     }},
    {"TLIBCFileCheckKeyValue", "exactly", "1 where the key has exactly this value, else 0",
     [](const Check &check) {
       check.root.write(kKeyFile, "key=\"Yes\"\nempty=\"\"\nlast=1\nlast=2\n");
       const auto is = [&](const char *key, const char *value, int expected) {
         const int result =
             check.succeeds("a call", [&] { return check->TLIBCFileCheckKeyValue(kKeyFile.c_str(), key, value, 0); });
         check.equal(result, expected, std::string(key) + " with " + shown(value));
       };
       is("key", "Yes", 1);
       is("key", "yes", 0);
       is("key", "Ye", 0);
       is("key", "Yes ", 0);
       is("empty", "", 1);
       is("absent", "", 0);
       is("last", "1", 0);
       is("last", "2", 1);
     }},
    {"TLIBCFileCheckKeyValue", "failures", "null and a file that is absent are failures",
     [](const Check &check) {
       const auto call = [&](const char *file, const char *key, const char *value) {
         return check->TLIBCFileCheckKeyValue(file, key, value, 0);
       };
       check.fails("an absent file", TLIBC_ERR_NOT_FOUND, [&] { return call(kKeyFile.c_str(), "a", "1"); });
       check.root.write(kKeyFile, "a=1\n");
       check.refusesNull([&] { return call(nullptr, "a", "1"); });
       check.refusesNull([&] { return call(kKeyFile.c_str(), nullptr, "1"); });
       check.refusesNull([&] { return call(kKeyFile.c_str(), "a", nullptr); });
     }},
};

}  // namespace

std::span<const Rule> keyFileReadingRules() {
  return kRules;
}

}  // namespace kova::check
