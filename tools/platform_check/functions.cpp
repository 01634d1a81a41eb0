#include "platform_check/functions.h"

#include <dlfcn.h>

#include <filesystem>
#include <stdexcept>

namespace kova::check {
namespace {

// A function of the same type, which throws in place of the one that is missing.
template <class Name, class Result, class... Arguments>
auto standIn(Result (*)(Arguments...), Name) {
  Result (*const function)(Arguments...) = [](Arguments...) -> Result { throw MissingFunction{Name()()}; };
  return function;
}

// The library finds its own functions before those that this program is linked with.
void *load(const std::string &path) {
  int flags = RTLD_NOW | RTLD_LOCAL;
#ifndef KOVA_SANITIZE  // which does not allow it
  flags |= RTLD_DEEPBIND;
#endif
  // Without a slash the system's directories would be searched.
  void *library = dlopen(std::filesystem::absolute(path).c_str(), flags);
  if (library == nullptr) throw std::runtime_error(std::string("cannot load the platform: ") + dlerror());
  return library;
}

}  // namespace

Platform loadPlatform(const std::string &path) {
  void *const library = path.empty() ? nullptr : load(path);  // stays loaded
  Platform platform{};
#define KOVA_FIND(name)                                                                                                \
  platform.functions.name = library != nullptr ? reinterpret_cast<decltype(&::name)>(dlsym(library, #name)) : &::name; \
  if (platform.functions.name == nullptr) {                                                                            \
    platform.functions.name = standIn(&::name, [] { return #name; });                                                  \
    platform.missing.emplace_back(#name);                                                                              \
  }
  KOVA_PLATFORM_FUNCTIONS(KOVA_FIND)
#undef KOVA_FIND
  return platform;
}

}  // namespace kova::check
