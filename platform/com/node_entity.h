// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COM_NODE_ENTITY_H
#define QOR_COM_NODE_ENTITY_H

namespace qor::com {

/// What a node has: a publisher or a subscriber, which ends with itself or with its node, whichever goes first.
class NodeEntity {
 public:
  virtual ~NodeEntity() = default;
  /// Any thread but that of a handler; the second call does nothing but wait for the first.
  virtual void Stop() = 0;
};

}  // namespace qor::com

#endif
