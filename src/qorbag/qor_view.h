// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_QOR_VIEW_H
#define QOR_QORBAG_QOR_VIEW_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "src/qorbag/bag_records.h"
#include "src/qorbag/connection.h"
#include "src/qorbag/qor_bag_file.h"
#include "src/qorbag/qor_buffer.h"

namespace qor::qorbag {

/// Milliseconds after another time, or the last time there is.
constexpr std::uint64_t TimeAfter(std::uint64_t time, std::uint64_t milliseconds) {
  return time > UINT64_MAX - milliseconds ? UINT64_MAX : time + milliseconds;
}

/// Says which connections are wanted.
using ConnectionPredicate = std::function<bool(const Connection&)>;

/// All of them.
struct QorTrueQuery {
  bool operator()(const Connection& /*connection*/) const { return true; }
};

/// Those of some events: none that is skipped; of the others, when any are included, only those. Empty lists include
/// all and skip none. Patterns with * and ? are names, too.
class QorEventQuery {
 public:
  static constexpr std::uint16_t kAnyDomain = 1000;

  QorEventQuery(std::vector<std::string> included, std::vector<std::string> skipped,
                std::uint16_t domainId = kAnyDomain, std::string networkSegment = "");
  bool operator()(const Connection& connection) const;

 private:
  bool CheckEventIndex(const Connection& connection) const;

  std::vector<std::string> included_;
  std::vector<std::string> skipped_;
  std::uint16_t domainId_;
  std::string networkSegment_;  ///< empty: any
};

/// Which connections of a bag, and of when. Both ends of the time count.
struct QorQuery {
  ConnectionPredicate predicate = QorTrueQuery();
  std::uint64_t startTime = 0;
  std::uint64_t endTime = UINT64_MAX;
};

/// A query of one bag.
struct QorBagQuery {
  QorBagFile* bag = nullptr;
  QorQuery query;
};

/// The messages of one connection that a query wants.
struct MessageRange {
  std::span<const MessageIndex> messages;
  const Connection* connection = nullptr;
  QorBagFile* bag = nullptr;
  std::uint32_t connectionId = 0;  ///< once more: it is compared for each message
};

/// One message of a view, which must be there while it is used.
class QorMsgEntity {
 public:
  QorMsgEntity(const MessageRange& range, const MessageIndex& index) : range_(&range), index_(index) {}

  const MessageIndex& Index() const { return index_; }
  std::uint64_t GetTime() const { return index_.time; }
  const Connection& GetConnection() const { return *range_->connection; }
  const std::string& GetEvent() const { return GetConnection().eventName; }
  const std::string& GetDataType() const { return GetConnection().dataType; }
  /// The event as a bag is told of it when the message is written once more.
  EventMsg GetRecordingEvent() const { return {{range_->bag->Content(), range_->connection}}; }
  std::uint32_t GetBagVersion() const { return range_->bag->GetVersion(); }
  bool GetMsgSize(std::uint32_t& size) const { return range_->bag->ReadMsgDataSize(index_, size); }
  /// Puts the payload behind the first `offset` bytes of the buffer. Otherwise, with a line in the log, kFailed or
  /// kDecompressionFailed of QorBagFile.
  [[nodiscard]] int WriteMsg(QorBuffer& buffer, std::uint32_t offset) const {
    return range_->bag->ReadMsgDataIntoStream(index_, buffer, offset, range_->connectionId);
  }

 private:
  const MessageRange* range_;
  MessageIndex index_;
};

/// The messages of one or several bags that queries want, in the order of time. Queries come first, then the iteration.
/// Used by one thread; the bags must outlive it, open.
class QorView {
 public:
  void AddQuery(QorBagFile& bag, std::uint64_t startTime, std::uint64_t endTime) {
    AddQuery(bag, QorTrueQuery(), startTime, endTime);
  }
  void AddQuery(QorBagFile& bag, ConnectionPredicate predicate, std::uint64_t startTime, std::uint64_t endTime);

  /// Messages.
  std::uint64_t Size() const;
  /// Of the first and of the last message; 0 when there is none.
  std::uint64_t GetBeginTime() const;
  std::uint64_t GetEndTime() const;
  /// Of all payloads.
  std::uint64_t PayloadBytes() const;
  /// One for each connection of each query that has messages.
  const std::vector<MessageRange>& Ranges() const { return ranges_; }
  /// Those that have messages in the view.
  std::vector<const Connection*> GetConnections() const;

  /// Takes the next thousands of messages from all ranges at a time and sorts them, which costs the same for few ranges
  /// and for many.
  class Iterator {
   public:
    explicit Iterator(const QorView& view);

    bool IsEnd() const { return next_ == batch_.size(); }
    /// The current message; valid until the iteration goes on, unless it is copied. Not at the end.
    const QorMsgEntity& Value() const { return batch_[next_]; }
    void Increase();
    std::uint64_t GetPosValue() const { return position_; }
    /// Of the first message of the view; 0 when there is none.
    std::uint64_t BeginTime() const { return beginTime_; }

   private:
    /// Where one range stands.
    struct ViewIterHelper {
      const MessageIndex* at;
      const MessageIndex* end;
      const MessageRange* range;
    };

    void Populate(const QorView& view);
    void TakeBatch();
    void SortBatch();
    void SortByTime();

    std::vector<ViewIterHelper> cursors_;  ///< those that are not at their end
    std::size_t stride_ = 1;               ///< messages of one range at most in a batch
    std::vector<QorMsgEntity> batch_;
    std::vector<QorMsgEntity> scratch_;
    std::size_t next_ = 0;  ///< the current message in the batch
    std::uint64_t position_ = 0;
    std::uint64_t beginTime_ = 0;
  };

  Iterator Begin() const { return Iterator(*this); }

 private:
  void UpdateQueries(const QorBagQuery& query);

  std::vector<MessageRange> ranges_;
};

}  // namespace qor::qorbag

#endif
