// How much memory the program holds. Every allocation in the process is counted while a HeapWatch exists.
#pragma once

#include <cstddef>

namespace bench {

// Counts from its construction to its end. One at a time, and no thread but its own may allocate meanwhile.
class HeapWatch {
 public:
  HeapWatch() { restart(); }
  ~HeapWatch();
  HeapWatch(const HeapWatch &) = delete;
  HeapWatch &operator=(const HeapWatch &) = delete;

  void restart();
  // Bytes allocated since the start and not freed: now, and at the worst moment.
  std::ptrdiff_t held() const;
  std::ptrdiff_t peak() const;
};

}  // namespace bench
