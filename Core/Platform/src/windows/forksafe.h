// Locks of the window area that a fork() must not copy while another thread holds them: fork
// takes them all first, so the child starts with every one of them free.
#pragma once

#include <mutex>

namespace bvplatform::detail {

/// Registers an immortal mutex to be held across fork().
void HoldAcrossFork(std::mutex& lock);

/// The process's one T, never destroyed (windows are used during static destruction at exit),
/// with its `lock` member held across fork().
template <class T>
T& ForkSafeTable() {
    static T& table = *[] {
        auto* made = new T;
        HoldAcrossFork(made->lock);
        return made;
    }();
    return table;
}

} // namespace bvplatform::detail
