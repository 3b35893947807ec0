// Starting the diagnostics viewer for WinExec, and the started program's signal that it is
// ready: its first GetMessageW writes one byte to a pipe inherited from the starter.
#pragma once

#include <bvplatform/types.h>

namespace bvplatform::detail {

/// The environment variable that names the ready pipe's descriptor in a started program.
constexpr const char* kReadyFdVariable = "BVPLATFORM_READY_FD";

/// In a program started by WinExec, tells the starter that the message loop runs (once per
/// process; later calls do nothing).
void NotifyLauncherOnce();

/// Starts the program a WinExec command line names and waits (bounded) until it is ready.
/// Returns ERROR_SUCCESS or ERROR_FILE_NOT_FOUND, ERROR_BAD_FORMAT, ERROR_NOT_ENOUGH_MEMORY.
DWORD LaunchProgram(const char* commandLine);

} // namespace bvplatform::detail
