// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/message_read_ahead.h"

#include <utility>

namespace qor::qorbag {
namespace {

constexpr std::size_t kMostReady = std::size_t{32} << 20U;  // bytes; the last block may go beyond
constexpr std::size_t kFullBlock = std::size_t{256} << 10U;

}  // namespace

MessageReadAhead::MessageReadAhead(const QorView& view) : reader_([this, at = view.Begin()] { ReadAll(at); }) {}

MessageReadAhead::~MessageReadAhead() {
  {
    const std::lock_guard lock(mutex_);
    isOver_ = true;
  }
  changed_.notify_all();
  reader_.join();
}

bool MessageReadAhead::WaitForMessage() {
  if (taken_ < current_.entries.size()) {
    return true;
  }
  std::unique_lock lock(mutex_);
  spare_.push_back(std::exchange(current_, Block()));
  taken_ = 0;
  payloadAt_ = 0;
  changed_.wait(lock, [this] { return !ready_.empty() || isAllRead_; });
  if (ready_.empty()) {
    return false;
  }
  current_ = std::move(ready_.front());
  ready_.pop_front();
  readyBytes_ -= current_.Bytes();
  lock.unlock();
  changed_.notify_all();
  return true;
}

const MessageReadAhead::Message& MessageReadAhead::Take() {
  Entry& entry = current_.entries[taken_++];
  entry.message.payload = current_.payloads.Bytes().subspan(payloadAt_, entry.payloadEnd - payloadAt_);
  payloadAt_ = entry.payloadEnd;
  return entry.message;
}

void MessageReadAhead::ReadAll(QorView::Iterator at) {
  while (!at.IsEnd()) {
    Block block = TakeSpare();
    Fill(block, at);
    if (!Hand(std::move(block))) {
      return;
    }
  }
  {
    const std::lock_guard lock(mutex_);
    isAllRead_ = true;
  }
  changed_.notify_all();
}

MessageReadAhead::Block MessageReadAhead::TakeSpare() {
  const std::lock_guard lock(mutex_);
  if (spare_.empty()) {
    return {};
  }
  Block block = std::move(spare_.back());
  spare_.pop_back();
  return block;
}

void MessageReadAhead::Fill(Block& block, QorView::Iterator& at) {
  block.entries.clear();
  block.payloads.SetSize(0);
  for (; !at.IsEnd() && block.Bytes() < kFullBlock; at.Increase()) {
    const QorMsgEntity& entity = at.Value();
    const std::size_t before = block.payloads.GetSize();
    const int result = entity.WriteMsg(block.payloads, static_cast<std::uint32_t>(before));
    if (result != QorBagFile::kOk) {
      block.payloads.SetSize(before);
    }
    const Message message{&entity.GetConnection(), entity.GetTime(), entity.GetBagVersion(), result, {}};
    block.entries.push_back({message, block.payloads.GetSize()});
  }
}

bool MessageReadAhead::Hand(Block&& block) {
  {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return readyBytes_ < kMostReady || isOver_; });
    if (isOver_) {
      return false;
    }
    readyBytes_ += block.Bytes();
    ready_.push_back(std::move(block));
  }
  changed_.notify_all();
  return true;
}

}  // namespace qor::qorbag
