// Whole reads and writes on window sockets.
#include "windows/wire.h"

#include "windows/record.h"
#include "windows/stationdir.h"

#include <cerrno>
#include <cstring>
#include <string>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

namespace bvplatform::detail {

bool SendWhole(int fd, const void* header, std::size_t headerSize, const void* data,
               std::size_t dataSize) {
    iovec parts[2] = {{const_cast<void*>(header), headerSize}, {const_cast<void*>(data), dataSize}};
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = dataSize == 0 ? 1 : 2;
    while (message.msg_iovlen > 0) {
        const ssize_t sent = sendmsg(fd, &message, MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) {
            continue;
        }
        if (sent <= 0) {
            return false;
        }
        // Step past what went out.
        auto left = static_cast<std::size_t>(sent);
        while (message.msg_iovlen > 0 && left >= message.msg_iov->iov_len) {
            left -= message.msg_iov->iov_len;
            ++message.msg_iov;
            --message.msg_iovlen;
        }
        if (message.msg_iovlen > 0) {
            message.msg_iov->iov_base = static_cast<char*>(message.msg_iov->iov_base) + left;
            message.msg_iov->iov_len -= left;
        }
    }
    return true;
}

bool ReceiveWhole(int fd, void* buffer, std::size_t size) {
    auto* at = static_cast<char*>(buffer);
    while (size > 0) {
        const ssize_t got = recv(fd, at, size, 0);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            return false;
        }
        at += got;
        size -= static_cast<std::size_t>(got);
    }
    return true;
}

DWORD TrustedPeer(int fd) {
    ucred peer{};
    socklen_t size = sizeof peer;
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0 || peer.uid != geteuid()) {
        return 0;
    }
    return static_cast<DWORD>(peer.pid);
}

int WindowSocket(const StationDir& station, HWND handle, sockaddr_un& address) {
    address = sockaddr_un{};
    address.sun_family = AF_UNIX;
    const std::string path = station.Inside(SocketName(handle));
    if (path.size() >= sizeof address.sun_path) {
        return -1;
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
}

} // namespace bvplatform::detail
