#include <kova/account.h>
#include <kova/error.h>
#include <kova/platform.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "core/device_path.h"
#include "core/guard.h"
#include "core/handles.h"
#include "core/log.h"
#include "core/text.h"

namespace kova {
namespace {

// The keys to write. A function that puts one returns false, after it has logged, when that fails.
class AccountKeys {
 public:
  bool allocated() const { return static_cast<bool>(keys_); }
  const TLIBCSzHash *get() const { return keys_.get(); }

  bool put(const char *key, const char *value) {
    if (TLIBCSzHashSetValue(keys_.get(), key, value) >= 0) return true;
    log(here(), "Failed to set hash for %s, errno=%s/%d\n, tarv_error=[%X]", key, std::strerror(errno), errno,
        TLIBCErrGet());
    return false;
  }
  bool putUnlessEmpty(const char *key, const char *value) { return isEmpty(value) || put(key, value); }
  bool put(const char *key, int32_t flag) { return put(key, flag != 0 ? "yes" : "no"); }

 private:
  SzHash keys_{TLIBCSzHashAlloc(1024)};
};

bool putIdentity(AccountKeys &keys, const AccountInfo &info) {
  return keys.putUnlessEmpty("kovaID", info.kovaID) && keys.putUnlessEmpty("vx_auth_key", info.vx_auth_key) &&
         keys.putUnlessEmpty("kovaIDSerial", info.kovaIDSerial);
}

bool putProfile(AccountKeys &keys, const AccountInfo &info) {
  char queried[24];
  std::snprintf(queried, sizeof queried, "%lld", static_cast<long long>(info.last_query_time));
  return keys.putUnlessEmpty("full_name", info.full_name) && keys.put("country", info.country) &&
         keys.put("timezone", info.timezone) && keys.putUnlessEmpty("notify_language", info.notify_language) &&
         keys.put("activated", info.activated) && keys.put("disabled", info.disabled) &&
         keys.put("enews", info.enews) && keys.put("critical_release", info.critical_release) &&
         keys.put("enews_local_promotion", info.enews_local_promotion) &&
         keys.put("critical_version_list", info.critical_version_list) &&
         keys.putUnlessEmpty("critical_version_domain", info.critical_version_domain) &&
         keys.put("last_query_time", queried);
}

}  // namespace
}  // namespace kova

using namespace kova;

int TARVKOVAAccountSet(const AccountInfo *info) {
  return guarded([&] {
    TARVKOVAErrSet(KOVA_SUCCESS);
    if (info == nullptr) return fail(KOVA_ERR_BAD_PARAMETERS);
    AccountKeys keys;
    if (!keys.allocated()) {
      return fail(here(), KOVA_ERR_SYSTEM, "Failed to allocate hash for setting %s, errno=%s/%d\n, tarv_error=[%X]",
                  kAccountFile, std::strerror(errno), errno, TLIBCErrGet());
    }
    if (!putIdentity(keys, *info) || (info->last_query_time > 0 && !putProfile(keys, *info))) {
      return fail(KOVA_ERR_SYSTEM);
    }
    if (TLIBCFileSetKeys(kAccountFile, keys.get(), 0, "%s=\"%s\"\n") < 0) {
      return fail(here(), KOVA_ERR_STORE, "TLIBCFileSetKeys() failed!! szFile=[%s], tarverr=[0x%04X]", kAccountFile,
                  TLIBCErrGet());
    }
    return 0;
  });
}
