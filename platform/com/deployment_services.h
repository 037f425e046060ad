// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COM_DEPLOYMENT_SERVICES_H
#define QOR_COM_DEPLOYMENT_SERVICES_H

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "platform/com/deployment.h"
#include "platform/com/deployment_reader.h"
#include "platform/com/deployment_types.h"

namespace qor::com {

/// The names that the files so far defined, and the file of each; one name and uuid means one entity of a family.
struct DefinedNames {
  using Names = std::map<std::pair<std::string, std::string>, std::string>;
  Names services;
  Names events;
  Names methods;
  Names fields;
};

/// Reads `{"services": [...]}` of one file into `result`. The types that the entities name go to `mentions`.
void ReadServices(const DeploymentReader::Json& root, const std::string& file, DeploymentFaults& faults,
                  DefinedNames& names, std::vector<TypeMention>& mentions, Deployment& result);

}  // namespace qor::com

#endif
