// Holding the window area's locks across fork().
#include "windows/forksafe.h"

#include <pthread.h>
#include <vector>

namespace bvplatform::detail {
namespace {

struct ForkLocks {
    std::mutex lock;               // guards held; taken first and released last at a fork
    std::vector<std::mutex*> held; // registered locks, in registration order
};

ForkLocks& Locks();

void TakeAll() {
    Locks().lock.lock();
    for (std::mutex* lock : Locks().held) {
        lock->lock();
    }
}

void ReleaseAll() {
    for (auto it = Locks().held.rbegin(); it != Locks().held.rend(); ++it) {
        (*it)->unlock();
    }
    Locks().lock.unlock();
}

// Immortal: a fork may happen during static destruction. The registered locks never nest, so
// taking them in any fixed order cannot deadlock.
ForkLocks& Locks() {
    static ForkLocks& locks = *[] {
        auto* made = new ForkLocks;
        pthread_atfork(TakeAll, ReleaseAll, ReleaseAll);
        return made;
    }();
    return locks;
}

} // namespace

void HoldAcrossFork(std::mutex& lock) {
    ForkLocks& locks = Locks();
    std::lock_guard guard(locks.lock);
    locks.held.push_back(&lock);
}

} // namespace bvplatform::detail
