// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COM_APPLICATION_NAME_H
#define QOR_COM_APPLICATION_NAME_H

#include <string>

namespace qor::com {

/// The name under which this process is registered: QOR_APP_NAME, else the file name of its program.
std::string ApplicationName();

}  // namespace qor::com

#endif
