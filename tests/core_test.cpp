// Error state and account file, through the exported functions.
#include <gtest/gtest.h>
#include <kova/kova.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <set>
#include <sstream>
#include <tuple>
#include <utility>

#include "base/text.h"
#include "support/device.h"

namespace {

constexpr char kIdentity[] = "vx_auth_key=\"key\"\nkovaIDSerial=\"42\"\n";
constexpr char kUnit[] = "kova_config_get";

LogLine missing(const std::string &key) {
  return {kUnit, "key [" + key + "] not found in /etc/kova.conf, errno=Success/0\n"};
}

// The profile's keys, in the order in which they are read.
const std::vector<std::string> kProfileKeys = words(
    "kovaID full_name country timezone notify_language activated disabled enews critical_release enews_local_promotion "
    "critical_version_list critical_version_domain");

class Core : public DeviceTest {
 protected:
  Core() { answer(); }
  // Reads an account file with the identity, the time of the last query and these entries.
  void get(const std::string &queried, const std::string &profile) {
    write(kAccountFile, kIdentity + keyFile("last_query_time=" + queried) + profile);
    *info_ = {};
    answer();
    EXPECT_TRUE(ended(TARVKOVAAccountGet(info_.get()), 0, 0));
  }
  std::unique_ptr<AccountInfo> info_ = std::make_unique<AccountInfo>();
};

TEST_F(Core, ErrorCodesAreMappedByPrefixTranslatedAndPrinted) {
  EXPECT_TRUE(ended(TARVKOVAErrSet(-5), -5, -5)) << "a code is kept unchecked";
  std::istringstream map(
      "good 0 goodbye 0 account_userid 0 badparam 1 badsys 6 badauth 14 badauthx 14 badnetwork 15 account_inused_x 16 "
      "serial_exceed_max_account_register 17 account_unverified 18 unknown 24 Good 24 goo 24 account_not_found 25 "
      "apikey_not_found 26");
  int32_t code = 0;
  for (std::string word; map >> word >> code;) EXPECT_TRUE(ended(MapLibKovaCenterErrorCode(word.c_str()), code, code));
  EXPECT_TRUE(gErrorCodeMap[11].result == nullptr && gErrorCodeMap[11].code == 24);
  const KovaErrorMapEntry first = std::exchange(gErrorCodeMap[0], {"badauth", 99});
  EXPECT_EQ(MapLibKovaCenterErrorCode("badauth"), 99) << "the table is writable and read at each call";
  gErrorCodeMap[0] = {nullptr, 0};
  EXPECT_EQ(MapLibKovaCenterErrorCode("badauth"), 24);
  gErrorCodeMap[0] = first;
  state().failing = {"TARVCloudServiceGetErrorCode"};
  for (const auto &[number, translated] : {std::pair{0, 0}, {1, 15}, {2, 24}, {-1, 24}}) {
    state().cloudError = number;
    EXPECT_TRUE(ended(GetErrorCodeFromCloudService(), translated, 24)) << number << " is not stored";
  }
  std::set<std::string> names;
  for (int32_t each = -1; each < 100; ++each) names.insert(KovaErrorTextGet(each)->name);
  EXPECT_EQ(names.size(), 21U) << "those of 20 codes, and one for all others";
  testing::internal::CaptureStderr();
  for (const int32_t printed : {0, 1, 2, 3, 4, 5, 6, 99, -1}) printErrCode(printed);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Wrong parameters\nWrong JSON format\nFailed to get kova account\nFailed to send the request\n"
            "Failed to get the response\nSystem error\nSystem error\nSystem error\n");
}

TEST_F(Core, AnAccountIsReadUntilTheFirstMissingKey) {
  for (std::size_t gone = 0; gone <= kProfileKeys.size(); ++gone) {
    SCOPED_TRACE(gone);
    const bool isWhole = gone == kProfileKeys.size();
    std::string profile;
    for (std::size_t i = 0; i < kProfileKeys.size(); ++i) profile += i == gone ? "" : kProfileKeys[i] + "=\"yes\"\n";
    // An empty name is as bad as a missing one.
    get("1234567890", profile + (gone < 2 ? kProfileKeys[gone] + "=\"\"\n" : ""));
    EXPECT_TRUE(isWhole ? state().log.empty() : loggedExactly({missing(kProfileKeys[gone])}));
    EXPECT_EQ(std::string(info_->vx_auth_key) + info_->kovaIDSerial + info_->kovaID, gone > 0 ? "key42yes" : "key42");
    EXPECT_EQ(info_->activated, gone > 5 ? 1 : 0);
    EXPECT_EQ(info_->last_query_time, isWhole ? 1234567890 : 0);
  }
}

