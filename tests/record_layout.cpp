// Programs on the device pass the account record around as bytes: its layout is fixed.
#include <kova/account.h>

#include <cstddef>
#include <type_traits>

static_assert(std::is_standard_layout_v<AccountInfo> && std::is_trivial_v<AccountInfo>);
#define KOVA_FIELD_AT(f, at, size) static_assert(offsetof(AccountInfo, f) == (at) && sizeof(AccountInfo::f) == (size))
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
