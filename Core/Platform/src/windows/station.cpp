// The process's table of live windows, and the lookup that adds the other processes' windows.
#include "windows/station.h"

#include "windows/foreignwindow.h"
#include "windows/forksafe.h"
#include "windows/localwindow.h"
#include "windows/stationdir.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <unistd.h>

namespace bvplatform::detail {
namespace {

// Handles of a process whose station is refused: far above the station's counter, so that they
// meet no other process's handle in practice.
constexpr std::uintptr_t kPrivateHandles = std::uintptr_t{0x4000} << 32;
constexpr std::uintptr_t kHandleStep = 4;

struct Station {
    std::mutex lock; // guards the fields below
    pid_t pid = 0;   // the process the table belongs to: a forked child starts empty
    // Live windows by handle value. Handles only grow, so the reverse order is the z-order of
    // windows created one after another (newest on top).
    std::map<std::uintptr_t, std::shared_ptr<LocalWindow>> windows;
};

// Immortal: a logger's destructor sends to its viewer during static destruction at exit.
Station& TheStation() {
    return ForkSafeTable<Station>();
}

std::uintptr_t Key(HWND handle) {
    return reinterpret_cast<std::uintptr_t>(handle);
}

// The table, emptied first in a forked child: the parent's windows are the parent's, seen from
// the child as another process's. Caller holds the lock.
std::map<std::uintptr_t, std::shared_ptr<LocalWindow>>& Table(Station& station) {
    if (station.pid != getpid()) {
        // Their locks may be held by parent threads that do not exist here: never destroyed.
        using Windows = std::vector<std::shared_ptr<LocalWindow>>;
        static Windows& abandoned = *new Windows;
        for (auto& [key, window] : station.windows) {
            abandoned.push_back(std::move(window));
        }
        station.windows.clear();
        station.pid = getpid();
    }
    return station.windows;
}

} // namespace

HWND NewWindowHandle() {
    if (const auto station = OpenStation()) {
        if (const std::uintptr_t handle = NextStationHandle(*station)) {
            return reinterpret_cast<HWND>(handle);
        }
    }
    static std::atomic<std::uintptr_t> next{kPrivateHandles};
    return reinterpret_cast<HWND>(next.fetch_add(kHandleStep));
}

void AddWindow(std::shared_ptr<LocalWindow> window) {
    Station& station = TheStation();
    std::lock_guard lock(station.lock);
    Table(station).emplace(Key(window->Handle()), std::move(window));
}

void RemoveWindow(HWND handle) {
    Station& station = TheStation();
    std::lock_guard lock(station.lock);
    Table(station).erase(Key(handle));
}

std::shared_ptr<LocalWindow> FindLocalWindow(HWND handle) {
    Station& station = TheStation();
    std::lock_guard lock(station.lock);
    auto& windows = Table(station);
    const auto found = windows.find(Key(handle));
    return found == windows.end() ? nullptr : found->second;
}

std::shared_ptr<Window> FindWindowByHandle(HWND handle) {
    if (std::shared_ptr<Window> local = FindLocalWindow(handle)) {
        return local;
    }
    return handle == nullptr ? nullptr : FindForeignWindow(handle);
}

std::vector<std::shared_ptr<Window>> TopLevelWindows() {
    std::vector<std::shared_ptr<Window>> windows = ForeignWindows();
    {
        Station& station = TheStation();
        std::lock_guard lock(station.lock);
        for (const auto& [key, window] : Table(station)) {
            windows.push_back(window);
        }
    }
    // Every handle comes from the station's one counter, so the newest window has the highest.
    std::sort(windows.begin(), windows.end(),
              [](const auto& a, const auto& b) { return Key(a->Handle()) > Key(b->Handle()); });
    return windows;
}

} // namespace bvplatform::detail
