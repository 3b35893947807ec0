// bvcore tour: each capability of the library at work, in a few lines each.
#include "Commands.h"
#include "TourSections.h"

#include "Core/Common/Crc32.h"
#include "Core/Common/Exc.h"
#include "Core/Common/Logger.h"
#include "Core/Common/QueryStringParser.h"
#include "Core/Common/StlGuid.h"
#include "Core/Common/StrConv.h"
#include "Core/Common/StrUtils.h"

#include <bvplatform/testing.h>
#include <bvplatform/text.h>
#include <bvplatform/windows.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <utility>

namespace {

void Print(const TStr& text) {
    std::fputs(mfConvertTToUTF8(text).c_str(), stdout);
}

void Heading(const char* title) {
    std::printf("\n== %s\n", title);
}

// Shows control characters of a rendering so its exact shape is visible.
TStr Visible(const TStr& text) {
    TStr out;
    for (char16_t unit : text) {
        if (unit == u'\n') {
            out += u"\\n\n    ";
        } else if (unit == u'\t') {
            out += u"\\t";
        } else {
            out += unit;
        }
    }
    return out;
}

std::string HexBytes(const AStr& bytes) {
    std::string out;
    char buffer[4];
    for (unsigned char byte : bytes) {
        std::snprintf(buffer, sizeof buffer, "%02X ", byte);
        out += buffer;
    }
    return out;
}

// A stand-in for the diagnostics viewer inside this process: a window with the viewer's marks
// that prints what the library's loggers send.
LRESULT ViewerProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message != WM_COPYDATA) {
        return DefWindowProcW(window, message, wParam, lParam);
    }
    const auto* data = reinterpret_cast<const COPYDATASTRUCT*>(lParam);
    const auto* block = static_cast<const unsigned char*>(data->lpData);
    std::uint32_t count = 0;
    std::memcpy(&count, block + 32, sizeof count);
    TStr text(count > 0 ? count - 1 : 0, u'\0');
    std::memcpy(text.data(), block + 36, text.size() * sizeof(char16_t));
    switch (data->dwData) {
    case 2:
        Print(u"  [viewer] channel 1 opened for \"" + text + u"\"\n");
        return 1;
    case 7:
        Print(u"  [viewer] " + text + u"\n");
        return 0;
    case 3:
        std::printf("  [viewer] channel closed\n");
        return 0;
    default:
        return 0;
    }
}

void StartViewer() {
    WNDCLASSW windowClass{};
    windowClass.lpfnWndProc = ViewerProc;
    windowClass.lpszClassName = u"BVDiagTour";
    RegisterClassW(&windowClass);
    HWND viewer = CreateWindowExW(0, u"BVDiagTour", u"Brontavale_BVDiag", 0, 0, 0, 0, 0, nullptr,
                                  nullptr, nullptr, nullptr);
    SetWindowLongW(viewer, GWL_USERDATA, 0x52545642); // "BVTR"
}

void TourExceptions() {
    Heading("Exceptions: one throw procedure, three renderings, a log line");
    std::printf("Converting text from code page 12345, which does not exist:\n");
    bvplatform::testing::DebugOutputCapture debugOutput;
    try {
        (void)mfConvertMBCSToT(AStr("abc"), 12345);
    } catch (const mcExc& e) {
        std::printf("\ncaught as mcExc:\n  what()     %s\n", e.what());
        Print(u"  ThrowFunc  " + e.ThrowFunc() + u"\n  ThrowFile  " + e.ThrowFile() + u"\n");
        std::printf("  ThrowLine  %d\n  HResult    0x%08X\n", static_cast<int>(e.ThrowLine()),
                    static_cast<unsigned>(e.HResult()));
        std::printf("\ndebug output (banner, then the debug rendering):\n    ");
        Print(Visible(debugOutput.Text()) + u"\n");

        bvplatform::testing::MessageBoxCapture boxes;
        e.DebugMessageBox(u"Tour");
        std::printf("message box for a person:\n    ");
        Print(Visible(boxes.Boxes().at(0).text) + u"\n");
    }
}

void TourAssertions() {
    Heading("Assertions: a log record, and the code goes on");
    const LONG result = core::LogAssertFailure("mfTourStep", "tools/bvcore/Tour.cpp", 120,
                                               "!NARROW(\"step is invalid\")");
    std::printf("LogAssertFailure returned %d\n", static_cast<int>(result));
}

