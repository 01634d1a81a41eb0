// The functions of the platform that is checked.
#pragma once

#include <kova/platform.h>

#include <string>
#include <vector>

namespace kova::check {

// EACH(name) for every function of <kova/platform.h>.
// clang-format off
#define KOVA_PLATFORM_FUNCTIONS(EACH) \
  EACH(KovaDevicePath) EACH(TLIBCErrGet) EACH(TLIBCSzListAlloc) EACH(TLIBCSzListPush) EACH(TLIBCSzListCount) \
  EACH(TLIBCSzListGet) EACH(TLIBCSzListFree) EACH(TLIBCSzHashAlloc) EACH(TLIBCSzHashGetValue) \
  EACH(TLIBCSzHashSetValue) EACH(TLIBCSzHashEnumKey) EACH(TLIBCSzHashFree) EACH(TLIBCStrCat) \
  EACH(TLIBCStrTrimSpace) EACH(TARVEncodingBase64Decode) EACH(TLIBCFileGetKeys) EACH(TLIBCFileSetKeys) \
  EACH(TLIBCFileGetKeyValue) EACH(TLIBCFileCheckKeyValue) EACH(TLIBCINFOSetKeyValue) \
  EACH(TLIBGetCustomSerialNumber) EACH(TLIBGetSerialNumber) EACH(TLIBVxinfoUserAgentGet) EACH(TLIBPluginSDKInit) \
  EACH(TLIBPluginAction) EACH(TLIBPluginExit) EACH(TARVCloudServiceGetErrorCode) \
  EACH(TARVCloudServiceGetMacAddress) EACH(TARVCloudServiceGetApiKey) EACH(TARVCloudServiceRegisterApiKey) \
  EACH(TARVScheduleSet) EACH(TARVScheduleRemove) EACH(TARVLogSet1) EACH(TARVSysNotifySendNotifiction) \
  EACH(TARVZoneGet) EACH(TARVZoneGetInfo) EACH(TLIBCPopen) EACH(TLIBCPclose) EACH(TLIBCExecv) \
  EACH(TLIBServiceRestart)
// clang-format on

struct Functions {
#define KOVA_MEMBER(name) decltype(&::name) name;  // NOLINT(bugprone-macro-parentheses): it is what is declared
  KOVA_PLATFORM_FUNCTIONS(KOVA_MEMBER)
#undef KOVA_MEMBER
};

// Thrown where a rule calls a function that the platform lacks.
struct MissingFunction {
  const char *name;
};

// For destructors, which may not throw: a call that does nothing where the platform lacks the function.
template <class Call>
void callIfPresent(Call call) {
  try {
    call();
  } catch (const MissingFunction &) {
    // That it is missing is a finding of its own.
  }
}

struct Platform {
  Functions functions;
  std::vector<std::string> missing;
};

// The functions of the library at `path`, or where that is empty those that this program is linked with. Throws
// std::runtime_error where the library cannot be loaded.
Platform loadPlatform(const std::string &path);

}  // namespace kova::check
