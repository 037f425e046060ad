// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_LARGE_PAGE_ALLOCATOR_H
#define QOR_QORBAG_LARGE_PAGE_ALLOCATOR_H

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <new>

namespace qor::qorbag {

/// For a vector that is filled once, and then looked into anywhere: what is at least a large page long begins on one,
/// and is made of large pages where the system has any.
template <class T>
struct LargePageAllocator {
  using value_type = T;

  LargePageAllocator() = default;
  template <class U>
  explicit LargePageAllocator(const LargePageAllocator<U>& /*other*/) {}

  T* allocate(std::size_t count) {
    if (count < kFewest) {
      return static_cast<T*>(::operator new(count * sizeof(T)));
    }
    if (count > SIZE_MAX / sizeof(T)) {
      throw std::bad_array_new_length();
    }
    void* const memory = ::operator new(count * sizeof(T), kLargePage);
    ::madvise(memory, count * sizeof(T), MADV_HUGEPAGE);  // no harm when it is refused
    return static_cast<T*>(memory);
  }

  void deallocate(T* memory, std::size_t count) {
    if (count < kFewest) {
      ::operator delete(memory);
    } else {
      ::operator delete(memory, kLargePage);
    }
  }

  bool operator==(const LargePageAllocator& /*other*/) const { return true; }

 private:
  static constexpr std::align_val_t kLargePage{std::size_t{2} << 20U};
  static constexpr std::size_t kFewest = static_cast<std::size_t>(kLargePage) / sizeof(T);
};

}  // namespace qor::qorbag

#endif
