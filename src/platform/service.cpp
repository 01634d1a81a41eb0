#include <string>

#include "platform/device_path.h"
#include "platform/last_error.h"
#include "platform/process.h"

using namespace kova::platform;

int TLIBServiceRestart(const char *name) {
  return withLastError(-1, [&] {
    require(name != nullptr);
    const std::string service = name;
    require(isPlainRelativePath(service) && service.find('/') == std::string::npos);
    const char *const arguments[] = {"restart", nullptr};
    if (run(devicePath("/usr/tarv/etc/rc.d/" + service), arguments) != 0) throw Failure{TLIBC_ERR_EXEC_FAILED};
    return 0;
  });
}
