// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COM_DEPLOYMENT_H
#define QOR_COM_DEPLOYMENT_H

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "src/common/records/event_info.h"
#include "src/common/records/field_info.h"
#include "src/common/records/method_info.h"
#include "src/common/records/service_info.h"

/// The deployment folder: JSON files that say which data types, events, methods, fields and services exist and how they
/// are bound. Read by daemons and applications. The schema stands in docs/deployment.md.
namespace qor::com {

/// One fault in one file: what it says, and where.
struct DeploymentFault {
  std::string file;
  std::size_t line = 0;  ///< from 1; 0: the file as a whole
  std::string key;       ///< JSON pointer of the value, such as "/events/3/dds/domainId"
  std::string message;   ///< what was expected
};

/// What a deployment folder holds. A plain value.
struct Deployment {
  std::map<std::string, std::string> types;  ///< short name -> definition as JSON text
  std::vector<maintaind::ServiceRegisterInfo> services;
  std::vector<maintaind::EventRegisterInfo> events;
  std::vector<maintaind::MethodRegisterInfo> methods;
  std::vector<maintaind::FieldRegisterInfo> fields;
  std::vector<DeploymentFault> faults;
};

/// Reads `<directory>/types/*.json` and `<directory>/services/*.json` in name order. A bad entry becomes a fault and
/// the rest still loads; a name that is defined twice keeps its first definition.
Deployment LoadDeployment(const std::string& directory);

/// The line for a person: "<file>:<line>: <key>: <message>", without the line or the key when the fault has none.
std::string FaultText(const DeploymentFault& fault);

/// QOR_DEPLOYMENT_DIR, else /etc/qor/deployment when it exists, else empty: no deployment.
std::string DeploymentDirectory();

}  // namespace qor::com

#endif
