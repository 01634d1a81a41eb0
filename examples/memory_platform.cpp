// A second implementation of the platform interface, as small as can be: a device that lives in memory. It shows that
// the library can be built on another platform; what this device cannot do fails as the interface says.
#include <kova/platform.h>

#include <cstdio>
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

int copyText(char *buffer, std::size_t size, const std::string &text) {
  std::snprintf(buffer, size, "%s", text.c_str());
  return 0;
}

}  // namespace

#define OPERATION(signature, result) \
  signature {                        \
    return result;                   \
  }
#define UNAVAILABLE(signature) OPERATION(int signature, fail())

int KovaDevicePath(const char *path, char *buffer, std::size_t size) {
  if (std::strlen(path) >= size) return fail(TLIBC_ERR_TOO_LONG);
  // The account "file" exists once the memory holds one.
  const bool exists = std::strcmp(path, "/etc/kova.conf") != 0 || files.count(path) != 0;
  return copyText(buffer, size, exists ? "/" : path);
}
OPERATION(int TLIBCErrGet(), lastError)

OPERATION(TLIBCSzList *TLIBCSzListAlloc(std::size_t), new TLIBCSzList)
OPERATION(int TLIBCSzListPush(TLIBCSzList *list, const char *text), (list->emplace_back(text), 0))
OPERATION(std::size_t TLIBCSzListCount(const TLIBCSzList *list), list->size())
const char *TLIBCSzListGet(const TLIBCSzList *list, std::size_t index) {
  return index < list->size() ? (*list)[index].c_str() : nullptr;
}
OPERATION(void TLIBCSzListFree(TLIBCSzList *list), delete list)

// Sorted, where a real device keeps the order of insertion: nothing is sent from here.
OPERATION(TLIBCSzHash *TLIBCSzHashAlloc(std::size_t), new TLIBCSzHash)
const char *TLIBCSzHashGetValue(const TLIBCSzHash *hash, const char *key) {
  const auto found = hash->find(key);
  return found != hash->end() ? found->second.c_str() : nullptr;
}
OPERATION(int TLIBCSzHashSetValue(TLIBCSzHash *hash, const char *key, const char *value), ((*hash)[key] = value, 0))
UNAVAILABLE(TLIBCSzHashEnumKey(const TLIBCSzHash *, TLIBCSzList *))
OPERATION(void TLIBCSzHashFree(TLIBCSzHash *hash), delete hash)

UNAVAILABLE(TLIBCStrCat(TLIBCSzText *, const char *))
OPERATION(char *TLIBCStrTrimSpace(char *text), text)
OPERATION(int TARVEncodingBase64Decode(const char *, std::size_t, char *, std::size_t *), 0)

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
UNAVAILABLE(TLIBCFileGetKeyValue(const char *, const char *, char *, std::size_t, int))
UNAVAILABLE(TLIBCFileCheckKeyValue(const char *, const char *, const char *, int))
UNAVAILABLE(TLIBCINFOSetKeyValue(const char *, const char *))

UNAVAILABLE(TLIBGetCustomSerialNumber(char *, std::size_t))
OPERATION(int TLIBGetSerialNumber(char *buffer, std::size_t size), copyText(buffer, size, "MEMORY1"))
UNAVAILABLE(TLIBVxinfoUserAgentGet(const char *, char *, std::size_t))

OPERATION(TLIBPlugin *TLIBPluginSDKInit(const char *, const char *), nullptr)
UNAVAILABLE(TLIBPluginAction(TLIBPlugin *, int))
OPERATION(void TLIBPluginExit(TLIBPlugin *), static_cast<void>(0))

UNAVAILABLE(TARVCloudServiceGetErrorCode())
UNAVAILABLE(TARVCloudServiceGetMacAddress(char *, std::size_t))
UNAVAILABLE(TARVCloudServiceGetApiKey(char *, int))
UNAVAILABLE(TARVCloudServiceRegisterApiKey(char *))
UNAVAILABLE(TARVScheduleSet(const TARVSchedule *, int))
UNAVAILABLE(TARVScheduleRemove(const char *))
UNAVAILABLE(TARVLogSet1(int, int, uint32_t, const char *, const char *, const char *, const char *))
UNAVAILABLE(TARVSysNotifySendNotifiction(const char *, const TLIBCSzHash *))
UNAVAILABLE(TARVZoneGet(char *, std::size_t, int32_t *))
UNAVAILABLE(TARVZoneGetInfo(const char *, TLIBCSzHash **))
OPERATION(FILE *TLIBCPopen(const char *, const char *const[], const char *), nullptr)
UNAVAILABLE(TLIBCPclose(FILE *))
UNAVAILABLE(TLIBCExecv(const char *, const char *const[], int))
UNAVAILABLE(TLIBServiceRestart(const char *))
