// Threads' message queues and the message loop functions.
//
// Each thread that owns windows has a queue of work sent to it (messages from other processes)
// and a quit flag. GetMessageW runs that work and returns only for WM_QUIT: the stand-in has no
// posted messages other than the quit message.
#include "windows/messageloop.h"

#include "windows/forksafe.h"
#include "windows/launch.h"
#include "windows/localwindow.h"
#include "windows/station.h"

#include <bvplatform/windows.h>
#include <bvplatform/winerror.h>

#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <time.h>
#include <unistd.h>

namespace bvplatform::detail {
namespace {

struct ThreadQueue {
    std::mutex lock;              // guards the fields below
    std::condition_variable wake; // signalled when work arrives or quit is asked
    std::deque<SentWork> sent;    // work in arrival order
    bool quit = false;            // PostQuitMessage was called and not yet seen
    int exitCode = 0;             // its code, valid while quit
};

struct QueueTable {
    std::mutex lock;                                      // guards queues
    std::map<DWORD, std::shared_ptr<ThreadQueue>> queues; // by thread id
};

// Immortal: a window may be sent to during static destruction.
QueueTable& Queues() {
    return ForkSafeTable<QueueTable>();
}

std::shared_ptr<ThreadQueue> QueueOf(DWORD threadId) {
    QueueTable& table = Queues();
    std::lock_guard lock(table.lock);
    auto& queue = table.queues[threadId];
    if (!queue) {
        queue = std::make_shared<ThreadQueue>();
    }
    return queue;
}

// Drops the thread's queue when the thread ends, freeing the senders that still wait on it.
struct QueueOwner {
    std::shared_ptr<ThreadQueue> queue; // the thread's queue once it has used it
    DWORD threadId = 0;                 // its id
    ~QueueOwner() {
        if (!queue) {
            return;
        }
        {
            QueueTable& table = Queues();
            std::lock_guard lock(table.lock);
            if (const auto it = table.queues.find(threadId);
                it != table.queues.end() && it->second == queue) {
                table.queues.erase(it);
            }
        }
        std::deque<SentWork> left;
        {
            std::lock_guard lock(queue->lock);
            left.swap(queue->sent);
        }
        for (auto& work : left) {
            work(false);
        }
    }
};

ThreadQueue& OwnQueue() {
    thread_local QueueOwner owner;
    if (!owner.queue || owner.threadId != CurrentThreadId()) { // a forked child's new id
        owner.threadId = CurrentThreadId();
        owner.queue = QueueOf(owner.threadId);
    }
    return *owner.queue;
}

// The procedure being run on this thread: its message's sending process and its window's
// thread; 0 outside any procedure.
thread_local DWORD t_sender = 0;
thread_local DWORD t_owner = 0;

DWORD TickCount() {
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return static_cast<DWORD>(now.tv_sec * 1000 + now.tv_nsec / 1000000);
}

} // namespace

DWORD CurrentThreadId() {
    return static_cast<DWORD>(gettid());
}

void DeliverToThread(DWORD threadId, SentWork work) {
    const std::shared_ptr<ThreadQueue> queue = QueueOf(threadId);
    {
        std::lock_guard lock(queue->lock);
        queue->sent.push_back(std::move(work));
    }
    queue->wake.notify_one();
}

ProcedureScope::ProcedureScope(DWORD senderPid, DWORD ownerThread)
    : m_outerSender(t_sender), m_outerOwner(t_owner) {
    t_sender = senderPid;
    t_owner = ownerThread;
}

ProcedureScope::~ProcedureScope() {
    t_sender = m_outerSender;
    t_owner = m_outerOwner;
}

} // namespace bvplatform::detail

using bvplatform::detail::FailWith;

BOOL GetMessageW(LPMSG lpMsg, HWND hWnd, UINT /*wMsgFilterMin*/, UINT /*wMsgFilterMax*/) {
    using namespace bvplatform::detail;
    if (lpMsg == nullptr) {
        return FailWith(ERROR_INVALID_PARAMETER, BOOL{-1});
    }
    if (hWnd != nullptr) {
        return FailWith(ERROR_INVALID_WINDOW_HANDLE, BOOL{-1});
    }
    NotifyLauncherOnce();
    ThreadQueue& queue = OwnQueue();
    std::unique_lock lock(queue.lock);
    for (;;) {
        queue.wake.wait(lock, [&] { return queue.quit || !queue.sent.empty(); });
        if (queue.sent.empty()) {
            queue.quit = false;
            *lpMsg =
                MSG{nullptr, WM_QUIT, static_cast<WPARAM>(queue.exitCode), 0, TickCount(), {0, 0}};
            return FALSE;
        }
        SentWork work = std::move(queue.sent.front());
        queue.sent.pop_front();
        lock.unlock();
        work(true);
        lock.lock();
    }
}

LRESULT DispatchMessageW(const MSG* lpMsg) {
    using namespace bvplatform::detail;
    if (lpMsg == nullptr || lpMsg->hwnd == nullptr) {
        return 0;
    }
    const std::shared_ptr<LocalWindow> window = FindLocalWindow(lpMsg->hwnd);
    if (!window) {
        return FailWith(ERROR_INVALID_WINDOW_HANDLE, LRESULT{0});
    }
    LRESULT result = 0;
    if (const DWORD error = window->Send(lpMsg->message, lpMsg->wParam, lpMsg->lParam, result)) {
        return FailWith(error, LRESULT{0});
    }
    return result;
}

void PostQuitMessage(int nExitCode) {
    using namespace bvplatform::detail;
    // Inside a procedure run for another thread's window, the quit is that thread's, as if the
    // procedure ran there (which it does on the platform).
    const DWORD target = t_owner != 0 ? t_owner : CurrentThreadId();
    const std::shared_ptr<ThreadQueue> queue = QueueOf(target);
    {
        std::lock_guard lock(queue->lock);
        queue->quit = true;
        queue->exitCode = nExitCode;
    }
    queue->wake.notify_one();
}

DWORD BvGetMessageSenderProcessId() {
    return bvplatform::detail::t_sender;
}
