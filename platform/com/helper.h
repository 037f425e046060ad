// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COM_HELPER_H
#define QOR_COM_HELPER_H

#include <cstdint>
#include <string>

#include "src/common/records/event_info.h"

namespace qor {

/// Run-time registration of entity configurations: a tool tells the middleware how an event that it learned about can
/// be reached, before it publishes or subscribes to it. Any thread; callers that edit related entries hold their own
/// lock.
class Helper {
 public:
  /// Whose configuration it is and how the transports are to be used.
  struct RegisterOptions {
    std::string nodePath;         ///< prefix of the entity name, such as "/qorevent/hz/"
    std::string ddsNetwork;       ///< address of the interface to use for DDS; empty: where the event says
    std::string someipNetwork;    ///< name of the SOME/IP network to use; empty: where the event says
    std::string entityName = "";  ///< behind the prefix; empty: the event's name
  };

  /// Registers or replaces the configuration of one event under the entity name that the options make, for publishing
  /// or for subscribing. The record must hold exactly the binding to be used. False, with a line in the log, when the
  /// name is empty or the record has no binding.
  [[nodiscard]] static bool AddConfig(bool isPublisher, const RegisterOptions& options,
                                      const maintaind::EventRegisterInfo& event);
};

}  // namespace qor

#endif
