// SPDX-License-Identifier: Apache-2.0
#include "src/common/query.h"

#include "platform/log/qor_log.h"

namespace qor::common {
namespace {

constexpr QorLog kLog{"QorCommon"};

class QueryAllReport : public QueryReport {
 public:
  void TimedOut(std::uint16_t /*instance*/) const override { kLog.Warn() << "Disconnect To Maintaind."; }
  void Failed(std::uint16_t /*instance*/) const override { kLog.Warn() << "Get result from Maintaind failed."; }
  void Answered(std::uint16_t /*instance*/, std::size_t count) const override {
    kLog.Debug() << "[QueryAll][EventInfoWithPubSub list size is " << count << "]";
  }
};

class GetInfoResultReport : public QueryReport {
 public:
  void TimedOut(std::uint16_t instance) const override {
    kLog.Warn() << "Disconnect to Maintaind in QorCommon::GetInfoResult()[instanceId=" << instance << "]";
  }
  void Failed(std::uint16_t instance) const override {
    kLog.Warn() << "Get result from Maintaind failed in QorCommon::GetInfoResult()[instanceId=" << instance << "]";
  }
  void Answered(std::uint16_t instance, std::size_t count) const override {
    if (count == 0) {
      kLog.Debug() << "EventInfoWithPubSub list size is zero[instanceId=" << instance << "]";
    } else {
      kLog.Debug() << "EventInfoWithPubSub list size is " << count << "[instanceId=" << instance << "]";
    }
  }
};

}  // namespace

const QueryReport& ReportOfQueryAll() {
  static const QueryAllReport report;
  return report;
}

const QueryReport& ReportOfGetInfoResult() {
  static const GetInfoResultReport report;
  return report;
}

void LogQueryIndex(const CommonFilter& filter) {
  kLog.Debug() << "[Query index][type=" << filter.instanceShortName << ", networkIP=" << filter.networkIp
               << ", domainId=" << filter.domainId << ", uuid=" << filter.uuid << "]";
}

}  // namespace qor::common
