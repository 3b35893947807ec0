// The window station across processes: a forked peer owns a window and runs its message loop;
// this process finds it, reads it, sends to it, and outlives its death, stop and refusals.
#include <bvplatform/base.h>
#include <bvplatform/testing.h>
#include <bvplatform/windows.h>
#include <bvplatform/winerror.h>

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <pthread.h>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr const char16_t* kPeerClass = u"BVStationPeer";
constexpr const char16_t* kPeerTitle = u"Station Peer";
constexpr LONG kMark = 0x52545642; // "BVTR"

// Copy-data commands the peer understands.
constexpr ULONG_PTR kAskSender = 1; // answers minus the sender's process id
constexpr ULONG_PTR kSumBytes = 2;  // answers the sum of the bytes
constexpr ULONG_PTR kDie = 3;       // the peer dies while handling it

LRESULT PeerProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_COPYDATA) {
        const auto* data = reinterpret_cast<const COPYDATASTRUCT*>(lParam);
        const auto* bytes = static_cast<const unsigned char*>(data->lpData);
        LRESULT sum = 0;
        switch (data->dwData) {
        case kAskSender:
            return -static_cast<LRESULT>(BvGetMessageSenderProcessId());
        case kSumBytes:
            for (DWORD i = 0; i < data->cbData; ++i) {
                sum += bytes[i];
            }
            return sum;
        case kDie:
            raise(SIGKILL);
        }
    }
    if (message == WM_USER) {
        return static_cast<LRESULT>(wParam) - lParam;
    }
    if (message == WM_DESTROY) {
        PostQuitMessage(7);
    }
    return DefWindowProcW(window, message, wParam, lParam);
}

HWND MakePeerWindow(LPCWSTR title) {
    const WNDCLASSW record{0,       PeerProcedure, 0,       0,       nullptr,
                           nullptr, nullptr,       nullptr, nullptr, kPeerClass};
    RegisterClassW(&record);
    HWND window = CreateWindowExW(0, kPeerClass, title, WS_POPUP, 0, 0, 0, 0, nullptr, nullptr,
                                  nullptr, nullptr);
    SetWindowLongW(window, GWL_USERDATA, kMark);
    return window;
}

// The message loop until WM_QUIT; its exit code.
int RunLoop() {
    MSG message{};
    while (GetMessageW(&message, nullptr, 0, 0) > 0) {
        DispatchMessageW(&message);
    }
    return static_cast<int>(message.wParam);
}

// True while the process exists and is no zombie (an adopted one may wait long to be reaped).
bool Running(pid_t pid) {
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string line;
    std::getline(stat, line);
    const std::size_t end = line.rfind(')');
    return end != std::string::npos && end + 2 < line.size() && line[end + 2] != 'Z';
}

// A forked process that owns a window (class kPeerClass, title kPeerTitle, user data kMark)
// and runs its message loop; killed and reaped at the end.
class Peer {
public:
    Peer() {
        int ready[2];
        if (pipe(ready) != 0) {
            return;
        }
        m_pid = fork();
        if (m_pid == 0) {
            close(ready[0]);
            Run(ready[1]);
        }
        close(ready[1]);
        if (read(ready[0], &m_window, sizeof m_window) != sizeof m_window) {
            m_window = nullptr;
        }
        close(ready[0]);
    }
    ~Peer() {
        if (m_pid > 0) {
            kill(m_pid, SIGKILL);
            Reap();
        }
    }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    [[nodiscard]] HWND Window() const { return m_window; }
    [[nodiscard]] pid_t Pid() const { return m_pid; }
    void Signal(int signal) const { kill(m_pid, signal); }
    /// Waits for the peer's end; its exit code, or 128 + the signal that ended it.
    int Reap() {
        int status = 0;
        waitpid(m_pid, &status, 0);
        m_pid = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

private:
    [[noreturn]] static void Run(int ready) {
        HWND window = MakePeerWindow(kPeerTitle);
        [[maybe_unused]] const ssize_t written = write(ready, &window, sizeof window);
        close(ready);
        _exit(RunLoop());
    }

    pid_t m_pid = -1;        // the peer process; -1 once reaped
    HWND m_window = nullptr; // its window, as it reported it
};

LRESULT SendCopy(HWND window, ULONG_PTR command, std::vector<unsigned char> bytes = {}) {
    COPYDATASTRUCT data{command, static_cast<DWORD>(bytes.size()), bytes.data()};
    return SendMessageW(window, WM_COPYDATA, 0, reinterpret_cast<LPARAM>(&data));
}

BOOL CollectWindow(HWND window, LPARAM list) {
    reinterpret_cast<std::vector<HWND>*>(list)->push_back(window);
    return TRUE;
}

std::vector<HWND> AllWindows() {
    std::vector<HWND> windows;
    EnumWindows(CollectWindow, reinterpret_cast<LPARAM>(&windows));
    return windows;
}

// The names in the station directory that belong to windows.
std::vector<std::string> WindowFiles() {
    std::vector<std::string> names;
    for (const auto& entry :
         std::filesystem::directory_iterator(bvplatform::testing::StationDirectory())) {
        if (entry.path().filename().string().starts_with("w-")) {
            names.push_back(entry.path().filename().string());
        }
    }
    return names;
}

LRESULT LocalProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    return DefWindowProcW(window, message, wParam, lParam);
}

