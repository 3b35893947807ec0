// The sending side of the diagnostics channel. Each logger owns one message block of 8104 bytes
// that the viewer reads; a line costs one WM_COPYDATA to the viewer's window.
//
// Block layout (little-endian; text in 16-bit units):
//   0 size (8104) | 4 channel | 8 zero | 12 0xEFFFFFFF | 28 byte 1 | 32 unit count with the
//   terminator | 36 text, 4000 units | 8036 result of the previous send | 8040 unused
#include "Core/Common/Logger.h"

#include "Core/Common/StrConv.h"
#include "Core/Common/StrUtils.h"
#include "Core/Common/TextPrivate.h"

#include <bvplatform/base.h>
#include <bvplatform/windows.h>

#include <array>
#include <atomic>
#include <bit>
#include <cstring>
#include <mutex>
#include <new>

namespace {

constexpr DWORD kBlockSize = 8104;
constexpr std::size_t kSizeOffset = 0;
constexpr std::size_t kChannelOffset = 4;
constexpr std::size_t kOpenZeroOffset = 8;
constexpr std::size_t kOpenMarkOffset = 12;
constexpr std::size_t kOpenFlagOffset = 28;
constexpr std::size_t kCountOffset = 32;
constexpr std::size_t kTextOffset = 36;
constexpr std::size_t kTextUnits = 4000; // the field, terminator included
constexpr std::size_t kResultOffset = 8036;

constexpr ULONG_PTR kCommandOpen = 2;
constexpr ULONG_PTR kCommandClose = 3;
constexpr ULONG_PTR kCommandWrite = 7;

constexpr LONG kViewerMark = 0x52545642; // user data "BVTR" of the viewer's window
constexpr char16_t kViewerTitle[] = u"Brontavale_BVDiag";

// The viewer's window, shared by all loggers of the process; null until found.
std::atomic<HWND> g_viewer{nullptr};

using Block = std::array<unsigned char, kBlockSize>;

void PutU32(Block& block, std::size_t offset, std::uint32_t value) {
    for (int i = 0; i < 4; ++i) {
        block[offset + i] = static_cast<unsigned char>(value >> (8 * i));
    }
}

// Copies at most 3999 units and a terminator into the text field, and the count beside it.
void PutText(Block& block, const TStr& text) {
    const std::size_t units = text.size() < kTextUnits ? text.size() : kTextUnits - 1;
    unsigned char* field = block.data() + kTextOffset;
    if constexpr (std::endian::native == std::endian::little) {
        std::memcpy(field, text.data(), units * sizeof(char16_t));
    } else {
        for (std::size_t i = 0; i < units; ++i) {
            field[2 * i] = static_cast<unsigned char>(text[i]);
            field[2 * i + 1] = static_cast<unsigned char>(text[i] >> 8);
        }
    }
    field[2 * units] = 0;
    field[2 * units + 1] = 0;
    PutU32(block, kCountOffset, static_cast<std::uint32_t>(units + 1));
}

BOOL FindViewerMark(HWND window, LPARAM found) {
    if (GetWindowLongW(window, GWL_USERDATA) != kViewerMark) {
        return TRUE;
    }
    *reinterpret_cast<HWND*>(found) = window;
    return FALSE;
}

// Keeps the caller's last error across the platform calls of one line.
class LastErrorKeeper {
public:
    LastErrorKeeper() : m_saved(GetLastError()) {}
    ~LastErrorKeeper() { SetLastError(m_saved); }
    LastErrorKeeper(const LastErrorKeeper&) = delete;
    LastErrorKeeper& operator=(const LastErrorKeeper&) = delete;

private:
    DWORD m_saved; // the caller's value
};

} // namespace

