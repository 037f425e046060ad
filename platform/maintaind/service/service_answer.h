// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_MAINTAIND_SERVICE_SERVICE_ANSWER_H
#define QOR_MAINTAIND_SERVICE_SERVICE_ANSWER_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/ara/core/result.h"
#include "platform/someip/message.h"
#include "src/common/records/codec.h"

namespace qor::maintaind {

/// What a service says to one request, ready to be sent: a record, or a return code and the reason as text.
struct ServiceAnswer {
  using Payload = std::vector<std::uint8_t>;

  someip::ReturnCode code = someip::ReturnCode::kOk;
  std::shared_ptr<const Payload> payload;  ///< never null; shared: one answer can go to many connections
};

ServiceAnswer ErrorAnswer(someip::ReturnCode code, std::string_view reason);
/// An error value outside the SOME/IP return codes becomes kNotOk.
ServiceAnswer ErrorAnswer(const ara::core::ErrorCode& error);
/// For a request whose payload cannot be read beyond `position`.
ServiceAnswer MalformedAnswer(std::size_t position, std::size_t size);

template <class T>
ServiceAnswer ValueAnswer(const T& value) {
  return {someip::ReturnCode::kOk, std::make_shared<const ServiceAnswer::Payload>(Encode(value))};
}

/// Decodes the request of one operation, runs it and encodes what it returned: a Result of the response, or a
/// Result<void> when the response is empty.
template <class Operation, class Function>
ServiceAnswer AnswerRequest(std::span<const std::uint8_t> payload, Function&& run) {
  typename Operation::Request request{};
  RecordReader reader(payload);
  reader.Read(request);
  if (!reader.IsComplete()) {
    return MalformedAnswer(reader.Position(), payload.size());
  }
  const auto result = std::forward<Function>(run)(std::move(request));
  if (!result.HasValue()) {
    return ErrorAnswer(result.Error());
  }
  if constexpr (std::is_same_v<std::decay_t<decltype(result)>, ara::core::Result<void>>) {
    return ValueAnswer(typename Operation::Response{});
  } else {
    return ValueAnswer(result.Value());
  }
}

}  // namespace qor::maintaind

#endif