HWND MakeLocalWindow(LPCWSTR title) {
    static const ATOM atom = [] {
        const WNDCLASSW record{0,       LocalProcedure, 0,       0,       nullptr,
                               nullptr, nullptr,        nullptr, nullptr, u"BVStationLocal"};
        return RegisterClassW(&record);
    }();
    return atom == 0 ? nullptr
                     : CreateWindowExW(0, u"BVStationLocal", title, WS_POPUP, 0, 0, 0, 0, nullptr,
                                       nullptr, nullptr, nullptr);
}

// Sets an environment variable for the life of the object, then restores it.
class ScopedVariable {
public:
    ScopedVariable(const char* name, const std::string& value) : m_name(name) {
        if (const char* old = std::getenv(name)) {
            m_old = old;
        }
        setenv(name, value.c_str(), 1);
    }
    ~ScopedVariable() {
        if (m_old) {
            setenv(m_name, m_old->c_str(), 1);
        } else {
            unsetenv(m_name);
        }
    }
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;

private:
    const char* m_name;               // the variable
    std::optional<std::string> m_old; // its value before, if it had one
};

} // namespace

TEST(StationTest, AnotherProcessesWindowIsFoundAndReadWithoutAskingIt) {
    Peer peer;
    ASSERT_NE(peer.Window(), nullptr);
    HWND mine = MakeLocalWindow(u"mine");
    ASSERT_NE(mine, nullptr);
    EXPECT_EQ(FindWindowW(nullptr, u"STATION peer"), peer.Window());
    EXPECT_EQ(FindWindowW(u"bvstationpeer", nullptr), peer.Window());
    EXPECT_EQ(FindWindowW(u"BVStationPeer", u"mine"), nullptr);
    EXPECT_EQ(GetWindowLongW(peer.Window(), GWL_USERDATA), kMark);
    // Newest on top, whichever process made it.
    EXPECT_EQ(AllWindows(), (std::vector<HWND>{mine, peer.Window()}));

    DWORD process = 0xdeadbeef;
    EXPECT_NE(GetWindowThreadProcessId(peer.Window(), &process), 0u);
    EXPECT_EQ(process, static_cast<DWORD>(peer.Pid()));
    WCHAR text[8];
    EXPECT_EQ(GetWindowTextW(peer.Window(), text, 8), 7);
    EXPECT_EQ(std::u16string(text), u"Station");

    // A stopped owner cannot answer, yet discovery goes on; changes are the owner's alone.
    peer.Signal(SIGSTOP);
    EXPECT_TRUE(IsWindow(peer.Window()));
    EXPECT_EQ(FindWindowW(nullptr, kPeerTitle), peer.Window());
    EXPECT_EQ(GetWindowLongW(peer.Window(), GWL_USERDATA), kMark);
    SetLastError(0xdeadbeef);
    EXPECT_EQ(SetWindowLongW(peer.Window(), GWL_USERDATA, 1), 0);
    EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
    EXPECT_FALSE(DestroyWindow(peer.Window()));
    EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
    peer.Signal(SIGCONT);
    DestroyWindow(mine);
}

