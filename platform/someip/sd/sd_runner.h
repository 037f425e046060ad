// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_SD_SD_RUNNER_H
#define QOR_SOMEIP_SD_SD_RUNNER_H

#include <cstdint>
#include <functional>
#include <memory>

#include <asio/io_context.hpp>

#include "platform/ara/core/result.h"
#include "platform/someip/sd/sd_agent.h"
#include "platform/someip/sd/sd_socket.h"

namespace qor::someip::sd {

/// An agent with its sockets and its timer on an event loop. All on the thread that runs `loop`; `listener` outlives
/// it. Destruction is silent: call Agent().Stop() before, to tell the other hosts.
class SdRunner {
 public:
  /// Called when the address has come to a running interface, from within Open() if it is there, and when it has gone.
  using NetworkHandler = std::function<void(bool isUp)>;

  SdRunner(asio::io_context& loop, const SdConfig& config, const SdSocketOptions& socket, SdListener& listener,
           NetworkHandler onNetwork = nullptr);
  ~SdRunner();
  SdRunner(const SdRunner&) = delete;
  SdRunner& operator=(const SdRunner&) = delete;

  /// See SdSocket::Open().
  ara::core::Result<void> Open();

  /// To be used within the handler that asks for it: the timer is set anew when that has returned.
  SdAgent& Agent();
  const SdSocket& Socket() const;

 private:
  class Impl;
  const std::shared_ptr<Impl> impl_;  // shared with the handlers that the loop still holds
};

}  // namespace qor::someip::sd

#endif
