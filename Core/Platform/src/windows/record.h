// Window records in the station: what other processes read of a window without asking its
// owner, and the owner locks that tell whether the process behind a record still lives.
//
// A record file is written whole under a temporary name and renamed into place, so a reader
// sees the old record or the new one, never a part. A record names its owner by the owner's
// token; the owner holds an open-file-description write lock (F_OFD_SETLK) on p-<token>.lock for
// as long as it lives: the kernel drops it at the owner's death, any other descriptor of the
// file (in any process, this one included) sees it held, and closing such a probe leaves it
// alone. A forked child closes its copy of the locked descriptor at once, so that the lock
// lives no longer than the owner.
#pragma once

#include "windows/stationdir.h"

#include <bvplatform/types.h>

#include <optional>
#include <string>
#include <vector>

namespace bvplatform::detail {

struct WindowRecord {
    HWND handle = nullptr;            // the same in every process
    DWORD processId = 0;              // the owner process
    DWORD threadId = 0;               // the owner thread
    std::string owner;                // the owner's token (names its lock file)
    std::u16string className;         // as registered
    std::u16string title;             // the window's text
    LONG style = 0;                   // GWL_STYLE
    LONG exStyle = 0;                 // GWL_EXSTYLE
    LONG id = 0;                      // GWL_ID
    LONG userData = 0;                // GWL_USERDATA
    std::vector<unsigned char> extra; // extra window memory
};

/// Reads a window's 32-bit value at a GetWindowLongW index. False for an index it has not.
bool ReadLong(const WindowRecord& record, int index, LONG& value);

/// Writes a window's 32-bit value and gives the previous one. False for an index it has not.
bool WriteLong(WindowRecord& record, int index, LONG value, LONG& previous);

std::string RecordName(HWND handle);
std::string SocketName(HWND handle);

/// This process's token in `station`, its lock taken on first use (and again in a forked
/// child, which does not inherit the lock). Empty when the lock cannot be made.
std::string OwnToken(const StationDir& station);

/// Writes the record whole (temporary file, then rename). False on failure.
bool WriteRecord(const StationDir& station, const WindowRecord& record);

/// Removes a window's record and socket.
void RemoveRecord(const StationDir& station, HWND handle);

/// The record of a live window of another process; nullopt when there is none or its owner is
/// dead (whose files are then removed).
std::optional<WindowRecord> ReadLiveRecord(const StationDir& station, HWND handle);

/// True while the window has a record and its owner lives: no scan, no connection, and after the
/// first call for a handle only a stat and a lock test. Removes a dead owner's files.
bool ForeignWindowAlive(const StationDir& station, HWND handle);

/// The live windows of other processes, in no particular order.
std::vector<WindowRecord> LiveForeignRecords(const StationDir& station);

} // namespace bvplatform::detail
