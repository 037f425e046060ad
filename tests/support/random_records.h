// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TESTS_SUPPORT_RANDOM_RECORDS_H
#define QOR_TESTS_SUPPORT_RANDOM_RECORDS_H

#include <cstddef>
#include <random>
#include <string>
#include <vector>

#include "tests/support/plain_merge.h"

namespace qor::test {

/// Records of a world so small that most of them collide.
class RandomRecords {
 public:
  explicit RandomRecords(unsigned seed) : random_(seed) {}

  template <class Record>
  std::vector<Record> List(std::size_t longest) {
    std::vector<Record> list(Below(longest + 1));
    for (Record& record : list) {
      Fill(record);
    }
    return list;
  }

 private:
  std::size_t Below(std::size_t end) { return random_() % end; }
  bool Chance(std::size_t of) { return Below(of) == 0; }
  template <class T>
  T OneOf(std::initializer_list<T> choices) {
    return choices.begin()[Below(choices.size())];
  }

  template <class Record>
  void Fill(Record& record) {
    const std::string number = std::to_string(++count_);
    record.nodeName = number;  // tells the records apart, whatever else they agree in
    Provider(record) = OneOf({"", "", "p"}) + (Chance(2) ? "" : number);
    if (Chance(2)) {
      Provider(record).clear();
    }
    IsOnline(record) = Chance(2);
    for (std::size_t i = Below(3); i > 0; --i) {
      Consumers(record).push_back("c" + number + "." + std::to_string(i));
    }
    const std::size_t which = Below(8);
    if (which < 5) {
      FillBinding(record.bindings[maintaind::DriverType::kDds]);
    }
    if (which > 2 && which < 7) {
      FillBinding(record.bindings[maintaind::DriverType::kSomeip]);
    }
    if (Chance(16)) {
      FillBinding(record.bindings[static_cast<maintaind::DriverType>(7)]);
    }
  }

  template <class Binding>
  void FillBinding(Binding& binding) {
    if (Chance(10)) {
      return;  // all default, as if there were no binding
    }
    if constexpr (requires { binding.hasNotifier; }) {
      binding.hasNotifier = true;
      binding.hasGetter = Chance(2);
      FillPart(binding.dds.notify.event);
      FillPart(binding.someip.notify.event);
    } else if constexpr (requires { binding.dds; }) {
      FillPart(binding.dds);
      FillPart(binding.someip);
    } else {
      FillPart(binding);
    }
  }

  template <class Part>
  void FillPart(Part& part) {
    part.serviceId = Chance(4) ? 0 : 1;
    part.instanceId = Chance(4) ? 0 : 1;
    part.networkIp = OneOf({"10.0.0.1", "10.0.0.2", "10.0.1.1", "", "no address"});
    part.subnetMask = OneOf({"255.255.255.0", "255.255.255.0", "255.255.0.0", ""});
    if constexpr (requires { part.domainId; }) {
      part.domainId = Chance(4) ? 1 : 0;
    }
    if constexpr (requires { part.topicName; }) {
      part.topicName = OneOf({"", "t", "t"});
    }
    if constexpr (requires { part.requestTopicName; }) {
      part.requestTopicName = OneOf({"", "t", "t"});
    }
    if constexpr (requires { part.eventId; }) {
      part.eventId = Chance(4) ? 0 : 5;
    }
    if constexpr (requires { part.methodId; }) {
      part.methodId = Chance(4) ? 0 : 5;
    }
    if constexpr (requires { part.transports; }) {
      for (std::size_t i = Below(3); i > 0; --i) {
        part.transports.push_back(OneOf({maintaind::TransportQos::kUdp, maintaind::TransportQos::kShm}));
      }
    }
  }

  std::mt19937 random_;
  std::size_t count_ = 0;
};

}  // namespace qor::test

#endif
