#include <cstdint>
#include <cstdio>

#include "platform/json_lines.h"
#include "platform/last_error.h"

using namespace kova::platform;

int TARVLogSet1(int log, int severity, uint32_t event, const char *text1, const char *text2, const char *text3,
                const char *text4) {
  return withLastError(-1, [&] {
    require(text1 != nullptr && text2 != nullptr && text3 != nullptr && text4 != nullptr);
    char number[16];
    std::snprintf(number, sizeof number, "0x%08X", event);
    Json::Value record;
    record["time"] = timestamp();
    record["log"] = log;
    record["severity"] = severity;
    record["event"] = number;
    for (const char *text : {text1, text2, text3, text4}) record["texts"].append(jsonText(text));
    appendLine("/var/log/kova/events.jsonl", record);
    return 0;
  });
}
