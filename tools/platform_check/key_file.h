// The key file that the rules make.
#pragma once

#include <string>

#include "platform_check/rule.h"

namespace kova::check {

inline const std::string kKeyFile = std::string(kOwnDirectory) + "/keys.conf";
inline constexpr char kLineFormat[] = "%s=\"%s\"\n";

// The value of the key, "(absent)" or "(failure)".
inline std::string valueOf(const Check &check, const std::string &key, const std::string &file = kKeyFile,
                           const char *separator = "=") {
  const List keys(check, {key});
  const Hash hash(check);
  if (check->TLIBCFileGetKeys(file.c_str(), keys.get(), hash.get(), separator) < 0) return "(failure)";
  const char *value = check->TLIBCSzHashGetValue(hash.get(), key.c_str());
  return value != nullptr ? value : "(absent)";
}

inline int setKeys(const Check &check, const Hash::Pairs &pairs, const std::string &file = kKeyFile,
                   const char *format = kLineFormat) {
  const Hash hash(check, pairs);
  return check->TLIBCFileSetKeys(file.c_str(), hash.get(), 0, format);
}

}  // namespace kova::check
