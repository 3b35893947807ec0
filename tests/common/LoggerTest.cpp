// The diagnostics channel: discovery of the viewer, the message block, the channel's states,
// and assertion records.
#include "Core/Common/Logger.h"

#include "ViewerState.h"
#include "support/TestViewer.h"

#include <bvplatform/base.h>
#include <bvplatform/testing.h>
#include <bvplatform/windows.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <pthread.h>
#include <set>
#include <string>
#include <thread>

using bvtest::TestViewer;
using bvtest::ViewerMessage;

namespace {

std::vector<ULONG_PTR> Commands(std::initializer_list<ULONG_PTR> list) {
    return list;
}

// Counts WinExec calls and optionally starts a viewer that is found only by its title.
struct WinExecProbe {
    int calls = 0;
    std::string lastCommandLine;
    UINT lastShow = 99;
    std::unique_ptr<TestViewer> started;
    bool startsViewer = false;

    WinExecProbe() {
        bvplatform::testing::SetWinExecHandler([this](const char* cmd, UINT show) -> UINT {
            ++calls;
            lastCommandLine = cmd;
            lastShow = show;
            if (!startsViewer) {
                return 2;
            }
            started = std::make_unique<TestViewer>(TestViewer::Options{.marked = false});
            return 33;
        });
    }
    ~WinExecProbe() { bvplatform::testing::SetWinExecHandler({}); }
};

TStr Units(std::size_t count) {
    TStr text;
    for (std::size_t i = 0; i < count; ++i) {
        text.push_back(static_cast<char16_t>(u'a' + i % 26));
    }
    return text;
}

class Logger : public ::testing::Test {
protected:
    void SetUp() override { bvtest::ForgetViewer(); }
};

} // namespace

TEST_F(Logger, SilentUntilTheFirstLine) {
    WinExecProbe exec;
    TestViewer viewer;
    { core::Logger logger(u"quiet"); }
    EXPECT_TRUE(viewer.Messages().empty());
    EXPECT_EQ(exec.calls, 0);
}

TEST_F(Logger, OpensThenWritesThenCloses) {
    TestViewer viewer;
    viewer.SetOpenReply(5);
    {
        core::Logger logger(u"Player");
        SetLastError(1234);
        logger.Log(u"hello");
        EXPECT_EQ(GetLastError(), 1234u) << "the caller's last error is kept";
        logger.Log(u"");
    }
    ASSERT_EQ(viewer.Commands(), Commands({2, 7, 7, 3}));
    for (const ViewerMessage& m : viewer.Messages()) {
        EXPECT_EQ(m.bytes, 8104u);
        EXPECT_EQ(m.U32(0), 8104u);
        EXPECT_EQ(m.U32(8), 0u); // written with the open, kept afterwards
        EXPECT_EQ(m.U32(12), 0xEFFFFFFFu);
        EXPECT_EQ(m.block[28], 1);
    }
    const auto& m = viewer.Messages();
    EXPECT_EQ(m[0].Text(), u"Player");
    EXPECT_EQ(m[0].U32(32), 7u);
    for (std::size_t offset : {16u, 20u, 24u, 29u, 8040u, 8100u}) {
        EXPECT_EQ(m[0].block[offset], 0) << "unwritten byte " << offset;
    }
    EXPECT_EQ(m[1].Text(), u"hello");
    EXPECT_EQ(m[1].U32(4), 5u);  // the channel the viewer gave
    EXPECT_EQ(m[2].U32(32), 1u); // an empty line is the terminator alone
    EXPECT_EQ(m[3].U32(4), 5u);
}

TEST_F(Logger, PreviousResultTravelsWithTheNextMessage) {
    TestViewer viewer;
    viewer.SetOpenReply(9);
    viewer.SetOtherReply(static_cast<LRESULT>(0x100000007LL)); // cut to 32 bits: 7
    core::Logger logger(u"L");
    logger.Log(u"one");
    logger.Log(u"two");
    const auto& m = viewer.Messages();
    ASSERT_EQ(m.size(), 3u);
    EXPECT_EQ(m[1].U32(8036), 9u);
    EXPECT_EQ(m[2].U32(8036), 7u);
}

TEST_F(Logger, LongTextsKeepTheirFirst3999Units) {
    TestViewer viewer;
    core::Logger logger(Units(5000));
    for (std::size_t length : {3998u, 3999u, 4000u, 4001u, 9000u}) {
        logger.Log(Units(length));
    }
    const auto& m = viewer.Messages();
    ASSERT_EQ(m.size(), 6u);
    EXPECT_EQ(m[0].Text(), Units(3999)); // the name is cut the same way
    const std::size_t expected[] = {3998, 3999, 3999, 3999, 3999};
    for (std::size_t i = 0; i < 5; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(m[i + 1].U32(32), expected[i] + 1);
        EXPECT_EQ(m[i + 1].Text(), Units(expected[i]));
        EXPECT_EQ(m[i + 1].block[36 + 2 * expected[i]], 0);
    }
}

TEST_F(Logger, AbsentViewerIsStartedAtEveryLine) {
    WinExecProbe exec;
    core::Logger logger(u"L");
    logger.Log(u"lost");
    logger.Log(u"lost too");
    EXPECT_EQ(exec.calls, 2);
    EXPECT_EQ(exec.lastCommandLine, "BVDiag.exe");
    EXPECT_EQ(exec.lastShow, 0u);
}

