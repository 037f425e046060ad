// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_PLAYER_OPTIONS_H
#define QOR_QORBAG_PLAYER_OPTIONS_H

#include <cstdint>
#include <limits>
#include <map>
#include <string>
#include <vector>

namespace qor::qorbag {

/// How bags are played. First the bounds that the values are held against, which the tool may change, then the values.
struct PlayerOptions {
  std::uint32_t maxQueueSize = 100'000;  ///< samples
  double maxFrequency = 1'000'000.0;     ///< Hz
  double maxRate = 1000.0;
  double minRate = 0.001;
  double maxDelayTime = 1'000'000'000.0;  ///< seconds
  double maxStartTime = 1'000'000'000.0;  ///< seconds
  double maxDuration = 1'000'000'000.0;   ///< seconds
  std::uint16_t maxDomainId = 63;         ///< the largest DDS domain
  std::uint16_t everyDomainId = 1000;     ///< as `domainId`: each event in the domain that it was recorded in

  bool quiet = false;           ///< messages that were published are not reported
  bool immediate = false;       ///< publish one message after the other, whatever their times
  bool pause = false;           ///< begin paused
  std::uint32_t queueSize = 0;  ///< samples that a publisher keeps; 0: as recorded
  double frequency = 0.0;       ///< Hz, of all messages together, instead of their times; 0: by their times
  double rate = 1.0;            ///< 2: twice as fast
  double delayTime = 0.0;       ///< seconds before the first message
  double startTime = 0.0;       ///< seconds of the bag that are left out
  double duration = 0.0;        ///< seconds of the bag; 0: to its end
  double skipEmpty = std::numeric_limits<double>::max();  ///< seconds; a longer silence is left out
  bool loop = false;                                      ///< begin again at the end, until stopped
  bool adjustClock = false;       ///< set the system's clock to the time of the first message; needs the right to
  std::uint32_t changeMode = 0;   ///< 0, 2: as recorded; 1, 3: mbuf chains are published as plain samples
  std::string port;               ///< "[30000,30100]": ports for SOME/IP services when the recorded ones are taken
  std::string someipNet;          ///< name of the network of SOME/IP publishers; empty: as recorded
  std::string ddsNet;             ///< address of the network of DDS publishers; empty: as recorded
  std::uint16_t domainId = 1000;  ///< DDS domain; `everyDomainId`: as recorded
  std::string ip;                 ///< local address of all publishers; empty: as recorded
  bool accessControl = false;     ///< publishing on the DDS topics needs a right

  std::vector<std::string> files;                   ///< the bags; one that was not closed ends in ".active"
  std::vector<std::string> eventNames;              ///< only these, names and patterns with * and ?; empty: all
  std::vector<std::string> excluded;                ///< the same of events that are left out
  std::map<std::string, std::string> eventRenames;  ///< recorded name -> name under which it is played
  std::string traceEvent;                           ///< pause whenever it is this event's turn; empty: no tracing
};

}  // namespace qor::qorbag

#endif
