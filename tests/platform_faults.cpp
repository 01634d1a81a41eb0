// The stand-alone platform with one fault, which the environment variable KOVA_FAULT names.
#include <dlfcn.h>
#include <kova/platform.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/files.h"

// Calls the function of the stand-alone platform.
#define REAL(name, ...) reinterpret_cast<decltype(&::name)>(dlsym(RTLD_NEXT, #name))(__VA_ARGS__)

namespace {

namespace fs = std::filesystem;

bool has(const char *fault) {
  const char *chosen = std::getenv("KOVA_FAULT");
  return chosen != nullptr && std::strcmp(chosen, fault) == 0;
}

std::string at(const std::string &path) {
  return std::getenv("KOVA_DEVICE_ROOT") + path;
}

// The keys of each hash, in the order that a fault makes.
std::map<const TLIBCSzHash *, std::vector<std::string>> orders;
std::string lastValue;

}  // namespace

int KovaDevicePath(const char *path, char *buffer, std::size_t size) {
  if (has("root-printing")) std::puts("root");
  const int length = REAL(KovaDevicePath, path, buffer, size);
  if (has("root-ignored") && length > 0) std::strcpy(buffer, path);
  return length;
}

int TLIBCSzListPush(TLIBCSzList *list, const char *text) {
  if (has("printing")) std::puts("pushed");
  return REAL(TLIBCSzListPush, list, text);
}

int TLIBCSzHashSetValue(TLIBCSzHash *hash, const char *key, const char *value) {
  const bool isThere = hash != nullptr && key != nullptr && REAL(TLIBCSzHashGetValue, hash, key) != nullptr;
  const int result = REAL(TLIBCSzHashSetValue, hash, key, value);
  if (result != 0) return result;
  std::vector<std::string> &order = orders[hash];
  if (has("hash-moved") && isThere) std::erase(order, key);
  if (has("hash-moved") || !isThere) order.emplace_back(key);
  if (has("hash-sorted")) std::ranges::sort(order);
  return result;
}

const char *TLIBCSzHashGetValue(const TLIBCSzHash *hash, const char *key) {
  if (has("hash-linear") && std::ranges::find(orders[hash], key) == orders[hash].end()) return nullptr;
  const char *value = REAL(TLIBCSzHashGetValue, hash, key);
  return has("one-value-buffer") && value != nullptr ? (lastValue = value).c_str() : value;
}

int TLIBCSzHashEnumKey(const TLIBCSzHash *hash, TLIBCSzList *keys) {
  const bool isOther = has("hash-sorted") || has("hash-moved");
  if (!isOther || hash == nullptr || keys == nullptr) return REAL(TLIBCSzHashEnumKey, hash, keys);
  for (const std::string &key : orders[hash]) TLIBCSzListPush(keys, key.c_str());
  return static_cast<int>(orders[hash].size());
}

void TLIBCSzHashFree(TLIBCSzHash *hash) {
  orders.erase(hash);
  REAL(TLIBCSzHashFree, hash);
}

int TLIBCStrCat(TLIBCSzText *buffer, const char *addition) {
  if (!has("strcat-exact") || buffer == nullptr || addition == nullptr) return REAL(TLIBCStrCat, buffer, addition);
  buffer->capacity = buffer->length + std::strlen(addition) + 1;
  buffer->text = static_cast<char *>(std::realloc(buffer->text, buffer->capacity));
  std::strcpy(buffer->text + buffer->length, addition);
  buffer->length = buffer->capacity - 1;
  return 0;
}

char *TLIBCStrTrimSpace(char *text) {
  if (has("crash") && text == nullptr) std::abort();
  if (has("throws")) throw std::runtime_error("thrown");
  if (has("exits")) _exit(0);
  for (int i = 3; has("closes") && i < 64; ++i) close(i);
  while (has("flood") && std::fputs(std::string(4096, 'x').c_str(), stdout) >= 0) continue;
  while (has("loop") && text != nullptr) usleep(1);
  return REAL(TLIBCStrTrimSpace, text);
}

int TARVEncodingBase64Decode(const char *text, std::size_t length, char *output, std::size_t *size) {
  if (has("base64-junk")) length = std::min(length, length / 4 * 4);
  const int result = REAL(TARVEncodingBase64Decode, text, length, output, size);
  if (has("base64-nul") && result != 0) output[*size] = '\0';
  return result;
}

