// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TESTS_SUPPORT_SANITIZERS_H
#define QOR_TESTS_SUPPORT_SANITIZERS_H

namespace qor::test {

/// Sanitizers need memory of their own.
#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
inline constexpr bool kIsSanitized = true;
#else
inline constexpr bool kIsSanitized = false;
#endif
#else
inline constexpr bool kIsSanitized = false;
#endif

}  // namespace qor::test

#endif
