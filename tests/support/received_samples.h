// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TESTS_SUPPORT_RECEIVED_SAMPLES_H
#define QOR_TESTS_SUPPORT_RECEIVED_SAMPLES_H

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "platform/com/recv_buffer.h"
#include "tests/support/dds_event.h"
#include "tests/support/eventually.h"

namespace qor::test {

using Bytes = std::vector<std::uint8_t>;

/// `size` bytes that differ from place to place and from sample to sample.
inline Bytes Pattern(std::size_t size, std::uint32_t seed = 1) {
  Bytes bytes(size);
  std::uint32_t state = seed * 2654435761U + 1;
  for (std::uint8_t& byte : bytes) {
    state = state * 1664525U + 1013904223U;
    byte = static_cast<std::uint8_t>(state >> 24U);
  }
  return bytes;
}

/// A receive handler that keeps a copy of all it gets. Must outlive the reader that calls it.
class ReceivedSamples {
 public:
  struct Sample {
    Bytes payload;
    Bytes privateData;
    std::vector<Bytes> mbufs;
    std::uint64_t sequenceNumber = 0;
    std::int64_t sourceTimestampNs = 0;
    std::uint16_t encapsulation = 0;
    com::e2e::CheckStatus e2eStatus{};
  };

  com::RecvHandler Handler() {
    return [this](const com::RecvBuffer& buffer) { Add(buffer); };
  }

  std::size_t Count() const {
    const std::lock_guard lock(mutex_);
    return samples_.size();
  }
  bool WaitForCount(std::size_t count) const {
    return Eventually([this, count] { return Count() >= count; });
  }
  std::vector<Sample> Samples() const {
    const std::lock_guard lock(mutex_);
    return samples_;
  }
  std::vector<Bytes> Payloads() const {
    std::vector<Bytes> payloads;
    for (const Sample& sample : Samples()) {
      payloads.push_back(sample.payload);
    }
    return payloads;
  }

 private:
  void Add(const com::RecvBuffer& buffer) {
    Sample sample{{buffer.payload.begin(), buffer.payload.end()},
                  {buffer.privateData.begin(), buffer.privateData.end()},
                  {},
                  buffer.sequenceNumber,
                  buffer.sourceTimestampNs,
                  buffer.encapsulation,
                  buffer.e2eStatus};
    for (const OutMbufData& part : buffer.mbufs) {
      sample.mbufs.emplace_back(part.data, part.data + part.size);
    }
    const std::lock_guard lock(mutex_);
    samples_.push_back(std::move(sample));
  }

  mutable std::mutex mutex_;
  std::vector<Sample> samples_;  // guarded by mutex_
};

}  // namespace qor::test

#endif
