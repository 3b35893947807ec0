// OutputDebugStringW/A and MessageBoxW: where the text goes (nowhere, standard error, a file, a
// capture), its UTF-8 bytes, nesting of captures, and whole texts under many threads.
#include "support/RefData.h"

#include <bvplatform/base.h>
#include <bvplatform/debug.h>
#include <bvplatform/testing.h>
#include <bvplatform/winerror.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <set>
#include <sstream>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

using bvplatform::testing::DebugOutputCapture;
using bvplatform::testing::MessageBoxCapture;
using ::testing::internal::CaptureStderr;
using ::testing::internal::GetCapturedStderr;

namespace {

// Points BV_DEBUG_OUTPUT at a value (null: unset) for the life of the object.
struct DebugTarget {
    explicit DebugTarget(const char* value) {
        value ? setenv("BV_DEBUG_OUTPUT", value, 1) : unsetenv("BV_DEBUG_OUTPUT");
    }
    ~DebugTarget() { unsetenv("BV_DEBUG_OUTPUT"); }
};

// A file path of this test, absent at the start and removed at the end.
struct ScratchFile {
    const std::string path = ::testing::TempDir() + "bvdebug-" + std::to_string(getpid()) + "-" +
                             ::testing::UnitTest::GetInstance()->current_test_info()->name();
    ScratchFile() { std::remove(path.c_str()); }
    ~ScratchFile() { std::remove(path.c_str()); }
};

// The file's bytes, or "<absent>" when there is no file (kept apart from an empty one).
std::string ReadAll(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        return "<absent>";
    }
    std::ostringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
}

} // namespace

