// The exception family: fields, renderings to the character, the throw procedure's
// announcements and their order, and the system messages.
#include "Core/Common/Exc.h"
#include "Core/Common/ExcPrivate.h"
#include "Core/Common/StrUtils.h"
#include "Core/Common/Win32Exc.h"

#include "ViewerState.h"
#include "support/TestViewer.h"

#include <bvplatform/base.h>
#include <bvplatform/testing.h>
#include <bvplatform/winerror.h>

#include <gtest/gtest.h>

namespace {

// Opens the protected renderings of any member of the family (copied as mcExc).
struct Renderings : mcExc {
    explicit Renderings(const mcExc& e) : mcExc(e) {}
    using mcExc::MakeDbwinStr;
    using mcExc::MakeDisplayStr;
    using mcExc::MakeLogStr;
};

const TStr kFileText = u"The system cannot find the file specified. ";

mcExc Sample(LONG code) {
    return mcExc("mfFileLoadUCharVec", "Core\\Common\\FileUtils", 123, u"Cannot load", code);
}

} // namespace

BV_DECLARE_EXCEPTION(ProbeException, mcExc);
BV_DECLARE_EXCEPTION(ProbeKeyException, ProbeException);
BV_DEFINE_EXCEPTION(ProbeException, ProbeException, mcExc);
BV_DEFINE_EXCEPTION(ProbeKeyException, ProbeKeyException, ProbeException);

namespace core::settings {
struct Probe {
    [[noreturn]] static void ValueTStr() {
        BV_THROW(ProbeKeyException, u"Could not retrieve value.");
    }
};
} // namespace core::settings

TEST(Exc, DescriptionUnitsTheCodePageLacksAreReplaced) {
    const mcExc e("f", "x.cpp", 1, TStr(u"a") + char16_t(0xD800) + u"b\u00e9");
    EXPECT_STREQ(e.what(), "a\xEF\xBF\xBD"
                           "b\xC3\xA9");
    EXPECT_EQ(e.whatT(), u"a\uFFFDb\u00e9");
}

TEST(Exc, RenderingsWithoutCode) {
    const Renderings r(Sample(0));
    EXPECT_EQ(r.MakeDbwinStr(),
              u"Description:Cannot "
              u"load\nFunction:\tmfFileLoadUCharVec\nCore\\Common\\FileUtils(123)\n\n");
    EXPECT_EQ(r.MakeLogStr(),
              u"mfFileLoadUCharVec,Throwing class mcExc,Cannot load,FileUtils(123)");
    EXPECT_EQ(r.MakeDisplayStr(),
              u"BRONTAVALE Exception\n\nType:\t\tclass mcExc\nDescription:\tCannot load\n"
              u"Function:\t\tmfFileLoadUCharVec\nFile:\t\tCore\\Common\\FileUtils\nLine:\t\t123");
}

TEST(Exc, RenderingsWithCode) {
    const Renderings r(Sample(static_cast<LONG>(0x80070002)));
    EXPECT_EQ(r.MakeDbwinStr(), u"HRESULT:80070002 (" + kFileText +
                                    u")\nDescription:Cannot load\nFunction:\tmfFileLoadUCharVec\n"
                                    u"Core\\Common\\FileUtils(123)\n\n");
    EXPECT_EQ(r.MakeLogStr(), u"mfFileLoadUCharVec,Throwing class mcExc,Cannot load,FileUtils(123),"
                              u"HRESULT:80070002 (" +
                                  kFileText + u")");
    // A person's rendering never shows the code; a small code is not zero-filled.
    EXPECT_EQ(r.MakeDisplayStr().find(u"HRESULT"), TStr::npos);
    EXPECT_NE(Renderings(Sample(5)).MakeDbwinStr().find(u"HRESULT:5 ("), TStr::npos);
}

TEST(Exc, LabelIsTheRootsForEveryClass) {
    const ProbeKeyException e("core::settings::Setting::Value", "Core/Common/Settings.cpp", 9,
                              u"Bad type");
    const Renderings r(e);
    EXPECT_EQ(r.MakeLogStr(),
              u"core::settings::Setting::Value,Throwing class mcExc,Bad type,Settings.cpp(9)");
    EXPECT_NE(r.MakeDisplayStr().find(u"Type:\t\tclass mcExc\n"), TStr::npos);
    EXPECT_NE(r.MakeDisplayStr().find(u"File:\t\tCore/Common/Settings.cpp\n"), TStr::npos);
}

TEST(Win32Exc, CodeFromLastError) {
    struct Row {
        DWORD lastError;
        DWORD code;
        const char* what;
    } rows[] = {
        {5, 0x80070005u, "open failed - Win32 Error: Access is denied. "},
        {0, 0, "open failed - Win32 Error: The operation completed successfully. "},
        {0x00400057, 0x80070057u, "open failed - Win32 Error: Error: 00400057"},
        {0x80004005u, 0x80004005u, "open failed - Win32 Error: Unspecified error "},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.lastError);
        SetLastError(row.lastError);
        const mcWin32Exc e("f", "x.cpp", 1, u"open failed");
        EXPECT_EQ(e.Win32Error(), row.lastError);
        EXPECT_EQ(static_cast<DWORD>(e.HResult()), row.code);
        EXPECT_STREQ(e.what(), row.what);
    }
}

