// The binary interface that programs rely on once they are built. scripts/check-abi compiles this with the public
// headers, compares it with what the libraries export, and says what to do where they differ.
#include <kova/kova.h>

#include <cstddef>
#include <type_traits>

// An exported function or variable: one whose symbol is its name, and one whose symbol has its type, too.
#define SYMBOL(name, ...) static_assert(std::is_same_v<decltype(name), __VA_ARGS__>)
#define CPP_SYMBOL(name, ...) SYMBOL(name, __VA_ARGS__)
// A structure: its size, and where each of its fields begins.
#define SIZE(type, size) \
  static_assert(std::is_standard_layout_v<type> && std::is_trivial_v<type> && sizeof(type) == (size))
#define FIELD(type, field, offset, ...) \
  static_assert(offsetof(type, field) == (offset) && std::is_same_v<decltype(type::field), __VA_ARGS__>)

inline constexpr int kSoname = 1;
constexpr std::size_t kPointer = sizeof(void *);

// <kova/error.h>
SYMBOL(gErrorCodeMap, KovaErrorMapEntry[12]);
SYMBOL(TARVKOVAErrSet, int32_t(int32_t));
SYMBOL(TARVKOVAErrGet, int32_t());
SYMBOL(MapLibKovaCenterErrorCode, int32_t(const char *));
SYMBOL(GetErrorCodeFromCloudService, int32_t());
SYMBOL(printErrCode, void(int32_t));

// <kova/account.h>
SYMBOL(TARVKOVAAccountGet, int(AccountInfo *));
SYMBOL(TARVKOVAAccountSet, int(const AccountInfo *));
SYMBOL(TARVKOVAAccountRemove, int());
SYMBOL(TARVPaymentKovaAccountGet, int(AccountInfo *));

// <kova/transport.h>
SYMBOL(TARVKOVAServerConfigGet, int(ServerConfig *));
SYMBOL(TARVKOVAUserAgentNameGet, int(char *, int32_t));
SYMBOL(TARVKOVAHttpsRequestSend, int(const HttpsRequest *, HttpsResponse *));
SYMBOL(TARVKOVAHttpsResponseFree, void(HttpsResponse *));
SYMBOL(TARVKOVAGetSerialNumber, int(char *, int32_t));
SYMBOL(TARVKOVAGenerateToken, int(const char *, const char *, char *, int32_t, char *, int32_t));
SYMBOL(KovaGetMd5String, int(const char *, char *, int32_t));

// <kova/session.h>
CPP_SYMBOL(TARVKOVAAccountAuthen, int(const char *, const char *, const char *, Json::Value &));
CPP_SYMBOL(TARVKOVAAccountLogin, int(const char *, const char *, Json::Value &, bool));
CPP_SYMBOL(TARVKOVAAccountLogout, int());
CPP_SYMBOL(TARVKOVAAccountQueryInfo, int(Json::Value &, bool, bool));
CPP_SYMBOL(TARVKOVAAccountSetInfo, int(const char *, const char *, const char *, const char *, const char *,
                                       const char *, const char *, int32_t, int32_t, int32_t, const char *));
CPP_SYMBOL(TARVKOVAReportInfo, int());
CPP_SYMBOL(TARVKOVAAccountIsUnified, int(Json::Value &));
SYMBOL(TARVKOVAAccountIsUnified_C, int());
CPP_SYMBOL(TARVKOVAAccountIsUnified_C, int());

// <kova/services.h>
CPP_SYMBOL(TARVKOVAAccountRegister, int(const char *, const char *, const char *, bool));
CPP_SYMBOL(TARVKOVAAccountServiceCheck, int(const char *, const char *, Json::Value &));
CPP_SYMBOL(TARVKOVAAccountPurchaseList,
           int(const char *, const char *, const char *, const Json::Value &, const Json::Value &, const Json::Value &,
               const Json::Value &, Json::Value &));

// <kova/unify.h>
CPP_SYMBOL(TARVKOVAAccountScanExisting, int(Json::Value &));
CPP_SYMBOL(TARVKOVAAccountMigrate, int(const char *, const char *, const Json::Value &));
CPP_SYMBOL(TARVKOVAAbandonUnmerged, int(const Json::Value &));

