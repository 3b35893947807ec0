// Expansion of a message definition as FormatMessageW does it: escapes, inserts and the line
// width rule of the flags' low byte.
#pragma once

#include <bvplatform/types.h>

#include <cstdarg>
#include <string>
#include <string_view>

namespace bvplatform::detail {

/// Expands `definition` into `out` under the FORMAT_MESSAGE_* `flags` (IGNORE_INSERTS,
/// ARGUMENT_ARRAY and the width byte are looked at). `arguments` is a va_list, or an array of
/// DWORD_PTR under ARGUMENT_ARRAY; it may be null when no insert is expanded.
/// Returns ERROR_SUCCESS, or ERROR_INVALID_PARAMETER for an insert without arguments, a '%' that
/// ends the text or an insert format the platform doesn't know.
[[nodiscard]] DWORD ExpandMessage(std::u16string_view definition, DWORD flags, va_list* arguments,
                                  std::u16string& out);

} // namespace bvplatform::detail
