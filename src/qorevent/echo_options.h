// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QOREVENT_ECHO_OPTIONS_H
#define QOR_QOREVENT_ECHO_OPTIONS_H

#include <chrono>
#include <cstdint>
#include <span>
#include <string>

#include "src/datatype/qor_deserializer.h"

namespace qor::qorevent {

/// Which event is echoed, and how it is received.
struct EchoOptions {
  std::string ddsNetwork;         ///< IPv4 address of the interface for DDS; empty: where the event says
  std::string someipNetwork;      ///< name of the SOME/IP network; empty: where the event says
  std::string networkIp;          ///< of the event, IPv4 or IPv6; empty: any
  std::string uuid;               ///< of the event, decimal; empty: any
  std::string instanceShortName;  ///< of the event; empty: what the name has in brackets, or any
  std::uint16_t domainId = 0;
  bool isAnyDomain = true;     ///< events of every DDS domain are meant, and `domainId` is not looked at
  std::uint32_t count = 1000;  ///< samples that the transport keeps while others are printed
};

/// How samples are printed.
struct EchoRendering {
  QorDeserializer::FormatType format = QorDeserializer::FormatType::kOneLine;
  bool isJson = false;                        ///< the value as JSON, without the event's name
  bool isRaw = false;                         ///< nothing is printed: the bytes alone are wanted
  std::string fieldPath;                      ///< only this part of the value; empty: all
  datatype::TextFilter textFilter = nullptr;  ///< see QorDeserializer::SetTextFilter
};

/// One received sample. The texts and views end with the callback, which may take the texts over.
struct SampleInfo {
  std::string eventName;  ///< as it was given to Echo
  std::string text;       ///< the payload; empty without a type definition
  std::string e2eStatus;  ///< name of the check's status; empty when the event is not protected
  QorDeserializer::DeserializationRetCode retCode = QorDeserializer::DeserializationRetCode::kSuccess;
  std::string retInfo;  ///< why the text is not whole; empty when it is
  std::chrono::system_clock::time_point receivedAt;
  std::span<const std::uint8_t> payload;  ///< as far as it is printed
};

}  // namespace qor::qorevent

#endif
