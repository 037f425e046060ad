// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "platform/maintaind/daemon/remote_daemon_board.h"
#include "platform/maintaind/daemon/request_router.h"
#include "platform/maintaind/daemon/service_broker.h"
#include "platform/maintaind/daemon/tools_service_impl.h"
#include "tests/fuzz/require.h"

namespace qor::maintaind {
namespace {

/// A daemon without sockets: two connections and what answers them.
class Connections : private BrokerPeers {
 public:
  Connections() {
    registry_.SetDeployment(deployment_);
    Open(0);
    Open(1);
  }

  /// Feeds one cut of the stream. A connection that is closed for it is opened anew.
  void Feed(std::size_t which, std::span<const std::uint8_t> bytes) {
    remoteDaemons_.Set({{++remoteInstance_, "10.0.0.1", 1}});
    if (!sessions_[which]->Feed(bytes)) {
      Open(which);
    }
  }
  /// Nothing that an application did survives its connection but offline providers.
  void CheckEnd() {
    Close(0);
    Close(1);
    for (const auto& event : registry_.Events("ALL")) {
      Require(!event.isPublisherOnline && !event.publisher.empty() && event.subscribers.empty());
    }
    for (const auto& node : registry_.Nodes("ALL")) {
      Require(!node.isOnline);
    }
  }

 private:
  void OnServiceState(ConnectionId connection, const ServiceState& /*state*/) override { CheckOpen(connection); }
  void OnSubscriberChange(ConnectionId connection, const SubscriberChange& /*change*/) override {
    CheckOpen(connection);
  }
  /// Nobody is told anything whose connection has ended.
  void CheckOpen(ConnectionId connection) const {
    Require(std::find(ids_.begin(), ids_.end(), connection) != ids_.end());
  }

  void Close(std::size_t which) {
    ids_[which] = 0;
    sessions_[which].reset();
  }
  void Open(std::size_t which) {
    Close(which);
    ids_[which] = ++lastId_;
    sessions_[which] =
        std::make_unique<ServerSession>(lastId_, PeerInfo{1, "a:b", ""}, std::size_t{1} << 20U, router_, &Check);
  }
  static void Check(const OutgoingMessage& message) {
    const auto header = someip::DecodeHeader(message.header);
    Require(header && header->PayloadSize() == message.payload->size());
  }

  com::Deployment deployment_;
  Registry registry_{{.instance = 1, .hostDomainName = "GEA", .maxOffline = 4, .maxNodes = 4, .maxEntities = 8}};
  ServiceBroker broker_{*this, {.services = 4, .subscriptions = 8}};
  RemoteDaemonBoard remoteDaemons_{[this](ConnectionId connection, const auto&) { CheckOpen(connection); }};
  std::uint16_t remoteInstance_ = 0;
  NodeServiceSkeleton nodeService_{registry_, broker_, remoteDaemons_, 1};
  ToolsServiceImpl toolsImpl_{registry_, deployment_};
  ToolsServiceSkeleton toolsService_{toolsImpl_};
  RequestRouter router_{registry_, broker_, remoteDaemons_, nodeService_, toolsService_};
  ConnectionId lastId_ = 0;
  std::array<ConnectionId, 2> ids_{};  // 0: closed
  std::array<std::unique_ptr<ServerSession>, 2> sessions_;
};

}  // namespace
}  // namespace qor::maintaind

/// Pieces of a byte with the connection (highest bit) and the length (the others; 127 is a long piece of 1016 bytes),
/// and then as many bytes of the stream.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  qor::maintaind::Connections connections;
  std::span<const std::uint8_t> rest(data, size);
  while (!rest.empty()) {
    const std::uint8_t control = rest[0];
    const std::size_t wanted = (control & 0x7FU) == 0x7FU ? 1016 : control & 0x7FU;
    rest = rest.subspan(1);
    const auto piece = rest.first(std::min(wanted, rest.size()));
    connections.Feed(control >> 7U, piece);
    rest = rest.subspan(piece.size());
  }
  connections.CheckEnd();
  return 0;
}
