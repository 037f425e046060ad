// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COM_DEPLOYMENT_CHECKS_H
#define QOR_COM_DEPLOYMENT_CHECKS_H

#include "platform/com/deployment_bindings.h"
#include "platform/com/deployment_reader.h"

/// What the protocols demand of a binding beyond the types of its values. `reader` stands on the binding's object and
/// takes the errors.
namespace qor::com {

void CheckBinding(DeploymentReader& reader, const maintaind::DDSEventInfo& info);
void CheckBinding(DeploymentReader& reader, const maintaind::SomeipEventInfo& info);
void CheckBinding(DeploymentReader& reader, const maintaind::DDSMethodInfo& info);
void CheckBinding(DeploymentReader& reader, const maintaind::SomeipMethodInfo& info);

/// `service` stands on the service that has the binding.
void CheckServiceBinding(DeploymentReader& service, const DdsServiceBinding& binding);
void CheckServiceBinding(DeploymentReader& service, const SomeipServiceBinding& binding);

}  // namespace qor::com

#endif
