#include <array>
#include <cstdio>

#include "platform/json_lines.h"
#include "platform/last_error.h"

using namespace kova::platform;

int TARVLogSet1(int log, int severity, uint32_t event, const char *text1, const char *text2, const char *text3,
                const char *text4) {
  return guarded(-1, [&] {
    require(text1 != nullptr && text2 != nullptr && text3 != nullptr && text4 != nullptr);
    std::array<char, 16> number;
    snprintf(number.data(), number.size(), "0x%08X", event);
    appendLine("/var/log/kova/events.jsonl", JsonObject()
                                                 .add("time", timestamp())
                                                 .add("log", log)
                                                 .add("severity", severity)
                                                 .add("event", number.data())
                                                 .add("texts", {text1, text2, text3, text4})
                                                 .text());
    return 0;
  });
}
