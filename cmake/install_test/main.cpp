// SPDX-License-Identifier: Apache-2.0
#include "platform/com/deployment.h"
#include "platform/com/node_handle.h"
#include "src/common/qor_common.h"

int main(int argc, char** argv) {
  const qor::com::Deployment deployment = qor::com::LoadDeployment(argc > 1 ? argv[1] : "");
  const bool isToolsLibraryThere = qor::QorCommon::GetInstance().InitializeNode("/install", "test") != nullptr;
  return isToolsLibraryThere && deployment.faults.empty() && !deployment.events.empty() ? 0 : 1;
}
