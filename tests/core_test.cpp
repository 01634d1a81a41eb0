// Error state and account file, through the exported functions.
#include <gtest/gtest.h>
#include <kova/kova.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <memory>
#include <sstream>
#include <tuple>

#include "base/text.h"
#include "support/device.h"

namespace {

constexpr char kIdentity[] = "vx_auth_key=\"key\"\nkovaIDSerial=\"42\"\n";
constexpr char kUnit[] = "kova_config_get";
constexpr char kWrite[] = "kova_config_set";

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

TEST_F(Core, ResultWordsMapByPrefix) {
  EXPECT_TRUE(ended(TARVKOVAErrSet(-5), -5, -5)) << "a code is kept unchecked";
  std::istringstream map(
      "good 0 goodbye 0 account_userid 0 badparam 1 badsys 6 badauth 14 badauthx 14 badnetwork 15 account_inused_x 16 "
      "serial_exceed_max_account_register 17 account_unverified 18 unknown 24 Good 24 goo 24 account_not_found 25 "
      "apikey_not_found 26");
  int32_t code = 0;
  for (std::string word; map >> word >> code;) EXPECT_TRUE(ended(MapLibKovaCenterErrorCode(word.c_str()), code, code));
  EXPECT_EQ(MapLibKovaCenterErrorCode(""), 24);
  EXPECT_TRUE(gErrorCodeMap[11].result == nullptr && gErrorCodeMap[11].code == 24);
  const KovaErrorMapEntry first = gErrorCodeMap[0];
  gErrorCodeMap[0] = {"badauth", 99};
  EXPECT_EQ(MapLibKovaCenterErrorCode("badauth"), 99) << "the table is writable and read at each call";
  gErrorCodeMap[0] = {nullptr, 0};
  EXPECT_EQ(MapLibKovaCenterErrorCode("badauth"), 24);
  gErrorCodeMap[0] = first;
}

TEST_F(Core, CloudServiceErrorsAreTranslatedNotStored) {
  state().failing = {"TARVCloudServiceGetErrorCode"};
  for (const auto &[number, code] : {std::pair{0, 0}, {1, 15}, {2, 24}, {-1, 24}}) {
    state().cloudError = number;
    EXPECT_TRUE(ended(GetErrorCodeFromCloudService(), code, 77)) << number;
  }
}

TEST_F(Core, ErrorCodesArePrinted) {
  testing::internal::CaptureStderr();
  for (const int32_t code : {0, 1, 2, 3, 4, 5, 6, 99, -1}) printErrCode(code);
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
    EXPECT_EQ(std::string(info_->vx_auth_key) + info_->kovaIDSerial, "key42");
    EXPECT_STREQ(info_->kovaID, gone > 0 ? "yes" : "");
    EXPECT_EQ(info_->activated, gone > 5 ? 1 : 0);
    EXPECT_STREQ(info_->critical_version_domain, isWhole ? "yes" : "");
    EXPECT_EQ(info_->last_query_time, isWhole ? 1234567890 : 0);
  }
  write(kAccountFile, kIdentity + keyFile("kovaID=a"));
  *info_ = {};
  answer();
  EXPECT_TRUE(ended(TARVKOVAAccountGet(info_.get()), 0, 0, {}));
  EXPECT_STREQ(info_->kovaID, "") << "the profile was never queried";
}

TEST_F(Core, AFlagIsAnyBeginningOfYes) {
  for (const auto &[value, flag] : {std::pair{"yes", 1}, {"ye", 1}, {"", 1}, {"no", 0}, {"Yes", 0}, {"yesno", 0}}) {
    std::string profile;
    for (const std::string &key : kProfileKeys) profile += keyFile(key + "=" + (key == "enews" ? value : "no"));
    get("1", profile);
    EXPECT_EQ(info_->enews, flag) << value;
    EXPECT_EQ(info_->disabled, 0);
  }
}

