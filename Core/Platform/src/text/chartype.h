// The platform's per-unit character tables: the runtime's class bits and the case mapping of
// CharUpperW and CharLowerW. Built once from ICU's character properties, then read-only.
#pragma once

namespace bvplatform::text {

/// The runtime's class bits (_UPPER, _LOWER, ... of bvplatform/crt.h) of a unit.
[[nodiscard]] int RuntimeCharType(char16_t unit);

/// The unit's upper-case form by the platform's table: a unit maps only where the mapping
/// goes both ways (U+00FF and U+0178 do, U+0131 to "I" doesn't), else it stays.
[[nodiscard]] char16_t PlatformUpper(char16_t unit);

/// The unit's lower-case form by the platform's table, on the same rule.
[[nodiscard]] char16_t PlatformLower(char16_t unit);

/// The whole upper-case table (PlatformUpper of each unit), for loops over long texts.
[[nodiscard]] const char16_t* PlatformUpperTable();

/// The whole lower-case table (PlatformLower of each unit).
[[nodiscard]] const char16_t* PlatformLowerTable();

} // namespace bvplatform::text
