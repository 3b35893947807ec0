// The messages between processes on a window's socket. A sender writes one request (the header,
// then `bytes` bytes of copy data) and reads one reply; requests on a connection never overlap.
// Both ends run on the same machine, so numbers travel in the host's order.
#pragma once

#include <bvplatform/types.h>
#include <bvplatform/windows.h>

#include <cstddef>
#include <cstdint>
#include <sys/un.h>

namespace bvplatform::detail {

constexpr std::uint32_t kRequestMagic = 0x314d5642; // "BVM1"
constexpr std::uint32_t kReplyMagic = 0x31525642;   // "BVR1"
constexpr std::uint32_t kMaxCopyData = 64u << 20;   // larger copy data is refused

struct WireRequest {
    std::uint32_t magic = kRequestMagic;
    std::uint32_t message = 0; // the message number
    std::uint64_t wParam = 0;  // as sent
    std::uint64_t lParam = 0;  // as sent; WM_COPYDATA: the record's data word
    std::uint32_t bytes = 0;   // WM_COPYDATA: the record's byte count, which follow
    std::uint32_t reserved = 0;
};

struct WireReply {
    std::int64_t result = 0; // the procedure's result
    std::uint32_t error = 0; // ERROR_SUCCESS, or why the procedure did not run
    std::uint32_t magic = kReplyMagic;
};

/// True for the messages that may go to another process: WM_COPYDATA (its data is copied),
/// WM_NULL, WM_CLOSE, and WM_USER and above (their parameters go as plain numbers).
[[nodiscard]] inline bool CrossesProcesses(UINT message) {
    return message == WM_COPYDATA || message == WM_NULL || message == WM_CLOSE ||
           message >= WM_USER;
}

/// Writes a header and its data whole, without SIGPIPE. False when the peer is gone.
bool SendWhole(int fd, const void* header, std::size_t headerSize, const void* data,
               std::size_t dataSize);

/// Reads exactly `size` bytes. False at end of stream or on an error.
bool ReceiveWhole(int fd, void* buffer, std::size_t size);

/// The peer's process id when its user is ours; 0 for another user or on failure.
DWORD TrustedPeer(int fd);

class StationDir;

/// A new stream socket and, in `address`, the address of the window's socket in the station;
/// -1 when the address does not fit or no socket can be made.
int WindowSocket(const StationDir& station, HWND handle, sockaddr_un& address);

} // namespace bvplatform::detail