TEST(Win32Exc, ZeroLastErrorRendersNoCode) {
    SetLastError(0);
    const Renderings r(mcWin32Exc("f", "x.cpp", 1, u"x"));
    EXPECT_EQ(r.MakeDbwinStr().find(u"HRESULT"), TStr::npos);
    EXPECT_EQ(r.MakeLogStr().find(u"HRESULT"), TStr::npos);
}

TEST(ThrowProcedure, FunctionNamesAreCutFromSignatures) {
    struct Row {
        const char* signature;
        const char* name;
    } rows[] = {
        {"TStr core::settings::Setting::ValueTStr() const", "core::settings::Setting::ValueTStr"},
        {"int a::b::C::f(T) const [with T = int]", "a::b::C::f"},
        {"a::b::C::C()", "a::b::C::C"},
        {"void mfFoo(int (*)(int), const char*)", "mfFoo"},
        {"std::vector<std::pair<int, int> > ns::Box<int, long>::Get() &&",
         "ns::Box<int, long>::Get"},
        {"ns::Path& ns::Path::operator=(const TStr&)", "ns::Path::operator="},
        {"static void {anonymous}::Helper::Run()", "{anonymous}::Helper::Run"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.signature);
        const std::string sig = row.signature;
        // The parser takes an array reference; copy into one of a fixed size.
        char buffer[128] = {};
        sig.copy(buffer, sizeof buffer - 1);
        const auto name = core::detail::QualifiedFunctionName(buffer);
        EXPECT_STREQ(name.c_str(), row.name);
    }
}

TEST(ThrowProcedure, ThrownObjectKeepsItsClassAndSite) {
    try {
        core::settings::Probe::ValueTStr();
        FAIL() << "no throw";
    } catch (const ProbeKeyException& e) {
        EXPECT_STREQ(e.what(), "Could not retrieve value.");
        EXPECT_EQ(e.ThrowFunc(), u"core::settings::Probe::ValueTStr");
        EXPECT_EQ(e.ThrowFile(), u"tests/common/ExcTest.cpp");
        EXPECT_GT(e.ThrowLine(), 0);
    }
}

TEST(ThrowProcedure, AnnouncesBannerLogLineThenDump) {
    bvplatform::testing::DebugOutputCapture debug;
    bvtest::TestViewer viewer;
    bvtest::AttachViewer(viewer);
    std::size_t debugCallsAtLogLine = 99;
    viewer.OnMessage([&](const bvtest::ViewerMessage& m) {
        if (m.command == 7) {
            debugCallsAtLogLine = debug.Calls().size();
        }
    });
    EXPECT_THROW(core::settings::Probe::ValueTStr(), mcExc);

    const auto calls = debug.Calls();
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[0], u"\n*** Throwing BRONTAVALE Exception ***\n");
    EXPECT_EQ(debugCallsAtLogLine, 1u); // the log line went out between banner and dump
    EXPECT_EQ(calls[1].rfind(u"Description:Could not retrieve value.\n"
                             u"Function:\tcore::settings::Probe::ValueTStr\n"
                             u"tests/common/ExcTest.cpp(",
                             0),
              0u);
    ASSERT_EQ(viewer.Commands().back(), 7u); // (an open first if CORE was not opened yet)
    EXPECT_EQ(viewer.Messages().back().Text().rfind(
                  u"core::settings::Probe::ValueTStr,Throwing class mcExc,"
                  u"Could not retrieve value.,ExcTest.cpp(",
                  0),
              0u);
}

TEST(Exc, DebugMessageBoxChoosesItsBody) {
    struct Row {
        const char16_t* description;
        bool shownAsIs;
    } rows[] = {
        {u"Cannot load", false},
        {u"<bv_cli_exception><Description>x</Description></bv_cli_exception>", true},
        {u"BRONTAVALE Exception\n\nType:\t\tclass mcExc", true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(&row - rows);
        bvplatform::testing::MessageBoxCapture boxes;
        const mcExc e("f", "d/x.cpp", 3, row.description);
        e.DebugMessageBox(u"Caption");
        ASSERT_EQ(boxes.Boxes().size(), 1u);
        EXPECT_EQ(boxes.Boxes()[0].caption, u"Caption");
        EXPECT_EQ(boxes.Boxes()[0].text,
                  row.shownAsIs ? TStr(row.description) : Renderings(e).MakeDisplayStr());
    }
}

TEST(SystemMessage, TextOrErrorForm) {
    struct Row {
        ULONG code;
        const char16_t* text;
    } rows[] = {
        {2, u"The system cannot find the file specified. "},
        {0x80070002u, u"The system cannot find the file specified. "},
        {0x80004005u, u"Unspecified error "},
        {0xC00CE558u, u"Error: c00ce558"},
        {0xDEADBEEFu, u"Error: deadbeef"},
        {0x0000FFFFu, u"Error: 0000ffff"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.code);
        EXPECT_EQ(mfGetSystemMessage(row.code), row.text);
    }
}

TEST(StrUtils, FileNameAndExtensionOfPaths) {
    struct Row {
        const char16_t* path;
        const char16_t* name;
    } rows[] = {
        {u"", u""},
        {u"C:\\music\\song.MP3", u"song.MP3"},
        {u"Core/Common/Exc.cpp", u"Exc.cpp"},
        {u"C:/mixed\\sep/name.tar.gz", u"name.tar.gz"},
        {u"C:file", u"file"},
        {u"dir/", u""},
        {u"\\\\server\\share", u"share"},
        {u"a.b.c", u"a.b.c"},
        {u"..", u".."},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(mfStrGetFilenameAndExtFromPath(row.path), row.name);
    }
}