TEST_F(Core, AccountReadFailures) {
  const auto account = [](AccountInfo *info) { return TARVKOVAAccountGet(info); };
  const auto payment = [](AccountInfo *info) { return TARVPaymentKovaAccountGet(info); };
  const LogLine unreadable = {kUnit, "TLIBCFileGetKeys() failed!! szFile=[/etc/kova.conf], tarverr=[0x0ABC]"};
  const LogLine memory = {kUnit, "Out of memory!!"};
  const std::string both = keyFile("kovaID=a kovaPW=b");
  const std::tuple<int (*)(AccountInfo *), std::string, std::string, int32_t, LogLine> cases[] = {
      {account, keyFile("kovaIDSerial=42"), "", 3, missing("vx_auth_key")},
      {account, keyFile("vx_auth_key= kovaIDSerial=42"), "", 3, missing("vx_auth_key")},
      {account, keyFile("vx_auth_key=k kovaIDSerial="), "", 3, missing("kovaIDSerial")},
      {account, "vx_auth_key=\"k\"\nkovaIDSerial=\"4", "", 3, missing("kovaIDSerial")},
      {account, kIdentity, "TLIBCFileGetKeys", 3, unreadable},
      {account, kIdentity, "TLIBCSzListAlloc", 6, memory},
      {account, kIdentity, "TLIBCSzListPush", 6, memory},
      {account, kIdentity, "TLIBCSzHashAlloc", 6, memory},
      {payment, both, "TLIBCSzHashAlloc", 6, memory},
      {payment, keyFile("kovaID=a kovaPW="), "", 3, missing("kovaPW")},
      {payment, keyFile("kovaPW=s"), "", 3, missing("kovaID")},
  };
  for (const auto &[get, file, failing, code, line] : cases) {
    write(kAccountFile, file);
    answer({}, {failing});
    EXPECT_TRUE(ended(get(info_.get()), -1, code, {line})) << file << failing;
    EXPECT_EQ(read(kAccountFile), file);
  }
  for (const auto get : {+account, +payment}) {
    EXPECT_TRUE(ended(get(nullptr), -1, 1));
    remove(kAccountFile);
    answer();
    EXPECT_TRUE(ended(get(info_.get()), -1, 3, {}));
    std::filesystem::create_directory(at(kAccountFile));
    EXPECT_TRUE(ended(get(info_.get()), -1, 3)) << "a directory in the file's place";
  }
  remove(kAccountFile);
  write(kAccountFile, both);
  answer();
  EXPECT_TRUE(ended(TARVPaymentKovaAccountGet(info_.get()), 0, 77)) << "success leaves the code";
  EXPECT_STREQ(info_->kovaID, "a");
  EXPECT_STREQ(info_->kovaPW, "b");
}

TEST_F(Core, LongValuesAreCutToTheirFieldAndSurviveAWriteAndARead) {
  const std::string value = "a\"b=c # \\ 'x' \t\x01 ü\"" + std::string(5000, 'z');
  std::string profile = "vx_auth_key=\"" + value + "\"\n";
  for (const std::string &key : kProfileKeys) profile += key + "=\"" + key + value + "\"\n";
  get("010", profile);
  AccountInfo &info = *info_;
  EXPECT_EQ(info.vx_auth_key, value.substr(0, 4095));
  for (const auto &[field, key, size] : {std::tuple{info.kovaID, "kovaID", 4095},
                                         {info.full_name, "full_name", 1023},
                                         {info.country, "country", 255},
                                         {info.timezone, "timezone", 255},
                                         {info.notify_language, "notify_language", 255},
                                         {info.critical_version_list, "critical_version_list", 1023},
                                         {info.critical_version_domain, "critical_version_domain", 1023}})
    EXPECT_EQ(field, (key + value).substr(0, size));
  EXPECT_EQ(info.last_query_time, 10);
  info.disabled = info.enews_local_promotion = 1;
  ASSERT_EQ(TARVKOVAAccountSet(&info), 0);
  const auto again = std::make_unique<AccountInfo>();
  ASSERT_EQ(TARVKOVAAccountGet(again.get()), 0);
  EXPECT_EQ(std::memcmp(again.get(), &info, sizeof info), 0);
}

