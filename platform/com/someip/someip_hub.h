// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COM_SOMEIP_SOMEIP_HUB_H
#define QOR_COM_SOMEIP_SOMEIP_HUB_H

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <span>
#include <vector>

#include "platform/ara/core/result.h"
#include "platform/com/someip/served_service.h"
#include "platform/com/someip/used_service.h"
#include "src/common/records/someip_link.h"

namespace qor::com {

/// The SOME/IP service instances that this process provides and uses, one object each, and their line to the daemon.
/// Any thread.
class SomeipHub {
 public:
  /// The one of the process; never destroyed.
  static SomeipHub& Instance();

  ara::core::Result<std::shared_ptr<ServedService>> Serve(const maintaind::SomeipEventInfo& event);
  std::shared_ptr<UsedService> Use(const maintaind::SomeipEventInfo& event);

 private:
  SomeipHub();
  void OnServiceState(std::span<const std::uint8_t> payload);
  void OnSubscriberChange(std::span<const std::uint8_t> payload);
  void OnDaemonConnected();
  std::vector<std::shared_ptr<ServedService>> Served();

  std::mutex mutex_;
  std::map<maintaind::ServiceIndex, std::weak_ptr<ServedService>> served_;  // guarded by mutex_
  std::map<maintaind::ServiceIndex, std::weak_ptr<UsedService>> used_;      // guarded by mutex_
};

}  // namespace qor::com

#endif