TEST(StationTest, SentMessagesRunInTheOwnersLoopAndReturnTheirResult) {
    Peer peer;
    ASSERT_NE(peer.Window(), nullptr);
    EXPECT_EQ(SendCopy(peer.Window(), kAskSender), -static_cast<LRESULT>(getpid()));
    std::vector<unsigned char> bytes(200);
    for (int i = 0; i < 200; ++i) {
        bytes[i] = static_cast<unsigned char>(i + 1);
    }
    EXPECT_EQ(SendCopy(peer.Window(), kSumBytes, bytes), 20100); // 1 + ... + 200
    EXPECT_EQ(SendCopy(peer.Window(), kSumBytes), 0);
    EXPECT_EQ(SendMessageW(peer.Window(), WM_USER, 5, 12), -7);

    // Messages whose parameters point into this process cannot go across.
    SetLastError(0xdeadbeef);
    EXPECT_EQ(SendMessageW(peer.Window(), WM_SETTEXT, 0, reinterpret_cast<LPARAM>(u"x")), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);

    // A forked child opens its own connection: the owner sees the child as the sender.
    const pid_t child = fork();
    if (child == 0) {
        _exit(SendCopy(peer.Window(), kAskSender) == -static_cast<LRESULT>(getpid()) ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(SendCopy(peer.Window(), kAskSender), -static_cast<LRESULT>(getpid()));

    // WM_CLOSE destroys the window on its own thread, whose loop then ends.
    EXPECT_EQ(SendMessageW(peer.Window(), WM_CLOSE, 0, 0), 0);
    EXPECT_FALSE(IsWindow(peer.Window()));
    EXPECT_EQ(peer.Reap(), 7);
}

TEST(StationTest, ADeadOwnersWindowsVanishAndItsFilesGo) {
    for (const bool midSend : {false, true}) {
        SCOPED_TRACE(midSend ? "killed while handling a message" : "killed while idle");
        Peer peer;
        ASSERT_NE(peer.Window(), nullptr);
        ASSERT_TRUE(IsWindow(peer.Window()));
        ASSERT_FALSE(WindowFiles().empty());
        if (midSend) {
            SetLastError(0xdeadbeef);
            EXPECT_EQ(SendCopy(peer.Window(), kDie), 0);
            EXPECT_EQ(GetLastError(), ERROR_INVALID_WINDOW_HANDLE);
            EXPECT_EQ(peer.Reap(), 128 + SIGKILL);
        } else {
            peer.Signal(SIGKILL);
            peer.Reap();
        }
        EXPECT_FALSE(IsWindow(peer.Window()));
        EXPECT_EQ(FindWindowW(nullptr, kPeerTitle), nullptr);
        EXPECT_TRUE(AllWindows().empty());
        EXPECT_TRUE(WindowFiles().empty());
        SetLastError(0xdeadbeef);
        EXPECT_EQ(SendCopy(peer.Window(), kAskSender), 0);
        EXPECT_EQ(GetLastError(), ERROR_INVALID_WINDOW_HANDLE);
    }
}

// A station that is open to others, another user's, or a symlink is not used: other processes'
// windows cannot be seen or reached through it, and this process's windows stay its own.
TEST(StationTest, AnUntrustedStationIsRefused) {
    Peer peer;
    ASSERT_NE(peer.Window(), nullptr);
    const std::string station = bvplatform::testing::StationDirectory();
    const std::string moved = station + ".moved";
    const struct Row {
        const char* name;
        bool needsRoot;
        std::function<void()> damage;
        std::function<void()> repair;
    } rows[] = {
        {"group and others may enter", false, [&] { chmod(station.c_str(), 0755); },
         [&] { chmod(station.c_str(), 0700); }},
        {"another user's", true, [&] { ASSERT_EQ(chown(station.c_str(), 4242, 4242), 0); },
         [&] { ASSERT_EQ(chown(station.c_str(), geteuid(), getegid()), 0); }},
        {"a symlink", false,
         [&] {
             ASSERT_EQ(rename(station.c_str(), moved.c_str()), 0);
             ASSERT_EQ(symlink(moved.c_str(), station.c_str()), 0);
         },
         [&] {
             unlink(station.c_str());
             ASSERT_EQ(rename(moved.c_str(), station.c_str()), 0);
         }},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        if (row.needsRoot && geteuid() != 0) {
            continue;
        }
        ASSERT_TRUE(IsWindow(peer.Window()));
        row.damage();
        EXPECT_FALSE(IsWindow(peer.Window()));
        EXPECT_EQ(FindWindowW(nullptr, kPeerTitle), nullptr);
        SetLastError(0xdeadbeef);
        EXPECT_EQ(SendCopy(peer.Window(), kAskSender), 0);
        EXPECT_EQ(GetLastError(), ERROR_INVALID_WINDOW_HANDLE);
        HWND mine = MakeLocalWindow(u"private");
        EXPECT_EQ(FindWindowW(nullptr, u"private"), mine);
        EXPECT_TRUE(DestroyWindow(mine));
        row.repair();
        EXPECT_EQ(FindWindowW(nullptr, kPeerTitle), peer.Window());
    }
}

TEST(StationTest, WinExecStartsOnlyTheViewerAndFindsItNeverInTheCurrentDirectory) {
    static int forks = 0;
    pthread_atfork(
        nullptr, [] { ++forks; }, nullptr);
    const std::filesystem::path tools =
        std::filesystem::path(std::getenv("XDG_RUNTIME_DIR")) / "tools";
    std::filesystem::create_directories(tools);
    const std::string report = (tools / "report").string();
    {
        std::ofstream script(tools / "bvdiag");
        script
            << "#!/bin/sh\nPATH=/usr/bin:/bin\necho \"$BV_STATION_MARK $(readlink /proc/$$/fd/0) "
               "$BVPLATFORM_READY_FD $*\" > "
            << report << "\n";
    }
    std::filesystem::permissions(tools / "bvdiag", std::filesystem::perms::owner_all);
    const ScopedVariable mark("BV_STATION_MARK", "inherited");

    // The viewer in the current directory, and PATH entries that mean it, are not looked at.
    const std::string cwd = std::filesystem::current_path().string();
    ASSERT_EQ(chdir(tools.c_str()), 0);
    const struct {
        const char* line;
        const char* path;
    } missing[] = {{"BVDiag.exe", ""},
                   {"bvdiag", ".::tools"},
                   {"notepad.exe", tools.c_str()},
                   {"", tools.c_str()}};
    for (const auto& row : missing) {
        SCOPED_TRACE(row.line);
        const ScopedVariable path("PATH", row.path);
        SetLastError(0xdeadbeef);
        EXPECT_EQ(WinExec(row.line, SW_HIDE), ERROR_FILE_NOT_FOUND);
        EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
    }
    EXPECT_EQ(forks, 0);
    ASSERT_EQ(chdir(cwd.c_str()), 0);

    // Found on PATH: started with our environment, streams on /dev/null, the ready pipe named.
    const ScopedVariable path("PATH", tools.string());
    SetLastError(0xdeadbeef);
    EXPECT_GT(WinExec("\"C:\\Tools\\BVDIAG.EXE\" --quiet", SW_HIDE), 31u);
    EXPECT_EQ(GetLastError(), 0xdeadbeefu);
    EXPECT_EQ(forks, 1);
    std::string line;
    for (int wait = 0; wait < 500 && line.empty(); ++wait) {
        usleep(10000);
        std::ifstream in(report);
        std::getline(in, line);
    }
    EXPECT_EQ(line, "inherited /dev/null 3 --quiet");
}

// Run by the next test as the viewer it starts (the test program under the viewer's name): it
// joins its starter's station and runs a message loop until told to close.
TEST(StationTest, DISABLED_LaunchedPeer) {
    alarm(30); // never outlives a starter that forgot it
    setenv("BV_PREFIX", std::getenv("BV_STARTER_PREFIX"), 1);
    setenv("XDG_RUNTIME_DIR", std::getenv("BV_STARTER_RUNTIME"), 1);
    ASSERT_NE(MakePeerWindow(u"Launched Peer"), nullptr);
    RunLoop();
}

TEST(StationTest, WinExecReturnsOnceTheViewersLoopRuns) {
    const std::filesystem::path tools =
        std::filesystem::path(std::getenv("XDG_RUNTIME_DIR")) / "launch";
    std::filesystem::create_directories(tools);
    std::filesystem::create_symlink(std::filesystem::read_symlink("/proc/self/exe"),
                                    tools / "bvdiag");
    const ScopedVariable path("PATH", tools.string());
    const ScopedVariable prefix("BV_STARTER_PREFIX", std::getenv("BV_PREFIX"));
    const ScopedVariable runtime("BV_STARTER_RUNTIME", std::getenv("XDG_RUNTIME_DIR"));
    ASSERT_GT(WinExec("BVDiag --gtest_filter=StationTest.DISABLED_LaunchedPeer "
                      "--gtest_also_run_disabled_tests",
                      SW_HIDE),
              31u);
    HWND launched = FindWindowW(nullptr, u"Launched Peer");
    ASSERT_NE(launched, nullptr);
    DWORD process = 0;
    GetWindowThreadProcessId(launched, &process);
    EXPECT_NE(process, static_cast<DWORD>(getpid()));
    // Detached: in another session, not a child of this process.
    EXPECT_NE(getsid(static_cast<pid_t>(process)), getsid(0));
    EXPECT_EQ(waitpid(static_cast<pid_t>(process), nullptr, WNOHANG), -1);
    SendMessageW(launched, WM_CLOSE, 0, 0);
    for (int wait = 0; wait < 500 && Running(static_cast<pid_t>(process)); ++wait) {
        usleep(10000);
    }
    EXPECT_FALSE(Running(static_cast<pid_t>(process)));
}
