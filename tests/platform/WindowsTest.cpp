// The in-process window station: classes, creation and destruction messages, window longs,
// lookup, enumeration, sends, stale handles, WinExec, and sends during static destruction.
#include <bvplatform/base.h>
#include <bvplatform/debug.h>
#include <bvplatform/testing.h>
#include <bvplatform/windows.h>
#include <bvplatform/winerror.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <mutex>
#include <thread>
#include <unistd.h>

namespace {

constexpr const char16_t* kClass = u"BVWindowsTest";
using Behaviour = std::function<LRESULT(HWND, UINT, WPARAM, LPARAM)>;

std::mutex g_lock;     // guards g_behaviour
Behaviour g_behaviour; // what the test class's procedure does; empty: the default

LRESULT TestProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    Behaviour behaviour;
    {
        std::lock_guard lock(g_lock);
        behaviour = g_behaviour;
    }
    return behaviour ? behaviour(window, message, wParam, lParam)
                     : DefWindowProcW(window, message, wParam, lParam);
}

void Behave(Behaviour behaviour) {
    std::lock_guard lock(g_lock);
    g_behaviour = std::move(behaviour);
}

// Answers `message` with answer(window, wParam, lParam), everything else by default.
Behaviour On(UINT message, std::function<LRESULT(HWND, WPARAM, LPARAM)> answer) {
    return [=](HWND window, UINT seen, WPARAM wParam, LPARAM lParam) {
        return seen == message ? answer(window, wParam, lParam)
                               : DefWindowProcW(window, seen, wParam, lParam);
    };
}

LPCWSTR AtomArgument(ATOM atom) {
    return reinterpret_cast<LPCWSTR>(std::uintptr_t{atom});
}

HWND Make(LPCWSTR cls, LPCWSTR title, HWND owner = nullptr, HMENU menu = nullptr) {
    return CreateWindowExW(0, cls, title, WS_POPUP, 0, 0, 0, 0, owner, menu, nullptr, nullptr);
}

WNDCLASSW ClassRecord(LPCWSTR name, WNDPROC procedure = TestProcedure, int extra = 0) {
    return {0, procedure, 0, extra, nullptr, nullptr, nullptr, nullptr, nullptr, name};
}

class WindowsTest : public ::testing::Test {
protected:
    void SetUp() override {
        const WNDCLASSW record = ClassRecord(kClass, TestProcedure, 8);
        m_atom = RegisterClassW(&record);
        ASSERT_NE(m_atom, 0);
    }
    void TearDown() override {
        Behave(nullptr);
        for (HWND window : m_windows) {
            DestroyWindow(window);
        }
        UnregisterClassW(kClass, nullptr);
        bvplatform::testing::SetWinExecHandler({});
    }
    HWND Create(LPCWSTR title, HWND owner = nullptr, HMENU menu = nullptr) {
        return m_windows.emplace_back(Make(kClass, title, owner, menu));
    }

    ATOM m_atom = 0;             // the test class's atom
    std::vector<HWND> m_windows; // every window a test made, destroyed at the end
};

} // namespace

TEST_F(WindowsTest, ClassesNeedValidRecordsAndUniqueNames) {
    EXPECT_GE(m_atom, 0xC000);
    const struct Row {
        WNDCLASSW record;
        DWORD error;
    } rows[] = {
        {ClassRecord(nullptr), ERROR_INVALID_PARAMETER},
        {ClassRecord(u""), ERROR_INVALID_PARAMETER},
        {ClassRecord(u"BVOther", nullptr), ERROR_INVALID_PARAMETER},
        {ClassRecord(u"BVOther", TestProcedure, -1), ERROR_INVALID_PARAMETER},
        {ClassRecord(u"bvwindowsTEST"), ERROR_CLASS_ALREADY_EXISTS},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << "row " << &row - rows);
        SetLastError(0xdeadbeef);
        EXPECT_EQ(RegisterClassW(&row.record), 0);
        EXPECT_EQ(GetLastError(), row.error);
    }
    for (LPCWSTR name : {u"BVNoSuchClass", static_cast<LPCWSTR>(nullptr), AtomArgument(0xFFFF)}) {
        EXPECT_EQ(Make(name, u"t"), nullptr);
        EXPECT_EQ(GetLastError(), ERROR_CANNOT_FIND_WND_CLASS);
    }
    const HWND byAtom = m_windows.emplace_back(Make(AtomArgument(m_atom), u"by atom"));
    EXPECT_EQ(FindWindowW(kClass, u"by atom"), byAtom);
    EXPECT_EQ(Create(u"owned", reinterpret_cast<HWND>(8)), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_WINDOW_HANDLE);

    EXPECT_TRUE(UnregisterClassW(u"BVWINDOWSTEST", nullptr));
    EXPECT_FALSE(UnregisterClassW(kClass, nullptr));
    EXPECT_EQ(GetLastError(), ERROR_CLASS_DOES_NOT_EXIST);
    EXPECT_EQ(Create(u"late"), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_CANNOT_FIND_WND_CLASS);
    EXPECT_TRUE(IsWindow(byAtom)); // windows outlive their class
}

