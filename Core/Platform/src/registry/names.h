// Key and value names: splitting a sub-key text into levels and the folded form under which
// names compare and sort.
#pragma once

#include <bvplatform/types.h>

#include <string>
#include <string_view>
#include <vector>

namespace bvplatform::detail {

constexpr std::size_t kMaxKeyNameUnits = 255;     // longest level of a key path
constexpr std::size_t kMaxValueNameUnits = 16383; // longest value name

/// Each unit upper-cased on its own, as the platform compares registry names.
[[nodiscard]] std::u16string FoldName(std::u16string_view name);

/// The levels of a sub-key text (null or empty: none; empty levels are skipped). Returns 0,
/// ERROR_BAD_PATHNAME (leading backslash) or ERROR_INVALID_PARAMETER (a level over 255 units).
[[nodiscard]] LONG SplitKeyPath(LPCWSTR text, std::vector<std::u16string>& levels);

} // namespace bvplatform::detail