TEST(DebugOutput, GoesWhereTheEnvironmentSays) {
    const ScratchFile scratch;
    const std::string& file = scratch.path;
    struct Row {
        const char* target; // BV_DEBUG_OUTPUT; null: unset
        const char* stderrBytes;
        const char* fileBytes; // "earlier|" was in the file before the call
    } rows[] = {
        {nullptr, "", "earlier|"},
        {"", "", "earlier|"},
        {"stderr", "h\xC3\xA9llo\n", "earlier|"},
        {file.c_str(), "", "earlier|h\xC3\xA9llo\n"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.target ? row.target : "unset");
        std::ofstream(file) << "earlier|";
        const DebugTarget target(row.target);
        CaptureStderr();
        OutputDebugStringW(u"h\u00E9llo\n");
        OutputDebugStringW(nullptr);
        EXPECT_EQ(GetCapturedStderr(), row.stderrBytes);
        EXPECT_EQ(ReadAll(file), row.fileBytes);
    }
    // A missing file is created, readable by its owner only.
    std::remove(file.c_str());
    const DebugTarget target(file.c_str());
    OutputDebugStringW(u"x");
    struct stat st {};
    ASSERT_EQ(stat(file.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);
}

TEST(DebugOutput, WritesUtf8AndReplacesLoneSurrogates) {
    const ScratchFile scratch;
    const std::string& file = scratch.path;
    const DebugTarget target(file.c_str());
    const struct Row {
        std::u16string text;
        const char* bytes;
    } rows[] = {
        {u"A\u00E9\u20AC", "hex:41c3a9e282ac"},
        {u"\U0001F3B5", "hex:f09f8eb5"},
        {{char16_t(0xD800)}, "hex:efbfbd"},
        {{char16_t(0xD800), u'A'}, "hex:efbfbd41"},
        {{char16_t(0xDC00), char16_t(0xD800)}, "hex:efbfbdefbfbd"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.bytes);
        std::remove(file.c_str());
        OutputDebugStringW(row.text.c_str());
        EXPECT_EQ(bvtest::ShowHex(ReadAll(file)), row.bytes);
    }
}

TEST(DebugOutput, InnermostCaptureReceivesAndNothingLeaks) {
    const ScratchFile scratch;
    const std::string& file = scratch.path;
    const DebugTarget target(file.c_str());
    DebugOutputCapture outer;
    OutputDebugStringW(u"1");
    {
        const DebugOutputCapture inner;
        OutputDebugStringW(u"2");
        OutputDebugStringW(u"");
        EXPECT_EQ(inner.Calls(), (std::vector<std::u16string>{u"2", u""}));
    }
    OutputDebugStringW(u"3");
    EXPECT_EQ(outer.Calls(), (std::vector<std::u16string>{u"1", u"3"}));
    EXPECT_EQ(outer.Text(), u"13");
    outer.Clear();
    OutputDebugStringW(u"4");
    EXPECT_EQ(outer.Text(), u"4");
    EXPECT_EQ(ReadAll(file), "<absent>");
    // The narrow twin decodes UTF-8, each invalid sequence to one U+FFFD.
    outer.Clear();
    OutputDebugStringA("caf\xC3\xA9|a\200b|\343\201A|\xF0\x9F\x8E\xB5");
    OutputDebugStringA(nullptr);
    EXPECT_EQ(outer.Calls(), std::vector<std::u16string>{u"caf\u00E9|a\uFFFDb|\uFFFDA|\U0001F3B5"});
}

// Eight threads write long lines to one file at once: every line arrives whole.
TEST(DebugOutput, ThreadsNeverInterleave) {
    const ScratchFile scratch;
    const std::string& file = scratch.path;
    const auto lineOf = [](int thread, int call) {
        return std::to_string(thread) + ":" + std::to_string(call) +
               std::string(3000, static_cast<char>('a' + thread)) + "\n";
    };
    std::multiset<std::string> expected;
    {
        const DebugTarget target(file.c_str());
        std::vector<std::thread> threads;
        for (int t = 0; t < 8; ++t) {
            threads.emplace_back([&lineOf, t] {
                for (int c = 0; c < 100; ++c) {
                    OutputDebugStringA(lineOf(t, c).c_str());
                }
            });
            for (int c = 0; c < 100; ++c) {
                expected.insert(lineOf(t, c));
            }
        }
        for (auto& thread : threads) {
            thread.join();
        }
    }
    std::multiset<std::string> written;
    std::istringstream in(ReadAll(file));
    for (std::string line; std::getline(in, line);) {
        written.insert(line + "\n");
    }
    EXPECT_EQ(written, expected);
}

TEST(MessageBox, IsCapturedOrShownOnStderrAndAnswersOk) {
    const struct Row {
        const char16_t* caption;
        const char16_t* text;
        UINT type;
        std::u16string want; // caption|text
        const char* stderrBytes;
    } rows[] = {
        {u"Caption", u"Body", MB_OK, u"Caption|Body", "[Caption]\nBody\n"},
        {nullptr, u"\u00C4rger", MB_ICONERROR, u"Error|\u00C4rger", "[Error]\n\xC3\x84rger\n"},
        {u"C", nullptr, MB_OKCANCEL | MB_ICONWARNING, u"C|", "[C]\n\n"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.stderrBytes);
        {
            const MessageBoxCapture capture;
            SetLastError(0xdeadbeef);
            EXPECT_EQ(MessageBoxW(nullptr, row.text, row.caption, row.type), IDOK);
            EXPECT_EQ(GetLastError(), 0xdeadbeefu);
            const auto boxes = capture.Boxes();
            ASSERT_EQ(boxes.size(), 1u);
            EXPECT_EQ(boxes[0].caption + u"|" + boxes[0].text, row.want);
            EXPECT_EQ(boxes[0].type, row.type);
        }
        CaptureStderr();
        EXPECT_EQ(MessageBoxW(nullptr, row.text, row.caption, row.type), IDOK);
        EXPECT_EQ(GetCapturedStderr(), row.stderrBytes);
    }
    // An owner that is no window fails before anything is shown.
    const MessageBoxCapture capture;
    EXPECT_EQ(MessageBoxW(reinterpret_cast<HWND>(0x1234), u"t", u"c", MB_OK), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_WINDOW_HANDLE);
    EXPECT_TRUE(capture.Boxes().empty());
}