void TourText() {
    Heading("Text: between UTF-16 and code pages");
    const TStr text = u"Grüße ā € 東京 ♪";
    Print(u"text: " + text + u"\n");
    for (UINT codePage : {65001u, 1252u, 437u, 932u}) {
        const AStr bytes = mfConvertTToMBCS(text, codePage);
        std::printf("  code page %-5u %s\n", codePage, HexBytes(bytes).c_str());
        Print(u"      back:     " + mfConvertMBCSToT(bytes, codePage) + u"\n");
    }
    std::printf("(code page 1252 writes the best fit 'a' for U+0101 and '?' where it has none)\n");
}

void TourStrings() {
    Heading("Text: order, case, splitting and URL coding");
    const std::pair<TStr, TStr> pairs[] = {
        {u"abc", u"ABC"}, {u"coop", u"co-op"}, {u"a b", u"ab"}, {u"stra\u00DFe", u"strasse"}};
    std::printf("mfStrCompare in the user's order (exact, ignoring case):\n");
    for (const auto& [a, b] : pairs) {
        Print(u"  \"" + a + u"\" vs \"" + b + u"\"");
        std::printf("  %2d  %2d\n", mfStrCompare(a, b, false), mfStrCompare(a, b, true));
    }
    Print(u"mfStrToUpper(\"stra\u00DFe \u00E4rger \u0131\")  = " +
          mfStrToUpper(u"stra\u00DFe \u00E4rger \u0131") +
          u"   (\u00DF and \u0131 keep their form)\n");
    TStr title = u"rock'n roll \u00E9t\u00E9";
    mfStrCapitalizeWords(title, u" '");
    Print(u"mfStrCapitalizeWords(\"rock'n roll \u00E9t\u00E9\", \" '\") = " + title + u"\n");
    TStrVec pieces;
    const unsigned count = mfStrSplitLine(u",a,,b::c,", u",", pieces);
    std::printf("mfStrSplitLine(\",a,,b::c,\", \",\") adds %u pieces:", count);
    for (const TStr& piece : pieces) {
        Print(u" [" + piece + u"]");
    }
    const TStr encoded = mfStrUrlEncode(u"Caf\u00E9 \u266A (live).mp3", true);
    Print(u"\nmfStrUrlEncode(strict):  " + encoded + u"\n");
    Print(u"mfStrUrlUnencode back:   " + mfStrUrlUnencode(encoded) +
          u"   (two digits per %: only units up to 0xFF come back)\n");
    std::printf("mfStrCompareBVVersions(\"8.0.100\", \"8.0.99\") = %d; with \"8.0\" = %d "
                "(and an assertion line)\n",
                mfStrCompareBVVersions(u"8.0.100", u"8.0.99"),
                mfStrCompareBVVersions(u"8.0", u"8.0.99"));
}

void TourIdentifiers() {
    Heading("Identifiers: a new GUID, a query string, a CRC-32");
    const TStr made = mfStrMakeGuidStr();
    Print(u"mfStrMakeGuidStr():           " + made + u"\n");
    mcStlGuid guid;
    if (mfStrConvertStrToGuid(made, guid)) {
        Print(u"mfStrConvertGuidToStr:        " + mfStrConvertGuidToStr(guid, false) + u"\n");
        Print(u"  ... with a dash every byte: " + mfStrConvertGuidToStr(guid, true) + u"\n");
    }
    const TStr url = u"http://host/play?track=Caf%C3%A9+Noir&rate=44100&flag&rate=48000&=x";
    const mcQueryStringParser query(url);
    Print(u"mcQueryStringParser(\"" + url + u"\") keeps:\n    " + Visible(query.Dump()) +
          u"(a pair without \"=\" is dropped; a repeated name keeps its first value)\n");
    TStr track;
    if (query.GetValue(u"track", &track)) {
        Print(u"GetValue(\"track\") = " + track + u", undecoded\n");
    }
    const char* text = "123456789";
    const auto* bytes = reinterpret_cast<const unsigned char*>(text);
    const LONG whole = mfCrc32(0, bytes, 9);
    const LONG chained = mfCrc32(static_cast<ULONG>(mfCrc32(0, bytes, 4)), bytes + 4, 5);
    std::printf("mfCrc32(\"123456789\") = 0x%08X; in two steps 0x%08X\n",
                static_cast<unsigned>(whole), static_cast<unsigned>(chained));
}

} // namespace

int bvtool::RunTour(Args) {
    std::printf("Brontavale Core: a short tour\n");
    std::printf("A stand-in diagnostics viewer runs inside this process and prints what it "
                "receives.\n");
    StartViewer();
    TourExceptions();
    TourAssertions();
    TourTrace();
    TourText();
    TourStrings();
    TourIdentifiers();
    TourRegistry();
    TourDateTime();
    TourSettings();
    TourRegFile();
    std::printf("\nAt exit the CORE logger closes its channel:\n");
    return 0;
}
