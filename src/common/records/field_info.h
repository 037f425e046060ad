// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COMMON_RECORDS_FIELD_INFO_H
#define QOR_COMMON_RECORDS_FIELD_INFO_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "src/common/records/binding.h"
#include "src/common/records/event_info.h"
#include "src/common/records/method_info.h"
#include "src/common/records/serialize_config.h"
#include "src/common/records/visit.h"

namespace qor::maintaind {

/// How the changes of a field are announced over DDS.
struct DDSNotifyInfo {
  DDSEventInfo event;

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("event", s.event...);
  }
};

/// How a field is read and written over DDS.
struct DDSSetGetInfo {
  DDSMethodInfo getter;
  DDSMethodInfo setter;

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("getter", s.getter...);
    visit("setter", s.setter...);
  }
};

struct DDSFieldInfo {
  DDSNotifyInfo notify;
  DDSSetGetInfo setGet;

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("notify", s.notify...);
    visit("setGet", s.setGet...);
  }
};

/// How the changes of a field are announced over SOME/IP.
struct SomeipNotifyInfo {
  SomeipEventInfo event;

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("event", s.event...);
  }
};

/// How a field is read and written over SOME/IP.
struct SomeipSetGetInfo {
  SomeipMethodInfo getter;
  SomeipMethodInfo setter;

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("getter", s.getter...);
    visit("setter", s.setter...);
  }
};

struct SomeipFieldInfo {
  SomeipNotifyInfo notify;
  SomeipSetGetInfo setGet;

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("notify", s.notify...);
    visit("setGet", s.setGet...);
  }
};

struct FieldInfo {
  bool hasNotifier = false;
  bool hasSetter = false;
  bool hasGetter = false;
  DDSFieldInfo dds;
  SomeipFieldInfo someip;

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("hasNotifier", s.hasNotifier...);
    visit("hasSetter", s.hasSetter...);
    visit("hasGetter", s.hasGetter...);
    visit("dds", s.dds...);
    visit("someip", s.someip...);
  }
};

/// What an application registered for one field.
struct FieldRegisterInfo {
  std::string fieldName;
  std::string applicationName;
  std::map<DriverType, FieldInfo> bindings;
  std::string dataTypeName;
  std::string nodeName;
  std::uint16_t maintaindInstance = 0;
  SerializeConfig serializeConfig;
  std::string hostDomainName;
  std::string uuid;
  std::string resource;

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("fieldName", s.fieldName...);
    visit("applicationName", s.applicationName...);
    visit("bindings", s.bindings...);
    visit("dataTypeName", s.dataTypeName...);
    visit("nodeName", s.nodeName...);
    visit("maintaindInstance", s.maintaindInstance...);
    visit("serializeConfig", s.serializeConfig...);
    visit("hostDomainName", s.hostDomainName...);
    visit("uuid", s.uuid...);
    visit("resource", s.resource...);
  }
};

/// The unit that a daemon returns for fields.
struct FieldInfoWithPubSub : FieldRegisterInfo {
  std::vector<std::string> clients;  ///< node names
  std::string server;                ///< node name; empty: no server is known
  bool isServerOnline = false;
  std::string instanceShortName;

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    FieldRegisterInfo::Visit(visit, s...);
    visit("clients", s.clients...);
    visit("server", s.server...);
    visit("isServerOnline", s.isServerOnline...);
    visit("instanceShortName", s.instanceShortName...);
  }
};

}  // namespace qor::maintaind

#endif
