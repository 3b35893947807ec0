// The viewer program with senders in other processes: what a traced child shows, malformed
// blocks, and many senders at once. Every viewer started here is killed by its test.
#include "Receiver.h"
#include "Window.h"

#include <bvplatform/windows.h>

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <spawn.h>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

extern char** environ;

namespace {

using namespace std::chrono_literals;

// A child process, killed and reaped when the object goes.
class Child {
public:
    Child(const std::vector<std::string>& argv, const std::string& stdoutPath,
          const std::string& stderrPath = "") {
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, stdoutPath.c_str(),
                                         O_WRONLY | O_CREAT | O_TRUNC, 0600);
        if (!stderrPath.empty()) {
            posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, stderrPath.c_str(),
                                             O_WRONLY | O_CREAT | O_TRUNC, 0600);
        }
        std::vector<char*> args;
        for (const auto& arg : argv) {
            args.push_back(const_cast<char*>(arg.c_str()));
        }
        args.push_back(nullptr);
        if (posix_spawn(&m_pid, args[0], &actions, nullptr, args.data(), environ) != 0) {
            m_pid = -1;
        }
        posix_spawn_file_actions_destroy(&actions);
    }
    ~Child() {
        if (m_pid > 0 && !m_reaped) {
            kill(m_pid, SIGKILL);
            waitpid(m_pid, nullptr, 0);
        }
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    [[nodiscard]] pid_t Pid() const { return m_pid; }

    /// Waits up to `limit` for the exit; its status code, or -1 if it did not end.
    int Wait(std::chrono::milliseconds limit) {
        const auto end = std::chrono::steady_clock::now() + limit;
        int status = 0;
        while (std::chrono::steady_clock::now() < end) {
            if (waitpid(m_pid, &status, WNOHANG) == m_pid) {
                m_reaped = true;
                return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
            }
            std::this_thread::sleep_for(10ms);
        }
        return -1;
    }

private:
    pid_t m_pid = -1;      // the child; -1 if it could not be started
    bool m_reaped = false; // waited for already
};

std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// Waits up to 10 s for `text` to appear in the file at `path`.
void WaitFor(const std::string& path, const std::string& text) {
    const auto end = std::chrono::steady_clock::now() + 10s;
    while (ReadFile(path).find(text) == std::string::npos &&
           std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

std::vector<std::string> Split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::string part;
    std::istringstream in(text);
    while (std::getline(in, part, separator)) {
        parts.push_back(part);
    }
    return parts;
}

// One --machine record without its time.
struct Shown {
    std::string pid, command, channel, logger, text;
};

std::vector<Shown> Records(const std::string& output) {
    std::vector<Shown> records;
    for (const auto& line : Split(output, '\n')) {
        const auto fields = Split(line + "\t", '\t'); // a trailing empty text still counts
        EXPECT_EQ(fields.size(), 6u) << line;
        if (fields.size() == 6) {
            records.push_back({fields[1], fields[2], fields[3], fields[4], fields[5]});
        }
    }
    return records;
}

class ViewerProcess : public ::testing::Test {
protected:
    std::string Path(const std::string& name) const {
        // Beside the prefix, which the viewer may still have to create.
        const std::string prefix = std::getenv("BV_PREFIX");
        return prefix.substr(0, prefix.rfind('/') + 1) + name;
    }

    /// Starts bvdiag --machine with `extra` options and waits for its window.
    std::unique_ptr<Child> StartViewer(std::vector<std::string> extra = {}) {
        std::vector<std::string> argv = {BV_DIAG_PROGRAM, "--machine", "--foreground"};
        argv.insert(argv.end(), extra.begin(), extra.end());
        return StartAndFind(argv, Path("viewer.out"));
    }

    /// Starts a program and waits for the viewer's window.
    std::unique_ptr<Child> StartAndFind(const std::vector<std::string>& argv,
                                        const std::string& out) {
        auto viewer = std::make_unique<Child>(argv, out);
        const auto end = std::chrono::steady_clock::now() + 10s;
        while ((m_window = FindWindowW(nullptr, bvdiag::kViewerTitle)) == nullptr &&
               std::chrono::steady_clock::now() < end) {
            std::this_thread::sleep_for(10ms);
        }
        EXPECT_NE(m_window, nullptr) << "no viewer window";
        return viewer;
    }

    /// The viewer's records once `done` holds for them (or after 10 s).
    template <class Done>
    std::vector<Shown> RecordsWhen(Done done) {
        std::vector<Shown> records;
        const auto end = std::chrono::steady_clock::now() + 10s;
        do {
            std::this_thread::sleep_for(20ms);
            records = Records(ReadFile(Path("viewer.out")));
        } while (!done(records) && std::chrono::steady_clock::now() < end);
        return records;
    }

    HWND m_window = nullptr; // the viewer's window
};

} // namespace

