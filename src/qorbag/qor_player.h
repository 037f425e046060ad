// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_QOR_PLAYER_H
#define QOR_QORBAG_QOR_PLAYER_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

#include "platform/com/node_handle.h"
#include "src/qorbag/message_pacer.h"
#include "src/qorbag/message_preparer.h"
#include "src/qorbag/message_read_ahead.h"
#include "src/qorbag/play_code.h"
#include "src/qorbag/play_control.h"
#include "src/qorbag/play_routes.h"
#include "src/qorbag/player_options.h"
#include "src/qorbag/player_time.h"
#include "src/qorbag/qor_bag_file.h"
#include "src/qorbag/qor_view.h"

namespace qor::qorbag {

/// What the print callback is called for.
enum class PlayerPrintType : std::uint8_t {
  kEmpty = 2,  ///< there is nothing to play
  kBeforeDelay = 4,
  kBegin = 5,    ///< the clock is set, the first message comes next
  kMessage = 6,  ///< after every message that was published, and when pausing or tracing begins or ends
  kFinished = 7,
  kCannotDecompress = 18,  ///< once: a message cannot be read
};

/// Where the player is.
struct PlayerEchoInfo {
  std::string_view eventName{};  ///< of the message that was published; empty for anything else. Ends with the call
  std::uint64_t time = 0;        ///< of the message, milliseconds
  SteadyNs lateness{0};          ///< from its moment to its publication
  bool isPaused = false;
  bool isTraceOn = false;
};

/// Plays the messages of bags onto the running system: at the times at which they came, or as the options say. Each
/// instance plays once. Run and what comes before it are called by one thread, control and counts by any.
class QorPlayer {
 public:
  using PrintCallback = std::function<void(PlayerPrintType, const PlayerEchoInfo&)>;

  explicit QorPlayer(PlayerOptions const& options, std::unique_ptr<PlayerTime> time = nullptr);
  ~QorPlayer();
  QorPlayer(const QorPlayer&) = delete;
  QorPlayer& operator=(const QorPlayer&) = delete;

  // --- Before playing ---

  bool CheckThePlayerOptions() const;
  void ShowThePlayerOptions() const;
  /// Called by the thread that plays and by those that control, one at a time; it must not control in turn.
  void RegPrintCallback(PrintCallback callback) { printCallback_ = std::move(callback); }
  /// False, with a line in the log, when the middleware refuses.
  [[nodiscard]] bool InitNodeHandle();
  /// Opens the bags. False, with a line in the log, when there is none, or one cannot be opened: UnreadableFile.
  [[nodiscard]] bool OpenRead();
  const std::string& UnreadableFile() const { return unreadableFile_; }
  const std::list<QorBagFile>& Bags() const { return bags_; }
  /// The part of the bags' time that the options choose, milliseconds.
  std::pair<std::uint64_t, std::uint64_t> CalculateTime();

  // --- Playing ---

  /// Plays the messages of these times, both ends with them; waits for the end.
  [[nodiscard]] PlayCode Run(std::uint64_t startTime, std::uint64_t endTime);

  /// Pauses or goes on; one message while paused; whether to pause at the traced event; ends.
  void Pause();
  void Step() { control_.Step(); }
  void Trace();
  void Stop() { control_.Stop(); }

  // --- How it goes ---

  /// Share of the pass that has been played.
  double GetPlayProgress() const;
  double ElapsedSeconds() const { return pacer_.ElapsedSeconds(); }
  double TotalSeconds() const { return totalSeconds_; }
  bool IsPaused() const { return control_.IsPaused(); }
  std::uint64_t Published() const { return published_; }
  /// Messages that could not be read, prepared or sent.
  std::uint64_t Failed() const { return failed_; }
  /// False: playing ended before every subscriber had taken what was published.
  bool IsFlushed() const { return isFlushed_; }
  /// Whether a daemon was there to tell what is live.
  bool HasDaemon() const { return routes_ != nullptr && routes_->HasDaemon(); }
  /// errno of setting the clock; 0: it was set, or need not be.
  int ClockError() const { return clockError_; }

  /// What prevented playing, or some of it; after Run, and only when there is a node.
  const PlayRoutes& Routes() const { return *routes_; }

 private:
  void DoRun(const QorView& view);
  void PreTimeHandle(std::uint64_t bagStart);
  void RunPass(const QorView& view);
  void SetSysTime(std::uint64_t bagStart);
  /// False: the message was dropped.
  bool DoPublish(const MessageReadAhead::Message& message);
  bool IsRead(const MessageReadAhead::Message& message);
  bool PubInTurn(const PlayRoutes::Route& route, std::uint64_t time);
  bool PubMsg(const PlayRoutes::Route& route, std::uint64_t time);
  bool PubStep(const PlayRoutes::Route& route, std::uint64_t time);
  bool DoPubMsg(const PlayRoutes::Route& route, std::uint64_t time);
  bool IsPauseEvent(const PlayRoutes::Route& route) const;
  void WaitForFlush();
  /// False: stopped before.
  bool Sleep(SteadyNs length);
  void Print(PlayerPrintType type, const PlayerEchoInfo& info = {});
  void PrintState();

  const PlayerOptions options_;
  const std::unique_ptr<PlayerTime> time_;
  PlayControl control_;
  MessagePacer pacer_;
  PrintCallback printCallback_;
  std::mutex printMutex_;  // held during the callback

  std::list<QorBagFile> bags_;
  std::string unreadableFile_;
  std::unique_ptr<com::NodeHandle> node_;
  std::unique_ptr<PlayRoutes> routes_;  // after node_: goes first
  MessagePreparer preparer_;
  bool isPauseWanted_;  ///< from the first message on
  bool isReadFailureTold_ = false;

  std::atomic<double> totalSeconds_{0.0};
  std::atomic<std::uint64_t> published_{0};
  std::atomic<std::uint64_t> failed_{0};
  std::atomic<int> clockError_{0};
  std::atomic<bool> isFlushed_{true};
};

}  // namespace qor::qorbag

#endif
