// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_QOR_BUFFER_H
#define QOR_QORBAG_QOR_BUFFER_H

#include "platform/com/byte_buffer.h"

namespace qor::qorbag {

/// Payloads and what bags are made of. The same as the platform's, so that what was received can be kept without a
/// copy.
using QorBuffer = com::ByteBuffer;

}  // namespace qor::qorbag

#endif
