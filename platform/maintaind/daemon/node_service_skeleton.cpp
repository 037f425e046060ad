// SPDX-License-Identifier: Apache-2.0
#include "platform/maintaind/daemon/node_service_skeleton.h"

#include <string>
#include <utility>

#include "platform/maintaind/service/node_service.h"

namespace qor::maintaind {
namespace {

/// Far above any real registration.
constexpr std::size_t kMaxRegistration = 64U << 10U;

}  // namespace

ServiceAnswer NodeServiceSkeleton::Answer(ConnectionId connection, const PeerInfo& peer, std::uint16_t methodId,
                                          std::span<const std::uint8_t> payload) {
  namespace op = node_operation;
  if (payload.size() > kMaxRegistration) {
    return ErrorAnswer(someip::ReturnCode::kNotOk, "a registration can have " + std::to_string(kMaxRegistration) +
                                                       " bytes at most, this one has " +
                                                       std::to_string(payload.size()));
  }
  switch (methodId) {
    case op::Hello::kMethodId:
      return Hello(connection, peer, payload);
    case op::RegisterNode::kMethodId:
      return AnswerRequest<op::RegisterNode>(
          payload, [&](const std::string& name) { return registry_.RegisterNode(connection, name); });
    case op::UnregisterNode::kMethodId:
      return AnswerRequest<op::UnregisterNode>(
          payload, [&](const std::string& name) { return registry_.UnregisterNode(connection, name); });
    case op::RegisterEvent::kMethodId:
      return Register<op::RegisterEvent>(connection, payload);
    case op::RegisterMethod::kMethodId:
      return Register<op::RegisterMethod>(connection, payload);
    case op::RegisterField::kMethodId:
      return Register<op::RegisterField>(connection, payload);
    case op::RegisterService::kMethodId:
      return Register<op::RegisterService>(connection, payload);
    case op::UnregisterEntity::kMethodId:
      return AnswerRequest<op::UnregisterEntity>(
          payload, [&](std::uint32_t id) { return registry_.UnregisterEntity(connection, id); });
    case op::WatchRemoteDaemons::kMethodId:
      return AnswerRequest<op::WatchRemoteDaemons>(
          payload, [&](NoArgument) { return ara::core::Result(remoteDaemons_.Watch(connection)); });
    default:
      return AnswerSomeip(connection, methodId, payload);
  }
}

ServiceAnswer NodeServiceSkeleton::AnswerSomeip(ConnectionId connection, std::uint16_t methodId,
                                                std::span<const std::uint8_t> payload) {
  namespace op = node_operation;
  const auto forApplications = [&](auto run) {
    return [this, connection, run](auto request) -> ara::core::Result<void> {
      if (!registry_.IsOpen(connection)) {
        return ara::core::ErrorCode(static_cast<std::int32_t>(someip::ReturnCode::kNotReady), "Hello must come first");
      }
      return run(std::move(request));
    };
  };
  switch (methodId) {
    case op::OfferService::kMethodId:
      return AnswerRequest<op::OfferService>(
          payload, forApplications([&](const ServiceOffer& offer) { return broker_.Offer(connection, offer); }));
    case op::StopOfferService::kMethodId:
      return AnswerRequest<op::StopOfferService>(
          payload, forApplications([&](const ServiceIndex& index) { return broker_.StopOffer(connection, index); }));
    case op::FindService::kMethodId:
      return AnswerRequest<op::FindService>(
          payload, forApplications([&](const ServiceIndex& index) { return broker_.Find(connection, index); }));
    case op::StopFindService::kMethodId:
      return AnswerRequest<op::StopFindService>(
          payload, forApplications([&](const ServiceIndex& index) { return broker_.StopFind(connection, index); }));
    case op::SubscribeEventgroup::kMethodId:
      return AnswerRequest<op::SubscribeEventgroup>(payload, forApplications([&](EventgroupSubscription subscription) {
                                                      return broker_.Subscribe(connection, std::move(subscription));
                                                    }));
    case op::UnsubscribeEventgroup::kMethodId:
      return AnswerRequest<op::UnsubscribeEventgroup>(payload,
                                                      forApplications([&](const EventgroupSubscription& subscription) {
                                                        return broker_.Unsubscribe(connection, subscription);
                                                      }));
    default:
      return ErrorAnswer(someip::ReturnCode::kUnknownMethod,
                         "the node service has no method " + std::to_string(methodId));
  }
}

ServiceAnswer NodeServiceSkeleton::Hello(ConnectionId connection, const PeerInfo& peer,
                                         std::span<const std::uint8_t> payload) {
  return AnswerRequest<node_operation::Hello>(
      payload, [&](const ApplicationHello& hello) -> ara::core::Result<DaemonHello> {
        DaemonHello answer{.instance = instance_};
        if (hello.protocolVersion != answer.protocolVersion) {
          return ara::core::ErrorCode(static_cast<std::int32_t>(someip::ReturnCode::kWrongInterfaceVersion),
                                      "the daemon speaks version " + std::to_string(answer.protocolVersion) +
                                          " of the node service, the application " +
                                          std::to_string(hello.protocolVersion));
        }
        if (const auto opened = registry_.Open(connection, peer, hello.applicationName); !opened) {
          return opened.Error();
        }
        answer.someipClientId = broker_.NewClientId();
        return answer;
      });
}

template <class Operation>
ServiceAnswer NodeServiceSkeleton::Register(ConnectionId connection, std::span<const std::uint8_t> payload) {
  return AnswerRequest<Operation>(payload, [&](typename Operation::Request registration) {
    return registry_.Register(connection, std::move(registration), payload.size());
  });
}

}  // namespace qor::maintaind
