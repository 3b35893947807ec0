// One message as the viewer received it, and its two printed forms: a line for people and a
// tab-separated record for programs.
#pragma once

#include <bvplatform/types.h>

#include <chrono>
#include <string>

namespace bvdiag {

// Open, Close and Write are the senders' commands; Notice is a line of the viewer itself.
enum class Command : int { Notice = 0, Open = 2, Close = 3, Write = 7 };

struct Record {
    std::chrono::system_clock::time_point received; // when the window procedure took it
    DWORD pid = 0;                                  // the sending process
    Command command = Command::Write;               // what the sender asked for
    LONG channel = 0;                               // the channel the message is about
    std::u16string logger;                          // the channel's logger name; empty if unknown
    std::u16string text;                            // the line (Write) or the name (Open)
};

/// "2026-11-23 21:40:29.123 [pid 1234] CORE: text" in local time, UTF-8, one line: control
/// characters become their visible pictures (U+2400 block), so a multi-line text stays one
/// record. Open and close show as "-- channel N opened/closed". Ends with '\n'.
[[nodiscard]] std::string FormatHuman(const Record& record);

/// "<unix ms>\t<pid>\t<command>\t<channel>\t<logger>\t<text>\n": the texts escaped with \\, \t,
/// \n, \r and \xHH for other control characters, so every record is exactly one line.
[[nodiscard]] std::string FormatMachine(const Record& record);

/// UTF-8 of UTF-16 text; unpaired surrogates become U+FFFD.
[[nodiscard]] std::string Utf8(const std::u16string& text);
/// UTF-16 of ASCII text.
[[nodiscard]] std::u16string Utf16(const std::string& ascii);

} // namespace bvdiag
