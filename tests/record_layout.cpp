// Programs on the device pass the account record around as bytes: its layout is fixed.
#include <kova/account.h>

#include <array>
#include <cstddef>
#include <type_traits>

static_assert(std::is_standard_layout_v<AccountInfo> && std::is_trivial_v<AccountInfo> && sizeof(AccountInfo) == 20248);

// Where a field ends: the next one begins there.
#define END(field) offsetof(AccountInfo, field) + sizeof(AccountInfo::field)
constexpr std::array kEnds{
    END(kovaID),         END(kovaPW),   END(kovaIDSerial),    END(vx_auth_key),           END(full_name),
    END(country),        END(timezone), END(notify_language), END(critical_version_list), END(critical_version_domain),
    END(activated),      END(disabled), END(enews),           END(critical_release),      END(enews_local_promotion),
    END(last_query_time)};
static_assert(kEnds == std::array<std::size_t, 16>{4096, 8192, 12288, 16384, 17408, 17664, 17920, 18176, 19200, 20224,
                                                   20228, 20232, 20236, 20240, 20244, 20248});
