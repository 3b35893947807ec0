// UTF-7 <-> UTF-16 as the platform converts it (code page 65000).
#pragma once

#include "text/convert.h"

#include <cstddef>

namespace bvplatform::text {

/// Decodes UTF-7. Bytes outside a '+' block stand for themselves (bytes above 0x7F too); "+-"
/// is '+'. A block ends at '-' (taken) or at any byte that is no base64 digit (kept as a
/// character); leftover bits are dropped, except after a byte above 0x7F, when the next block
/// goes on filling them.
[[nodiscard]] Outcome Utf7ToUtf16(const char* src, std::size_t length, Sink<char16_t>& out);

/// Encodes UTF-7: the directly encodable characters as themselves, '+' as "+-", every other
/// unit in a base64 block that always ends with '-'. Each byte is written as soon as it is
/// known, except that a block's last padded digit and its '-' go out together.
[[nodiscard]] Outcome Utf16ToUtf7(const char16_t* src, std::size_t length, Sink<char>& out);

} // namespace bvplatform::text
