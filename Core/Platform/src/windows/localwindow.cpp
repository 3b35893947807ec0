// A window of this process.
#include "windows/localwindow.h"

#include <cstring>
#include <sys/types.h>
#include <unistd.h>

namespace bvplatform::detail {

LocalWindow::LocalWindow(HWND handle, Record record)
    : Window(handle), m_className(std::move(record.className)), m_procedure(record.procedure),
      m_threadId(static_cast<DWORD>(gettid())), m_processId(static_cast<DWORD>(getpid())),
      m_title(std::move(record.title)), m_style(record.style), m_exStyle(record.exStyle),
      m_id(record.id), m_extra(static_cast<std::size_t>(record.windowExtra), 0) {}

bool LocalWindow::Alive() const {
    return m_phase != Phase::Gone;
}

DWORD LocalWindow::Facts(WindowFacts& facts) const {
    std::lock_guard lock(m_fieldsLock);
    if (!Alive()) {
        return ERROR_INVALID_WINDOW_HANDLE;
    }
    facts = WindowFacts{m_className, m_title, m_threadId, m_processId};
    return ERROR_SUCCESS;
}

// The four bytes behind a GetWindowLong index: extra window memory for offsets, a field for the
// GWL_ indices; null for an index the window has not.
const unsigned char* LocalWindow::Slot(int index) const {
    if (index >= 0) {
        const bool fits = static_cast<std::size_t>(index) + sizeof(LONG) <= m_extra.size();
        return fits ? &m_extra[static_cast<std::size_t>(index)] : nullptr;
    }
    switch (index) {
    case GWL_STYLE:
        return reinterpret_cast<const unsigned char*>(&m_style);
    case GWL_EXSTYLE:
        return reinterpret_cast<const unsigned char*>(&m_exStyle);
    case GWL_ID:
        return reinterpret_cast<const unsigned char*>(&m_id);
    case GWL_USERDATA:
        return reinterpret_cast<const unsigned char*>(&m_userData);
    default:
        // GWL_WNDPROC among them: a 64-bit procedure address does not fit a LONG, so the
        // 64-bit platform refuses that index here.
        return nullptr;
    }
}

DWORD LocalWindow::GetLong(int index, LONG& value) const {
    std::lock_guard lock(m_fieldsLock);
    if (!Alive()) {
        return ERROR_INVALID_WINDOW_HANDLE;
    }
    const unsigned char* slot = Slot(index);
    if (slot == nullptr) {
        return ERROR_INVALID_INDEX;
    }
    std::memcpy(&value, slot, sizeof value);
    return ERROR_SUCCESS;
}

DWORD LocalWindow::SetLong(int index, LONG value, LONG& previous) {
    std::lock_guard lock(m_fieldsLock);
    if (!Alive()) {
        return ERROR_INVALID_WINDOW_HANDLE;
    }
    auto* slot = const_cast<unsigned char*>(Slot(index));
    if (slot == nullptr) {
        return ERROR_INVALID_INDEX;
    }
    std::memcpy(&previous, slot, sizeof previous);
    std::memcpy(slot, &value, sizeof value);
    return ERROR_SUCCESS;
}

DWORD LocalWindow::Send(UINT message, WPARAM wParam, LPARAM lParam, LRESULT& result) {
    std::lock_guard lock(m_sendLock);
    if (!Alive()) {
        return ERROR_INVALID_WINDOW_HANDLE;
    }
    result = m_procedure(Handle(), message, wParam, lParam);
    return ERROR_SUCCESS;
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
    if (sendDestroy) {
        m_procedure(Handle(), WM_DESTROY, 0, 0);
    }
    m_procedure(Handle(), WM_NCDESTROY, 0, 0);
    m_phase = Phase::Gone;
    RemoveWindow(Handle());
    return ERROR_SUCCESS;
}

} // namespace bvplatform::detail
