// Test seam of the CRC-32: the portable path can be forced on machines with carry-less multiply.
#pragma once

namespace core::detail {

/// While true, mfCrc32 takes the portable slicing-by-8 path whatever the processor offers.
void SetCrc32ForceFallback(bool force);

} // namespace core::detail
