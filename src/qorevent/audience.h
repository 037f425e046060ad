// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QOREVENT_AUDIENCE_H
#define QOR_QOREVENT_AUDIENCE_H

#include <cstddef>
#include <string_view>
#include <utility>

#include "platform/ara/core/future.h"
#include "platform/log/qor_log.h"
#include "src/common/query.h"
#include "src/common/tools_common_client_manager.h"

namespace qor::qorevent {

/// The lines for the ways in which one daemon's answer can fail.
struct AnswerTexts {
  std::string_view onTimeout;
  std::string_view onError;
};

/// The daemons that one command asks, each question to each of them in turn. One that once does not answer in time is
/// not asked again: a command with many questions would wait for it each time. Used by one thread.
class Audience {
 public:
  explicit Audience(qortools::common::ProxyList daemons) : daemons_(std::move(daemons)) {}

  const qortools::common::ProxyList& Daemons() const { return daemons_; }

  /// Takes note of a question that was asked without the audience.
  void Note(const common::Answers& answers) {
    missing_.insert(answers.missing.begin(), answers.missing.end());
    std::erase_if(daemons_, [&](const auto& daemon) { return answers.silent.contains(daemon->GetHandle()); });
  }

  /// `question` gets a daemon's proxy and returns the future of its answer; `onAnswer` gets each answer. How many there
  /// were; each that is missing has its line in the log.
  template <class Question, class OnAnswer>
  std::size_t Ask(Question question, const AnswerTexts& texts, OnAnswer onAnswer) {
    const common::Answers answers = common::AskEach(
        daemons_, question, [&](const auto& /*daemon*/) { log_.Warn() << texts.onTimeout; },
        [&](const auto& /*daemon*/) { log_.Warn() << texts.onError; },
        [&](const auto& /*daemon*/, auto&& value) { onAnswer(std::forward<decltype(value)>(value)); });
    Note(answers);
    return answers.answered;
  }

  /// Those that left a question without an answer.
  const common::DaemonSet& Missing() const { return missing_; }

 private:
  QorLog log_{"QorEvent"};
  qortools::common::ProxyList daemons_;
  common::DaemonSet missing_;
};

}  // namespace qor::qorevent

#endif
