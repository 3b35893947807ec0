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

const LONG* LocalWindow::Field(int index) const {
    switch (index) {
    case GWL_STYLE:
        return &m_style;
    case GWL_EXSTYLE:
        return &m_exStyle;
    case GWL_ID:
        return &m_id;
    case GWL_USERDATA:
        return &m_userData;
    default:
        // GWL_WNDPROC among them: a 64-bit procedure address does not fit a LONG, so the
        // 64-bit platform refuses that index here.
        return nullptr;
    }
}

LONG* LocalWindow::Field(int index) {
    return const_cast<LONG*>(static_cast<const LocalWindow&>(*this).Field(index));
}

bool LocalWindow::ExtraFits(int offset) const {
    return offset >= 0 && static_cast<std::size_t>(offset) + sizeof(LONG) <= m_extra.size();
}

DWORD LocalWindow::GetLong(int index, LONG& value) const {
    std::lock_guard lock(m_fieldsLock);
    if (!Alive()) {
        return ERROR_INVALID_WINDOW_HANDLE;
    }
    if (index >= 0) {
        if (!ExtraFits(index)) {
            return ERROR_INVALID_INDEX;
        }
        std::memcpy(&value, &m_extra[static_cast<std::size_t>(index)], sizeof value);
        return ERROR_SUCCESS;
    }
    const LONG* field = Field(index);
    if (field == nullptr) {
        return ERROR_INVALID_INDEX;
    }
    value = *field;
    return ERROR_SUCCESS;
}

DWORD LocalWindow::SetLong(int index, LONG value, LONG& previous) {
    std::lock_guard lock(m_fieldsLock);
    if (!Alive()) {
        return ERROR_INVALID_WINDOW_HANDLE;
    }
    if (index >= 0) {
        if (!ExtraFits(index)) {
            return ERROR_INVALID_INDEX;
        }
        unsigned char* at = &m_extra[static_cast<std::size_t>(index)];
        std::memcpy(&previous, at, sizeof previous);
        std::memcpy(at, &value, sizeof value);
        return ERROR_SUCCESS;
    }
    LONG* field = Field(index);
    if (field == nullptr) {
        return ERROR_INVALID_INDEX;
    }
    previous = *field;
    *field = value;
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