int TLIBCFileGetKeyValue(const char *file, const char *key, char *buffer, std::size_t size, int flags) {
  if (has("no-error") && !fs::exists(at(file))) return -1;
  const int length = REAL(TLIBCFileGetKeyValue, file, key, buffer, size, flags);
  if (has("not-terminated") && length >= static_cast<int>(size)) buffer[size - 1] = '#';
  return length;
}

int TLIBCFileGetKeys(const char *file, const TLIBCSzList *keys, TLIBCSzHash *hash, const char *separator) {
  if (!has("key-by-key")) return REAL(TLIBCFileGetKeys, file, keys, hash, separator);
  int count = 0;
  for (std::size_t i = 0; i < TLIBCSzListCount(keys); ++i) {
    TLIBCSzList *key = TLIBCSzListAlloc(1);
    TLIBCSzListPush(key, TLIBCSzListGet(keys, i));
    count += REAL(TLIBCFileGetKeys, file, key, hash, separator);
    TLIBCSzListFree(key);
  }
  return count;
}

int TLIBCFileSetKeys(const char *file, const TLIBCSzHash *hash, int flags, const char *format) {
  if (file == nullptr || hash == nullptr) return REAL(TLIBCFileSetKeys, file, hash, flags, format);
  if (has("in-use")) writeFile(at("/etc/kova.conf"), "user=\"bob\"\n");  // as another process of the device would
  if (has("killed") && std::strcmp(file, "/etc/kova.conf") == 0) kill(getppid(), SIGKILL), _exit(0);
  const std::string path = at(file), copy = file + std::to_string(getpid());
  if (has("line-break") && REAL(TLIBCSzHashGetValue, hash, "a") != nullptr) {
    return writeFile(path, std::string("a=\"") + REAL(TLIBCSzHashGetValue, hash, "a") + "\"\n"), 0;
  }
  if (has("no-lock") && fs::exists(path)) {
    fs::copy_file(path, at(copy));
    const int result = REAL(TLIBCFileSetKeys, copy.c_str(), hash, flags, format);
    return fs::rename(at(copy), path), result;
  }
  if (has("in-place") && fs::exists(path)) fs::create_hard_link(path, at(copy));
  const int result = REAL(TLIBCFileSetKeys, file, hash, flags, format);
  if (has("in-place") && fs::exists(at(copy))) {
    fs::copy_file(path, at(copy), fs::copy_options::overwrite_existing);
    fs::rename(at(copy), path);
  }
  if (has("comments-dropped")) {
    const std::string text = readFile(path);
    if (text.starts_with('#')) writeFile(path, text.substr(text.find('\n') + 1));
  }
  if (has("group-lost") && chown(path.c_str(), -1, 0) != 0) return -1;
  if (has("open-mode")) fs::permissions(path, fs::perms{0644});
  return result;
}

// Ends the processes that a rule starts, not that of the rule.
int TARVCloudServiceGetApiKey(char *key, int create) {
  if (has("exits") && getpid() != getpgrp()) _exit(0);
  return REAL(TARVCloudServiceGetApiKey, key, create);
}

FILE *TLIBCPopen(const char *program, const char *const arguments[], const char *mode) {
  if (!has("shell") || program == nullptr || mode == nullptr) return REAL(TLIBCPopen, program, arguments, mode);
  std::string command = "'" + at(program) + "'";
  for (; arguments != nullptr && *arguments != nullptr; ++arguments) command += std::string(" \"") + *arguments + "\"";
  return popen(command.c_str(), mode);
}

int TLIBCExecv(const char *program, const char *const arguments[], int wait) {
  if (has("environment-lost")) unsetenv("INHERITED");
  if (has("stream-lost")) close(STDERR_FILENO);
  const int result = REAL(TLIBCExecv, program, arguments, wait);
  sigset_t all;
  sigfillset(&all);
  if (has("mask-left")) sigprocmask(SIG_BLOCK, &all, nullptr);
  return has("wait-status") && result > 0 ? result << 8 : result;
}

int TARVScheduleSet(const TARVSchedule *schedule, int flags) {
  const std::string table = at("/etc/cron.d/tarvkova");
  const std::string before = has("schedule-doubled") && fs::exists(table) ? readFile(table) : "";
  const int result = REAL(TARVScheduleSet, schedule, flags);
  if (!before.empty()) writeFile(table, before + readFile(table));
  return result;
}
