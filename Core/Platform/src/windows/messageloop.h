// Threads' message queues: what GetMessageW waits on. A message sent from another process is
// queued here as work for the window's thread, which runs it inside GetMessageW.
#pragma once

#include <bvplatform/types.h>

#include <functional>

namespace bvplatform::detail {

/// Work for a thread's message loop. It is called with true inside the thread's GetMessageW,
/// or with false when the thread ends without running it (so that a waiting sender is freed).
using SentWork = std::function<void(bool run)>;

/// Queues work for the message loop of thread `threadId` of this process and wakes it.
void DeliverToThread(DWORD threadId, SentWork work);

/// While alive, the calling thread is inside a window procedure for a message from process
/// `senderPid` to a window of thread `ownerThread`: BvGetMessageSenderProcessId answers the
/// sender, and PostQuitMessage ends the owner's loop (as if the procedure ran on that thread).
class ProcedureScope {
public:
    ProcedureScope(DWORD senderPid, DWORD ownerThread);
    ~ProcedureScope();
    ProcedureScope(const ProcedureScope&) = delete;
    ProcedureScope& operator=(const ProcedureScope&) = delete;

private:
    DWORD m_outerSender; // the enclosing scope's sender, restored at the end
    DWORD m_outerOwner;  // the enclosing scope's owner thread, restored at the end
};

/// The calling thread's id as window records name it.
[[nodiscard]] DWORD CurrentThreadId();

} // namespace bvplatform::detail