// With no viewer anywhere (none beside the program, none on PATH) every line asks the platform
// again, and the platform gives up without starting a process.
TEST_F(Logger, UnstartableViewerCostsNoProcess) {
    static int forks = 0;
    pthread_atfork(
        nullptr, [] { ++forks; }, nullptr);
    const char* path = std::getenv("PATH");
    const std::string saved = path != nullptr ? path : "";
    setenv("PATH", "", 1);
    core::Logger logger(u"L");
    logger.Log(u"lost");
    logger.Log(u"lost too");
    setenv("PATH", saved.c_str(), 1);
    EXPECT_EQ(forks, 0);
    EXPECT_EQ(FindWindowW(nullptr, u"Brontavale_BVDiag"), nullptr);
}

TEST_F(Logger, StartedViewerIsFoundByTitle) {
    WinExecProbe exec;
    exec.startsViewer = true;
    core::Logger logger(u"L");
    logger.Log(u"first");
    ASSERT_TRUE(exec.started);
    EXPECT_EQ(exec.started->Commands(), Commands({2, 7}));
    logger.Log(u"second"); // the handle is kept: no second start
    EXPECT_EQ(exec.calls, 1);
}

TEST_F(Logger, MarkedViewerIsPreferredToTitle) {
    TestViewer byTitle(TestViewer::Options{.marked = false});
    TestViewer marked(TestViewer::Options{.marked = true, .title = u"other"});
    core::Logger logger(u"L");
    logger.Log(u"x");
    EXPECT_TRUE(byTitle.Messages().empty());
    EXPECT_EQ(marked.Commands(), Commands({2, 7}));
}

TEST_F(Logger, RefusedChannelLeavesLoggerUnopened) {
    TestViewer viewer;
    viewer.SetOpenReply(-1);
    {
        core::Logger logger(u"L");
        logger.Log(u"dropped");
        logger.Log(u"dropped again");
    }
    EXPECT_EQ(viewer.Commands(), Commands({2, 2})); // no line, no close
}

TEST_F(Logger, VanishedViewerIsReplacedUnderTheOldChannel) {
    auto first = std::make_unique<TestViewer>();
    first->SetOpenReply(4);
    core::Logger logger(u"L");
    logger.Log(u"before");
    first->Destroy();

    TestViewer second;
    logger.Log(u"after");
    ASSERT_EQ(second.Commands(), Commands({7}));
    EXPECT_EQ(second.Messages()[0].U32(4), 4u);
    EXPECT_EQ(second.Messages()[0].Text(), u"after");
}

TEST_F(Logger, OpenedLoggerWaitsForAnotherToFindTheNextViewer) {
    WinExecProbe exec;
    auto first = std::make_unique<TestViewer>();
    first->SetOtherReply(77);
    core::Logger logger(u"L");
    logger.Log(u"one");
    logger.Log(u"two");
    first->Destroy();
    logger.Log(u"lost"); // rediscovery finds nothing: the shared handle stays clear
    EXPECT_EQ(exec.calls, 1);

    TestViewer second;
    logger.Log(u"lost too"); // an opened logger sends nothing on a clear handle
    EXPECT_TRUE(second.Messages().empty());
    EXPECT_EQ(exec.calls, 1);

    core::Logger other(u"M"); // an unopened logger discovers the viewer for the whole process
    other.Log(u"m");
    logger.Log(u"three");
    ASSERT_EQ(second.Commands(), Commands({2, 7, 7}));
    EXPECT_EQ(second.Messages()[2].Text(), u"three");
    EXPECT_EQ(second.Messages()[2].U32(8036), 0u); // the result of the lost send
}

TEST_F(Logger, ThreadsSendWholeMessages) {
    TestViewer viewer;
    core::Logger logger(u"L");
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&logger, t] {
            for (int i = 0; i < 200; ++i) {
                logger.Log(
                    TStr(static_cast<std::size_t>(10 + t * 50), static_cast<char16_t>(u'A' + t)));
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    const auto& m = viewer.Messages();
    ASSERT_EQ(m.size(), 801u);
    EXPECT_EQ(m[0].command, 2u);
    for (std::size_t i = 1; i < m.size(); ++i) {
        const TStr text = m[i].Text();
        ASSERT_FALSE(text.empty());
        const int t = text[0] - u'A';
        EXPECT_EQ(text, TStr(static_cast<std::size_t>(10 + t * 50), text[0])) << i;
    }
}

TEST_F(Logger, CoreLoggerClosesItsChannelAtExit) {
    // A fresh child, so that the viewer is built before the CORE logger and outlives it.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            static TestViewer viewer;
            viewer.OnMessage([](const ViewerMessage& m) {
                if (m.command == 3) {
                    std::fputs("closed channel\n", stderr);
                }
            });
            CoreLogger().Log(u"x");
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), "closed channel");
}

TEST(Assertion, LineForms) {
    TestViewer viewer;
    bvtest::AttachViewer(viewer);
    EXPECT_EQ(core::LogAssertFailure("Core/Common/SafeArrayConvert", 100), 0);
    EXPECT_EQ(core::LogAssertFailure("mfConvertToSafeArray", "Core\\Common\\SafeArrayConvert", 100,
                                     "ppArray"),
              0);
    EXPECT_EQ(core::LogAssertFailure(nullptr, nullptr, 7, nullptr), 0);
    std::vector<TStr> lines;
    for (const auto& m : viewer.Messages()) {
        if (m.command == 7) {
            lines.push_back(m.Text());
        }
    }
    EXPECT_EQ(lines,
              (std::vector<TStr>{
                  u"Assertion failed,SafeArrayConvert(100)",
                  u"Assertion failed,\"ppArray\",mfConvertToSafeArray(),SafeArrayConvert(100)",
                  u"Assertion failed,\"\",(),(7)",
              }));
}
