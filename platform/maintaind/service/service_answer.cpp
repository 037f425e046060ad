// SPDX-License-Identifier: Apache-2.0
#include "platform/maintaind/service/service_answer.h"

namespace qor::maintaind {

ServiceAnswer ErrorAnswer(someip::ReturnCode code, std::string_view reason) {
  return {code, std::make_shared<const ServiceAnswer::Payload>(reason.begin(), reason.end())};
}

ServiceAnswer ErrorAnswer(const ara::core::ErrorCode& error) {
  const bool isReturnCode = error.Value() >= static_cast<std::int32_t>(someip::ReturnCode::kNotOk) &&
                            error.Value() <= static_cast<std::int32_t>(someip::ReturnCode::kWrongMessageType);
  return ErrorAnswer(isReturnCode ? static_cast<someip::ReturnCode>(error.Value()) : someip::ReturnCode::kNotOk,
                     error.Message());
}

ServiceAnswer MalformedAnswer(std::size_t position, std::size_t size) {
  return ErrorAnswer(
      someip::ReturnCode::kMalformedMessage,
      "the request cannot be read beyond byte " + std::to_string(position) + " of " + std::to_string(size));
}

}  // namespace qor::maintaind
