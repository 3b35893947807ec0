// Points a benchmark program at a fresh temporary prefix, removed at exit, so that no benchmark
// touches the user's state.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>
#include <unistd.h>

namespace bvbench {

inline void UseTemporaryPrefix(const char* name) {
    std::string templ = (std::filesystem::temp_directory_path() / name).string() + "-XXXXXX";
    if (mkdtemp(templ.data()) == nullptr) {
        std::abort();
    }
    setenv("BV_PREFIX", templ.c_str(), 1);
    static std::string dir;
    dir = templ;
    std::atexit([] {
        std::error_code ec;
        std::filesystem::remove_all(dir, ec);
    });
}

} // namespace bvbench
