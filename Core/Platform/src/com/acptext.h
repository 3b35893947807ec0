// Narrow text of the active code page widened to UTF-16, for the stand-in's own callers (_bstr_t,
// narrow message inserts). Goes through MultiByteToWideChar so there is one conversion.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace bvplatform::detail {

/// The UTF-16 text of `text` in the active code page; nullopt if the conversion fails.
[[nodiscard]] std::optional<std::u16string> WidenActiveCodePage(std::string_view text);

} // namespace bvplatform::detail
