// UTF-8 <-> UTF-16 as the platform converts it (code page 65001), with fast paths for runs of
// well-formed text.
#pragma once

#include "text/convert.h"

#include <cstddef>

namespace bvplatform::text {

/// Decodes `length` bytes of UTF-8 into `dst` (`capacity` units; capacity 0 only counts).
/// A bad sequence becomes one U+FFFD: a lead byte that announces more bytes than remain takes
/// the rest of the input with it; otherwise the sequence ends before the first byte that does
/// not continue it, except that a second byte giving an overlong form, a surrogate or a value
/// above U+10FFFF is taken along. With `strict`, a bad sequence fails the call instead
/// (ERROR_NO_UNICODE_TRANSLATION). When the destination fills up in the middle of a surrogate
/// pair, the high half is kept and the call only fails if input remains.
[[nodiscard]] Outcome Utf8ToUtf16(const char* src, std::size_t length, char16_t* dst,
                                  std::size_t capacity, bool strict);

/// Encodes `length` units of UTF-16 as UTF-8 into `dst` (`capacity` bytes; capacity 0 only
/// counts). A lone surrogate becomes EF BF BD, or fails the call with `strict`
/// (ERROR_NO_UNICODE_TRANSLATION). A character is never split over the end of the destination.
[[nodiscard]] Outcome Utf16ToUtf8(const char16_t* src, std::size_t length, char* dst,
                                  std::size_t capacity, bool strict);

} // namespace bvplatform::text
