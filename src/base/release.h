// A deleter that calls a function of C, as in std::unique_ptr<FILE, Release<fclose>>.
#pragma once

namespace kova {

template <auto release>
struct Release {
  template <class T>
  void operator()(T *handle) const {
    release(handle);
  }
};

}  // namespace kova
