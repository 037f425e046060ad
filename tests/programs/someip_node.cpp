// SPDX-License-Identifier: Apache-2.0
// A program that publishes or subscribes one SOME/IP event until it is killed:
//
//     someip_node publish|subscribe EVENT SERVICE EVENT_ID udp|tcp|tp PERIOD_MS SIZE
//
// A sample begins with its number (4 bytes); all further bytes are that number's lowest byte. The publisher says
// "ready". The subscriber says "<received> whole, <bad> bad, <lost> lost" with the first sample and then ten times a
// second.
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "platform/com/helper.h"
#include "platform/com/node_handle.h"

namespace {

struct Arguments {
  std::string event;
  std::uint16_t service = 0;
  std::uint16_t eventId = 0;
  std::string kind;
  std::chrono::milliseconds period{0};
  std::size_t size = 0;
};

qor::maintaind::EventRegisterInfo EventOf(const Arguments& arguments) {
  qor::maintaind::EventRegisterInfo event;
  event.eventName = arguments.event;
  event.dataTypeName = "TestType";
  auto& someip = event.bindings[qor::maintaind::DriverType::kSomeip].someip;
  someip.serviceId = arguments.service;
  someip.instanceId = 1;
  someip.eventId = arguments.eventId;
  someip.eventGroupIds = {static_cast<std::uint16_t>(arguments.eventId & 0xFF)};
  someip.networkName = "test";
  someip.isReliable = arguments.kind == "tcp";
  someip.tp.isEnabled = arguments.kind == "tp";
  return event;
}

std::vector<std::uint8_t> Sample(std::uint32_t number, std::size_t size) {
  std::vector<std::uint8_t> sample(size, static_cast<std::uint8_t>(number));
  std::memcpy(sample.data(), &number, sizeof(number));
  return sample;
}

int Publish(qor::com::NodeHandle& node, const std::string& path, const Arguments& arguments) {
  auto publisher = node.Advertise(path);
  if (!publisher) {
    return EXIT_FAILURE;
  }
  std::cout << "ready" << std::endl;
  for (std::uint32_t number = 0;; ++number) {
    (void)publisher.Publish(Sample(number, arguments.size));
    std::this_thread::sleep_for(arguments.period);
  }
}

int Subscribe(qor::com::NodeHandle& node, const std::string& path, const Arguments& arguments) {
  std::atomic<std::uint64_t> whole{0};
  std::atomic<std::uint64_t> bad{0};
  auto subscriber = node.Subscribe(path, [&](const qor::com::RecvBuffer& buffer) {
    std::uint32_t number = 0;
    std::memcpy(&number, buffer.payload.data(), std::min(sizeof(number), buffer.payload.size()));
    const auto expected = Sample(number, arguments.size);
    const bool isWhole = std::equal(expected.begin(), expected.end(), buffer.payload.begin(), buffer.payload.end());
    ++(isWhole ? whole : bad);
  });
  if (!subscriber) {
    return EXIT_FAILURE;
  }
  while (true) {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    if (whole + bad > 0) {
      std::cout << whole << " whole, " << bad << " bad, " << subscriber.GetLostCount() << " lost" << std::endl;
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 8) {
    return EXIT_FAILURE;
  }
  const std::string role = argv[1];
  const Arguments arguments{
      argv[2], static_cast<std::uint16_t>(std::atoi(argv[3])), static_cast<std::uint16_t>(std::atoi(argv[4])),
      argv[5], std::chrono::milliseconds(std::atoi(argv[6])),  static_cast<std::size_t>(std::atoi(argv[7]))};
  const bool isPublisher = role == "publish";
  const std::string nodeName = isPublisher ? "/test_pub" : "/test_sub";
  qor::com::NodeHandle node(nodeName);
  if (arguments.size < sizeof(std::uint32_t) ||
      !qor::Helper::AddConfig(isPublisher, {nodeName, "", ""}, EventOf(arguments))) {
    return EXIT_FAILURE;
  }
  return (isPublisher ? Publish : Subscribe)(node, nodeName + arguments.event, arguments);
}
