// SPDX-License-Identifier: Apache-2.0
// A program that publishes one DDS event until it is killed:
//
//     test_publisher NODE EVENT DOMAIN PERIOD_MS
//
// It says "ready" when the event is set up; a period of 0 publishes nothing.
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "platform/com/helper.h"
#include "platform/com/node_handle.h"

namespace {

qor::maintaind::EventRegisterInfo Event(const std::string& name, int domain) {
  qor::maintaind::EventRegisterInfo event;
  event.eventName = name;
  event.dataTypeName = "TestType";
  event.resource = "test_resource";
  auto& dds = event.bindings[qor::maintaind::DriverType::kDds].dds;
  dds.serviceId = 4660;
  dds.instanceId = 1;
  dds.domainId = static_cast<std::uint16_t>(domain);
  dds.topicName = name + "_" + std::to_string(getppid());  // another test may use the same domain
  dds.typeName = "TestType";
  dds.transports = {qor::maintaind::TransportQos::kUdp};
  return event;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) {
    return EXIT_FAILURE;
  }
  const std::string nodeName = argv[1];
  const std::string eventName = argv[2];
  const int domain = std::atoi(argv[3]);
  const std::chrono::milliseconds period(std::atoi(argv[4]));

  qor::com::NodeHandle node(nodeName);
  const qor::Helper::RegisterOptions options{nodeName, "", ""};
  if (!qor::Helper::AddConfig(/*isPublisher=*/true, options, Event(eventName, domain))) {
    return EXIT_FAILURE;
  }
  auto publisher = node.Advertise(nodeName + eventName);
  if (!publisher) {
    return EXIT_FAILURE;
  }
  std::cout << "ready" << std::endl;
  const std::vector<std::uint8_t> payload(100, 0x5A);
  while (true) {
    std::this_thread::sleep_for(period.count() > 0 ? period : std::chrono::milliseconds(1000));
    if (period.count() > 0 && !publisher.Publish(payload)) {
      return EXIT_FAILURE;
    }
  }
}