TEST_F(WindowsTest, CreationAndDestructionSendTheirMessagesInOrder) {
    struct Row {
        const char* name;
        UINT refuseAt; // 0: no refusal
        LRESULT refusal;
        std::vector<UINT> messages;
    } rows[] = {
        {"accepted", 0, 0, {WM_NCCREATE, WM_CREATE}},
        {"FALSE at NCCREATE", WM_NCCREATE, FALSE, {WM_NCCREATE, WM_NCDESTROY}},
        {"-1 at CREATE", WM_CREATE, -1, {WM_NCCREATE, WM_CREATE, WM_DESTROY, WM_NCDESTROY}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        std::vector<UINT> seen;
        HWND created = nullptr;
        void* param = nullptr;
        Behave([&](HWND window, UINT message, WPARAM wParam, LPARAM lParam) -> LRESULT {
            seen.push_back(message);
            created = window;
            if (message == WM_CREATE) {
                param = reinterpret_cast<const CREATESTRUCTW*>(lParam)->lpCreateParams;
            }
            if (message != row.refuseAt) {
                return DefWindowProcW(window, message, wParam, lParam);
            }
            SetLastError(0x20000001); // the procedure's reason stays for the caller
            return row.refusal;
        });
        SetLastError(0xdeadbeef);
        const HWND window = m_windows.emplace_back(
            CreateWindowExW(0, kClass, u"t", 0, 1, 2, 3, 4, nullptr, nullptr, nullptr, &seen));
        EXPECT_EQ(seen, row.messages);
        EXPECT_EQ(IsWindow(created) != FALSE, row.refuseAt == 0);
        EXPECT_EQ(window, row.refuseAt ? nullptr : created);
        EXPECT_EQ(GetLastError(), row.refuseAt ? 0x20000001u : 0xdeadbeefu);
        EXPECT_EQ(param, row.refuseAt == WM_NCCREATE ? nullptr : &seen);
    }
    Behave(nullptr);
    EXPECT_EQ(SendMessageW(m_windows.front(), WM_CLOSE, 0, 0), 0); // the default handling destroys
    EXPECT_FALSE(IsWindow(m_windows.front()));
}

TEST_F(WindowsTest, WindowLongsReadAndWriteWithTheirErrors) {
    const HWND window = Create(u"w", nullptr, reinterpret_cast<HMENU>(42));
    const struct Row {
        int index;
        LONG initial;
        DWORD error; // 0: success, which leaves the last error alone
    } rows[] = {
        {GWL_USERDATA, 0, 0},
        {GWL_STYLE, static_cast<LONG>(WS_POPUP), 0},
        {GWL_EXSTYLE, 0, 0},
        {GWL_ID, 42, 0},
        {0, 0, 0},
        {4, 0, 0},
        {5, 0, ERROR_INVALID_INDEX},           // past the 8 extra bytes
        {GWL_WNDPROC, 0, ERROR_INVALID_INDEX}, // no 32-bit form on a 64-bit platform
        {-7, 0, ERROR_INVALID_INDEX},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.index);
        const DWORD error = row.error ? row.error : 0xdeadbeef;
        SetLastError(0xdeadbeef);
        EXPECT_EQ(GetWindowLongW(window, row.index), row.initial);
        EXPECT_EQ(GetLastError(), error);
        SetLastError(0xdeadbeef);
        EXPECT_EQ(SetWindowLongW(window, row.index, 0x52545642), row.initial);
        EXPECT_EQ(GetLastError(), error);
        EXPECT_EQ(GetWindowLongW(window, row.index), row.error ? 0 : 0x52545642);
    }
    // Offsets are bytes: 2 reads the upper half of the LONG at 0 and the lower half of that at 4.
    EXPECT_EQ(GetWindowLongW(window, 2), 0x56425254);
}

