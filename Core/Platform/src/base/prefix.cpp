// The stand-in's per-user state directory.
#include "base/prefix.h"

#include <bvplatform/base.h>

#include <cerrno>
#include <cstdlib>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace bvplatform::detail {
namespace {

std::string HomeDir() {
    if (const char* home = std::getenv("HOME"); home && *home) {
        return home;
    }
    if (const passwd* pw = getpwuid(getuid()); pw && pw->pw_dir) {
        return pw->pw_dir;
    }
    return "/tmp";
}

// mkdir -p with mode 0700 for every level it makes.
bool MakeDirs(const std::string& path) {
    for (std::size_t pos = 1; pos <= path.size(); ++pos) {
        if (pos != path.size() && path[pos] != '/') {
            continue;
        }
        const std::string part = path.substr(0, pos);
        if (mkdir(part.c_str(), 0700) != 0 && errno != EEXIST) {
            return false;
        }
    }
    struct stat st {};
    if (stat(path.c_str(), &st) != 0) {
        return false;
    }
    if (!S_ISDIR(st.st_mode)) {
        errno = ENOTDIR;
        return false;
    }
    return true;
}

} // namespace

std::string PrefixPath() {
    if (const char* prefix = std::getenv("BV_PREFIX"); prefix && *prefix) {
        return prefix;
    }
    if (const char* data = std::getenv("XDG_DATA_HOME"); data && *data == '/') {
        return std::string(data) + "/bvplatform";
    }
    return HomeDir() + "/.local/share/bvplatform";
}

std::string EnsurePrefix() {
    std::string path = PrefixPath();
    return MakeDirs(path) ? path : std::string();
}

} // namespace bvplatform::detail

std::string BvEnsurePrefix() {
    return bvplatform::detail::EnsurePrefix();
}
