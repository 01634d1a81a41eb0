#include <dirent.h>
#include <kova/error.h>
#include <kova/platform.h>
#include <kova/unify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>

#include "base/release.h"
#include "core/device_path.h"
#include "core/device_settings.h"
#include "core/guard.h"
#include "core/json.h"
#include "core/log.h"
#include "transport/exchange.h"

namespace kova {
namespace {

using Directory = std::unique_ptr<DIR, Release<closedir>>;

constexpr char kHookDirectory[] = "/usr/tarv/tarvkova/unify";

// The environment variable that tells the hooks which services are to let go of their accounts.
constexpr char kAbandonList[] = "KOVA_ABANDON_LIST";

// Whether a directory entry is a regular file or a symbolic link to one. `path` is the device's path of it.
bool isHook(const dirent &entry, const char *path) {
  if (entry.d_type == DT_REG) return true;
  if (entry.d_type != DT_LNK && entry.d_type != DT_UNKNOWN) return false;
  struct stat target = {};
  return stat(DevicePath(path).c_str(), &target) == 0 && S_ISREG(target.st_mode);
}

// Runs every hook. The caller removes the environment variable that this sets.
bool ExecCustomUnifyHook(const char *types) {
  if (types == nullptr) return false;
  const DevicePath hooks(kHookDirectory);
  if (access(hooks.c_str(), F_OK) != 0) return true;
  const Directory directory(opendir(hooks.c_str()));
  if (!directory || setenv(kAbandonList, types, 1) != 0) return false;
  while (const dirent *entry = readdir(directory.get())) {
    const std::string name = entry->d_name;
    if (name == "." || name == "..") continue;
    const std::string path = std::string(kHookDirectory) + "/" + name;
    // A failing hook does not keep the others from running.
    if (isHook(*entry, path.c_str())) TLIBCExecv(path.c_str(), nullptr, 1);
  }
  return true;
}

// The types of all services of these accounts, joined by commas.
std::string serviceTypes(const Json::Value &accounts) {
  std::string types;
  for (const Json::Value &account : accounts) {
    for (const Json::Value &service : member(account, "services")) {
      if (!hasMember(service, "type")) continue;
      if (!types.empty()) types += ',';
      types += textOf(member(service, "type"));
    }
  }
  return types;
}

// Sets the merge list as parameters and removes its accounts from `existing`.
int setMergeList(Exchange &exchange, Json::Value &existing, const Json::Value &mergeList) {
  for (Json::ArrayIndex i = 0; i < mergeList.size(); ++i) {
    const Json::Value &account = mergeList[i];
    if (!hasMember(account, "passwd") || !hasMember(account, "email")) {
      return fail(here(), KOVA_ERR_BAD_PARAMETERS, "Bad Parameters");
    }
    for (const char *name : {"email", "passwd"}) {
      char key[32];
      std::snprintf(key, sizeof key, "merge_list[%u][%s]", i, name);
      exchange.setParameter(key, textOf(member(account, name)).c_str());
    }
    existing.removeMember(std::string(textOf(member(account, "email"))));
  }
  return 0;
}

int RestartRelatedServices() {
  if (TLIBServiceRestart("ddns") == 0) return 0;
  log(here(), "Failed to restart DDNS");
  return -1;
}

// Abandons the accounts that were not merged. The merge is done by then, so a failure is only logged.
void abandonAccounts(const Json::Value &existing) {
  try {
    Json::Value accounts(Json::arrayValue);
    for (const std::string &name : existing.getMemberNames()) accounts.append(name);
    if (!accounts.empty() && TARVKOVAAbandonUnmerged(accounts) < 0) {
      log(here(), "TARVKOVAAbandonUnmerged failed, jsonAccounts=%s", compactText(accounts).c_str());
    }
  } catch (const std::bad_alloc &) {
    log(here(), "TARVKOVAAbandonUnmerged failed, jsonAccounts=");
  }
}

}  // namespace
}  // namespace kova

using namespace kova;

int TARVKOVAAbandonUnmerged(const Json::Value &accounts) {
  const int result = guarded([&] {
    TARVKOVAErrSet(KOVA_SUCCESS);
    Json::Value existing;
    if (TARVKOVAAccountScanExisting(existing) < 0) {
      log(here(), "TARVKOVAAccountScanExisting failed");
      return -1;
    }
    Json::Value selected(Json::objectValue);
    if (accounts.isNull()) {
      selected = existing;
    } else if (accounts.isArray()) {
      for (const Json::Value &account : accounts) {
        const std::string name(textOf(account));
        if (existing.isMember(name)) selected[name] = existing[name];
      }
    } else {
      return fail(here(), KOVA_ERR_BAD_PARAMETERS, "Bad parameters");
    }
    const std::string types = serviceTypes(selected);
    if (types.empty() || ExecCustomUnifyHook(types.c_str())) return 0;
    log(here(), "ExecCustomUnifyHook failed, abandon_list=%s", types.c_str());
    return -1;
  });
  unsetenv(kAbandonList);  // also where the caller's environment had it
  return result;
}

int TARVKOVAAccountMigrate(const char *email, const char *password, const Json::Value &mergeList) {
  return guarded([&] {
    TARVKOVAErrSet(KOVA_SUCCESS);
    if (password == nullptr || email == nullptr || !mergeList.isArray()) {
      return fail(here(), KOVA_ERR_BAD_PARAMETERS, "Bad Parameters");
    }
    Exchange exchange;
    if (exchange.readServerConfig() < 0 || exchange.readSerialNumber() < 0 || exchange.makeToken() < 0 ||
        exchange.allocateParameters() < 0)
      return -1;
    exchange.setParameter("action", "migrate");
    exchange.setParameter("email", email);
    exchange.setParameter("passwd", password);
    exchange.setParameter("serial", exchange.serialNumber());
    exchange.setParameter("token", exchange.token());
    Json::Value existing(Json::objectValue);
    if (TARVKOVAAccountScanExisting(existing) < 0) {
      log(here(), "TARVKOVAAccountScanExisting failed");
      return -1;
    }
    if (setMergeList(exchange, existing, mergeList) < 0) return -1;
    if (mergeList.empty()) {
      TARVKOVAErrSet(KOVA_SUCCESS);
    } else {
      if (exchange.send({exchange.serviceUrl(), "account.php"}) < 0) return -1;
      // The reply is the result word alone.
      if (MapLibKovaCenterErrorCode(exchange.body()) != KOVA_SUCCESS) {
        log(here(), "Failed to migrate, resp=%s", exchange.body());
        return -1;
      }
    }
    existing.removeMember(email);
    abandonAccounts(existing);
    if (RestartRelatedServices() < 0) log(here(), "RestartRelatedServices failed");
    return markUnified();
  });
}