TEST_F(WindowsTest, FindWindowMatchesClassAndTitleIgnoringCase) {
    const HWND older = Create(u"Brontavale_BVDiag");
    const HWND empty = Create(nullptr);
    const HWND newer = Create(u"brontavale_bvdiag");
    const struct Row {
        LPCWSTR className;
        LPCWSTR title;
        HWND want;
    } rows[] = {
        {nullptr, u"BRONTAVALE_BVDIAG", newer},
        {u"bvwindowstest", u"Brontavale_BVDiag", newer},
        {AtomArgument(m_atom), nullptr, newer},
        {kClass, u"", empty},
        {nullptr, nullptr, newer},
        {u"BVNoSuchClass", u"Brontavale_BVDiag", nullptr},
        {nullptr, u"Brontavale", nullptr},
        {AtomArgument(0xBFFF), nullptr, nullptr},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << "row " << &row - rows);
        SetLastError(0xdeadbeef);
        EXPECT_EQ(FindWindowW(row.className, row.title), row.want);
        EXPECT_EQ(GetLastError(), 0xdeadbeefu);
    }
    DestroyWindow(newer);
    EXPECT_EQ(FindWindowW(nullptr, u"brontavale_bvdiag"), older);
    char16_t title[5] = {u'#', u'#', u'#', u'#', u'#'};
    EXPECT_EQ(GetWindowTextW(older, title, 4), 3);
    EXPECT_EQ(std::u16string(title, 5), std::u16string(u"Bro\0#", 5));
}

TEST_F(WindowsTest, EnumWindowsWalksASnapshotNewestFirstAndStops) {
    const HWND a = Create(u"a");
    const HWND b = Create(u"b");
    const HWND c = Create(u"c");
    struct Walk {
        std::vector<HWND> visited;         // in visiting order, at most three
        std::function<BOOL(HWND)> onVisit; // the callback's answer
    };
    const auto walk = [](std::function<BOOL(HWND)> onVisit, BOOL result) {
        Walk state{{}, std::move(onVisit)};
        const auto visit = [](HWND window, LPARAM lParam) -> BOOL {
            auto& walk = *reinterpret_cast<Walk*>(lParam);
            walk.visited.push_back(window);
            return walk.visited.size() < 3 && walk.onVisit(window);
        };
        EXPECT_EQ(EnumWindows(visit, reinterpret_cast<LPARAM>(&state)), result);
        return state.visited;
    };
    EXPECT_EQ(walk([](HWND) { return TRUE; }, FALSE), (std::vector{c, b, a}));
    EXPECT_EQ(walk([b](HWND w) { return w != b; }, FALSE), (std::vector{c, b}));
    const auto destroyB = [b](HWND) { return DestroyWindow(b); };
    EXPECT_EQ(walk(destroyB, FALSE), (std::vector{c, a})); // b was in the snapshot, gone by then
    EXPECT_FALSE(EnumWindows(nullptr, 0));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}

