// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COM_SOMEIP_SOMEIP_TRANSPORT_H
#define QOR_COM_SOMEIP_SOMEIP_TRANSPORT_H

#include "platform/com/transport.h"

namespace qor::com {

/// The SOME/IP wire: events of the services that this process provides and uses. Any thread.
///
/// On one host provider and user talk directly, over UDP or TCP on 127.0.0.1; they find each other through the daemon,
/// without which nothing arrives. A reader can always be made, whether its service is there or not.
class SomeipTransport : public EventTransport {
 public:
  ara::core::Result<std::unique_ptr<EventWriter>> CreateWriter(const maintaind::EventInfo& event) override;
  ara::core::Result<std::unique_ptr<EventReader>> CreateReader(const maintaind::EventInfo& event,
                                                               const ReaderOptions& options,
                                                               RecvHandler handler) override;
};

}  // namespace qor::com

#endif
