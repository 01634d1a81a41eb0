// Plugins, service restart, event log, notifications, time zone.
#include "platform_check/rule.h"

namespace kova::check {
namespace {

constexpr char kPackage[] = "kova-platform-check";

// Where kova-device(5) has the plugins of the action "test".
std::string plugin(const char *name) {
  return std::string("/usr/tarv/kova/plugin/") + kPackage + "/test/" + name;
}

// A script that notes its name and arguments and ends with this exit code.
std::string script(const Check &check, const char *name, int code) {
  return std::string("#!/bin/sh\necho \"") + name + " $*\" >>'" + check.root.at("/notes").string() + "'\nexit " +
         std::to_string(code) + "\n";
}

constexpr Rule kRules[] = {
    {"TLIBPluginSDKInit", "none", "a package without plugins has a handle, and its action succeeds",
     [](const Check &check) {
       const Owned plugins(check.succeeds("a call", [&] { return check->TLIBPluginSDKInit(kPackage, "nothing"); }),
                           check->TLIBPluginExit);
       check.equal(check.succeeds("the action", [&] { return check->TLIBPluginAction(plugins.get(), 4); }), 0,
                   "its result");
     }},
    {"TLIBPluginSDKInit", "null", "null is a failure",
     [](const Check &check) {
       check.refusesNull([&] { return check->TLIBPluginSDKInit(nullptr, "test"); });
       check.refusesNull([&] { return check->TLIBPluginSDKInit(kPackage, nullptr); });
     }},
    {"TLIBPluginAction", "runs", "runs every plugin with the action's number and waits for it",
     [](const Check &check) {
       if (!check.root.isScratch()) throw NotJudged{"plugins are put into a scratch root only"};
       for (const char *name : {"a", "b", "c"}) check.root.write(plugin(name), script(check, name, 0), 0700);
       const auto run = [&] {
         const Owned plugins(check->TLIBPluginSDKInit(kPackage, "test"), check->TLIBPluginExit);
         return check->TLIBPluginAction(plugins.get(), 4);
       };
       check.succeeds("the action", run);
       const std::string notes = check.root.read("/notes");
       if (notes == "(no file)") throw NotJudged{"the plugins are not where kova-device(5) has them"};
       check.equal(notes, "a 4\nb 4\nc 4\n", "the plugins that have run");
       check.root.write("/notes", "");
       check.root.write(plugin("a"), script(check, "a", 1), 0700);
       check.fails("an action of which one plugin fails", TLIBC_ERR_NONE, run);
       check.equal(check.root.read("/notes"), "a 4\nb 4\nc 4\n", "the plugins that have run where one fails");
     },
     Touches::kDevice},
    {"TLIBPluginAction", "null", "null is a failure",
     [](const Check &check) { check.refusesNull([&] { return check->TLIBPluginAction(nullptr, 4); }); }},
    {"TLIBPluginExit", "null", "null is allowed", [](const Check &check) { check->TLIBPluginExit(nullptr); }},
    {"TLIBServiceRestart", "restarts", "restarts the service; its failure and an unknown service are failures",
     [](const Check &check) {
       const auto restart = [&] { return check->TLIBServiceRestart(kPackage) == 0; };
       check.fails("an unknown service", TLIBC_ERR_NONE, restart);
       if (!check.root.isScratch()) throw NotJudged{"no service of the device is restarted"};
       const std::string service = std::string("/usr/tarv/etc/rc.d/") + kPackage;
       check.root.write(service, script(check, "service", 0), 0700);
       const bool isRestarted = restart();
       if (check.root.read("/notes") == "(no file)") throw NotJudged{"services are not where kova-device(5) has them"};
       check.expect(isRestarted, "a service that restarts is a failure");
       check.equal(check.root.read("/notes"), "service restart\n", "the calls of the service");
       check.root.write(service, script(check, "service", 1), 0700);
       check.fails("a service that does not restart", TLIBC_ERR_NONE, restart);
     },
     Touches::kDevice},
    {"TLIBServiceRestart", "null", "null is a failure",
     [](const Check &check) { check.refusesNull([&] { return check->TLIBServiceRestart(nullptr) == 0; }); }},
    {"TARVLogSet1", "logs", "adds an event, whatever its texts hold",
     [](const Check &check) {
       const auto log = [&](const char *text) {
         check.succeeds(shown(text), [&] { return check->TARVLogSet1(2, 1, 0x13A00001, text, "", "", ""); });
       };
       log("first@kova.example");
       for (const char *text : {"line\nbreak", "\"quoted\" %s%n", "\xFF", ""}) log(text);
       log("last@kova.example");
       const auto files = check.root.filesWith("last@kova.example");
       if (files.empty()) throw NotJudged{"no file below the root is the event log"};
       check.expect(check.root.filesWith("first@kova.example") == files, "an earlier event is lost");
     },
     Touches::kDevice},
    {"TARVLogSet1", "null", "null is a failure",
     [](const Check &check) {
       check.refusesNull([&] { return check->TARVLogSet1(2, 1, 0x13A00001, nullptr, "", "", ""); });
       check.refusesNull([&] { return check->TARVLogSet1(2, 1, 0x13A00001, "", "", "", nullptr); });
     },
     Touches::kDevice},
    {"TARVSysNotifySendNotifiction", "sends", "sends the text with its placeholders filled in",
     [](const Check &check) {
       const Hash parameters(check, {{"%KOVA_ACCOUNT%", "ada@kova.example"}});
       check.succeeds("\"KovaPasswordChanged\"",
                      [&] { return check->TARVSysNotifySendNotifiction("KovaPasswordChanged", parameters.get()); });
       if (check.root.filesWith("ada@kova.example").empty()) {
         throw NotJudged{"no file below the root holds what was sent"};
       }
     },
     Touches::kDevice},
    {"TARVSysNotifySendNotifiction", "null", "null is a failure",
     [](const Check &check) {
       const Hash parameters(check);
       check.refusesNull([&] { return check->TARVSysNotifySendNotifiction(nullptr, parameters.get()); });
       check.refusesNull([&] { return check->TARVSysNotifySendNotifiction("KovaPasswordChanged", nullptr); });
     },
     Touches::kDevice},
    {"TARVZoneGet", "size", "a name that does not fit is a failure that tells the size needed",
     [](const Check &check) {
       std::string buffer(256, '#');
       int32_t needed = 0;
       const auto get = [&](std::size_t size) { return check->TARVZoneGet(buffer.data(), size, &needed); };
       if (get(buffer.size()) < 0) throw NotJudged{"the device has no time zone"};
       const std::string name = buffer.substr(0, buffer.find('\0'));
       check.succeeds("a buffer that is just large enough", [&] { return get(name.size() + 1); });
       for (const std::size_t size : {name.size(), std::size_t{1}}) {
         needed = 0;
         check.fails("a buffer of " + std::to_string(size) + " bytes", TLIBC_ERR_TOO_LONG, [&] { return get(size); });
         check.equal(needed, static_cast<long long>(name.size()) + 1, "the size needed");
       }
     }},
    {"TARVZoneGet", "null", "null is a failure",
     [](const Check &check) {
       int32_t needed = 0;
       char buffer[64];
       check.refusesNull([&] { return check->TARVZoneGet(nullptr, sizeof buffer, &needed); });
       check.refusesNull([&] { return check->TARVZoneGet(buffer, sizeof buffer, nullptr); });
     }},
    {"TARVZoneGetInfo", "known", "the device's zone has a name in the tz database; one without a zone file is unknown",
     [](const Check &check) {
       char name[256] = "";
       int32_t needed = 0;
       if (check->TARVZoneGet(name, sizeof name, &needed) < 0) throw NotJudged{"the device has no time zone"};
       TLIBCSzHash *details = check->TLIBCSzHashAlloc(1);
       const auto get = [&](const char *zone) { return check->TARVZoneGetInfo(zone, &details) >= 1; };
       for (const char *zone : {"Kova/Nowhere", "", "../zoneinfo"}) {
         check.fails(std::string("the zone ") + shown(zone), TLIBC_ERR_NONE, [&] { return get(zone); });
       }
       check.succeeds(std::string("the zone ") + shown(name), [&] { return get(name); });
       const char *inDatabase = check->TLIBCSzHashGetValue(details, "nameInTZDB");
       check.expect(inDatabase != nullptr && *inDatabase != '\0', "there is no \"nameInTZDB\"");
       check->TLIBCSzHashFree(details);
     }},
    {"TARVZoneGetInfo", "null", "null is a failure",
     [](const Check &check) {
       const Hash hash(check);
       TLIBCSzHash *details = hash.get();
       check.refusesNull([&] { return check->TARVZoneGetInfo(nullptr, &details) >= 1; });
       check.refusesNull([&] { return check->TARVZoneGetInfo("Europe/Berlin", nullptr) >= 1; });
     }},
};

}  // namespace

std::span<const Rule> serviceRules() {
  return kRules;
}

}  // namespace kova::check