TEST_F(WindowsTest, SendMessageDeliversCopyDataAndReentrantSends) {
    const HWND window = Create(u"viewer");
    COPYDATASTRUCT received{};
    std::string bytes;
    Behave(On(WM_COPYDATA, [&](HWND, WPARAM wParam, LPARAM lParam) {
        received = *reinterpret_cast<const COPYDATASTRUCT*>(lParam);
        bytes.assign(static_cast<const char*>(received.lpData), received.cbData);
        return static_cast<LRESULT>(wParam) + 0x1234;
    }));
    char block[] = "BVTR\0block";
    COPYDATASTRUCT record{7, sizeof block, block};
    SetLastError(0xdeadbeef);
    EXPECT_EQ(SendMessageW(window, WM_COPYDATA, 1, reinterpret_cast<LPARAM>(&record)), 0x1235);
    EXPECT_EQ(GetLastError(), 0xdeadbeefu);
    EXPECT_EQ(received.dwData, 7u);
    EXPECT_EQ(bytes, std::string(block, sizeof block));

    // A procedure that sends to its own window, five levels deep.
    Behave(On(WM_USER, [](HWND w, WPARAM depth, LPARAM) -> LRESULT {
        return depth == 5 ? 100 : 1 + SendMessageW(w, WM_USER, depth + 1, 0);
    }));
    EXPECT_EQ(SendMessageW(window, WM_USER, 0, 0), 105);
}

// Four threads send at once: the procedure never runs twice at a time, and every window names
// the thread that made it.
TEST_F(WindowsTest, SendsFromManyThreadsRunOneAtATime) {
    const HWND window = Create(u"w");
    std::atomic<int> inside{0};
    std::atomic<int> faults{0};
    int handled = 0; // guarded by the window's serialisation
    Behave(On(WM_USER, [&](HWND, WPARAM, LPARAM) {
        faults += inside.fetch_add(1) != 0;
        ++handled;
        std::this_thread::yield();
        --inside;
        return 0;
    }));
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 500; ++i) {
                SendMessageW(window, WM_USER, 0, 0);
            }
            const HWND mine = Make(kClass, u"mine");
            DWORD process = 0;
            faults += GetWindowThreadProcessId(mine, &process) != static_cast<DWORD>(gettid());
            faults += process != static_cast<DWORD>(getpid());
            DestroyWindow(mine);
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(faults, 0);
    EXPECT_EQ(handled, 2000);
}

TEST_F(WindowsTest, DestroyedAndMadeUpHandlesFailSafely) {
    const HWND destroyed = Create(u"gone");
    ASSERT_TRUE(DestroyWindow(destroyed));
    EXPECT_NE(Create(u"next"), destroyed); // a handle never comes back
    for (const HWND handle : {HWND{}, reinterpret_cast<HWND>(1), reinterpret_cast<HWND>(0xdeadbeef),
                              reinterpret_cast<HWND>(INT_PTR{-1}), destroyed}) {
        SCOPED_TRACE(testing::Message() << static_cast<const void*>(handle));
        EXPECT_FALSE(IsWindow(handle));
        const auto failed = [](const char* call, long long result) {
            SCOPED_TRACE(call);
            EXPECT_EQ(result, 0);
            EXPECT_EQ(GetLastError(), ERROR_INVALID_WINDOW_HANDLE);
            SetLastError(0xdeadbeef);
        };
        DWORD process = 0xdeadbeef;
        char16_t text[3] = {u'x', u'x', u'x'};
        SetLastError(0xdeadbeef);
        failed("DestroyWindow", DestroyWindow(handle));
        failed("GetWindowLongW", GetWindowLongW(handle, GWL_USERDATA));
        failed("SetWindowLongW", SetWindowLongW(handle, GWL_USERDATA, 1));
        failed("SendMessageW", SendMessageW(handle, WM_USER, 0, 0));
        failed("GetWindowThreadProcessId", GetWindowThreadProcessId(handle, &process));
        failed("GetWindowTextW", GetWindowTextW(handle, text, 2));
        EXPECT_EQ(process, 0xdeadbeefu);
        EXPECT_EQ(std::u16string(text, 3), (std::u16string{0, u'x', u'x'}));
    }
}

