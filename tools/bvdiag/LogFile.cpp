#include "LogFile.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace bvdiag {

LogFile::~LogFile() {
    if (m_fd >= 0) {
        close(m_fd);
    }
}

bool LogFile::Open() {
    const int fd =
        open(m_path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0) {
        return false;
    }
    struct stat info {};
    fchmod(fd, 0600); // a file left by an older viewer with looser rights is tightened
    fstat(fd, &info);
    m_fd = fd;
    m_size = static_cast<std::uint64_t>(info.st_size);
    return true;
}

void LogFile::Rotate() {
    close(m_fd);
    m_fd = -1;
    std::rename(m_path.c_str(), (m_path + ".1").c_str());
    Open();
}

void LogFile::Write(const std::string& text) {
    if (m_fd >= 0 && m_size >= m_limit) {
        Rotate();
    }
    if (m_fd < 0) {
        return;
    }
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t n = write(m_fd, text.data() + done, text.size() - done);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            return;
        }
        done += static_cast<std::size_t>(n);
    }
    m_size += done;
}

} // namespace bvdiag
