#include "bench/heap.h"

#include <malloc.h>

#include <algorithm>

namespace {

bool watched = false;
std::ptrdiff_t heldBytes = 0;
std::ptrdiff_t peakBytes = 0;

void add(void *memory, std::ptrdiff_t replaced = 0) {
  heldBytes += static_cast<std::ptrdiff_t>(malloc_usable_size(memory)) - replaced;
  peakBytes = std::max(peakBytes, heldBytes);
}

}  // namespace

// The C library's own allocator stays underneath.
extern "C" {

void *__libc_malloc(std::size_t size);
void *__libc_calloc(std::size_t count, std::size_t size);
void *__libc_realloc(void *memory, std::size_t size);
void *__libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void *memory);

void *malloc(std::size_t size) noexcept {
  void *memory = __libc_malloc(size);
  if (watched) add(memory);
  return memory;
}
void *calloc(std::size_t count, std::size_t size) noexcept {
  void *memory = __libc_calloc(count, size);
  if (watched) add(memory);
  return memory;
}
void *realloc(void *memory, std::size_t size) noexcept {
  const std::size_t before = watched ? malloc_usable_size(memory) : 0;
  void *grown = __libc_realloc(memory, size);
  if (watched && (grown != nullptr || size == 0)) add(grown, static_cast<std::ptrdiff_t>(before));
  return grown;
}
void *aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
  void *memory = __libc_memalign(alignment, size);
  if (watched) add(memory);
  return memory;
}
void free(void *memory) noexcept {
  if (watched) heldBytes -= static_cast<std::ptrdiff_t>(malloc_usable_size(memory));
  __libc_free(memory);
}
}

namespace bench {

void HeapWatch::restart() {
  heldBytes = peakBytes = 0;
  watched = true;
}

HeapWatch::~HeapWatch() {
  watched = false;
}

std::ptrdiff_t HeapWatch::held() const {
  return heldBytes;
}

std::ptrdiff_t HeapWatch::peak() const {
  return peakBytes;
}

}  // namespace bench
