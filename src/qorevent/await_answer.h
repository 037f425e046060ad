// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QOREVENT_AWAIT_ANSWER_H
#define QOR_QOREVENT_AWAIT_ANSWER_H

#include <optional>
#include <string_view>
#include <utility>

#include "platform/ara/core/future.h"
#include "platform/log/qor_log.h"
#include "src/common/query.h"

namespace qor::qorevent {

/// The lines for the ways in which one daemon's answer can fail.
struct AnswerTexts {
  std::string_view onTimeout;
  std::string_view onError;
};

/// Waits for one daemon's answer. Nothing, with the line that says why, when there is none in time or the daemon says
/// that it cannot.
template <class T>
std::optional<T> AwaitAnswer(ara::core::Future<T> answer, const QorLog& log, const AnswerTexts& texts) {
  if (answer.wait_for(common::kAnswerLimit) == ara::core::FutureStatus::kTimeout) {
    log.Warn() << texts.onTimeout;
    return std::nullopt;
  }
  auto result = answer.GetResult();
  if (!result.HasValue()) {
    log.Warn() << texts.onError;
    return std::nullopt;
  }
  return std::move(result).Value();
}

}  // namespace qor::qorevent

#endif