TEST_F(ViewerProcess, ShowsATracedChildInOrder) {
    auto viewer = StartViewer();
    Child sender({BV_DIAG_SENDER, "trace"}, Path("sender.out"));
    ASSERT_EQ(sender.Wait(20s), 0);
    const std::string throwLine = Split(ReadFile(Path("sender.out")), '\n').at(0);
    const auto records =
        RecordsWhen([](const auto& r) { return !r.empty() && r.back().command == "3"; });

    const std::string pid = std::to_string(sender.Pid());
    const struct {
        const char* command;
        std::string text; // a pattern
    } expected[] = {
        {"2", "CORE"},
        {"7",
         "sender::ThrowAndCatch,Throwing class mcExc,Sender failed on purpose,Sender\\.cpp\\(" +
             throwLine + "\\)"},
        {"7", R"(\[t = \d+\.\d{3} sec\]: Entering Sender scope)"},
        {"7", R"(\[t = \d+\.\d{3} sec\]: Exiting Sender scope \(elapsed = \d+\.\d{3} sec\))"},
        {"3", ""},
    };
    ASSERT_EQ(records.size(), std::size(expected));
    for (std::size_t i = 0; i < records.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(records[i].pid, pid);
        EXPECT_EQ(records[i].command, expected[i].command);
        EXPECT_EQ(records[i].logger, "CORE");
        EXPECT_EQ(records[i].channel, records[0].channel);
        EXPECT_TRUE(std::regex_match(records[i].text, std::regex(expected[i].text)))
            << records[i].text;
    }
}

TEST_F(ViewerProcess, MalformedBlocksAreIgnoredAndTheViewerLives) {
    auto viewer = StartViewer();
    ASSERT_NE(m_window, nullptr);
    std::vector<unsigned char> block(8104, 0);
    const auto put = [&block](std::size_t offset, std::uint32_t value) {
        for (int i = 0; i < 4; ++i) {
            block[offset + i] = static_cast<unsigned char>(value >> (8 * i));
        }
    };
    const auto send = [&](ULONG_PTR command, DWORD bytes) {
        COPYDATASTRUCT data{command, bytes, block.data()};
        return SendMessageW(m_window, WM_COPYDATA, 0, reinterpret_cast<LPARAM>(&data));
    };
    block.assign(block.size(), 0xCC);
    put(0, 8104);
    put(32, 4001);
    EXPECT_EQ(send(7, 8104), bvdiag::kIgnored) << "count above 4000";
    put(32, 3); // units 0 and 1 are 0xCCCC: no terminator at unit 2
    EXPECT_EQ(send(7, 8104), bvdiag::kIgnored) << "no terminator";
    EXPECT_EQ(send(7, 100), bvdiag::kIgnored) << "short byte count";
    put(32, 1);
    block[36] = block[37] = 0;
    EXPECT_EQ(send(4, 8104), bvdiag::kIgnored) << "unknown command";
    put(32, 0);
    EXPECT_EQ(send(2, 8104), bvdiag::kIgnored) << "count 0";
    put(32, 1);
    EXPECT_GE(send(2, 8104), 0) << "a good open still works";
    EXPECT_EQ(send(7, 8104), 0) << "and a good line";
    const auto records = RecordsWhen([](const auto& r) { return r.size() >= 2; });
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].command, "2");
    EXPECT_EQ(records[1].command, "7");
    EXPECT_EQ(records[1].pid, std::to_string(getpid()));
    EXPECT_TRUE(IsWindow(m_window));
}

TEST_F(ViewerProcess, EightSendersOfAThousandLinesEach) {
    constexpr int kSenders = 8;
    constexpr int kLines = 1000;
    auto viewer = StartViewer({"--exit-after", std::to_string(kSenders * kLines)});
    std::vector<std::unique_ptr<Child>> senders;
    std::map<std::string, std::string> nameOfPid;
    for (int i = 0; i < kSenders; ++i) {
        const std::string name = "S" + std::to_string(i);
        senders.push_back(std::make_unique<Child>(
            std::vector<std::string>{BV_DIAG_SENDER, "lines", std::to_string(kLines), name},
            Path("sender" + name + ".out")));
        nameOfPid[std::to_string(senders.back()->Pid())] = name;
    }
    for (auto& sender : senders) {
        EXPECT_EQ(sender->Wait(60s), 0);
    }
    EXPECT_EQ(viewer->Wait(30s), 0) << "the viewer ends after the last line";

    std::map<std::string, int> next; // the next line number expected of each sender
    for (const auto& record : Records(ReadFile(Path("viewer.out")))) {
        if (record.command != "7") {
            continue;
        }
        const std::string& name = nameOfPid[record.pid];
        ASSERT_EQ(record.logger, name) << record.pid;
        ASSERT_EQ(record.text, name + " " + std::to_string(next[name]++)) << "order of " << name;
    }
    ASSERT_EQ(next.size(), static_cast<std::size_t>(kSenders));
    for (const auto& [name, count] : next) {
        EXPECT_EQ(count, kLines) << name;
    }
}

