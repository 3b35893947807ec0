// What the viewer's window does with a WM_COPYDATA: checks the block, keeps the table of open
// channels and queues one record per accepted message. Nothing here waits on output.
//
// The block (little-endian, text in 16-bit units): 0 size 8104 | 4 channel | 32 unit count with
// the terminator (1 to 4000) | 36 text field of 4000 units. Commands: 2 opens a channel (the
// reply is its number), 7 writes a line, 3 closes the channel.
#pragma once

#include "LineQueue.h"

#include <bvplatform/windows.h>

#include <cstdint>
#include <map>
#include <optional>

namespace bvdiag {

constexpr DWORD kBlockSize = 8104;
constexpr LRESULT kIgnored = -1; // the reply to a message that was not accepted

/// A decoded, well-formed message.
struct Message {
    Command command = Command::Write;
    std::uint32_t channel = 0; // the block's channel field
    std::u16string text;       // the text field up to its terminator
};

/// The message in a copy-data record, or nothing for a wrong command, byte count, size field,
/// unit count or missing terminator.
[[nodiscard]] std::optional<Message> DecodeMessage(const COPYDATASTRUCT& data);

class Receiver {
public:
    explicit Receiver(LineQueue& queue) : m_queue(queue) {}

    /// Handles one WM_COPYDATA from process `pid`; returns the reply (a new channel number for
    /// an open, 0 for the other commands, kIgnored for a malformed message).
    LRESULT OnCopyData(DWORD pid, const COPYDATASTRUCT& data);

    /// Malformed messages seen so far.
    [[nodiscard]] std::uint64_t Ignored() const { return m_ignored; }

private:
    LRESULT Open(Record record);
    std::u16string LoggerOf(std::uint32_t channel) const;

    LineQueue& m_queue;                             // where accepted messages go
    std::map<std::uint32_t, std::u16string> m_open; // logger name of each open channel
    std::uint32_t m_nextChannel = 1;                // the number the next open gets
    std::uint64_t m_ignored = 0;                    // malformed messages
};

} // namespace bvdiag
