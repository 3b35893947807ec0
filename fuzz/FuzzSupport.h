// Helpers shared by the fuzz targets.
#pragma once

#include "Core/Common/Types.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace bvfuzz {

/// Stops the run with a crash the fuzzer reports when an expectation fails.
inline void Check(bool condition) {
    if (!condition) {
        std::abort();
    }
}

/// The input as 16-bit units in the machine's order; an odd last byte is dropped.
inline TStr UnitsOf(const std::uint8_t* data, std::size_t size) {
    TStr text(size / 2, u'\0');
    if (!text.empty()) {
        std::memcpy(text.data(), data, text.size() * sizeof(char16_t));
    }
    return text;
}

} // namespace bvfuzz
