// The process's table of live windows.
#include "windows/station.h"

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>

namespace bvplatform::detail {
namespace {

// Window handles start above the range of small made-up numbers and step by 4, so that the
// low bits of a valid handle are clear (as Windows' handles are even).
constexpr std::uintptr_t kFirstHandle = 0x10000;
constexpr std::uintptr_t kHandleStep = 4;

struct Station {
    std::mutex lock; // guards windows
    // Live windows by handle value. Handles only grow, so the reverse order is the z-order of
    // windows created one after another (newest on top).
    std::map<std::uintptr_t, std::shared_ptr<Window>> windows;
};

// Immortal: a logger's destructor sends to its viewer during static destruction at exit.
Station& TheStation() {
    static Station& station = *new Station;
    return station;
}

std::uintptr_t Key(HWND handle) {
    return reinterpret_cast<std::uintptr_t>(handle);
}

} // namespace

HWND NewWindowHandle() {
    static std::atomic<std::uintptr_t> next{kFirstHandle};
    return reinterpret_cast<HWND>(next.fetch_add(kHandleStep));
}

void AddWindow(std::shared_ptr<Window> window) {
    Station& station = TheStation();
    std::lock_guard lock(station.lock);
    station.windows.emplace(Key(window->Handle()), std::move(window));
}

void RemoveWindow(HWND handle) {
    Station& station = TheStation();
    std::lock_guard lock(station.lock);
    station.windows.erase(Key(handle));
}

std::shared_ptr<Window> FindWindowByHandle(HWND handle) {
    Station& station = TheStation();
    std::lock_guard lock(station.lock);
    const auto found = station.windows.find(Key(handle));
    return found == station.windows.end() ? nullptr : found->second;
}

std::vector<std::shared_ptr<Window>> TopLevelWindows() {
    Station& station = TheStation();
    std::lock_guard lock(station.lock);
    std::vector<std::shared_ptr<Window>> windows;
    windows.reserve(station.windows.size());
    for (auto it = station.windows.rbegin(); it != station.windows.rend(); ++it) {
        windows.push_back(it->second);
    }
    return windows;
}

} // namespace bvplatform::detail
