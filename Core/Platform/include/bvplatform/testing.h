// Hooks for tests and tools only: capture what a person would see on Windows (debug output,
// message boxes), count and fail platform calls, and stand in for programs that WinExec starts.
// The library itself never includes this header.
#pragma once

#include <bvplatform/export.h>
#include <bvplatform/types.h>

#include <functional>
#include <string>
#include <vector>

namespace bvplatform::testing {

/// While alive, every OutputDebugStringW of the process is recorded here instead of going to
/// BV_DEBUG_OUTPUT. Captures nest: the innermost one receives.
class BVPLATFORM_API DebugOutputCapture {
public:
    DebugOutputCapture();
    ~DebugOutputCapture();
    DebugOutputCapture(const DebugOutputCapture&) = delete;
    DebugOutputCapture& operator=(const DebugOutputCapture&) = delete;

    /// One entry per call, in call order.
    std::vector<std::u16string> Calls() const;
    /// All calls joined.
    std::u16string Text() const;
    void Clear();

private:
    struct State;
    State* m_state;
};

/// While alive, every MessageBoxW of the process is recorded here instead of being written to
/// standard error. The box answers IDOK.
class BVPLATFORM_API MessageBoxCapture {
public:
    struct Box {
        std::u16string caption;
        std::u16string text;
        UINT type;
    };
    MessageBoxCapture();
    ~MessageBoxCapture();
    MessageBoxCapture(const MessageBoxCapture&) = delete;
    MessageBoxCapture& operator=(const MessageBoxCapture&) = delete;

    std::vector<Box> Boxes() const;

private:
    struct State;
    State* m_state;
};

/// Calls of MultiByteToWideChar and WideCharToMultiByte made so far on the calling thread.
BVPLATFORM_API unsigned long ConversionCallCount();

/// While alive, the conversion call number `callIndex` (0 is the next one) on the calling
/// thread fails with `error` (returns 0, sets the last error) without converting.
class BVPLATFORM_API ConversionFault {
public:
    ConversionFault(unsigned long callIndex, DWORD error);
    ~ConversionFault();
    ConversionFault(const ConversionFault&) = delete;
    ConversionFault& operator=(const ConversionFault&) = delete;
};

/// What WinExec runs instead of looking for a program: receives the command line and show
/// command and returns WinExec's result. An empty function restores the default.
using WinExecHandler = std::function<UINT(const char* cmdLine, UINT show)>;
BVPLATFORM_API void SetWinExecHandler(WinExecHandler handler);

/// The window station directory that the environment names now (it need not exist yet): where
/// the windows of all processes of this prefix meet. Tests use it to damage the station.
BVPLATFORM_API std::string StationDirectory();

/// Makes the next call of the registry operation named `operation` ("RegCloseKey",
/// "RegQueryValueExW", ...), on any thread, return `status` without doing anything. A status of
/// 0 cancels a pending fault.
BVPLATFORM_API void FailNextRegistryCall(const char* operation, LONG status);

/// The registry write transactions this process has committed so far (a batch counts once).
BVPLATFORM_API unsigned long RegistryCommitCount();

/// Forgets the registry's connection, cache and handles, so that the next call opens the hive of
/// the prefix the environment names then (a test's fresh prefix).
BVPLATFORM_API void ResetRegistry();

/// Makes the next CoCreateGuid of the process, on any thread, return `result` without making a
/// GUID. S_OK cancels a pending fault.
BVPLATFORM_API void FailNextCoCreateGuid(HRESULT result);

/// Makes the next GetTimeZoneInformation of the process, on any thread, return
/// TIME_ZONE_ID_INVALID with last error `error`, leaving its record alone. 0 cancels.
BVPLATFORM_API void FailNextGetTimeZoneInformation(DWORD error);

} // namespace bvplatform::testing
