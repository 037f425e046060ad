// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_SD_INTERFACE_WATCH_H
#define QOR_SOMEIP_SD_INTERFACE_WATCH_H

#include <functional>
#include <memory>

#include <asio/io_context.hpp>

#include "platform/ara/core/result.h"
#include "platform/someip/endpoint.h"

namespace qor::someip::sd {

/// The interface that has an address.
struct InterfaceState {
  unsigned int index = 0;  ///< 0: none has it
  bool isRunning = false;  ///< up, and with a carrier

  bool operator==(const InterfaceState&) const = default;
};

/// Tells which interface has an address, whenever that changes. All on the thread that runs the loop.
class InterfaceWatch {
 public:
  using Handler = std::function<void(InterfaceState)>;

  InterfaceWatch(asio::io_context& loop, Ipv4Address address, Handler onChange);
  /// No call comes afterwards.
  ~InterfaceWatch();
  InterfaceWatch(const InterfaceWatch&) = delete;
  InterfaceWatch& operator=(const InterfaceWatch&) = delete;

  /// Once. The first call comes from within, unless no interface has the address.
  ara::core::Result<void> Start();

 private:
  class Impl;
  const std::shared_ptr<Impl> impl_;  // shared with the handlers that the loop still holds
};

}  // namespace qor::someip::sd

#endif
