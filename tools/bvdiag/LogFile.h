// The viewer's own log in the prefix: private to the user (0600), appended, and renamed to
// "<path>.1" once it reaches its size limit so that it never grows without bound.
#pragma once

#include <cstdint>
#include <string>

namespace bvdiag {

class LogFile {
public:
    LogFile(std::string path, std::uint64_t limit) : m_path(std::move(path)), m_limit(limit) {}
    ~LogFile();
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

    /// Opens (creating) the file; false with errno set when it cannot.
    bool Open();
    /// Appends `text`, rotating first when the file is full. Best effort: a failed write is
    /// lost, the viewer goes on.
    void Write(const std::string& text);

    [[nodiscard]] const std::string& Path() const { return m_path; }

private:
    void Rotate();

    std::string m_path;       // the live file
    std::uint64_t m_limit;    // bytes at which it is renamed to "<path>.1"
    std::uint64_t m_size = 0; // bytes in the live file
    int m_fd = -1;            // open for appending; -1 when not open
};

} // namespace bvdiag
