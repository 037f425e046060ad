// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/com/deployment_faults.h"
#include "platform/com/deployment_services.h"
#include "platform/com/deployment_types.h"
#include "platform/com/json_locator.h"
#include "tests/fuzz/require.h"

namespace qor::com {
namespace {

/// A text that cannot be read says why, and every fault of one that can stands on a line of it.
void Check(const std::string& text) {
  JsonLocator locator(text);
  const bool isParsed = locator.Parse();
  Require(isParsed || !locator.Problems().empty());
  DeploymentFaults faults;
  Deployment deployment;
  if (isParsed) {
    DefinedNames names;
    std::vector<TypeMention> mentions;
    ReadServices(locator.Root(), "file", faults, names, mentions, deployment);
    CheckTypeDefinition(locator.Root(), "", faults, mentions);
    for (const TypeMention& mention : mentions) {
      faults.Notice(mention.pointer, mention.name);
    }
  }
  faults.Finish("file", locator, deployment.faults);
  for (const DeploymentFault& fault : deployment.faults) {
    const bool isCount = deployment.faults.size() > DeploymentFaults::kMaxFaults && fault.key.empty();
    Require(fault.line != 0 || isCount);
  }
}

}  // namespace
}  // namespace qor::com

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  qor::com::Check(std::string(reinterpret_cast<const char*>(data), size));
  return 0;
}
