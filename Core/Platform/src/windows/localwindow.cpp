// A window of this process.
#include "windows/localwindow.h"

#include "windows/messageloop.h"
#include "windows/publication.h"

#include <sys/types.h>
#include <unistd.h>

namespace bvplatform::detail {

LocalWindow::LocalWindow(HWND handle, Record record)
    : Window(handle), m_procedure(record.procedure), m_threadId(CurrentThreadId()) {
    m_record.handle = handle;
    m_record.processId = static_cast<DWORD>(getpid());
    m_record.threadId = m_threadId;
    m_record.className = std::move(record.className);
    m_record.title = std::move(record.title);
    m_record.style = record.style;
    m_record.exStyle = record.exStyle;
    m_record.id = record.id;
    m_record.extra.assign(static_cast<std::size_t>(record.windowExtra), 0);
}

LocalWindow::~LocalWindow() = default;

bool LocalWindow::Alive() const {
    return m_phase != Phase::Gone;
}

DWORD LocalWindow::Facts(WindowFacts& facts) const {
    std::lock_guard lock(m_fieldsLock);
    if (!Alive()) {
        return ERROR_INVALID_WINDOW_HANDLE;
    }
    facts = WindowFacts{m_record.className, m_record.title, m_record.threadId, m_record.processId};
    return ERROR_SUCCESS;
}

DWORD LocalWindow::GetLong(int index, LONG& value) const {
    std::lock_guard lock(m_fieldsLock);
    if (!Alive()) {
        return ERROR_INVALID_WINDOW_HANDLE;
    }
    return ReadLong(m_record, index, value) ? ERROR_SUCCESS : ERROR_INVALID_INDEX;
}

DWORD LocalWindow::SetLong(int index, LONG value, LONG& previous) {
    std::lock_guard lock(m_fieldsLock);
    if (!Alive()) {
        return ERROR_INVALID_WINDOW_HANDLE;
    }
    if (!WriteLong(m_record, index, value, previous)) {
        return ERROR_INVALID_INDEX;
    }
    if (m_publication) {
        m_publication->Update(m_record); // under the lock: updates land in their order
    }
    return ERROR_SUCCESS;
}

DWORD LocalWindow::Send(UINT message, WPARAM wParam, LPARAM lParam, LRESULT& result) {
    return SendFrom(static_cast<DWORD>(getpid()), message, wParam, lParam, result);
}

DWORD LocalWindow::SendFrom(DWORD senderPid, UINT message, WPARAM wParam, LPARAM lParam,
                            LRESULT& result) {
    std::lock_guard lock(m_sendLock);
    if (!Alive()) {
        return ERROR_INVALID_WINDOW_HANDLE;
    }
    const ProcedureScope scope(senderPid, m_threadId);
    result = m_procedure(Handle(), message, wParam, lParam);
    return ERROR_SUCCESS;
}

void LocalWindow::Publish() {
    std::lock_guard lock(m_fieldsLock);
    if (Alive() && !m_publication) {
        m_publication = Publication::Start(m_record);
    }
}

DWORD LocalWindow::Destroy() {
    return TearDown(true);
}

void LocalWindow::AbortCreation(bool createSent) {
    TearDown(createSent);
}

DWORD LocalWindow::TearDown(bool sendDestroy) {
    std::lock_guard lock(m_sendLock);
    Phase phase = Phase::Alive;
    if (!m_phase.compare_exchange_strong(phase, Phase::Destroying)) {
        // Destroying: a procedure destroys its own window again while handling the first
        // destruction; that is no failure and sends nothing more.
        return phase == Phase::Destroying ? ERROR_SUCCESS : ERROR_INVALID_WINDOW_HANDLE;
    }
    {
        const ProcedureScope scope(static_cast<DWORD>(getpid()), m_threadId);
        if (sendDestroy) {
            m_procedure(Handle(), WM_DESTROY, 0, 0);
        }
        m_procedure(Handle(), WM_NCDESTROY, 0, 0);
    }
    std::shared_ptr<Publication> publication;
    {
        std::lock_guard fields(m_fieldsLock);
        m_phase = Phase::Gone;
        publication.swap(m_publication);
    }
    if (publication) {
        publication->Withdraw();
    }
    RemoveWindow(Handle());
    return ERROR_SUCCESS;
}

} // namespace bvplatform::detail
