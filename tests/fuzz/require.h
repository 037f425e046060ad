// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TESTS_FUZZ_REQUIRE_H
#define QOR_TESTS_FUZZ_REQUIRE_H

#include <cstdlib>

namespace qor {

/// What has to be true of every input: where it is not, the fuzzer keeps the input.
inline void Require(bool isTrue) {
  if (!isTrue) {
    std::abort();
  }
}

}  // namespace qor

#endif
