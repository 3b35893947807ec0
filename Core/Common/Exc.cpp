// The exception family: construction, renderings, announcement and the system's messages.
#include "Core/Common/Exc.h"

#include "Core/Common/ExcPrivate.h"
#include "Core/Common/Logger.h"
#include "Core/Common/StrConv.h"
#include "Core/Common/StrUtils.h"
#include "Core/Common/TextPrivate.h"
#include "Core/Common/Win32Exc.h"

#include <bvplatform/base.h>
#include <bvplatform/debug.h>

using core::detail::DecimalText;
using core::detail::HexText;

namespace {

// The code as the unsigned 32-bit value, lower-case, unfilled, then its system text in brackets.
TStr CodeWithMessage(LONG code) {
    return HexText(static_cast<std::uint32_t>(code)) + u" (" +
           mfGetSystemMessage(static_cast<ULONG>(code)) + u")";
}

} // namespace

// ---- mcExc ------------------------------------------------------------------------------------

mcExc::mcExc() : m_throwLine(0), m_code(0) {}

mcExc::mcExc(const AStr& function, const AStr& file, LONG line, const TStr& description, LONG code)
    : m_throwFunc(mfConvertMBCSToT(function)), m_throwFile(mfConvertMBCSToT(file)),
      m_throwLine(line), m_description(mfConvertTToMBCS(description)), m_code(code) {}

mcExc::mcExc(const mcExc& other) = default;

mcExc& mcExc::operator=(const mcExc& other) = default;

mcExc::~mcExc() = default;

const char* mcExc::what() const noexcept {
    return m_description.c_str();
}

TStr mcExc::whatT() const {
    return mfConvertMBCSToT(what());
}

TStr mcExc::ThrowFile() const {
    return m_throwFile;
}

TStr mcExc::ThrowFunc() const {
    return m_throwFunc;
}

LONG mcExc::ThrowLine() const {
    return m_throwLine;
}

LONG mcExc::HResult() const {
    return m_code;
}

void mcExc::DumpToDbwin() const {
    OutputDebugStringW(MakeDbwinStr().c_str());
}

void mcExc::Log() const {
    CoreLogger().Log(MakeLogStr());
}

void mcExc::DebugMessageBox(const TStr& caption) const {
    const TStr description = mfConvertMBCSToT(m_description);
    // A description that already is a rendering or the XML form of an exception is shown as is.
    const bool rendered = description.find(u"BRONTAVALE Exception") != TStr::npos ||
                          description.find(u"bv_cli_exception") != TStr::npos;
    const TStr body = rendered ? description : MakeDisplayStr();
    MessageBoxW(nullptr, body.c_str(), caption.c_str(), MB_OK);
}

TStr mcExc::TypeLabel() {
    // The platform's readable name of mcExc, taken on a copy sliced to mcExc: the same text
    // for every class of the family.
    return u"class mcExc";
}

TStr mcExc::MakeDbwinStr() const {
    TStr text;
    if (m_code != 0) {
        text += u"HRESULT:" + CodeWithMessage(m_code) + u"\n";
    }
    text += u"Description:" + mfConvertMBCSToT(m_description) + u"\n";
    text += u"Function:\t" + m_throwFunc + u"\n";
    text += m_throwFile + u"(" + DecimalText(m_throwLine) + u")\n\n";
    return text;
}

TStr mcExc::MakeDisplayStr() const {
    return u"BRONTAVALE Exception\n\nType:\t\t" + TypeLabel() + u"\nDescription:\t" +
           mfConvertMBCSToT(m_description) + u"\nFunction:\t\t" + m_throwFunc + u"\nFile:\t\t" +
           m_throwFile + u"\nLine:\t\t" + DecimalText(m_throwLine);
}

TStr mcExc::MakeLogStr() const {
    TStr line = m_throwFunc + u",Throwing " + TypeLabel() + u"," + mfConvertMBCSToT(m_description) +
                u"," + mfStrGetFilenameAndExtFromPath(m_throwFile) + u"(" +
                DecimalText(m_throwLine) + u")";
    if (m_code != 0) {
        line += u",HRESULT:" + CodeWithMessage(m_code);
    }
    return line;
}

// ---- mcWin32Exc -------------------------------------------------------------------------------

mcWin32Exc::mcWin32Exc(const AStr& function, const AStr& file, LONG line, const TStr& description)
    : mcExc(function, file, line, description, 0), m_win32Error(GetLastError()) {
    // The base was built with code 0; the code and the longer description replace it whole.
    static_cast<mcExc&>(*this) = mcExc(
        function, file, line, description + u" - Win32 Error: " + mfGetSystemMessage(m_win32Error),
        HRESULT_FROM_WIN32(m_win32Error));
}

mcWin32Exc::mcWin32Exc(const mcWin32Exc& other) = default;

mcWin32Exc::~mcWin32Exc() = default;

// ---- the throw procedure and system messages --------------------------------------------------

void core::detail::Announce(const mcExc& local) {
    OutputDebugStringW(u"\n*** Throwing BRONTAVALE Exception ***\n");
    local.Log();
    local.DumpToDbwin();
}

TStr mfGetSystemMessage(ULONG code) {
    constexpr DWORD kFlags = 0x13FF; // allocate; from the system; ignore inserts; one line
    LPWSTR buffer = nullptr;
    const DWORD length = FormatMessageW(kFlags, nullptr, code, 0x0400,
                                        reinterpret_cast<LPWSTR>(&buffer), 0, nullptr);
    if (length == 0 || buffer == nullptr) {
        return u"Error: " + HexText(code, 8);
    }
    TStr text(buffer, length);
    LocalFree(buffer);
    return text;
}
