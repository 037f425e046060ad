// SPDX-License-Identifier: Apache-2.0
#include "platform/dds/fast_dds_library.h"

#include <fastrtps/attributes/LibrarySettingsAttributes.h>
#include <fastrtps/xmlparser/XMLProfileManager.h>

#include <cstdint>
#include <fastdds/dds/domain/DomainParticipantFactory.hpp>
#include <fastdds/dds/log/Log.hpp>
#include <memory>
#include <string>

#include "platform/dds/shared_memory.h"
#include "platform/log/qor_log.h"

namespace qor::dds {
namespace {

namespace fdds = eprosima::fastdds::dds;

constexpr QorLog kLog("FastDDS");
constexpr std::uint32_t kLogIntervalMs = 1000;

/// Passes the library's lines on; peers can make it repeat them, so each place in the library speaks once a second.
class LogConsumer : public fdds::LogConsumer {
 public:
  void Consume(const fdds::Log::Entry& entry) override {
    const char* category = entry.context.category != nullptr ? entry.context.category : "";
    const char* function = entry.context.function != nullptr ? entry.context.function : "";
    const std::string key = std::string("FastDDS_") + category + function;
    if (entry.kind == fdds::Log::Kind::Error) {
      kLog.Warn(key, kLogIntervalMs) << "[" << category << "] " << entry.message;
    } else {
      kLog.Debug() << "[" << category << "] " << entry.message;
    }
  }
};

using FactoryHandle = std::shared_ptr<fdds::DomainParticipantFactory>;

FactoryHandle* SetUp() {
  RemoveAbandonedSegments();
  fdds::Log::ClearConsumers();
  fdds::Log::RegisterConsumer(std::make_unique<LogConsumer>());
  eprosima::fastrtps::LibrarySettingsAttributes settings;
  settings.intraprocess_delivery = eprosima::fastrtps::INTRAPROCESS_OFF;
  eprosima::fastrtps::xmlparser::XMLProfileManager::library_settings(settings);
  return new FactoryHandle(fdds::DomainParticipantFactory::get_shared_instance());
}

}  // namespace

fdds::DomainParticipantFactory& FastDdsFactory() {
  static FactoryHandle* const factory = SetUp();  // never destroyed
  return **factory;
}

}  // namespace qor::dds
