// SPDX-License-Identifier: Apache-2.0
#include "platform/maintaind/service/daemon_probe.h"

#include <cstdint>
#include <span>
#include <string>
#include <utility>

#include "platform/log/qor_log.h"
#include "platform/maintaind/service/node_service.h"
#include "src/common/records/codec.h"

namespace qor::maintaind::proxy {
namespace {

constexpr QorLog kLog("FindService");
constexpr std::uint32_t kLogIntervalMs = 10'000;

}  // namespace

struct DaemonProbe::State {
  Handler onEnd;
  Handler onNews;
  std::vector<RemoteDaemon> remoteDaemons;

  void Take(std::span<const std::uint8_t> payload) {
    std::vector<RemoteDaemon> named;
    if (!Decode(payload, named)) {
      Complain("its list cannot be read");
      return;
    }
    remoteDaemons = std::move(named);
    onNews();
  }
  static void Complain(const std::string& reason) {
    kLog.Warn("DaemonProbe_Complain", kLogIntervalMs)
        << "A daemon of this host does not tell which daemons other hosts have: " << reason;
  }
};

DaemonProbe::DaemonProbe(ipc::UniqueFd connection, Handler onEnd, Handler onNews)
    : state_(std::make_shared<State>(State{std::move(onEnd), std::move(onNews), {}})),
      client_(
          std::move(connection),
          [weak = std::weak_ptr(state_)] {
            if (const auto state = weak.lock()) {
              state->onEnd();
            }
          },
          [weak = std::weak_ptr(state_)](const someip::MessageHeader& header, std::span<const std::uint8_t> payload) {
            const auto state = weak.lock();
            if (state != nullptr && header.serviceId == NodeService::ServiceIdentifier &&
                header.methodId == node_event::kRemoteDaemons) {
              state->Take(payload);
            }
          }) {
  using Watch = node_operation::WatchRemoteDaemons;
  client_.Request(NodeService::ServiceIdentifier, Watch::kMethodId, Encode(NoArgument()),
                  [weak = std::weak_ptr(state_)](const ara::core::Result<ipc::StreamClient::Payload>& answer) {
                    const auto state = weak.lock();
                    if (state == nullptr) {
                      return;
                    }
                    if (answer) {
                      state->Take(answer.Value());
                    } else if (answer.Error().Value() != ipc::kConnectionLost) {
                      State::Complain(answer.Error().Message());
                    }
                  });
}

const std::vector<RemoteDaemon>& DaemonProbe::RemoteDaemons() const { return state_->remoteDaemons; }

}  // namespace qor::maintaind::proxy