TEST_F(Core, AccountReadFailures) {
  const LogLine unreadable = {kUnit, "TLIBCFileGetKeys() failed!! szFile=[/etc/kova.conf], tarverr=[0x0ABC]"};
  const LogLine memory = {kUnit, "Out of memory!!"};
  const std::string both = keyFile("kovaID=a kovaPW=b");
  const std::tuple<int (*)(AccountInfo *), std::string, std::string, int32_t, LogLine> cases[] = {
      {TARVKOVAAccountGet, keyFile("vx_auth_key= kovaIDSerial=42"), "", 3, missing("vx_auth_key")},
      {TARVKOVAAccountGet, keyFile("vx_auth_key=k kovaIDSerial="), "", 3, missing("kovaIDSerial")},
      {TARVKOVAAccountGet, kIdentity, "TLIBCFileGetKeys", 3, unreadable},
      {TARVKOVAAccountGet, kIdentity, "TLIBCSzListPush", 6, memory},
      {TARVPaymentKovaAccountGet, both, "TLIBCSzHashAlloc", 6, memory},
      {TARVPaymentKovaAccountGet, keyFile("kovaID=a kovaPW="), "", 3, missing("kovaPW")},
      {TARVPaymentKovaAccountGet, keyFile("kovaPW=s"), "", 3, missing("kovaID")},
  };
  for (const auto &[get, file, failing, code, line] : cases) {
    write(kAccountFile, file);
    answer({}, {failing});
    EXPECT_TRUE(ended(get(info_.get()), -1, code, {line})) << file << failing;
  }
  write(kAccountFile, both);
  answer();
  EXPECT_TRUE(ended(TARVPaymentKovaAccountGet(info_.get()), 0, 77)) << "success leaves the code";
  EXPECT_EQ(std::string(info_->kovaID) + info_->kovaPW, "ab");
  remove(kAccountFile);
  for (const auto get : {TARVKOVAAccountGet, TARVPaymentKovaAccountGet}) {
    EXPECT_TRUE(ended(get(nullptr), -1, 1));
    EXPECT_TRUE(ended(get(info_.get()), -1, 3, {}));
  }
}

TEST_F(Core, ValuesAreCutToTheirFieldsAndSurviveAWriteAndARead) {
  const std::string value = "a\"b=c # \\ 'x' \t\x01 ü\"" + std::string(5000, 'z');
  std::string profile = "vx_auth_key=\"" + value + "\"\n";
  for (const std::string &key : kProfileKeys) profile += key + "=\"" + key + value + "\"\n";
  // A flag is any beginning of "yes"; the last entry of a key counts.
  get("010", profile + keyFile("activated=Yes disabled=ye enews= critical_release=yesno enews_local_promotion=no"));
  AccountInfo &info = *info_;
  const auto cut = [&](const std::string &key, std::size_t size) { return (key + value).substr(0, size); };
  EXPECT_TRUE(info.vx_auth_key == cut("", 4095) && info.kovaID == cut("kovaID", 4095));
  EXPECT_TRUE(info.full_name == cut("full_name", 1023) && info.country == cut("country", 255));
  EXPECT_TRUE(info.timezone == cut("timezone", 255) && info.notify_language == cut("notify_language", 255));
  EXPECT_EQ(info.critical_version_list, cut("critical_version_list", 1023));
  EXPECT_EQ(info.critical_version_domain, cut("critical_version_domain", 1023));
  EXPECT_TRUE(info.disabled == 1 && info.enews == 1 && info.last_query_time == 10);
  EXPECT_EQ(info.activated + info.critical_release + info.enews_local_promotion, 0);
  ASSERT_EQ(TARVKOVAAccountSet(&info), 0);
  const auto again = std::make_unique<AccountInfo>();
  ASSERT_EQ(TARVKOVAAccountGet(again.get()), 0);
  EXPECT_EQ(std::memcmp(again.get(), &info, sizeof info), 0);
}

