// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TESTS_FILL_RECORD_H
#define QOR_TESTS_FILL_RECORD_H

#include <concepts>
#include <cstdint>
#include <map>
#include <string>
#include <type_traits>
#include <vector>

#include "src/common/records/visit.h"

namespace qor::test {

/// Gives every field of a record a value of its own, so that two fields that are swapped or left out show.
class FillVisitor {
 public:
  template <class T>
  void operator()(const char* /*name*/, T& value) {
    Fill(value);
  }

  template <class T>
  void Fill(T& value) {
    if constexpr (maintaind::Record<T>) {
      T::Visit(*this, value);
    } else if constexpr (std::is_same_v<T, bool>) {
      value = true;
    } else if constexpr (std::is_enum_v<T>) {
      value = static_cast<T>(1);
    } else {
      value = static_cast<T>(++counter_ * 0x0101010101010101ULL);
    }
  }
  void Fill(std::string& text) { text = "text " + std::to_string(++counter_) + " \xC3\xA4"; }
  template <class T>
  void Fill(std::vector<T>& list) {
    list.resize(2);
    Fill(list[0]);
    Fill(list[1]);
  }
  template <class K, class T>
  void Fill(std::map<K, T>& map) {
    Fill(map[static_cast<K>(0)]);
    Fill(map[static_cast<K>(1)]);
  }

 private:
  std::uint64_t counter_ = 0;
};

template <class T>
T FilledRecord() {
  T record;
  FillVisitor().Fill(record);
  return record;
}

}  // namespace qor::test

#endif
