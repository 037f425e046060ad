// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DATATYPE_TEXT_ENCODING_H
#define QOR_DATATYPE_TEXT_ENCODING_H

#include <cstddef>
#include <string>
#include <string_view>

#include "src/common/records/serialization_node.h"

/// The encodings of SOME/IP strings. Any thread.
namespace qor::datatype {

/// The byte-order mark of an encoding.
std::string_view ByteOrderMark(maintaind::StringEncoding encoding);

/// Bytes of one code unit: 1 or 2.
std::size_t UnitSize(maintaind::StringEncoding encoding);

/// Offset of the first terminating zero; npos: none.
std::size_t FindTerminator(std::string_view bytes, maintaind::StringEncoding encoding);

/// The text in UTF-8: `bytes` themselves when they are, otherwise `scratch`, where a surrogate without its partner, or
/// an odd byte at the end, is U+FFFD.
std::string_view ToUtf8(std::string_view bytes, maintaind::StringEncoding encoding, std::string& scratch);

}  // namespace qor::datatype

#endif
