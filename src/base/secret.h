// Memory that may hold a secret: it is overwritten when it is released.
#pragma once

#include <string.h>  // explicit_bzero

#include <cstddef>
#include <memory>
#include <span>
#include <string>

namespace kova {

// An allocator that overwrites what it releases.
template <class T>
class WipingAllocator {
 public:
  using value_type = T;

  WipingAllocator() = default;
  template <class Other>
  explicit WipingAllocator(const WipingAllocator<Other> &) noexcept {}

  T *allocate(std::size_t count) { return std::allocator<T>().allocate(count); }
  void deallocate(T *memory, std::size_t count) noexcept {
    explicit_bzero(static_cast<void *>(memory), std::span(memory, count).size_bytes());
    std::allocator<T>().deallocate(memory, count);
  }
  bool operator==(const WipingAllocator &) const = default;
};

using SecretText = std::basic_string<char, std::char_traits<char>, WipingAllocator<char>>;

// A deleter for a record without a destructor.
struct WipingDelete {
  template <class Record>
  void operator()(Record *record) const noexcept {
    explicit_bzero(record, sizeof *record);
    delete record;
  }
};

// Overwrites a record or an array at the end of the scope.
template <class Record>
class WipedAtEnd {
 public:
  explicit WipedAtEnd(Record &record) noexcept : record_(record) {}
  WipedAtEnd(const WipedAtEnd &) = delete;
  WipedAtEnd &operator=(const WipedAtEnd &) = delete;
  ~WipedAtEnd() { explicit_bzero(&record_, sizeof record_); }

 private:
  Record &record_;
};

}  // namespace kova
