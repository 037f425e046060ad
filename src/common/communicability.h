// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COMMON_COMMUNICABILITY_H
#define QOR_COMMON_COMMUNICABILITY_H

#include <string>

#include "src/common/filters.h"
#include "src/common/records/event_info.h"
#include "src/common/resource_config.h"

namespace qor::common {

/// Whether an event can be received here, and over which distance: as seen from one host domain ("SEA", "GEA" or
/// "ANDROID") with one resource configuration. A plain value; any thread.
class Communicability {
 public:
  /// As seen from this host, with its configuration as it is now.
  static Communicability OfThisHost();

  Communicability(std::string hostDomain, ResourceConfig config)
      : hostDomain_(std::move(hostDomain)), config_(std::move(config)) {}

  /// By shared memory: same host domain, same deployment field.
  bool FiltByLocal(const maintaind::EventInfoWithPubSub& record) const;
  /// By UDP, or by SOME/IP when there is no DDS binding.
  static bool FiltByNetwork(const maintaind::EventInfoWithPubSub& record);
  /// Between two host domains, by ICC.
  bool FiltByCross(const maintaind::EventInfoWithPubSub& record) const;
  /// One of these.
  bool FiltByAll(const maintaind::EventInfoWithPubSub& record) const;
  /// The test of the type, with a line in the log for what it keeps. False for an undefined type.
  bool IsKept(const maintaind::EventInfoWithPubSub& record, qorevent::CommunicableType type) const;

  /// Whether the application is in the deployment field of this host's tools. Its name has 1 to 5000 characters; any
  /// other is refused with a line in the log.
  bool IsTheSameField(const std::string& appName) const;
  bool IsIccAvailable(const std::string& appName, const std::string& hostDomain) const;

 private:
  std::string hostDomain_;
  ResourceConfig config_;
};

/// The domain class of this host, logged.
std::string GetHostDomainInfo();

}  // namespace qor::common

#endif
