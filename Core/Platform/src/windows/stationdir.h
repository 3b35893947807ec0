// The station directory: where the windows of all processes of one prefix meet. It lies under
// $XDG_RUNTIME_DIR, else under brontavale-<uid> in the temporary directory, named by a hash of
// the canonical prefix path, so that processes of different prefixes never meet.
//
// Layout (all names inside the station directory):
//   handles            the machine-wide window handle counter (8 bytes, under flock)
//   p-<token>.lock     one per process: the process holds an fcntl write lock on it while alive
//   w-<handle>.rec     one per published window: its record (see windows/record.h)
//   w-<handle>.sock    the window's listening Unix socket
//   t-<token>-<n>      a record being written; renamed to w-<handle>.rec when whole
//
// The directory is checked at every use: a directory (not a symlink), owned by the effective
// user, with no group or other permission bits; anything else refuses the station.
#pragma once

#include <bvplatform/types.h>

#include <memory>
#include <string>

namespace bvplatform::detail {

class StationDir {
public:
    StationDir(std::string path, int fd, unsigned long long device, unsigned long long inode);
    ~StationDir();
    StationDir(const StationDir&) = delete;
    StationDir& operator=(const StationDir&) = delete;

    [[nodiscard]] const std::string& Path() const { return m_path; }
    /// The open directory, for the *at() calls.
    [[nodiscard]] int Fd() const { return m_fd; }
    /// A path to `name` inside the directory that does not depend on the directory's own path
    /// (short enough for a socket address, immune to a swapped directory).
    [[nodiscard]] std::string Inside(const std::string& name) const;
    [[nodiscard]] bool Is(unsigned long long device, unsigned long long inode) const;

private:
    const std::string m_path;          // as computed from the environment
    const int m_fd;                    // the directory, opened O_DIRECTORY | O_NOFOLLOW
    const unsigned long long m_device; // its device number, to notice a replaced directory
    const unsigned long long m_inode;  // its inode number
};

/// The station of the prefix that the environment names now, created if missing and checked;
/// null when it is refused or cannot be made.
std::shared_ptr<const StationDir> OpenStation();

/// The station directory's path for the environment now (it need not exist).
std::string StationPath();

/// A new handle from the station's counter; 0 when the station is refused.
std::uintptr_t NextStationHandle(const StationDir& station);

} // namespace bvplatform::detail
