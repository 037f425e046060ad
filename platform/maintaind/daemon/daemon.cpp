// SPDX-License-Identifier: Apache-2.0
#include "platform/maintaind/daemon/daemon.h"

#include <pthread.h>

#include <thread>
#include <utility>

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/post.hpp>

#include "platform/com/deployment.h"
#include "platform/com/host_domain.h"
#include "platform/ipc/runtime_dir.h"
#include "platform/log/qor_log.h"
#include "platform/maintaind/daemon/remote_daemon_board.h"
#include "platform/maintaind/daemon/service_broker.h"
#include "platform/maintaind/daemon/tools_service_impl.h"
#include "platform/maintaind/service/node_service.h"
#include "src/common/records/codec.h"

namespace qor::maintaind {
namespace {

constexpr QorLog kLog("maintaind");
constexpr std::uint16_t kAnyInstance = 65535;

com::Deployment ReadDeployment(const std::string& directory) {
  if (directory.empty()) {
    return {};
  }
  com::Deployment deployment = com::LoadDeployment(directory);
  for (const com::DeploymentFault& fault : deployment.faults) {
    kLog.Warn() << com::FaultText(fault);
  }
  return deployment;
}

/// A message of the node service that nobody asked for.
template <class Record>
OutgoingMessage Notification(std::uint16_t eventId, const Record& record) {
  auto payload = std::make_shared<const ServiceAnswer::Payload>(Encode(record));
  someip::MessageHeader header;
  header.serviceId = NodeService::ServiceIdentifier;
  header.methodId = eventId;
  header.length = someip::kLengthOverhead + static_cast<std::uint32_t>(payload->size());
  header.type = someip::MessageType::kNotification;
  return {someip::EncodeHeader(header), std::move(payload)};
}

}  // namespace

/// The parts, each made from those before it.
class Daemon::Impl : private BrokerPeers {
 public:
  explicit Impl(DaemonOptions options)
      : options_(std::move(options)),
        socketPath_(options_.socketPath.empty() ? ipc::DaemonSocketPath(options_.instance) : options_.socketPath),
        deployment_(ReadDeployment(options_.deploymentDir)),
        registry_({.instance = options_.instance,
                   .hostDomainName = com::HostDomainName(),
                   .maxOffline = options_.maxOffline}),
        monitor_(loop_, registry_, options_.dds, options_.domainWatchFactory),
        broker_(*this),
        remoteDaemons_([this](ConnectionId connection, const RemoteDaemonBoard::Daemons& daemons) {
          server_.Send(connection, Notification(node_event::kRemoteDaemons, daemons));
        }),
        nodeService_(registry_, broker_, remoteDaemons_, options_.instance),
        toolsImpl_(registry_, deployment_),
        toolsService_(toolsImpl_),
        router_(registry_, broker_, remoteDaemons_, nodeService_, toolsService_, options_.answerFilter),
        server_(loop_, options_.limits, router_),
        foreignServices_(registry_, deployment_),
        networkTools_(loop_, toolsService_),
        neighbours_(networkTools_, remoteDaemons_, options_.instance) {
    registry_.SetDeployment(deployment_);
    registry_.SetListener(&monitor_);
    if (options_.someip) {
      gateway_.emplace(loop_, SomeipGateway::Parts{registry_, broker_, foreignServices_, neighbours_},
                       *options_.someip);
    }
  }

  ~Impl() override { Stop(); }

  ara::core::Result<void> Start() {
    if (options_.instance == kAnyInstance) {
      return ara::core::ErrorCode(ListeningSocket::kFailed, "the instance number must be below 65535");
    }
    if (const auto started = server_.Start(socketPath_); !started) {
      return Explain(started.Error());
    }
    if (gateway_) {
      if (const auto started = gateway_->Start(); !started) {
        server_.Stop();
        return Explain(started.Error());
      }
    }
    monitor_.Start();
    thread_ = std::thread([this] {
      pthread_setname_np(pthread_self(), "maintaind");
      loop_.run();
    });
    kLog.Info() << "maintaind instance " << options_.instance << " listens on '" << socketPath_ << "'.";
    return {};
  }

  void Stop() {
    if (!thread_.joinable()) {
      return;
    }
    asio::post(loop_, [this] {
      if (gateway_) {
        gateway_->Stop();
      }
      server_.Stop();
      loop_.stop();
    });
    thread_.join();
    monitor_.Stop();
  }

  void SetRemoteDaemons(std::vector<RemoteDaemon> daemons) {
    asio::post(loop_, [this, daemons = std::move(daemons)]() mutable { remoteDaemons_.Set(std::move(daemons)); });
  }

  const std::string& SocketPath() const { return socketPath_; }

 private:
  void OnServiceState(ConnectionId connection, const ServiceState& state) override {
    server_.Send(connection, Notification(node_event::kServiceState, state));
  }
  void OnSubscriberChange(ConnectionId connection, const SubscriberChange& change) override {
    server_.Send(connection, Notification(node_event::kSubscriberChange, change));
  }

  ara::core::ErrorCode Explain(const ara::core::ErrorCode& error) const {
    const std::string who = "maintaind instance " + std::to_string(options_.instance);
    if (error.Value() == ListeningSocket::kInUse) {
      return {error.Value(), who + " is running already: " + error.Message()};
    }
    return {error.Value(), who + " cannot start: " + error.Message()};
  }

  const DaemonOptions options_;
  const std::string socketPath_;
  const com::Deployment deployment_;
  asio::io_context loop_{1};
  const asio::executor_work_guard<asio::io_context::executor_type> guard_ = asio::make_work_guard(loop_);
  Registry registry_;
  DdsMonitor monitor_;
  ServiceBroker broker_;
  RemoteDaemonBoard remoteDaemons_;
  NodeServiceSkeleton nodeService_;
  ToolsServiceImpl toolsImpl_;
  ToolsServiceSkeleton toolsService_;
  RequestRouter router_;
  StreamServer server_;
  ForeignServices foreignServices_;
  NetworkToolsService networkTools_;
  NeighbourDaemons neighbours_;
  std::optional<SomeipGateway> gateway_;  ///< none: SOME/IP on this host only
  std::thread thread_;
};

Daemon::Daemon(DaemonOptions options) : impl_(std::make_unique<Impl>(std::move(options))) {}

Daemon::~Daemon() = default;

ara::core::Result<void> Daemon::Start() { return impl_->Start(); }

void Daemon::Stop() { impl_->Stop(); }

void Daemon::SetRemoteDaemons(std::vector<RemoteDaemon> daemons) { impl_->SetRemoteDaemons(std::move(daemons)); }

const std::string& Daemon::SocketPath() const { return impl_->SocketPath(); }

}  // namespace qor::maintaind
