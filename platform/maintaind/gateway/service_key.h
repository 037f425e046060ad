// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_MAINTAIND_GATEWAY_SERVICE_KEY_H
#define QOR_MAINTAIND_GATEWAY_SERVICE_KEY_H

#include "platform/someip/sd/services.h"
#include "src/common/records/someip_link.h"

/// One service instance as the broker and as service discovery name it.
namespace qor::maintaind {

inline ServiceIndex IndexOf(const someip::sd::ServiceKey& key) {
  return {.serviceId = key.service, .instanceId = key.instance, .majorVersion = key.major};
}

inline someip::sd::ServiceKey KeyOf(const ServiceIndex& index) {
  return {index.serviceId, index.instanceId, index.majorVersion};
}

}  // namespace qor::maintaind

#endif
