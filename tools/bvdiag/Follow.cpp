#include "Follow.h"

#include <chrono>
#include <fcntl.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace bvdiag {
namespace {

constexpr std::chrono::milliseconds kPoll{100};

// True when the file at `path` is no longer the one open at `fd` (rotated away).
bool Replaced(const std::string& path, int fd) {
    struct stat named {};
    struct stat open {};
    return stat(path.c_str(), &named) == 0 && fstat(fd, &open) == 0 &&
           (named.st_ino != open.st_ino || named.st_dev != open.st_dev);
}

// Copies everything that can be read now.
void Drain(int fd, std::FILE* out) {
    char buffer[65536];
    ssize_t n = 0;
    while (fd >= 0 && (n = read(fd, buffer, sizeof buffer)) > 0) {
        std::fwrite(buffer, 1, static_cast<std::size_t>(n), out);
    }
    std::fflush(out);
}

} // namespace

int FollowLog(const std::string& path, HWND viewer, std::FILE* out) {
    int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd >= 0) {
        lseek(fd, 0, SEEK_END);
    }
    std::fprintf(stderr, "bvdiag: another viewer runs here; following %s\n", path.c_str());
    while (IsWindow(viewer)) {
        Drain(fd, out);
        if (fd < 0 || Replaced(path, fd)) {
            Drain(fd, out); // the rest of the rotated file
            if (fd >= 0) {
                close(fd);
            }
            fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        }
        std::this_thread::sleep_for(kPoll);
    }
    if (fd >= 0) {
        close(fd);
    }
    return 0;
}

} // namespace bvdiag
