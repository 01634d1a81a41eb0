#include <kova/account.h>
#include <kova/error.h>
#include <kova/platform.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include "base/text.h"
#include "core/device_path.h"
#include "core/guard.h"
#include "core/handles.h"
#include "core/log.h"
#include "core/text.h"

namespace kova {
namespace {

enum class Empty { kRefused, kAccepted };

// The account file, and those of its values that were asked for.
class AccountFile {
 public:
  static bool exists() { return access(DevicePath(kAccountFile).c_str(), F_OK) == 0; }

  // Returns 0, or -1 with the error code set.
  int read(std::initializer_list<const char *> keys) {
    const SzList list(TLIBCSzListAlloc(512));
    values_.reset(TLIBCSzHashAlloc(512));
    const auto pushed = [&](const char *key) { return TLIBCSzListPush(list.get(), key) >= 0; };
    if (!list || !values_ || !std::ranges::all_of(keys, pushed)) {
      return fail(here(), KOVA_ERR_SYSTEM, "Out of memory!!");
    }
    if (TLIBCFileGetKeys(kAccountFile, list.get(), values_.get(), "=") < 0) {
      return fail(here(), KOVA_ERR_ACCOUNT_GET, "TLIBCFileGetKeys() failed!! szFile=[%s], tarverr=[0x%04X]",
                  kAccountFile, TLIBCErrGet());
    }
    return 0;
  }

  const char *find(const char *key) const { return TLIBCSzHashGetValue(values_.get(), key); }

  // These copy the value of `key` into the field. False, with a log line, when there is none.
  template <std::size_t width>
  bool readText(char (&field)[width], const char *key, Empty empty) const {
    const char *value = find(key);
    if (value == nullptr || (empty == Empty::kRefused && isEmpty(value))) return logMissing(key);
    copyText(field, value);
    return true;
  }

  bool readFlag(int32_t &field, const char *key) const {
    const char *value = find(key);
    if (value == nullptr) return logMissing(key);
    // Every prefix of "yes" counts as yes, also the empty text.
    field = std::strncmp(value, "yes", std::min<std::size_t>(std::strlen(value), 4)) == 0 ? 1 : 0;
    return true;
  }

 private:
  static bool logMissing(const char *key) {
    log(here(), "key [%s] not found in %s, errno=%s/%d\n", key, kAccountFile, std::strerror(errno), errno);
    return false;
  }

  SzHash values_;
};

// Reads the profile as far as its keys are there. Only a complete one has a query time.
void readProfile(const AccountFile &file, AccountInfo &info) {
  const char *queried = file.find("last_query_time");
  if (queried == nullptr) return;
  if (file.readText(info.kovaID, "kovaID", Empty::kRefused) &&
      file.readText(info.full_name, "full_name", Empty::kRefused) &&
      file.readText(info.country, "country", Empty::kAccepted) &&
      file.readText(info.timezone, "timezone", Empty::kAccepted) &&
      file.readText(info.notify_language, "notify_language", Empty::kAccepted) &&
      file.readFlag(info.activated, "activated") && file.readFlag(info.disabled, "disabled") &&
      file.readFlag(info.enews, "enews") && file.readFlag(info.critical_release, "critical_release") &&
      file.readFlag(info.enews_local_promotion, "enews_local_promotion") &&
      file.readText(info.critical_version_list, "critical_version_list", Empty::kAccepted) &&
      file.readText(info.critical_version_domain, "critical_version_domain", Empty::kAccepted)) {
    info.last_query_time = static_cast<int32_t>(std::strtoll(queried, nullptr, 10));
  }
}

}  // namespace
}  // namespace kova

using namespace kova;

int TARVKOVAAccountGet(AccountInfo *info) {
  return guarded([&] {
    TARVKOVAErrSet(KOVA_SUCCESS);
    if (info == nullptr) return fail(KOVA_ERR_BAD_PARAMETERS);
    if (!AccountFile::exists()) return fail(KOVA_ERR_ACCOUNT_GET);
    AccountFile file;
    if (file.read({"vx_auth_key", "kovaIDSerial", "last_query_time", "full_name", "country", "timezone",
                   "notify_language", "activated", "disabled", "enews", "critical_release", "enews_local_promotion",
                   "critical_version_list", "critical_version_domain", "kovaID"}) < 0) {
      return -1;
    }
    if (!file.readText(info->vx_auth_key, "vx_auth_key", Empty::kRefused) ||
        !file.readText(info->kovaIDSerial, "kovaIDSerial", Empty::kRefused)) {
      return fail(KOVA_ERR_ACCOUNT_GET);
    }
    readProfile(file, *info);
    return 0;
  });
}

int TARVPaymentKovaAccountGet(AccountInfo *buf) {
  return guarded([&] {
    if (buf == nullptr) return fail(KOVA_ERR_BAD_PARAMETERS);
    if (!AccountFile::exists()) return fail(KOVA_ERR_ACCOUNT_GET);
    AccountFile file;
    if (file.read({"kovaID", "kovaPW"}) < 0) return -1;
    if (!file.readText(buf->kovaID, "kovaID", Empty::kRefused) ||
        !file.readText(buf->kovaPW, "kovaPW", Empty::kRefused)) {
      return fail(KOVA_ERR_ACCOUNT_GET);
    }
    return 0;
  });
}
