// SPDX-License-Identifier: Apache-2.0
#include <cstdio>

#include "platform/com/deployment.h"

int main(int argc, char** argv) {
  const qor::com::Deployment deployment = qor::com::LoadDeployment(argc > 1 ? argv[1] : "");
  for (const qor::com::DeploymentFault& fault : deployment.faults) {
    std::puts(qor::com::FaultText(fault).c_str());
  }
  return deployment.faults.empty() && deployment.events.size() == 6 ? 0 : 1;
}