// <kova/platform.h>
SYMBOL(KovaDevicePath, int(const char *, char *, size_t));
SYMBOL(TLIBCErrGet, int());
SYMBOL(TLIBCSzListAlloc, TLIBCSzList *(size_t));
SYMBOL(TLIBCSzListPush, int(TLIBCSzList *, const char *));
SYMBOL(TLIBCSzListCount, size_t(const TLIBCSzList *));
SYMBOL(TLIBCSzListGet, const char *(const TLIBCSzList *, size_t));
SYMBOL(TLIBCSzListFree, void(TLIBCSzList *));
SYMBOL(TLIBCSzHashAlloc, TLIBCSzHash *(size_t));
SYMBOL(TLIBCSzHashGetValue, const char *(const TLIBCSzHash *, const char *));
SYMBOL(TLIBCSzHashSetValue, int(TLIBCSzHash *, const char *, const char *));
SYMBOL(TLIBCSzHashEnumKey, int(const TLIBCSzHash *, TLIBCSzList *));
SYMBOL(TLIBCSzHashFree, void(TLIBCSzHash *));
SYMBOL(TLIBCStrCat, int(TLIBCSzText *, const char *));
SYMBOL(TLIBCStrTrimSpace, char *(char *));
SYMBOL(TARVEncodingBase64Decode, int(const char *, size_t, char *, size_t *));
SYMBOL(TLIBCFileGetKeys, int(const char *, const TLIBCSzList *, TLIBCSzHash *, const char *));
SYMBOL(TLIBCFileSetKeys, int(const char *, const TLIBCSzHash *, int, const char *));
SYMBOL(TLIBCFileGetKeyValue, int(const char *, const char *, char *, size_t, int));
SYMBOL(TLIBCFileCheckKeyValue, int(const char *, const char *, const char *, int));
SYMBOL(TLIBCINFOSetKeyValue, int(const char *, const char *));
SYMBOL(TLIBGetCustomSerialNumber, int(char *, size_t));
SYMBOL(TLIBGetSerialNumber, int(char *, size_t));
SYMBOL(TLIBVxinfoUserAgentGet, int(const char *, char *, size_t));
SYMBOL(TLIBPluginSDKInit, TLIBPlugin *(const char *, const char *));
SYMBOL(TLIBPluginAction, int(TLIBPlugin *, int));
SYMBOL(TLIBPluginExit, void(TLIBPlugin *));
SYMBOL(TARVCloudServiceGetErrorCode, int());
SYMBOL(TARVCloudServiceGetMacAddress, int(char *, size_t));
SYMBOL(TARVCloudServiceGetApiKey, int(char *, int));
SYMBOL(TARVCloudServiceRegisterApiKey, int(char *));
SYMBOL(TARVScheduleSet, int(const TARVSchedule *, int));
SYMBOL(TARVScheduleRemove, int(const char *));
SYMBOL(TARVLogSet1, int(int, int, uint32_t, const char *, const char *, const char *, const char *));
SYMBOL(TARVSysNotifySendNotifiction, int(const char *, const TLIBCSzHash *));
SYMBOL(TARVZoneGet, int(char *, size_t, int32_t *));
SYMBOL(TARVZoneGetInfo, int(const char *, TLIBCSzHash **));
SYMBOL(TLIBCPopen, FILE *(const char *, const char *const *, const char *));
SYMBOL(TLIBCPclose, int(FILE *));
SYMBOL(TLIBCExecv, int(const char *, const char *const *, int));
SYMBOL(TLIBServiceRestart, int(const char *));

// Structures.
SIZE(AccountInfo, 20248);
FIELD(AccountInfo, kovaID, 0, char[4096]);
FIELD(AccountInfo, kovaPW, 4096, char[4096]);
FIELD(AccountInfo, kovaIDSerial, 8192, char[4096]);
FIELD(AccountInfo, vx_auth_key, 12288, char[4096]);
FIELD(AccountInfo, full_name, 16384, char[1024]);
FIELD(AccountInfo, country, 17408, char[256]);
FIELD(AccountInfo, timezone, 17664, char[256]);
FIELD(AccountInfo, notify_language, 17920, char[256]);
FIELD(AccountInfo, critical_version_list, 18176, char[1024]);
FIELD(AccountInfo, critical_version_domain, 19200, char[1024]);
FIELD(AccountInfo, activated, 20224, int32_t);
FIELD(AccountInfo, disabled, 20228, int32_t);
FIELD(AccountInfo, enews, 20232, int32_t);
FIELD(AccountInfo, critical_release, 20236, int32_t);
FIELD(AccountInfo, enews_local_promotion, 20240, int32_t);
FIELD(AccountInfo, last_query_time, 20244, int32_t);

