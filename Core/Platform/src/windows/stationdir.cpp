// Locating, creating and checking the station directory.
#include "windows/stationdir.h"

#include "base/prefix.h"
#include "windows/forksafe.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <mutex>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace bvplatform::detail {
namespace {

// Handles start above the range of small made-up numbers and step by 4, so that the low bits
// of a valid handle are clear (as Windows' handles are even).
constexpr std::uint64_t kFirstHandle = 0x10000;
constexpr std::uint64_t kHandleStep = 4;

std::string Getenv(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

std::uint64_t Fnv1a(const std::string& text) {
    std::uint64_t hash = 0xcbf29ce484222325ULL;
    for (const unsigned char c : text) {
        hash = (hash ^ c) * 0x100000001b3ULL;
    }
    return hash;
}

// The directory that holds stations, and whether it is our own private one (the shared
// temporary directory's brontavale-<uid>), which must pass the same checks as a station.
struct Base {
    std::string path;  // the parent of the station directories
    bool ours = false; // made and checked by us
};

Base StationBase() {
    const std::string runtime = Getenv("XDG_RUNTIME_DIR");
    if (!runtime.empty() && runtime.front() == '/') {
        return {runtime, false};
    }
    std::error_code ec;
    std::string temp = std::filesystem::temp_directory_path(ec).string();
    if (ec || temp.empty()) {
        temp = "/tmp";
    }
    return {temp + "/brontavale-" + std::to_string(geteuid()), true};
}

std::string ComputePath() {
    std::error_code ec;
    std::string prefix = std::filesystem::weakly_canonical(PrefixPath(), ec).string();
    if (ec) {
        prefix = PrefixPath();
    }
    char name[32];
    std::snprintf(name, sizeof name, "bvstation-%016llx",
                  static_cast<unsigned long long>(Fnv1a(prefix)));
    return StationBase().path + "/" + name;
}

// A directory we may trust: no symlink, ours, private.
bool Trusted(const struct stat& st) {
    return S_ISDIR(st.st_mode) && st.st_uid == geteuid() && (st.st_mode & 077) == 0;
}

bool CheckedPath(const std::string& path, struct stat& st) {
    return lstat(path.c_str(), &st) == 0 && Trusted(st);
}

bool MakeDir(const std::string& path) {
    return mkdir(path.c_str(), 0700) == 0 || errno == EEXIST;
}

struct StationCache {
    std::mutex lock;                           // guards the fields below
    std::string env;                           // the environment the path was computed for
    std::string path;                          // the station's path for that environment
    std::shared_ptr<const StationDir> current; // the last opened station, if still valid
};

StationCache& Cache() {
    return ForkSafeTable<StationCache>();
}

std::string EnvironmentKey() {
    return Getenv("BV_PREFIX") + '\n' + Getenv("XDG_DATA_HOME") + '\n' + Getenv("HOME") + '\n' +
           Getenv("XDG_RUNTIME_DIR") + '\n' + Getenv("TMPDIR");
}

std::shared_ptr<const StationDir> OpenFresh(const std::string& path) {
    const Base base = StationBase();
    if (base.ours) {
        struct stat st {};
        if (!MakeDir(base.path) || !CheckedPath(base.path, st)) {
            return nullptr;
        }
    }
    if (!MakeDir(path)) {
        return nullptr;
    }
    const int fd = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) {
        return nullptr;
    }
    struct stat st {};
    if (fstat(fd, &st) != 0 || !Trusted(st)) {
        close(fd);
        return nullptr;
    }
    return std::make_shared<StationDir>(path, fd, st.st_dev, st.st_ino);
}

} // namespace

StationDir::StationDir(std::string path, int fd, unsigned long long device,
                       unsigned long long inode)
    : m_path(std::move(path)), m_fd(fd), m_device(device), m_inode(inode) {}

StationDir::~StationDir() {
    close(m_fd);
}

std::string StationDir::Inside(const std::string& name) const {
    return "/proc/self/fd/" + std::to_string(m_fd) + "/" + name;
}

bool StationDir::Is(unsigned long long device, unsigned long long inode) const {
    return m_device == device && m_inode == inode;
}

std::string StationPath() {
    StationCache& cache = Cache();
    const std::string env = EnvironmentKey();
    std::lock_guard lock(cache.lock);
    if (cache.path.empty() || cache.env != env) {
        cache.env = env;
        cache.path = ComputePath();
        cache.current.reset();
    }
    return cache.path;
}

std::shared_ptr<const StationDir> OpenStation() {
    const std::string path = StationPath();
    // Every use checks the path again: a station made open, foreign or replaced by a symlink
    // since the last use is refused from now on. A missing one is made (and then checked).
    struct stat st {};
    if (lstat(path.c_str(), &st) == 0) {
        if (!Trusted(st)) {
            return nullptr;
        }
        std::lock_guard lock(Cache().lock);
        if (Cache().current && Cache().current->Path() == path &&
            Cache().current->Is(st.st_dev, st.st_ino)) {
            return Cache().current;
        }
    } else if (errno != ENOENT) {
        return nullptr;
    }
    std::shared_ptr<const StationDir> fresh = OpenFresh(path);
    if (fresh) {
        std::lock_guard lock(Cache().lock);
        Cache().current = fresh;
    }
    return fresh;
}

std::uintptr_t NextStationHandle(const StationDir& station) {
    const int fd = openat(station.Fd(), "handles", O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0) {
        return 0;
    }
    std::uint64_t next = 0;
    if (flock(fd, LOCK_EX) != 0) {
        close(fd);
        return 0;
    }
    if (pread(fd, &next, sizeof next, 0) != static_cast<ssize_t>(sizeof next) ||
        next < kFirstHandle) {
        next = kFirstHandle;
    }
    const std::uint64_t after = next + kHandleStep;
    const bool stored = pwrite(fd, &after, sizeof after, 0) == static_cast<ssize_t>(sizeof after);
    close(fd); // also releases the flock
    return stored ? static_cast<std::uintptr_t>(next) : 0;
}

} // namespace bvplatform::detail