namespace core {

struct Logger::Record {
    bool opened = false;        // a channel was granted
    TStr name;                  // the logger's name, sent with the open command
    LONG channel = -1;          // the viewer's channel number; -1 while none is open
    COPYDATASTRUCT copyData{};  // command, byte count and block of the message in flight
    Block block{};              // the message block, zeroed at allocation, reused for every line
    std::recursive_mutex mutex; // holds one whole message from filling to sending; recursive so
                                // that a viewer in this process may itself log
};

namespace {

// Finds the viewer's window, starting the viewer if none is marked. No wait after starting: a
// viewer that is not up yet costs the line.
bool DiscoverViewer(Logger::Record& record) {
    PutU32(record.block, kSizeOffset, kBlockSize);
    if (g_viewer.load() != nullptr) {
        return true;
    }
    HWND found = nullptr;
    EnumWindows(FindViewerMark, reinterpret_cast<LPARAM>(&found));
    if (found == nullptr) {
        if (WinExec("BVDiag.exe", SW_HIDE) < 32) {
            return false;
        }
        found = FindWindowW(nullptr, kViewerTitle);
    }
    g_viewer.store(found);
    return found != nullptr;
}

LRESULT SendCommand(Logger::Record& record, ULONG_PTR command) {
    HWND viewer = g_viewer.load();
    if (viewer == nullptr) {
        return 0;
    }
    record.copyData = {command, kBlockSize, record.block.data()};
    if (!IsWindow(viewer)) {
        g_viewer.store(nullptr);
        DiscoverViewer(record);
        viewer = g_viewer.load();
        if (!IsWindow(viewer)) {
            PutU32(record.block, kResultOffset, 0);
            return 0;
        }
    }
    const LRESULT result =
        SendMessageW(viewer, WM_COPYDATA, 0, reinterpret_cast<LPARAM>(&record.copyData));
    PutU32(record.block, kResultOffset, static_cast<std::uint32_t>(result));
    return result;
}

void OpenChannel(Logger::Record& record) {
    if (!DiscoverViewer(record)) {
        return;
    }
    PutText(record.block, record.name);
    PutU32(record.block, kOpenZeroOffset, 0);
    PutU32(record.block, kOpenMarkOffset, 0xEFFFFFFFu);
    record.block[kOpenFlagOffset] = 1;
    record.channel = static_cast<LONG>(SendCommand(record, kCommandOpen));
    if (record.channel >= 0) {
        PutU32(record.block, kChannelOffset, static_cast<std::uint32_t>(record.channel));
        record.opened = true;
    }
}

} // namespace

Logger::Logger(const TStr& name) : m_record(new (std::nothrow) Record) {
    if (m_record != nullptr) {
        m_record->name = name;
    }
}

Logger::~Logger() {
    if (m_record != nullptr && m_record->opened && m_record->channel != -1) {
        LastErrorKeeper keeper;
        std::lock_guard lock(m_record->mutex);
        PutU32(m_record->block, kChannelOffset, static_cast<std::uint32_t>(m_record->channel));
        SendCommand(*m_record, kCommandClose);
        m_record->channel = -1;
    }
    delete m_record;
    m_record = nullptr; // a late line after destruction at exit finds nothing to send on
}

void Logger::Log(const TStr& line) const {
    if (m_record == nullptr) {
        return;
    }
    LastErrorKeeper keeper;
    std::lock_guard lock(m_record->mutex);
    if (!m_record->opened) {
        OpenChannel(*m_record);
        if (!m_record->opened) {
            return;
        }
    }
    PutText(m_record->block, line);
    SendCommand(*m_record, kCommandWrite);
}

LONG LogAssertFailure(const char* file, int line) {
    CoreLogger().Log(u"Assertion failed," + mfStrGetFilenameAndExtFromPath(mfConvertMBCSToT(file)) +
                     u"(" + detail::DecimalText(line) + u")");
    return 0;
}

LONG LogAssertFailure(const char* function, const char* file, int line, const char* expression) {
    CoreLogger().Log(u"Assertion failed,\"" + mfConvertMBCSToT(expression) + u"\"," +
                     mfConvertMBCSToT(function) + u"()," +
                     mfStrGetFilenameAndExtFromPath(mfConvertMBCSToT(file)) + u"(" +
                     detail::DecimalText(line) + u")");
    return 0;
}

} // namespace core

core::Logger& CoreLogger() {
    static core::Logger logger(u"CORE");
    return logger;
}
