// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_QOR_BAG_READER_H
#define QOR_QORBAG_QOR_BAG_READER_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/log/qor_log.h"
#include "src/common/filters.h"
#include "src/qorbag/qor_bag_file.h"
#include "src/qorbag/qor_view.h"

namespace qor::qorbag {

/// The messages of one event of a bag, one after the other. The bag must outlive it.
class EventMsgView {
 public:
  /// `domainId`: QorEventQuery::kAnyDomain for all. An empty name means all events.
  EventMsgView(QorBagFile& bag, std::uint64_t startTime, std::uint64_t endTime, const std::string& eventName,
               std::uint16_t domainId);
  /// Of one connection, over all its time.
  EventMsgView(QorBagFile& bag, std::uint32_t connectionId);

  EventMsgView(EventMsgView&&) = default;  // what it iterates over stays where it is

  bool IsEnd() const { return at_->IsEnd(); }
  /// Puts the payload behind the first `offset` bytes of the message's buffer and goes on to the next one. False at the
  /// end, and, with a line in the log, for a message that cannot be read; the next call goes on behind it.
  [[nodiscard]] bool Read(EventMsg& msg, std::uint32_t offset);

 private:
  QorView view_;
  std::optional<QorView::Iterator> at_;
};

/// Reads a bag message by message, all events together or each by itself. Used by one thread.
class QorBagReader {
 public:
  /// A name that ends in ".active" is that of a bag that was not closed.
  explicit QorBagReader(std::string path) : path_(std::move(path)) {}

  /// Opens the bag. False, with a line in the log, when it cannot be read.
  [[nodiscard]] bool Init();
  const BagFileHeadInfo& GetBagInfo() const { return info_; }

  /// The next message of any event. `offset` and the result as in EventMsgView::Read.
  [[nodiscard]] bool ReadEventMsg(EventMsg& msg, std::uint32_t offset);
  /// The next message of the first event of that name that the filter, if there is one, lets pass.
  [[nodiscard]] bool ReadEventMsg(const std::string& eventName, EventMsg& msg, std::uint32_t offset,
                                  const CommonFilter* filter = nullptr) {
    return ReadEventMsg(eventName, 0, msg, offset, filter);
  }
  /// The same of the event with the number `index` of those, in the order of their ids.
  [[nodiscard]] bool ReadEventMsg(const std::string& eventName, std::size_t index, EventMsg& msg, std::uint32_t offset,
                                  const CommonFilter* filter = nullptr);

 private:
  struct EventView {
    const Connection* connection;
    EventMsgView messages;
  };

  const QorLog log_{"QorBagReader"};
  const std::string path_;
  QorBagFile bag_;
  BagFileHeadInfo info_;
  std::vector<EventView> events_;  ///< by connection id
  std::optional<EventMsgView> all_;
};

}  // namespace qor::qorbag

#endif
