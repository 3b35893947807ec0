// The conversion calls' side of the test hooks in bvplatform/testing.h.
#pragma once

#include <bvplatform/types.h>

#include <optional>

namespace bvplatform::text {

/// Counts one MultiByteToWideChar or WideCharToMultiByte call on the calling thread and returns
/// the error a ConversionFault planned for it, if any.
[[nodiscard]] std::optional<DWORD> CountConversionCall();

} // namespace bvplatform::text
