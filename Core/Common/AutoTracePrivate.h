// The number form of the trace lines, reachable by the library's own tests.
#pragma once

#include "Core/Common/Types.h"

namespace core::detail {

/// Seconds in fixed notation with exactly 3 decimals, rounded to nearest ("12.345").
[[nodiscard]] TStr SecondsText(double seconds);

} // namespace core::detail
