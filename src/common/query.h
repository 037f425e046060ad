// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COMMON_QUERY_H
#define QOR_COMMON_QUERY_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "platform/ara/core/future.h"
#include "platform/maintaind/service/tools_service_proxy.h"
#include "src/common/filters.h"
#include "src/common/records/event_info.h"

/// Asking every daemon the same question, one after the other, on the caller's thread. Any thread; the clients' answers
/// come in on threads of their own.
namespace qor::common {

/// How long one daemon may take to answer.
inline constexpr std::chrono::milliseconds kAnswerLimit{300};

/// Daemons by handle: those of several hosts have instance numbers in common.
using DaemonSet = std::set<maintaind::proxy::QORMaintaindToolsServiceProxy::HandleType>;

/// What became of one question to every daemon.
struct Answers {
  std::size_t asked = 0;
  std::size_t answered = 0;  ///< with a value: an error is no answer, nor is a lost connection
  DaemonSet missing;         ///< those that gave no value
  DaemonSet silent;          ///< those of them that did not answer in time

  bool IsAny() const { return answered > 0; }
  bool IsAll() const { return asked > 0 && answered == asked; }
};

/// Asks each client and waits for its answer before it asks the next. `question` gets a client's proxy and returns the
/// future of its answer; then one of the others is called, each with the client first.
template <class ClientPointer, class Question, class OnTimeout, class OnError, class OnAnswer>
Answers AskEach(const std::vector<ClientPointer>& clients, Question question, OnTimeout onTimeout, OnError onError,
                OnAnswer onAnswer, std::chrono::milliseconds limit = kAnswerLimit) {
  Answers answers;
  answers.asked = clients.size();
  for (const ClientPointer& client : clients) {
    auto answer = question(*client);
    if (answer.wait_for(limit) == ara::core::FutureStatus::kTimeout) {
      onTimeout(*client);
      answers.silent.insert(client->GetHandle());
      answers.missing.insert(client->GetHandle());
      continue;
    }
    auto result = answer.GetResult();
    if (!result.HasValue()) {
      onError(*client);
      answers.missing.insert(client->GetHandle());
      continue;
    }
    ++answers.answered;
    onAnswer(*client, std::move(result).Value());
  }
  return answers;
}

/// Who hears what became of the question to each daemon, by instance number. Knows the log texts of one kind of query.
class QueryReport {
 public:
  virtual ~QueryReport() = default;
  virtual void TimedOut(std::uint16_t instance) const = 0;
  virtual void Failed(std::uint16_t instance) const = 0;
  virtual void Answered(std::uint16_t instance, std::size_t count) const = 0;
};

/// The texts of QueryAll and of GetInfoResult.
const QueryReport& ReportOfQueryAll();
const QueryReport& ReportOfGetInfoResult();

/// Writes what an event query looks for into the log.
void LogQueryIndex(const CommonFilter& filter);

/// Asks each client for the events of one name and appends the answers in the order of the clients. A client that does
/// not answer in time or answers with an error is left out. Returns 0, or -1 when one did not answer in time;
/// `answers` has the rest. A client has QueryEventInfo and GetHandle as the proxy of the tools service has them.
template <class ClientPointer>
int CollectEvents(const std::vector<ClientPointer>& clients, const std::string& name, const QueryReport& report,
                  std::vector<maintaind::EventInfoWithPubSub>& collected, Answers& answers,
                  std::chrono::milliseconds limit = kAnswerLimit) {
  const auto instanceOf = [](const auto& client) { return client.GetHandle().GetInstanceId(); };
  answers = AskEach(
      clients, [&](auto& client) { return client.QueryEventInfo(name); },
      [&](const auto& client) { report.TimedOut(instanceOf(client)); },
      [&](const auto& client) { report.Failed(instanceOf(client)); },
      [&](const auto& client, auto&& records) {
        report.Answered(instanceOf(client), records.size());
        collected.insert(collected.end(), std::move_iterator(records.begin()), std::move_iterator(records.end()));
      },
      limit);
  return answers.silent.empty() ? 0 : -1;
}

}  // namespace qor::common

#endif
