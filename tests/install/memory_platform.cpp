// A second implementation of the platform interface, as small as can be: a device that lives in memory. It shows that
// the library can be built on somebody else's platform; what this device cannot do fails as the interface says.
#include <kova/platform.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

using Entries = std::map<std::string, std::string>;
struct TLIBCSzList : std::vector<std::string> {};
struct TLIBCSzHash : Entries {};
struct TLIBPlugin {};

namespace {

std::map<std::string, Entries> files;
int lastError = TLIBC_ERR_NONE;

int fail(int error = TLIBC_ERR_DEVICE) {
  lastError = error;
  return -1;
}

int copy(const std::string &text, char *buffer, size_t size) {
  std::snprintf(buffer, size, "%s", text.c_str());
  return 0;
}

}  // namespace

int KovaDevicePath(const char *path, char *buffer, size_t size) {
  if (std::strlen(path) >= size) return fail(TLIBC_ERR_TOO_LONG);
  // The account "file" exists as long as memory has one.
  const bool exists = std::strcmp(path, "/etc/kova.conf") != 0 || files.count(path) != 0;
  return copy(exists ? "/" : path, buffer, size);
}
int TLIBCErrGet() { return lastError; }

TLIBCSzList *TLIBCSzListAlloc(size_t) { return new TLIBCSzList; }
int TLIBCSzListPush(TLIBCSzList *list, const char *text) { return list->emplace_back(text), 0; }
size_t TLIBCSzListCount(const TLIBCSzList *list) { return list->size(); }
const char *TLIBCSzListGet(const TLIBCSzList *list, size_t index) { return index < list->size() ? (*list)[index].c_str() : nullptr; }
void TLIBCSzListFree(TLIBCSzList *list) { delete list; }

// Sorted, where a hash proper keeps the order of insertion: nothing is sent from here.
TLIBCSzHash *TLIBCSzHashAlloc(size_t) { return new TLIBCSzHash; }
const char *TLIBCSzHashGetValue(const TLIBCSzHash *hash, const char *key) {
  const auto found = hash->find(key);
  return found != hash->end() ? found->second.c_str() : nullptr;
}
int TLIBCSzHashSetValue(TLIBCSzHash *hash, const char *key, const char *value) { return (*hash)[key] = value, 0; }
int TLIBCSzHashEnumKey(const TLIBCSzHash *hash, TLIBCSzList *keys) {
  for (const auto &entry : *hash) keys->push_back(entry.first);
  return static_cast<int>(hash->size());
}
void TLIBCSzHashFree(TLIBCSzHash *hash) { delete hash; }

int TLIBCStrCat(TLIBCSzText *, const char *) { return fail(); }
char *TLIBCStrTrimSpace(char *text) { return text; }
int TARVEncodingBase64Decode(const char *, size_t, char *, size_t *) { return fail() + 1; }

int TLIBCFileGetKeys(const char *file, const TLIBCSzList *keys, TLIBCSzHash *hash, const char *) {
  if (files.count(file) == 0) return fail(TLIBC_ERR_NOT_FOUND);
  for (const std::string &key : *keys) {
    if (files[file].count(key) != 0) (*hash)[key] = files[file][key];
  }
  return static_cast<int>(hash->size());
}
int TLIBCFileSetKeys(const char *file, const TLIBCSzHash *hash, int, const char *) {
  for (const auto &[key, value] : *hash) files[file][key] = value;
  return 0;
}
int TLIBCFileGetKeyValue(const char *, const char *, char *, size_t, int) { return fail(TLIBC_ERR_NOT_FOUND); }
int TLIBCFileCheckKeyValue(const char *, const char *, const char *, int) { return fail(TLIBC_ERR_NOT_FOUND); }
int TLIBCINFOSetKeyValue(const char *, const char *) { return fail(); }

int TLIBGetCustomSerialNumber(char *, size_t) { return fail(); }
int TLIBGetSerialNumber(char *buffer, size_t size) { return copy("MEMORY1", buffer, size); }
int TLIBVxinfoUserAgentGet(const char *package, char *buffer, size_t size) { return copy(package, buffer, size); }

TLIBPlugin *TLIBPluginSDKInit(const char *, const char *) { return new TLIBPlugin; }
int TLIBPluginAction(TLIBPlugin *, int) { return 0; }
void TLIBPluginExit(TLIBPlugin *plugin) { delete plugin; }

int TARVCloudServiceGetErrorCode() { return 1; }
int TARVCloudServiceGetMacAddress(char *, size_t) { return fail(); }
int TARVCloudServiceGetApiKey(char *, int) { return fail(); }
int TARVCloudServiceRegisterApiKey(char *) { return fail(); }
int TARVScheduleSet(const TARVSchedule *, int) { return fail(); }
int TARVScheduleRemove(const char *) { return fail(); }
int TARVLogSet1(int, int, uint32_t, const char *, const char *, const char *, const char *) { return fail(); }
int TARVSysNotifySendNotifiction(const char *, const TLIBCSzHash *) { return fail(); }
int TARVZoneGet(char *, size_t, int32_t *) { return fail(); }
int TARVZoneGetInfo(const char *, TLIBCSzHash **) { return fail(); }
FILE *TLIBCPopen(const char *, const char *const[], const char *) { return fail(), nullptr; }
int TLIBCPclose(FILE *) { return fail(); }
int TLIBCExecv(const char *, const char *const[], int) { return fail(); }
int TLIBServiceRestart(const char *) { return fail(); }
