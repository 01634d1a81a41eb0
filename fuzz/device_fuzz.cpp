// Any text as each of the device's files, and any key, value and command: what is written reads back, what else is in
// the file stays, and what is refused changes nothing.
#include <kova/kova.h>

#include <algorithm>

#include "base/text.h"
#include "core/handles.h"
#include "fuzz/fuzz.h"

namespace {

void setKey(const FuzzDevice &device, const char *key, const char *value, const std::string &text) {
  constexpr char kFile[] = "/etc/tarvinfo.conf";
  device.write(kFile, text);
  const bool isSet = TLIBCINFOSetKeyValue(key, value) == 0;
  check(isSet ? TLIBCFileCheckKeyValue(kFile, key, value, 0) == 1 : device.read(kFile) == text);
  check(TLIBCFileCheckKeyValue(kFile, "other", "kept", 0) == 1);
  device.write("/etc/kova.conf", text);
  static AccountInfo account;
  if (TARVKOVAAccountGet(&account) < 0 || TARVKOVAAccountSet(&account) < 0) return;
  check(TARVKOVAAccountGet(&account) == 0 && TLIBCFileCheckKeyValue("/etc/kova.conf", "other", "kept", 0) == 1);
}

void schedule(const FuzzDevice &device, const char *command, const std::string &text) {
  constexpr char kTable[] = "/etc/cron.d/tarvkova";
  const std::string other = "1 2 * * 3 root other\n";
  TARVSchedule schedule{};
  kova::copyText(schedule.command, command);
  schedule.weekdays = 0x7F;
  device.write(kTable, other + text + "\n" + other);
  const bool isSet = TARVScheduleSet(&schedule, 0) == 0;
  const std::string set = device.read(kTable);
  check((TARVScheduleRemove(schedule.command) == 0) == isSet);
  const std::string removed = device.read(kTable);
  check((removed != set) == isSet && removed.starts_with(other) && removed.ends_with(other));
}

void nameZone(const FuzzDevice &device, const std::string &link, const std::string &text) {
  device.write("/usr/share/zoneinfo/Europe/Berlin", "TZif2");
  device.write("/usr/share/Other", "TZif2");
  device.write("/etc/tarvinfo.conf", text);
  std::error_code ignored;
  std::filesystem::create_symlink(link, device.at("/etc/localtime"), ignored);
  char name[32];
  int32_t needed = 0;
  if (TARVZoneGet(name, sizeof name, &needed) < 0) return check(needed == 0 || needed > 32);
  const kova::SzHash details(TLIBCSzHashAlloc(1));
  TLIBCSzHash *filled = details.get();
  check((TARVZoneGetInfo(name, &filled) == 1) == (std::string_view(name) == "Europe/Berlin"));
}

void notify(const FuzzDevice &device, const char *name, const char *value, const std::string &text) {
  device.write("/usr/tarv/share/kova/notifications.conf", text);
  check(TARVLogSet1(1, 2, 3, name, value, "", "") == 0);
  const kova::SzHash parameters(TLIBCSzHashAlloc(1));
  TLIBCSzHashSetValue(parameters.get(), "%KOVA_ACCOUNT%", value);
  TARVSysNotifySendNotifiction(name, parameters.get());
  for (const char *log : {"/var/log/kova/events.jsonl", "/var/log/kova/notifications.jsonl"}) {
    for (const std::string &line : split(device.read(log), '\n'))
      check(kova::parseJsonObject(line) && std::ranges::all_of(line, [](char c) { return c >= ' ' && c <= '~'; }));
  }
}

}  // namespace

void fuzz(FuzzDevice &device, const std::string &input) {
  const Texts parts = split(input, '\f', 3);
  const std::string name = "_" + parts[0], &text = parts[2];
  const char *value = parts[1].c_str();
  setKey(device, name.c_str(), value, text + "\nother=kept\n");
  schedule(device, name.c_str(), text);
  nameZone(device, parts[0], text);
  notify(device, parts[0].c_str(), value, text);
}
