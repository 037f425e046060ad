// SPDX-License-Identifier: Apache-2.0
// How much a ServiceClient adds to receiving its datagrams: one paced sender in a process of its own, received by a
// bare recvmmsg loop and by a client's event handler, one after the other in every round. And whether large segmented
// events arrive whole.
//
//   someip_throughput [ROUNDS [SECONDS [EVENTS_PER_SECOND]]]
//   someip_throughput large [EVENTS [BYTES]]
#include <arpa/inet.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <thread>
#include <vector>

#include "bench/bare_receiver.h"
#include "bench/cpu_time.h"
#include "platform/someip/service_client.h"
#include "platform/someip/service_server.h"

namespace {

using Clock = std::chrono::steady_clock;
using qor::someip::Endpoint;
using qor::someip::MessageHeader;
using namespace std::chrono_literals;

constexpr std::uint16_t kService = 0x1234;
constexpr std::uint16_t kEvent = 0x8001;
constexpr std::size_t kPayload = 64;
constexpr std::size_t kBurst = 25;
constexpr int kReceiveBuffer = 8 << 20;

/// What one receiver saw.
struct Result {
  std::uint64_t received = 0;
  std::uint64_t kernelDrops = 0;
  double cpuMicrosecondsPerEvent = 0;
};

struct Load {
  std::chrono::seconds duration{5};
  std::uint64_t perSecond = 250'000;

  std::uint64_t Events() const { return perSecond * static_cast<std::uint64_t>(duration.count()); }
};

/// Counts events and the CPU time of the receiving thread from the first to the last one.
class Meter {
 public:
  void Count() {
    if (count_.load(std::memory_order_relaxed) == 0) {
      firstCpu_ = qor::bench::CpuSeconds(RUSAGE_THREAD);
    }
    count_.store(count_.load(std::memory_order_relaxed) + 1, std::memory_order_release);
  }
  std::uint64_t Seen() const { return count_.load(std::memory_order_acquire); }
  /// On the receiving thread, after the last.
  Result Finish(std::uint64_t kernelDrops) const {
    return {Seen(), kernelDrops,
            (qor::bench::CpuSeconds(RUSAGE_THREAD) - firstCpu_) * 1e6 / static_cast<double>(Seen())};
  }

 private:
  std::atomic<std::uint64_t> count_{0};
  double firstCpu_ = 0;  // written before the first count
};

sockaddr_in ToSockaddr(const Endpoint& endpoint) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(endpoint.address.value);
  address.sin_port = htons(endpoint.port);
  return address;
}

