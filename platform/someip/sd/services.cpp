// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/sd/services.h"

namespace qor::someip::sd {

const char* Text(RemoteService::State state) {
  switch (state) {
    case RemoteService::State::kOffered:
      return "offered";
    case RemoteService::State::kStopped:
      return "stopped";
    case RemoteService::State::kExpired:
      return "expired";
    case RemoteService::State::kRebooted:
      return "host rebooted";
  }
  return "unknown";
}

const char* Text(Refusal refusal) {
  switch (refusal) {
    case Refusal::kUnknownService:
      return "unknown service instance";
    case Refusal::kWrongMajorVersion:
      return "wrong major version";
    case Refusal::kUnknownEventgroup:
      return "unknown eventgroup";
    case Refusal::kInvalidOptions:
      return "missing or malformed options";
    case Refusal::kMissingEndpoint:
      return "no endpoint over a protocol that the eventgroup needs";
    case Refusal::kUnfitEndpoint:
      return "an endpoint over a protocol that the service does not offer, or two over one";
    case Refusal::kForeignAddress:
      return "an endpoint on another address than the sender's";
    case Refusal::kTooManyFromHost:
      return "too many subscriptions of the eventgroup from one host";
    case Refusal::kTooMany:
      return "too many subscriptions";
    case Refusal::kNotConnected:
      return "no TCP connection from the endpoint";
    case Refusal::kNotNow:
      return "not possible now";
  }
  return "unknown";
}

const char* Text(SubscriberEnd end) {
  switch (end) {
    case SubscriberEnd::kUnsubscribed:
      return "unsubscribed";
    case SubscriberEnd::kExpired:
      return "expired";
    case SubscriberEnd::kRebooted:
      return "host rebooted";
    case SubscriberEnd::kConnectionLost:
      return "connection lost";
    case SubscriberEnd::kServiceStopped:
      return "service stopped";
  }
  return "unknown";
}

const char* Text(Subscription::State state) {
  switch (state) {
    case Subscription::State::kWaiting:
      return "waiting for the service";
    case Subscription::State::kPending:
      return "waiting for an answer";
    case Subscription::State::kAcknowledged:
      return "acknowledged";
    case Subscription::State::kRefused:
      return "refused";
  }
  return "unknown";
}

}  // namespace qor::someip::sd
