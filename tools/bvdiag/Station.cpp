#include "Station.h"

#include <bvplatform/base.h>

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace bvdiag {

std::string EnsurePrefix() {
    return BvEnsurePrefix();
}

bool TakeViewerLock(const std::string& prefix) {
    const std::string path = prefix + "/bvdiag.lock";
    const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0) {
        return false;
    }
    if (flock(fd, LOCK_EX | LOCK_NB) != 0) {
        close(fd);
        return false;
    }
    return true; // the descriptor stays open: the kernel drops the lock when the viewer ends
}

bool StdoutIsNull() {
    struct stat out {};
    struct stat null {};
    return fstat(STDOUT_FILENO, &out) == 0 && stat("/dev/null", &null) == 0 &&
           S_ISCHR(out.st_mode) && out.st_rdev == null.st_rdev;
}

} // namespace bvdiag
