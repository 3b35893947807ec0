// Conversion through the tables of the single- and double-byte code pages.
#pragma once

#include "text/convert.h"
#include "text/tables.h"

#include <cstddef>

namespace bvplatform::text {

/// Narrow text of a table code page to UTF-16, honouring MB_ERR_INVALID_CHARS (fails with
/// ERROR_NO_UNICODE_TRANSLATION), MB_USEGLYPHCHARS and MB_COMPOSITE. A lead byte at the end of
/// the input or before a zero byte decodes on its own to the default unit; a lead byte before
/// any other byte takes that byte along, defined pair or not.
[[nodiscard]] Outcome DecodeWithTable(const CodePageTable& table, DWORD flags, const char* src,
                                      std::size_t length, Sink<char16_t>& out);

/// UTF-16 to narrow text of a table code page, honouring WC_NO_BEST_FIT_CHARS and
/// WC_COMPOSITECHECK (with WC_DISCARDNS, WC_DEFAULTCHAR or WC_SEPCHARS). Units without a
/// mapping become `defaultChar` (in a double-byte code page a lead byte and its trail count as
/// one character), or '?' when it is null. A double-byte character is never split over the
/// end of the destination.
[[nodiscard]] Outcome EncodeWithTable(const CodePageTable& table, DWORD flags, const char16_t* src,
                                      std::size_t length, const char* defaultChar, Sink<char>& out);

} // namespace bvplatform::text
