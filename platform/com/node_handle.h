// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COM_NODE_HANDLE_H
#define QOR_COM_NODE_HANDLE_H

#include <cstdint>
#include <memory>
#include <string>

#include "platform/com/publisher.h"
#include "platform/com/recv_buffer.h"
#include "platform/com/subscriber.h"

namespace qor::com {

/// How a subscription receives.
struct SubscribeOptions {
  /// Samples that the transport keeps when the handler is slower than the publisher; the oldest go first. 0: what the
  /// event's configuration says.
  std::uint32_t queueSize = 0;
};

/// A node: a named group of publishers and subscribers of this process, registered with the daemon of the host. Any
/// thread. A process without a daemon publishes and subscribes all the same; it is registered as soon as a daemon runs.
///
/// An event's configuration is looked up by name: first what Helper::AddConfig registered, then the deployment folder
/// (QOR_DEPLOYMENT_DIR).
class NodeHandle {
 public:
  /// The name begins with "/" and has only letters, digits, "_" and "/". With any other name the node is not Ok().
  explicit NodeHandle(std::string name);
  ~NodeHandle();
  NodeHandle(const NodeHandle&) = delete;
  NodeHandle& operator=(const NodeHandle&) = delete;

  bool Ok() const;
  const std::string& GetName() const;

  /// Publishes under an entity name. An empty publisher, with a line in the log, when there is no configuration or no
  /// transport could be set up.
  Publisher Advertise(const std::string& entityName);

  /// Subscribes; `handler` gets every sample as raw bytes. An empty subscriber as above.
  Subscriber Subscribe(const std::string& entityName, const RecvHandler& handler) {
    return SubscribeEx(entityName, SubscribeOptions{}, handler);
  }
  Subscriber SubscribeEx(const std::string& entityName, const SubscribeOptions& options, const RecvHandler& handler);

  /// Unregisters the node; publishers and subscribers that still exist stop. Also done on destruction. Waits for
  /// receive handlers that are running, so neither may be done from one.
  void Shutdown();

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace qor::com

#endif
