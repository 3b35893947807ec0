// Number texts for the library's own messages and renderings (ASCII digits as TStr).
#pragma once

#include "Core/Common/Types.h"

#include <charconv>
#include <cstdint>

namespace core::detail {

/// Decimal digits with a leading '-' for negatives.
[[nodiscard]] inline TStr DecimalText(std::int64_t value) {
    char buffer[24];
    char* end = std::to_chars(buffer, buffer + sizeof buffer, value).ptr;
    return TStr(buffer, end);
}

/// Lower-case hexadecimal digits of an unsigned 32-bit value, filled with zeros to `width`.
[[nodiscard]] inline TStr HexText(std::uint32_t value, std::size_t width = 0) {
    char buffer[8];
    char* end = std::to_chars(buffer, buffer + sizeof buffer, value, 16).ptr;
    const auto digits = static_cast<std::size_t>(end - buffer);
    TStr text(width > digits ? width - digits : 0, u'0');
    text.append(buffer, end);
    return text;
}

} // namespace core::detail
