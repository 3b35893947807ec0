// The diagnostics channel across processes: one Log line to a live bvdiag in another process
// (writing to a file), next to a raw 8 KiB round trip on a Unix socket to another process, and
// the lines per second that 8 sending threads get through.
#include "Core/Common/Logger.h"

#include "TempPrefix.h"

#include <bvplatform/windows.h>

#include <benchmark/benchmark.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

const TStr kLine = u"mfFileLoadUCharVec,Throwing class mcExc,Cannot load,FileUtils.cpp(123)";
constexpr std::size_t kBlockSize = 8104;

// bvdiag beside this program's build tree (bench/ and tools/bvdiag/ are siblings), or $BVDIAG.
std::string ViewerProgram() {
    if (const char* path = std::getenv("BVDIAG")) {
        return path;
    }
    const auto self = std::filesystem::read_symlink("/proc/self/exe");
    return (self.parent_path().parent_path() / "tools/bvdiag/bvdiag").string();
}

// Reads or writes exactly `size` bytes; false at the end of the stream or on an error.
template <class Op>
bool Exactly(Op op, int fd, unsigned char* data, std::size_t size) {
    for (std::size_t done = 0; done < size;) {
        const ssize_t n = op(fd, data + done, size - done);
        if (n <= 0) {
            return false;
        }
        done += static_cast<std::size_t>(n);
    }
    return true;
}

// A child process killed at exit; the viewer's output goes to a file in the prefix.
class ViewerProcess {
public:
    ViewerProcess() {
        bvbench::UseTemporaryPrefix("bvbench-viewer");
        const std::string out = std::string(std::getenv("BV_PREFIX")) + "/viewer.out";
        const std::string program = ViewerProgram();
        m_pid = fork();
        if (m_pid == 0) {
            const int fd = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            dup2(fd, STDOUT_FILENO);
            execl(program.c_str(), program.c_str(), "--foreground", static_cast<char*>(nullptr));
            _exit(127);
        }
        for (int i = 0; i < 500 && FindWindowW(nullptr, u"Brontavale_BVDiag") == nullptr; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }
    ~ViewerProcess() {
        kill(m_pid, SIGKILL);
        waitpid(m_pid, nullptr, 0);
    }
    ViewerProcess(const ViewerProcess&) = delete;
    ViewerProcess& operator=(const ViewerProcess&) = delete;

    [[nodiscard]] bool Up() const { return FindWindowW(nullptr, u"Brontavale_BVDiag") != nullptr; }

private:
    pid_t m_pid = -1; // the viewer
};

ViewerProcess& Viewer() {
    static ViewerProcess viewer;
    return viewer;
}

void BM_LogLineToViewerProcess(benchmark::State& state) {
    if (!Viewer().Up()) {
        state.SkipWithError("bvdiag did not start");
        return;
    }
    core::Logger logger(u"bench" + TStr(1, static_cast<char16_t>(u'A' + state.thread_index())));
    logger.Log(kLine); // opens the channel
    for (auto _ : state) {
        logger.Log(kLine);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_LogLineToViewerProcess)->UseRealTime();
BENCHMARK(BM_LogLineToViewerProcess)->Threads(8)->UseRealTime();

// Baseline: the block to another process over a Unix socket and a 4-byte reply back, the least
// that a synchronous cross-process message costs.
void BM_RawUnixSocketRoundTrip8KiB(benchmark::State& state) {
    int pair[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, pair) != 0) {
        state.SkipWithError("socketpair");
        return;
    }
    const pid_t echo = fork();
    if (echo == 0) {
        close(pair[0]);
        unsigned char block[kBlockSize];
        unsigned char reply[4] = {1, 0, 0, 0};
        while (Exactly(read, pair[1], block, sizeof block) &&
               Exactly(write, pair[1], reply, sizeof reply)) {
        }
        _exit(0);
    }
    close(pair[1]);
    unsigned char block[kBlockSize] = {};
    unsigned char reply[4];
    for (auto _ : state) {
        Exactly(write, pair[0], block, sizeof block);
        Exactly(read, pair[0], reply, sizeof reply);
    }
    close(pair[0]);
    waitpid(echo, nullptr, 0);
}
BENCHMARK(BM_RawUnixSocketRoundTrip8KiB)->UseRealTime();

} // namespace

BENCHMARK_MAIN();
