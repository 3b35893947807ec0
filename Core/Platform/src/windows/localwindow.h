// A window of this process: its record and its procedure. A send from this process runs the
// procedure on the sending thread; a send from another process runs it on the window's thread
// inside its GetMessageW. Once created, the window is published in the station for the others.
#pragma once

#include "windows/record.h"
#include "windows/station.h"

#include <bvplatform/windows.h>
#include <bvplatform/winerror.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <string>

namespace bvplatform::detail {

class Publication;

class LocalWindow final : public Window {
public:
    /// What CreateWindowExW decides about a new window.
    struct Record {
        std::u16string className; // as registered
        std::u16string title;
        WNDPROC procedure = nullptr;
        LONG style = 0;
        LONG exStyle = 0;
        LONG id = 0;         // GWL_ID: the menu argument's low 32 bits
        int windowExtra = 0; // bytes of extra window memory, zeroed
    };

    LocalWindow(HWND handle, Record record);
    ~LocalWindow() override;

    [[nodiscard]] bool Alive() const override;
    DWORD Facts(WindowFacts& facts) const override;
    DWORD GetLong(int index, LONG& value) const override;
    DWORD SetLong(int index, LONG value, LONG& previous) override;
    DWORD Send(UINT message, WPARAM wParam, LPARAM lParam, LRESULT& result) override;
    DWORD Destroy() override;

    /// Runs the procedure for a message from process `senderPid`.
    DWORD SendFrom(DWORD senderPid, UINT message, WPARAM wParam, LPARAM lParam, LRESULT& result);

    /// The thread that created the window.
    [[nodiscard]] DWORD ThreadId() const { return m_threadId; }

    /// Makes the window visible to other processes (when the station allows).
    void Publish();

    /// Ends a window whose creation failed: WM_DESTROY only if WM_CREATE was reached, then
    /// WM_NCDESTROY, then removal.
    void AbortCreation(bool createSent);

private:
    enum class Phase { Alive, Destroying, Gone };

    DWORD TearDown(bool sendDestroy);

    const WNDPROC m_procedure; // called for every message
    const DWORD m_threadId;    // the creating thread

    // Held while the procedure runs, so that a window handles one message at a time; recursive
    // so that a procedure can send to its own window. Never held with the station's lock.
    std::recursive_mutex m_sendLock;
    std::atomic<Phase> m_phase{Phase::Alive}; // Gone once WM_NCDESTROY has returned

    mutable std::mutex m_fieldsLock; // guards the fields below; never held while a procedure runs
    WindowRecord m_record;           // class, title, longs and extra memory, as published
    std::shared_ptr<Publication> m_publication; // null while the window is private
};

} // namespace bvplatform::detail
