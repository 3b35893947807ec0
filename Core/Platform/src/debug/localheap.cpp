// The local heap: LocalAlloc and LocalFree over the C heap (fixed blocks only).
#include <bvplatform/base.h>
#include <bvplatform/debug.h>
#include <bvplatform/winerror.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace {

// A zeroed or plain block of at least one byte; null when the C heap has none or the size is
// beyond any object (the C heap is not even asked then).
void* HeapBlock(UINT flags, SIZE_T bytes) {
    if (bytes > static_cast<SIZE_T>(PTRDIFF_MAX)) {
        return nullptr;
    }
    // A block of 0 bytes is still a distinct block, as on the platform.
    const SIZE_T size = bytes == 0 ? 1 : bytes;
    return (flags & LMEM_ZEROINIT) != 0 ? std::calloc(1, size) : std::malloc(size);
}

} // namespace

HLOCAL LocalAlloc(UINT uFlags, SIZE_T uBytes) {
    void* block = HeapBlock(uFlags, uBytes);
    if (block == nullptr) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    }
    return block;
}

HLOCAL LocalFree(HLOCAL hMem) {
    std::free(hMem);
    return nullptr;
}
