// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TESTS_SUPPORT_EVENTUALLY_H
#define QOR_TESTS_SUPPORT_EVENTUALLY_H

#include <chrono>
#include <thread>

namespace qor::test {

/// Waits for a condition; false when it does not come true within 30 s.
template <class Condition>
bool Eventually(Condition&& condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

}  // namespace qor::test

#endif