TEST_F(Core, AccountIsWrittenAndTheRestOfTheFileKept) {
  get("0", "");
  std::strcpy(info_->kovaPW, "never written");
  std::strcpy(info_->country, "FR");
  info_->last_query_time = -1;
  const std::string kept = "# mine\r\nother=\"1\"\r\ncountry=\"DE\"\r\nnot an entry\r\nkovaIDSerial=\"";
  write(kAccountFile, kept + "old\"");
  std::filesystem::permissions(at(kAccountFile), std::filesystem::perms(0640));
  EXPECT_TRUE(ended(TARVKOVAAccountSet(info_.get()), 0, 0));
  EXPECT_EQ(read(kAccountFile), kept + "42\"\r\nvx_auth_key=\"key\"\r\n");
  EXPECT_EQ(mode(kAccountFile), std::filesystem::perms(0600)) << "it holds the auth key";
  remove(kAccountFile);
  info_->last_query_time = 2147483647;
  info_->critical_release = 5;
  ASSERT_EQ(TARVKOVAAccountSet(info_.get()), 0);
  EXPECT_EQ(read(kAccountFile),
            keyFile("vx_auth_key=key kovaIDSerial=42 country=FR timezone= activated=no disabled=no enews=no "
                    "critical_release=yes enews_local_promotion=no critical_version_list= last_query_time=2147483647"));
  EXPECT_EQ(mode(kAccountFile), std::filesystem::perms(0600));
  if (geteuid() == 0 && chown(at(kInfoFile).c_str(), 7, 8) == 0) {
    struct stat status = {};
    ASSERT_EQ(chmod(at(kInfoFile).c_str(), 06755), 0);
    ASSERT_EQ(TLIBCINFOSetKeyValue("a", "b") + stat(at(kInfoFile).c_str(), &status), 0);
    EXPECT_TRUE(status.st_uid == 7 && status.st_gid == 8) << "the file stays its owner's";
    EXPECT_EQ(status.st_mode, S_IFREG | 06755U) << "which a change of owner would clear";
  }
}

TEST_F(Core, AccountWriteFailuresLeaveTheFile) {
  const std::string notStored = "TLIBCFileSetKeys() failed!! szFile=[/etc/kova.conf], tarverr=[0x0ABC]";
  const std::string error = ", errno=Success/0\n, tarv_error=[ABC]";
  const std::tuple<const char *, std::string, int32_t, std::string> cases[] = {
      {"42\nkovaID=\"evil\"", "", 19, notStored},
      {"42", "TLIBCFileSetKeys", 19, notStored},
      {"42", "TLIBCSzHashAlloc", 6, "Failed to allocate hash for setting /etc/kova.conf" + error},
      {"42", "TLIBCSzHashSetValue kovaIDSerial", 6, "Failed to set hash for kovaIDSerial" + error},
      {"42", "TLIBCSzHashSetValue last_query_time", 6, "Failed to set hash for last_query_time" + error},
  };
  get("0", "");
  info_->last_query_time = 5;
  const auto before = files();
  for (const auto &[serial, failing, code, text] : cases) {
    kova::copyText(info_->kovaIDSerial, serial);
    answer({}, {failing});
    EXPECT_TRUE(ended(TARVKOVAAccountSet(info_.get()), -1, code, {{"kova_config_set", text}}));
    EXPECT_EQ(files(), before) << text;
  }
  EXPECT_TRUE(ended(TARVKOVAAccountSet(nullptr), -1, 1));
}

TEST_F(Core, RemovalTellsTheOtherComponentsFirst) {
  write(kAccountFile, kIdentity);
  writeProgram("/usr/tarv/kova/plugin/kova/kova/logout/10-note",
               "#!/bin/sh\ncp $KOVA_DEVICE_ROOT/etc/kova.conf $KOVA_DEVICE_ROOT/seen-$1 2>/dev/null\nexit 0\n");
  for (const auto &[failing, text] : {std::pair{"TLIBPluginSDKInit", "TLIBPluginSDKInit failed"},
                                      {"TLIBPluginAction", "TLIBPluginAction failed, action=4"}}) {
    answer({}, {failing});
    EXPECT_TRUE(ended(TARVKOVAAccountRemove(), -1, 77, {{"kova_config_remove", text}}));
    EXPECT_EQ(read(kAccountFile), kIdentity);
  }
  answer();
  for (int i = 0; i < 2; ++i) EXPECT_TRUE(ended(TARVKOVAAccountRemove(), 0, 77)) << "nothing to delete is no failure";
  EXPECT_FALSE(exists(kAccountFile));
  EXPECT_EQ(read("/seen-4"), kIdentity) << "the plugin still saw the account";
}

}  // namespace