/// Bursts at even distances, each burst as many single datagrams.
void Send(const Endpoint& destination, const Load& load) {
  const int descriptor = ::socket(AF_INET, SOCK_DGRAM, 0);
  sockaddr_in address = ToSockaddr(destination);
  MessageHeader header;
  header.serviceId = kService;
  header.methodId = kEvent;
  header.type = qor::someip::MessageType::kNotification;
  header.SetPayloadSize(kPayload);
  const auto head = qor::someip::EncodeHeader(header);
  std::array<std::uint8_t, qor::someip::kHeaderSize + kPayload> bytes{};
  std::copy(head.begin(), head.end(), bytes.begin());
  iovec part{bytes.data(), bytes.size()};
  std::array<mmsghdr, kBurst> messages{};
  for (mmsghdr& message : messages) {
    message.msg_hdr.msg_name = &address;
    message.msg_hdr.msg_namelen = sizeof(address);
    message.msg_hdr.msg_iov = &part;
    message.msg_hdr.msg_iovlen = 1;
  }
  const auto interval = std::chrono::nanoseconds(1'000'000'000 * kBurst / load.perSecond);
  auto next = Clock::now();
  for (std::uint64_t sent = 0; sent < load.Events();) {
    const auto length = static_cast<unsigned>(std::min<std::uint64_t>(kBurst, load.Events() - sent));
    const int count = ::sendmmsg(descriptor, messages.data(), length, 0);
    sent += static_cast<std::uint64_t>(std::max(count, 0));
    next += interval;
    std::this_thread::sleep_until(next);
  }
  ::close(descriptor);
}

template <class Work>
pid_t InChild(Work work) {
  const pid_t child = ::fork();
  if (child == 0) {
    work();
    ::_exit(0);
  }
  return child;
}

Result ReceiveBare(const Load& load) {
  qor::bench::BareReceiver receiver(kReceiveBuffer);
  receiver.SetPatience(1s);
  const pid_t sender = InChild([&] { Send({qor::someip::kLoopbackAddress, receiver.Port()}, load); });
  Meter meter;
  std::size_t count = 0;
  while (meter.Seen() < load.Events() && (count = receiver.Receive()) > 0) {
    for (std::size_t i = 0; i < count; ++i) {
      meter.Count();
    }
  }
  const Result result = meter.Finish(0);
  ::waitpid(sender, nullptr, 0);
  return result;
}

/// Runs the loop on this thread until `isDone`, or until nothing has come for a second.
void RunUntil(asio::io_context& loop, const Meter& meter, const std::function<bool()>& isDone) {
  std::uint64_t seen = 0;
  auto last = Clock::now();
  while (!isDone() && Clock::now() - last < 1s) {
    loop.run_for(100ms);
    if (meter.Seen() != seen) {
      seen = meter.Seen();
      last = Clock::now();
    }
  }
}

qor::someip::ServiceClientOptions ClientOptions() {
  qor::someip::ServiceClientOptions options;
  options.serviceId = kService;
  options.receiveBuffer = kReceiveBuffer;
  return options;
}

Result ReceiveClient(const Load& load) {
  asio::io_context loop(1);
  const auto guard = asio::make_work_guard(loop);
  Meter meter;
  qor::someip::ServiceClient client(loop, ClientOptions());
  client.SetEventHandler(kEvent, [&](const MessageHeader&, std::span<const std::uint8_t>) {
    meter.Count();
    if (meter.Seen() == load.Events()) {
      loop.stop();
    }
  });
  const auto local = client.OpenUdp();
  if (!local) {
    return {};
  }
  const pid_t sender = InChild([&] { Send(local.Value(), load); });
  RunUntil(loop, meter, [&] { return meter.Seen() == load.Events(); });
  const Result result = meter.Finish(client.Counts().kernelDrops);
  ::waitpid(sender, nullptr, 0);
  return result;
}

/// A server in a process of its own sends `events` segmented events of `size` bytes.
void SendLarge(const Endpoint& subscriber, std::uint64_t events, std::size_t size) {
  asio::io_context loop(1);
  qor::someip::ServiceServerOptions options;
  options.serviceId = kService;
  options.udpPort = 0;
  auto server = qor::someip::ServiceServer::Open(loop, options);
  if (!server || !server.Value()->AddEvent({.eventId = kEvent, .eventgroups = {1}, .tp = qor::someip::TpSettings{}}) ||
      !server.Value()->AddSubscriber(1, subscriber, false)) {
    std::fprintf(stderr, "cannot open a server\n");
    return;
  }
  const std::vector<std::uint8_t> payload(size, 0x5A);
  const auto begin = Clock::now();
  std::uint64_t refused = 0;
  for (std::uint64_t i = 0; i < events; ++i) {
    refused += server.Value()->Notify(kEvent, payload) ? 0 : 1;
  }
  const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
  std::printf("sent     %8llu of %zu bytes, %.1f MB/s, not taken by the system: %llu\n",
              static_cast<unsigned long long>(events), size,
              static_cast<double>(events) * static_cast<double>(size) / 1e6 / seconds,
              static_cast<unsigned long long>(refused));
  std::fflush(stdout);
}

int RunLarge(std::uint64_t events, std::size_t size) {
  asio::io_context loop(1);
  const auto guard = asio::make_work_guard(loop);
  Meter meter;
  std::uint64_t wrong = 0;
  qor::someip::ServiceClient client(loop, ClientOptions());
  client.SetEventHandler(kEvent, [&](const MessageHeader&, std::span<const std::uint8_t> payload) {
    wrong += payload.size() == size ? 0 : 1;
    meter.Count();
    if (meter.Seen() == events) {
      loop.stop();
    }
  });
  const auto local = client.OpenUdp();
  if (!local) {
    std::fprintf(stderr, "%s\n", local.Error().Message().c_str());
    return 1;
  }
  const pid_t sender = InChild([&] { SendLarge(local.Value(), events, size); });
  RunUntil(loop, meter, [&] { return meter.Seen() == events; });
  ::waitpid(sender, nullptr, 0);
  const auto counts = client.Counts();
  std::printf("received %8llu whole, %llu of a wrong size, %llu lost (%llu datagrams dropped by the kernel)\n",
              static_cast<unsigned long long>(meter.Seen()), static_cast<unsigned long long>(wrong),
              static_cast<unsigned long long>(events - meter.Seen()),
              static_cast<unsigned long long>(counts.kernelDrops));
  return meter.Seen() == events && wrong == 0 ? 0 : 1;
}

void Print(int round, const char* who, const Load& load, const Result& result) {
  std::printf("%5d %-7s %10llu %10llu %8llu %10.3f\n", round, who, static_cast<unsigned long long>(load.Events()),
              static_cast<unsigned long long>(result.received),
              static_cast<unsigned long long>(load.Events() - result.received), result.cpuMicrosecondsPerEvent);
  std::fflush(stdout);
}

double Median(std::vector<double> values) {
  std::ranges::sort(values);
  return values[values.size() / 2];
}

int RunSmall(int rounds, const Load& load) {
  std::printf("%5s %-7s %10s %10s %8s %10s\n", "round", "", "sent", "received", "lost", "us CPU");
  std::vector<double> bare;
  std::vector<double> client;
  for (int round = 1; round <= rounds; ++round) {
    const Result b = ReceiveBare(load);
    Print(round, "bare", load, b);
    const Result c = ReceiveClient(load);
    Print(round, "client", load, c);
    bare.push_back(b.cpuMicrosecondsPerEvent);
    client.push_back(c.cpuMicrosecondsPerEvent);
  }
  std::printf("CPU per event, medians: bare %.3f us, client %.3f us, ratio %.2f\n", Median(bare), Median(client),
              Median(client) / Median(bare));
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const auto number = [&](int at, std::uint64_t otherwise) {
    return argc > at ? std::max<std::uint64_t>(1, std::strtoull(argv[at], nullptr, 10)) : otherwise;
  };
  if (argc > 1 && std::strcmp(argv[1], "large") == 0) {
    return RunLarge(number(2, 1000), static_cast<std::size_t>(number(3, 1U << 20U)));
  }
  return RunSmall(static_cast<int>(number(1, 3)), {std::chrono::seconds(number(2, 5)), number(3, 250'000)});
}
