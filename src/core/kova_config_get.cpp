#include <kova/account.h>
#include <kova/error.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <type_traits>

#include "core/device_path.h"
#include "core/guard.h"
#include "core/handles.h"
#include "core/log.h"
#include "core/text.h"

// Programs on the device pass this record around as bytes.
static_assert(std::is_standard_layout_v<AccountInfo> && std::is_trivial_v<AccountInfo>);
#define KOVA_FIELD_AT(field, place, width) \
  static_assert(offsetof(AccountInfo, field) == (place) && sizeof(AccountInfo::field) == (width))
KOVA_FIELD_AT(kovaID, 0, 4096);
KOVA_FIELD_AT(kovaPW, 4096, 4096);
KOVA_FIELD_AT(kovaIDSerial, 8192, 4096);
KOVA_FIELD_AT(vx_auth_key, 12288, 4096);
KOVA_FIELD_AT(full_name, 16384, 1024);
KOVA_FIELD_AT(country, 17408, 256);
KOVA_FIELD_AT(timezone, 17664, 256);
KOVA_FIELD_AT(notify_language, 17920, 256);
KOVA_FIELD_AT(critical_version_list, 18176, 1024);
KOVA_FIELD_AT(critical_version_domain, 19200, 1024);
KOVA_FIELD_AT(activated, 20224, 4);
KOVA_FIELD_AT(disabled, 20228, 4);
KOVA_FIELD_AT(enews, 20232, 4);
KOVA_FIELD_AT(critical_release, 20236, 4);
KOVA_FIELD_AT(enews_local_promotion, 20240, 4);
KOVA_FIELD_AT(last_query_time, 20244, 4);
#undef KOVA_FIELD_AT
static_assert(sizeof(AccountInfo) == 20248);

namespace kova {
namespace {

enum class Empty { kRefused, kAccepted };

// The values that a read of the account file found.
class AccountFile {
 public:
  static bool exists() { return access(DevicePath(kAccountFile).c_str(), F_OK) == 0; }

  // Returns 0, or -1 with the error code set.
  int read(std::initializer_list<const char *> keys) {
    const SzList list(TLIBCSzListAlloc(512));
    values_.reset(TLIBCSzHashAlloc(512));
    const auto pushed = [&](const char *key) { return TLIBCSzListPush(list.get(), key) >= 0; };
    if (!list || !values_ || !std::all_of(keys.begin(), keys.end(), pushed)) {
      return fail(here(), KOVA_ERR_SYSTEM, "Out of memory!!");
    }
    if (TLIBCFileGetKeys(kAccountFile, list.get(), values_.get(), "=") < 0) {
      return fail(here(), KOVA_ERR_ACCOUNT_GET, "TLIBCFileGetKeys() failed!! szFile=[%s], tarverr=[0x%04X]",
                  kAccountFile, TLIBCErrGet());
    }
    return 0;
  }

  const char *find(const char *key) const { return TLIBCSzHashGetValue(values_.get(), key); }

  // Copies the value of `key` into the field; false, with a log line, when there is none.
  template <std::size_t width>
  bool text(const char *key, char (&field)[width], Empty empty) const {
    const char *value = find(key);
    if (value == nullptr || (empty == Empty::kRefused && isEmpty(value))) return missing(key);
    copyText(field, value);
    return true;
  }

  bool flag(const char *key, int32_t &field) const {
    const char *value = find(key);
    if (value == nullptr) return missing(key);
    // Any beginning of "yes" counts, the empty one too.
    field = std::strncmp(value, "yes", std::min<std::size_t>(std::strlen(value), 4)) == 0 ? 1 : 0;
    return true;
  }

 private:
  static bool missing(const char *key) {
    log(here(), "key [%s] not found in %s, errno=%s/%d\n", key, kAccountFile, std::strerror(errno), errno);
    return false;
  }

  SzHash values_;
};

// Reads the profile until a key is missing. The query time counts only where all of it is there.
void readProfile(const AccountFile &file, AccountInfo &info) {
  const char *queried = file.find("last_query_time");
  if (queried == nullptr) return;
  if (file.text("kovaID", info.kovaID, Empty::kRefused) && file.text("full_name", info.full_name, Empty::kRefused) &&
      file.text("country", info.country, Empty::kAccepted) && file.text("timezone", info.timezone, Empty::kAccepted) &&
      file.text("notify_language", info.notify_language, Empty::kAccepted) && file.flag("activated", info.activated) &&
      file.flag("disabled", info.disabled) && file.flag("enews", info.enews) &&
      file.flag("critical_release", info.critical_release) &&
      file.flag("enews_local_promotion", info.enews_local_promotion) &&
      file.text("critical_version_list", info.critical_version_list, Empty::kAccepted) &&
      file.text("critical_version_domain", info.critical_version_domain, Empty::kAccepted)) {
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
    if (!file.text("vx_auth_key", info->vx_auth_key, Empty::kRefused) ||
        !file.text("kovaIDSerial", info->kovaIDSerial, Empty::kRefused)) {
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
    if (!file.text("kovaID", buf->kovaID, Empty::kRefused) || !file.text("kovaPW", buf->kovaPW, Empty::kRefused)) {
      return fail(KOVA_ERR_ACCOUNT_GET);
    }
    return 0;
  });
}
