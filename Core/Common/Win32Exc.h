// A failure of a platform call, with the thread's last error. Private to the library: callers
// meet it as mcExc.
#pragma once

#include "Core/Common/Exc.h"

class mcWin32Exc : public mcExc {
public:
    /// Reads the last error itself, after building the mcExc part, so nothing in between can
    /// change it; appends " - Win32 Error: " and the system's text to the description.
    mcWin32Exc(const AStr& function, const AStr& file, LONG line, const TStr& description);
    mcWin32Exc(const mcWin32Exc& other);
    ~mcWin32Exc() override;

    /// The last-error value read at construction.
    [[nodiscard]] DWORD Win32Error() const { return m_win32Error; }

private:
    DWORD m_win32Error; // GetLastError() at construction
};
