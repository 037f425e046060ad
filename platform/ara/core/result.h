// SPDX-License-Identifier: Apache-2.0
#ifndef ARA_CORE_RESULT_H
#define ARA_CORE_RESULT_H

#include <cassert>
#include <cstdint>
#include <string>
#include <utility>
#include <variant>

namespace ara::core {

/// Why an operation failed: a number that code can compare and a sentence for a person.
class ErrorCode {
 public:
  ErrorCode(std::int32_t value, std::string message) : value_(value), message_(std::move(message)) {}

  std::int32_t Value() const noexcept { return value_; }
  const std::string& Message() const noexcept { return message_; }

 private:
  std::int32_t value_;
  std::string message_;
};

/// Either a value or the reason why there is none. Value() and Error() require the matching state.
template <class T>
class [[nodiscard]] Result {
 public:
  Result(T value) : state_(std::in_place_index<0>, std::move(value)) {}          // NOLINT(google-explicit-constructor)
  Result(ErrorCode error) : state_(std::in_place_index<1>, std::move(error)) {}  // NOLINT(google-explicit-constructor)

  bool HasValue() const noexcept { return state_.index() == 0; }
  explicit operator bool() const noexcept { return HasValue(); }

  T& Value() & {
    assert(HasValue());
    return *std::get_if<0>(&state_);
  }
  const T& Value() const& {
    assert(HasValue());
    return *std::get_if<0>(&state_);
  }
  T&& Value() && {
    assert(HasValue());
    return std::move(*std::get_if<0>(&state_));
  }
  const ErrorCode& Error() const {
    assert(!HasValue());
    return *std::get_if<1>(&state_);
  }

 private:
  std::variant<T, ErrorCode> state_;
};

template <>
class [[nodiscard]] Result<void> {
 public:
  Result() = default;
  Result(ErrorCode error) : state_(std::in_place_index<1>, std::move(error)) {}  // NOLINT(google-explicit-constructor)

  bool HasValue() const noexcept { return state_.index() == 0; }
  explicit operator bool() const noexcept { return HasValue(); }
  const ErrorCode& Error() const {
    assert(!HasValue());
    return *std::get_if<1>(&state_);
  }

 private:
  std::variant<std::monostate, ErrorCode> state_;
};

}  // namespace ara::core

#endif
