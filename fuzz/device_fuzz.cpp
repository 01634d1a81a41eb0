// Any text as each of the device's files, and any key, value and command: what is written reads back, what else is in
// the file stays, and what is refused changes nothing.
#include <kova/kova.h>

#include <cstring>

#include "base/text.h"
#include "core/handles.h"
#include "fuzz/fuzz.h"

namespace {

void setKey(const FuzzDevice &device, const std::string &key, const std::string &value, const std::string &text) {
  constexpr char kFile[] = "/etc/kova.conf";
  static AccountInfo before, after;
  device.write(kFile, text);
  before = after = {};
  const int read = TARVKOVAAccountGet(&before);
  const kova::SzHash entry(TLIBCSzHashAlloc(1));
  TLIBCSzHashSetValue(entry.get(), ("_" + key).c_str(), value.c_str());
  const bool isSet = TLIBCFileSetKeys(kFile, entry.get(), 0, "%s=\"%s\"\n") == 0;
  check(TARVKOVAAccountGet(&after) == read && std::memcmp(&before, &after, sizeof after) == 0);
  check(isSet ? TLIBCFileCheckKeyValue(kFile, ("_" + key).c_str(), value.c_str(), 0) == 1 : device.read(kFile) == text);

  before = after = {};
  for (char *field : {before.vx_auth_key, before.kovaIDSerial, before.kovaID, before.full_name}) {
    kova::copyText(field, sizeof before.full_name, "_" + value);
  }
  before.last_query_time = 7;
  const std::string old = device.read(kFile);
  if (TARVKOVAAccountSet(&before) < 0) {
    check(device.read(kFile) == old);
  } else {
    check(TARVKOVAAccountGet(&after) == 0 && std::strcmp(before.full_name, after.full_name) == 0);
    if (isSet) check(TLIBCFileCheckKeyValue(kFile, ("_" + key).c_str(), value.c_str(), 0) == 1);
  }
}

void schedule(const FuzzDevice &device, const std::string &command, const std::string &text) {
  constexpr char kTable[] = "/etc/cron.d/tarvkova";
  const std::string first = "1 2 * * 3 root first\n", last = "4 5 * * 6 root last\n";
  TARVSchedule schedule{};
  kova::copyText(schedule.command, ("run " + command).c_str());
  schedule.weekdays = 0x7F;
  device.write(kTable, first + text + "\n" + last);
  const bool isSet = TARVScheduleSet(&schedule, 0) == 0;
  const std::string set = device.read(kTable);
  check((TARVScheduleSet(&schedule, 0) == 0) == isSet && device.read(kTable) == set);
  check((TARVScheduleRemove(schedule.command) == 0) == isSet);
  const std::string removed = device.read(kTable);
  check(removed.starts_with(first) && removed.ends_with(last));
  const std::string entry = std::string("\n0 0 * * * root ") + schedule.command + "\n";
  const bool isPlain = command.find('%') == std::string::npos;  // a "%" is written with a backslash
  if (isSet && isPlain) check(set.find(entry) != std::string::npos && removed.find(entry) == std::string::npos);
}

void nameZone(const FuzzDevice &device, const std::string &link, const std::string &text) {
  device.write("/usr/share/zoneinfo/Europe/Berlin", "TZif2");
  device.write("/usr/share/zoneinfo/tzdata.zi", "# version");
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

bool isAscii(const std::string &text) {
  return std::ranges::all_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

// The only line of the log.
Json::Value logged(const FuzzDevice &device, const char *log) {
  const std::vector<std::string> lines = linesOf(device.read(log));
  check(lines.size() == 1 && isAscii(lines[0]));
  return kova::parseJsonObject(lines[0]).value();
}

void notify(const FuzzDevice &device, const std::string &name, const std::string &value, const std::string &text) {
  device.write("/usr/tarv/share/kova/notifications.conf", text);
  check(TARVLogSet1(1, 2, 3, name.c_str(), "", "", "") == 0);
  const Json::Value shown = logged(device, "/var/log/kova/events.jsonl")["texts"][0];
  check(shown == name || !isAscii(name));
  const kova::SzHash parameters(TLIBCSzHashAlloc(1));
  TLIBCSzHashSetValue(parameters.get(), "%KOVA_ACCOUNT%", ("<" + value).c_str());
  if (TARVSysNotifySendNotifiction(name.c_str(), parameters.get()) < 0) return;
  const Json::Value sent = logged(device, "/var/log/kova/notifications.jsonl");
  check(sent["name"] == shown);
  if (value.find('%') == std::string::npos) check(sent["text"].asString().find("%KOVA_ACCOUNT%") == std::string::npos);
}

}  // namespace

void fuzz(FuzzDevice &device, Input input) {
  const std::string name = input.next(), value = input.next(), text(input.rest());
  setKey(device, name, value, text);
  schedule(device, name, text);
  nameZone(device, name, text);
  notify(device, name, value, text);
}