TEST_F(WindowsTest, WinExecFailsUnlessAHandlerStandsIn) {
    const std::string path = std::getenv("PATH") ? std::getenv("PATH") : "";
    setenv("PATH", "", 1); // no viewer to be found
    for (const char* line : {"BVDiag.exe", "", static_cast<const char*>(nullptr)}) {
        SetLastError(0xdeadbeef);
        EXPECT_EQ(WinExec(line, SW_HIDE), ERROR_FILE_NOT_FOUND);
        EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
    }
    std::string seen;
    bvplatform::testing::SetWinExecHandler([&](const char* line, UINT show) -> UINT {
        seen = std::string(line) + "/" + std::to_string(show);
        Create(u"Brontavale_BVDiag");
        return 33;
    });
    SetLastError(0xdeadbeef);
    EXPECT_EQ(WinExec("BVDiag.exe", SW_HIDE), 33u);
    EXPECT_EQ(GetLastError(), 0xdeadbeefu);
    EXPECT_EQ(seen, "BVDiag.exe/0");
    EXPECT_EQ(FindWindowW(nullptr, u"Brontavale_BVDiag"), m_windows.back());
    bvplatform::testing::SetWinExecHandler({});
    EXPECT_EQ(WinExec("BVDiag.exe", SW_HIDE), ERROR_FILE_NOT_FOUND);
    setenv("PATH", path.c_str(), 1);

    EXPECT_NE(GetModuleHandleW(nullptr), nullptr);
    EXPECT_EQ(GetModuleHandleW(u"kernel32.dll"), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_MOD_NOT_FOUND);
}

TEST_F(WindowsTest, MessageLoopEndsAtQuitAndNamesTheSender) {
    SetLastError(0xdeadbeef);
    EXPECT_EQ(GetMessageW(nullptr, nullptr, 0, 0), -1);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    MSG message;
    std::memset(&message, 0xCC, sizeof message);
    HWND window = Create(u"loop");
    EXPECT_EQ(GetMessageW(&message, window, 0, 0), -1);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_WINDOW_HANDLE);
    EXPECT_EQ(BvGetMessageSenderProcessId(), 0u);

    DWORD sender = 0;
    Behave(On(WM_USER, [&](HWND, WPARAM, LPARAM) {
        sender = BvGetMessageSenderProcessId();
        PostQuitMessage(9);
        return 0;
    }));
    PostQuitMessage(3);
    // Sent from another thread, the procedure's quit still ends the window's thread's loop,
    // replacing the earlier code.
    std::thread([window] { SendMessageW(window, WM_USER, 0, 0); }).join();
    EXPECT_EQ(sender, static_cast<DWORD>(getpid()));
    EXPECT_EQ(BvGetMessageSenderProcessId(), 0u);
    EXPECT_EQ(GetMessageW(&message, nullptr, 0, 0), FALSE);
    EXPECT_EQ(message.hwnd, nullptr);
    EXPECT_EQ(message.message, WM_QUIT);
    EXPECT_EQ(message.wParam, 9u);
    EXPECT_EQ(DispatchMessageW(&message), 0);
}

// A logger's destructor sends to its viewer during static destruction at exit. The sender is
// made before the station is first used (the child process runs this test alone), so it is
// destroyed after any ordinary static of the station would be.
TEST(WindowStationDeathTest, SendWorksDuringStaticDestruction) {
    struct ExitSender {
        HWND viewer = nullptr; // set once the viewer exists
        ~ExitSender() {
            char text[] = "BVTR";
            COPYDATASTRUCT record{7, sizeof text, text};
            SendMessageW(viewer, WM_COPYDATA, 0, reinterpret_cast<LPARAM>(&record));
        }
    };
    const auto sendAtExit = [] {
        static ExitSender sender;
        setenv("BV_DEBUG_OUTPUT", "stderr", 1);
        const WNDCLASSW record = ClassRecord(u"BVExitViewer");
        RegisterClassW(&record);
        Behave(On(WM_COPYDATA, [](HWND, WPARAM, LPARAM lParam) {
            const auto* data = reinterpret_cast<const COPYDATASTRUCT*>(lParam);
            OutputDebugStringA(
                ("at exit: " + std::string(static_cast<char*>(data->lpData))).c_str());
            return 0;
        }));
        sender.viewer = Make(u"BVExitViewer", u"v");
        std::exit(sender.viewer ? 0 : 1);
    };
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(sendAtExit(), ::testing::ExitedWithCode(0), "at exit: BVTR");
}
