// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COMMON_RECORDS_REGISTRATION_H
#define QOR_COMMON_RECORDS_REGISTRATION_H

#include <cstdint>
#include <string>
#include <vector>

#include "src/common/records/event_info.h"
#include "src/common/records/field_info.h"
#include "src/common/records/method_info.h"
#include "src/common/records/node_info.h"
#include "src/common/records/service_info.h"
#include "src/common/records/visit.h"

/// What an application tells its daemon over its node connection.
namespace qor::maintaind {

/// First message of an application.
struct ApplicationHello {
  std::uint16_t protocolVersion = 2;
  std::string applicationName;

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("protocolVersion", s.protocolVersion...);
    visit("applicationName", s.applicationName...);
  }
};

/// The daemon's answer to ApplicationHello.
struct DaemonHello {
  std::uint16_t protocolVersion = 2;
  std::uint16_t instance = 0;
  std::uint16_t someipClientId = 0;  ///< for the application's SOME/IP requests; unique on the host

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("protocolVersion", s.protocolVersion...);
    visit("instance", s.instance...);
    visit("someipClientId", s.someipClientId...);
  }
};

/// One side of one entity of one node. `Info` is the registration record of the entity's family. The id is chosen by
/// the application, unique in its connection over all families.
template <class Info>
struct EntityRegistration {
  std::uint32_t id = 0;
  EntityRole role = EntityRole::kProvider;
  Info info;

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("id", s.id...);
    visit("role", s.role...);
    visit("info", s.info...);
  }
};

using EventRegistration = EntityRegistration<EventRegisterInfo>;
using MethodRegistration = EntityRegistration<MethodRegisterInfo>;
using FieldRegistration = EntityRegistration<FieldRegisterInfo>;
using ServiceRegistration = EntityRegistration<ServiceRegisterInfo>;

}  // namespace qor::maintaind

#endif