TEST_F(Core, AccountIsWrittenAndTheRestOfTheFileKept) {
  write(kAccountFile, "# mine\r\nother=\"1\"\r\ncountry=\"DE\"\r\nnot an entry\r\nkovaIDSerial=\"old\"");
  std::filesystem::permissions(at(kAccountFile), std::filesystem::perms(0640));
  std::strcpy(info_->vx_auth_key, "key");
  std::strcpy(info_->kovaIDSerial, "42");
  std::strcpy(info_->kovaPW, "never written");
  std::strcpy(info_->country, "FR");
  info_->last_query_time = -1;
  EXPECT_TRUE(ended(TARVKOVAAccountSet(info_.get()), 0, 0));
  EXPECT_EQ(
      read(kAccountFile),
      "# mine\r\nother=\"1\"\r\ncountry=\"DE\"\r\nnot an entry\r\nkovaIDSerial=\"42\"\r\nvx_auth_key=\"key\"\r\n");
  EXPECT_EQ(mode(kAccountFile), std::filesystem::perms(0600)) << "it holds the auth key";
  if (geteuid() == 0 && chown(at(kAccountFile).c_str(), 7, 8) == 0) {
    struct stat status = {};
    EXPECT_EQ(TARVKOVAAccountSet(info_.get()), 0);
    EXPECT_EQ(stat(at(kAccountFile).c_str(), &status), 0);
    EXPECT_TRUE(status.st_uid == 7 && status.st_gid == 8) << "the file stays its owner's";
    ASSERT_EQ(chown(at(kInfoFile).c_str(), 7, 8) + chmod(at(kInfoFile).c_str(), 06755), 0);
    EXPECT_EQ(TLIBCINFOSetKeyValue("a", "b"), 0);
    EXPECT_EQ(mode(kInfoFile), std::filesystem::perms(06755)) << "which a change of owner would clear";
  }
  remove(kAccountFile);
  info_->last_query_time = 2147483647;
  info_->activated = 5;
  ASSERT_EQ(TARVKOVAAccountSet(info_.get()), 0);
  EXPECT_EQ(read(kAccountFile),
            keyFile("vx_auth_key=key kovaIDSerial=42 country=FR timezone= activated=yes disabled=no enews=no "
                    "critical_release=no enews_local_promotion=no critical_version_list= last_query_time=2147483647"));
  EXPECT_EQ(mode(kAccountFile), std::filesystem::perms(0600));
}

TEST_F(Core, AccountWriteFailuresLeaveTheFile) {
  const std::string notStored = "TLIBCFileSetKeys() failed!! szFile=[/etc/kova.conf], tarverr=[0x0ABC]";
  const std::string noHash = "Failed to allocate hash for setting /etc/kova.conf", noValue = "Failed to set hash for ";
  const std::string error = ", errno=Success/0\n, tarv_error=[ABC]";
  const std::string setValue = "TLIBCSzHashSetValue ";
  const std::tuple<std::string, std::string, int32_t, std::string> cases[] = {
      {"42\nkovaID=\"evil\"", "", 19, notStored},
      {"42", "TLIBCFileSetKeys", 19, notStored},
      {"42", "TLIBCSzHashAlloc", 6, noHash + error},
      {"42", setValue + "kovaIDSerial", 6, noValue + "kovaIDSerial" + error},
      {"42", setValue + "last_query_time", 6, noValue + "last_query_time" + error},
  };
  write(kAccountFile, kIdentity);
  const auto before = files();
  for (const auto &[serial, failing, code, text] : cases) {
    *info_ = {};
    std::strcpy(info_->vx_auth_key, "key");
    kova::copyText(info_->kovaIDSerial, serial.c_str());
    info_->last_query_time = 5;
    answer({}, {failing});
    EXPECT_TRUE(ended(TARVKOVAAccountSet(info_.get()), -1, code, {{kWrite, text}}));
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
  signal(SIGCHLD, SIG_IGN);  // the program around the library may not want to hear of children
  EXPECT_EQ(TARVKOVAAccountRemove(), 0);
  signal(SIGCHLD, SIG_DFL);
  EXPECT_FALSE(exists(kAccountFile));
  EXPECT_EQ(read("/seen-4"), kIdentity) << "the plugin still saw the account";
  EXPECT_TRUE(ended(TARVKOVAAccountRemove(), 0, 77)) << "nothing to delete is no failure";
}

}  // namespace
