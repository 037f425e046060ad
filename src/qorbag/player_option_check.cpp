// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/player_option_check.h"

#include "src/qorbag/player_log.h"

namespace qor::qorbag {
namespace {

constexpr std::uint32_t kChangeModes = 4;

}  // namespace

bool CheckThePlayerOptions(const PlayerOptions& options) {
  bool isGood = true;
  // A value that is no number is in no range.
  const auto expect = [&isGood](bool isInRange, const char* text) {
    if (!isInRange) {
      kPlayerLog.Error() << text;
      isGood = false;
    }
  };
  const auto isWithin = [](double value, double least, double largest) { return value >= least && value <= largest; };
  expect(options.queueSize <= options.maxQueueSize, "Qorplayer PlayerOptions.queueSize is error!");
  expect(isWithin(options.frequency, 0, options.maxFrequency), "Qorplayer PlayerOptions.frequency is error!");
  expect(isWithin(options.rate, options.minRate, options.maxRate), "Qorplayer PlayerOptions.rate is error!");
  expect(isWithin(options.delayTime, 0, options.maxDelayTime), "Qorplayer PlayerOptions.delayTime is error!");
  expect(isWithin(options.startTime, 0, options.maxStartTime), "Qorplayer PlayerOptions.startTime is error!");
  expect(isWithin(options.duration, 0, options.maxDuration), "Qorplayer PlayerOptions.duration is error!");
  expect(options.skipEmpty >= 0, "Qorplayer PlayerOptions.skipEmpty is error!");
  expect(options.changeMode < kChangeModes, "Qorplayer PlayerOptions.changeMode is error!");
  expect(options.domainId <= options.maxDomainId || options.domainId == options.everyDomainId,
         "Qorplayer PlayerOptions.domainId is error!");
  if (!isGood) {
    kPlayerLog.Error() << "Qorplayer the PlayerOptions is error!";
  }
  return isGood;
}

void ShowThePlayerOptions(const PlayerOptions& options) {
  kPlayerLog.Info() << "---------------PlayerOptions----------------";
  kPlayerLog.Info() << "quiet       :" << options.quiet;
  kPlayerLog.Info() << "immediate   :" << options.immediate;
  kPlayerLog.Info() << "pause       :" << options.pause;
  kPlayerLog.Info() << "queueSize   :" << options.queueSize;
  kPlayerLog.Info() << "frequency   :" << options.frequency;
  kPlayerLog.Info() << "rate        :" << options.rate;
  kPlayerLog.Info() << "delayTime   :" << options.delayTime;
  kPlayerLog.Info() << "startTime   :" << options.startTime;
  kPlayerLog.Info() << "duration    :" << options.duration;
  kPlayerLog.Info() << "loop        :" << options.loop;
  kPlayerLog.Info() << "adjustClock :" << options.adjustClock;
  kPlayerLog.Info() << "changeMode  :" << options.changeMode;
  kPlayerLog.Info() << "port        :" << options.port;
  kPlayerLog.Info() << "someipNet   :" << options.someipNet;
  kPlayerLog.Info() << "ddsNet      :" << options.ddsNet;
  kPlayerLog.Info() << "domainId    :" << options.domainId;
  kPlayerLog.Info() << "ip          :" << options.ip;
  kPlayerLog.Info() << "accessControl    :" << options.accessControl;
  kPlayerLog.Info() << "--------------------------------------------";
}

bool IsPublishingPlain(const PlayerOptions& options) { return options.changeMode == 1 || options.changeMode == 3; }

}  // namespace qor::qorbag
