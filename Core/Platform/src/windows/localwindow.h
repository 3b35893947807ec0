// A window of this process: its record and its procedure, called on the sending thread.
#pragma once

#include "windows/station.h"

#include <bvplatform/windows.h>
#include <bvplatform/winerror.h>

#include <atomic>
#include <mutex>
#include <string>
#include <vector>

namespace bvplatform::detail {

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

    [[nodiscard]] bool Alive() const override;
    DWORD Facts(WindowFacts& facts) const override;
    DWORD GetLong(int index, LONG& value) const override;
    DWORD SetLong(int index, LONG value, LONG& previous) override;
    DWORD Send(UINT message, WPARAM wParam, LPARAM lParam, LRESULT& result) override;
    DWORD Destroy() override;

    /// Ends a window whose creation failed: WM_DESTROY only if WM_CREATE was reached, then
    /// WM_NCDESTROY, then removal.
    void AbortCreation(bool createSent);

private:
    enum class Phase { Alive, Destroying, Gone };

    DWORD TearDown(bool sendDestroy);
    // The four bytes behind a GetWindowLong index (extra memory or a GWL_* field); null for an
    // index that names none. Caller holds m_fieldsLock.
    [[nodiscard]] const unsigned char* Slot(int index) const;

    const std::u16string m_className; // as registered
    const WNDPROC m_procedure;        // called for every message
    const DWORD m_threadId;           // the creating thread
    const DWORD m_processId;          // the creating process

    // Held while the procedure runs, so that a window handles one message at a time; recursive
    // so that a procedure can send to its own window. Never held with the station's lock.
    std::recursive_mutex m_sendLock;
    std::atomic<Phase> m_phase{Phase::Alive}; // Gone once WM_NCDESTROY has returned

    mutable std::mutex m_fieldsLock; // guards the fields below; never held while a procedure runs
    std::u16string m_title;          // the window's text
    LONG m_style;                    // GWL_STYLE
    LONG m_exStyle;                  // GWL_EXSTYLE
    LONG m_id;                       // GWL_ID
    LONG m_userData = 0;             // GWL_USERDATA, 0 until set
    std::vector<unsigned char> m_extra; // extra window memory, read by byte offset
};

} // namespace bvplatform::detail
