// Locks of the window area that a fork() must not copy while another thread holds them: fork
// takes them all first, so the child starts with every one of them free.
#pragma once

#include <mutex>

namespace bvplatform::detail {

/// Registers an immortal mutex to be held across fork().
void HoldAcrossFork(std::mutex& lock);

} // namespace bvplatform::detail
