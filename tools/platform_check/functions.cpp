#include "platform_check/functions.h"

#include <dlfcn.h>

#include <cerrno>
#include <cstring>
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
  const std::filesystem::path file = std::filesystem::absolute(path);
  if (void *const library = dlopen(file.c_str(), flags)) return library;
  const std::string error = dlerror();
  // Of a library for another processor the loader says that it is not there.
  const bool isOther = error.starts_with(file.string()) && error.ends_with(std::strerror(ENOENT)) && exists(file);
  throw std::runtime_error("cannot load the platform: " +
                           (isOther ? file.string() + " is for another processor" : error));
}

// The library's function, or where there is no library the one that this program is linked with.
template <class Function, class Name>
Function find(void *library, std::vector<std::string> &missing, Function linked, Name name) {
  if (library == nullptr) return linked;
  if (void *const found = dlsym(library, name())) return reinterpret_cast<Function>(found);
  missing.emplace_back(name());
  return standIn(linked, name);
}

}  // namespace

Platform loadPlatform(const std::string &path) {
  void *const library = path.empty() ? nullptr : load(path);  // stays loaded
  std::vector<std::string> missing;
#define KOVA_FIND(name) find(library, missing, &::name, [] { return #name; }),
  const Functions functions{KOVA_PLATFORM_FUNCTIONS(KOVA_FIND)};
#undef KOVA_FIND
  return {functions, missing};
}

}  // namespace kova::check