TEST_F(ViewerProcess, StartedInTheBackgroundItLogsPrivatelyAndLeavesWithThePrefix) {
    const std::string prefix = std::getenv("BV_PREFIX");
    auto viewer = StartAndFind({BV_DIAG_PROGRAM}, "/dev/null");
    Child sender({BV_DIAG_SENDER, "lines", "1", "Bg"}, Path("sender.out"));
    ASSERT_EQ(sender.Wait(20s), 0);
    const std::string log = prefix + "/bvdiag.log";
    WaitFor(log, "] Bg: Bg 0\n");
    EXPECT_NE(ReadFile(log).find(" [pid " + std::to_string(sender.Pid()) + "] Bg: Bg 0\n"),
              std::string::npos)
        << ReadFile(log);
    struct stat info {};
    ASSERT_EQ(stat(log.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);
    EXPECT_EQ(viewer->Wait(300ms), -1) << "still running while the prefix is there";
    std::filesystem::remove_all(prefix);
    EXPECT_EQ(viewer->Wait(10s), 0) << "gone with the prefix";
}

TEST_F(ViewerProcess, ASecondViewerFollowsTheFirst) {
    auto first = StartViewer();
    Child second({BV_DIAG_PROGRAM, "--foreground"}, Path("second.out"), Path("second.err"));
    WaitFor(Path("second.err"), "following"); // it has found the first and opened its log
    EXPECT_EQ(FindWindowW(nullptr, bvdiag::kViewerTitle), m_window) << "no second window";
    Child sender({BV_DIAG_SENDER, "lines", "2", "Two"}, Path("sender.out"));
    ASSERT_EQ(sender.Wait(20s), 0);
    WaitFor(Path("second.out"), "Two: Two 1\n");
    const std::string shown = ReadFile(Path("second.out"));
    EXPECT_NE(shown.find("Two: Two 0\n"), std::string::npos) << shown;
    EXPECT_NE(shown.find("Two: Two 1\n"), std::string::npos) << shown;
    first.reset();
    EXPECT_EQ(second.Wait(10s), 0) << "it ends with the first";
}

TEST_F(ViewerProcess, AFirstLineStartsTheViewerAndArrives) {
    ASSERT_EQ(FindWindowW(nullptr, bvdiag::kViewerTitle), nullptr);
    const std::string program = BV_DIAG_PROGRAM;
    const std::string oldPath = std::getenv("PATH");
    setenv("PATH", (program.substr(0, program.rfind('/')) + ":" + oldPath).c_str(), 1);
    Child sender({BV_DIAG_SENDER, "lines", "1", "First"}, Path("sender.out"));
    setenv("PATH", oldPath.c_str(), 1);
    ASSERT_EQ(sender.Wait(20s), 0);
    HWND window = FindWindowW(nullptr, bvdiag::kViewerTitle);
    ASSERT_NE(window, nullptr) << "the sender started a viewer";
    DWORD viewerPid = 0;
    GetWindowThreadProcessId(window, &viewerPid);
    const std::string log = std::string(std::getenv("BV_PREFIX")) + "/bvdiag.log";
    WaitFor(log, "] First: First 0\n");
    EXPECT_NE(ReadFile(log).find("] First: First 0\n"), std::string::npos) << ReadFile(log);
    ASSERT_GT(viewerPid, 0u);
    kill(static_cast<pid_t>(viewerPid), SIGKILL); // started detached: not a child of ours to reap
}

TEST_F(ViewerProcess, AfterTheViewerIsKilledTheNextLineReachesANewOneUnderTheOldChannel) {
    auto first = StartViewer();
    const HWND firstWindow = m_window;
    Child sender({BV_DIAG_SENDER, "twice", "Again", Path("go")}, Path("sender.out"));
    const auto before = RecordsWhen([](const auto& r) { return r.size() >= 2; });
    ASSERT_EQ(before.size(), 2u);
    first.reset(); // SIGKILL
    EXPECT_FALSE(IsWindow(firstWindow));
    auto second = StartViewer();
    EXPECT_NE(m_window, firstWindow) << "handles are never reused";
    std::ofstream(Path("go")).put('\n');
    ASSERT_EQ(sender.Wait(20s), 0);
    const auto after = RecordsWhen([](const auto& r) { return r.size() >= 2; });
    ASSERT_EQ(after.size(), 2u) << "no new open: the logger keeps its channel";
    for (const auto& [record, command] : {std::pair{after[0], "7"}, std::pair{after[1], "3"}}) {
        EXPECT_EQ(record.command, command);
        EXPECT_EQ(record.channel, before[0].channel);
        EXPECT_EQ(record.logger, "") << "a number this viewer never gave";
    }
    EXPECT_EQ(after[0].text, "Again 1");
}
