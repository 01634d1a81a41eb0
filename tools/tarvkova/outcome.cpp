#include "tarvkova/outcome.h"

namespace kova::cli {

Failure usageFailure(const std::string &message) {
  return {ExitCode::kUsage, 0, "usage", message};
}

Failure localFailure(const std::string &message) {
  return {ExitCode::kLocal, 0, "local_failure", message};
}

}  // namespace kova::cli