SIZE(ServerConfig, 4096);
FIELD(ServerConfig, first_url, 0, char[2048]);
FIELD(ServerConfig, service_url, 2048, char[2048]);

SIZE(HttpsRequest, 3 * kPointer + 20256);
FIELD(HttpsRequest, base, 0, const char *);
FIELD(HttpsRequest, path, kPointer, const char *);
FIELD(HttpsRequest, params, 2 * kPointer, TLIBCSzHash *);
FIELD(HttpsRequest, account, 3 * kPointer, AccountInfo);
FIELD(HttpsRequest, method, 3 * kPointer + 20248, int32_t);
FIELD(HttpsRequest, short_timeout, 3 * kPointer + 20252, int32_t);

SIZE(HttpsResponse, kPointer + 8);
FIELD(HttpsResponse, transfer_result, 0, int32_t);
FIELD(HttpsResponse, http_status, 4, int32_t);
FIELD(HttpsResponse, body, 8, char *);

SIZE(KovaErrorMapEntry, 2 * kPointer);
FIELD(KovaErrorMapEntry, result, 0, const char *);
FIELD(KovaErrorMapEntry, code, kPointer, int32_t);

SIZE(KovaErrorText, 3 * kPointer);
FIELD(KovaErrorText, code, 0, int32_t);
FIELD(KovaErrorText, name, kPointer, const char *);
FIELD(KovaErrorText, sentence, 2 * kPointer, const char *);

SIZE(TLIBCSzText, 3 * kPointer);
FIELD(TLIBCSzText, text, 0, char *);
FIELD(TLIBCSzText, length, kPointer, size_t);
FIELD(TLIBCSzText, capacity, 2 * kPointer, size_t);

SIZE(TARVSchedule, 1048);
FIELD(TARVSchedule, weekdays, 0, int32_t);
FIELD(TARVSchedule, hour, 4, int32_t);
FIELD(TARVSchedule, reserved1, 8, int32_t);
FIELD(TARVSchedule, last_hour, 12, int32_t);
FIELD(TARVSchedule, minute, 16, int32_t);
FIELD(TARVSchedule, reserved2, 20, int32_t);
FIELD(TARVSchedule, command, 24, char[1024]);

// Error numbers.
static_assert(KOVA_SUCCESS == 0 && KOVA_ERR_BAD_PARAMETERS == 1 && KOVA_ERR_JSON_FORMAT == 2 &&
              KOVA_ERR_ACCOUNT_GET == 3 && KOVA_ERR_REQUEST == 4 && KOVA_ERR_RESPONSE == 5 && KOVA_ERR_SYSTEM == 6 &&
              KOVA_ERR_SERIAL_NUMBER == 8 && KOVA_ERR_AUTHENTICATION == 14 && KOVA_ERR_NETWORK == 15 &&
              KOVA_ERR_ACCOUNT_IN_USE == 16 && KOVA_ERR_ACCOUNT_LIMIT == 17 && KOVA_ERR_UNVERIFIED == 18 &&
              KOVA_ERR_STORE == 19 && KOVA_ERR_MAC_ADDRESS == 20 && KOVA_ERR_TOKEN == 22 &&
              KOVA_ERR_SERVER_CONFIG == 23 && KOVA_ERR_UNKNOWN_RESULT == 24 && KOVA_ERR_ACCOUNT_NOT_FOUND == 25 &&
              KOVA_ERR_API_KEY_NOT_FOUND == 26);
static_assert(TLIBC_ERR_NONE == 0x0000 && TLIBC_ERR_BAD_PARAMETER == 0x0100 && TLIBC_ERR_OUT_OF_MEMORY == 0x0200 &&
              TLIBC_ERR_NOT_FOUND == 0x0300 && TLIBC_ERR_OPEN_FAILED == 0x0400 && TLIBC_ERR_READ_FAILED == 0x0500 &&
              TLIBC_ERR_WRITE_FAILED == 0x0600 && TLIBC_ERR_LOCK_FAILED == 0x0700 && TLIBC_ERR_BAD_VALUE == 0x0800 &&
              TLIBC_ERR_DECODE_FAILED == 0x0900 && TLIBC_ERR_EXEC_FAILED == 0x0A00 && TLIBC_ERR_TOO_LONG == 0x0B00 &&
              TLIBC_ERR_DEVICE == 0x0C00);
