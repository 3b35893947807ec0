// Starting the diagnostics viewer: finding the program, starting it detached, and waiting until
// its message loop runs.
//
// The program is looked for beside the calling executable, then among the installed tools
// (../bin from this library's own directory), then in the absolute directories of PATH; never
// in the current directory. The child is detached: a new session, standard streams on
// /dev/null, no descriptor but the ready pipe, reaped at once through an intermediate child.
#include "windows/launch.h"

#include <bvplatform/winerror.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <filesystem>
#include <mutex>
#include <optional>
#include <poll.h>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char** environ;

namespace bvplatform::detail {
namespace {

constexpr int kReadyFd = 3;        // the ready pipe's descriptor in the started program
constexpr int kReadyWaitMs = 5000; // how long WinExec waits for the program's message loop
constexpr char kReady = 'R';       // the program's first GetMessageW
constexpr char kExecFailed = 'E';  // exec failed; its errno follows in one byte
constexpr char kForkFailed = 'F';  // the intermediate child could not fork

// ---- The command line.

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

// The words of a command line; a word in double quotes may hold spaces.
std::vector<std::string> Words(const char* commandLine) {
    std::vector<std::string> words;
    std::string word;
    bool quoted = false;
    bool started = false;
    for (const char* at = commandLine; *at != '\0'; ++at) {
        if (*at == '"') {
            quoted = !quoted;
            started = true;
        } else if (!quoted && std::isspace(static_cast<unsigned char>(*at))) {
            if (started) {
                words.push_back(std::move(word));
            }
            word.clear();
            started = false;
        } else {
            word += *at;
            started = true;
        }
    }
    if (started) {
        words.push_back(std::move(word));
    }
    return words;
}

// True when the program named is the diagnostics viewer: "BVDiag" with or without ".exe", in
// any case, after any directory part.
bool NamesViewer(const std::string& program) {
    const std::size_t slash = program.find_last_of("\\/");
    const std::string name =
        Lower(slash == std::string::npos ? program : program.substr(slash + 1));
    return name == "bvdiag" || name == "bvdiag.exe";
}

// ---- Finding the program.

bool Runnable(const std::string& path) {
    struct stat st {};
    return stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode) && access(path.c_str(), X_OK) == 0;
}

std::vector<std::string> Candidates() {
    namespace fs = std::filesystem;
    std::vector<std::string> candidates;
    std::error_code ec;
    const fs::path self = fs::read_symlink("/proc/self/exe", ec);
    if (!ec) {
        candidates.push_back((self.parent_path() / "bvdiag").string());
    }
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&LaunchProgram), &info) != 0 && info.dli_fname) {
        const fs::path library = fs::canonical(info.dli_fname, ec);
        if (!ec) {
            const fs::path dir = library.parent_path();
            candidates.push_back((dir.parent_path() / "bin" / "bvdiag").string());
            // A multiarch library directory (lib/x86_64-linux-gnu) sits one level deeper.
            if (dir.filename().string().find("-linux-") != std::string::npos) {
                candidates.push_back((dir.parent_path().parent_path() / "bin" / "bvdiag").string());
            }
        }
    }
    const char* path = std::getenv("PATH");
    std::istringstream entries(path ? path : "");
    for (std::string entry; std::getline(entries, entry, ':');) {
        if (!entry.empty() && entry.front() == '/') { // relative entries mean the current dir
            candidates.push_back(entry + "/bvdiag");
        }
    }
    return candidates;
}

std::optional<std::string> FindViewer() {
    for (const std::string& candidate : Candidates()) {
        if (Runnable(candidate)) {
            return candidate;
        }
    }
    return std::nullopt;
}

// ---- Starting it.

// The environment of the program: ours, with the ready pipe named.
std::vector<std::string> ChildEnvironment() {
    std::vector<std::string> entries;
    const std::string own = std::string(kReadyFdVariable) + "=";
    for (char** at = environ; at && *at; ++at) {
        if (std::strncmp(*at, own.c_str(), own.size()) != 0) {
            entries.emplace_back(*at);
        }
    }
    entries.push_back(own + std::to_string(kReadyFd));
    return entries;
}

std::vector<char*> Pointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

void Report(int fd, char what, int error) {
    const char message[2] = {what, static_cast<char>(error)};
    [[maybe_unused]] const ssize_t written = write(fd, message, sizeof message);
}

void CloseFrom(int first) {
#ifdef SYS_close_range
    if (syscall(SYS_close_range, first, ~0U, 0) == 0) {
        return;
    }
#endif
    for (int fd = first; fd < 65536; ++fd) {
        close(fd);
    }
}

// In the grandchild: only async-signal-safe calls from here to exec.
[[noreturn]] void BecomeProgram(int readyWrite, const char* path, char* const* argv,
                                char* const* envp) {
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    for (int signal = 1; signal < NSIG; ++signal) {
        ::signal(signal, SIG_DFL);
    }
    const int ready = fcntl(readyWrite, F_DUPFD, kReadyFd + 1);
    const int null = open("/dev/null", O_RDWR);
    if (ready < 0 || null < 0) {
        Report(readyWrite, kExecFailed, ENOMEM);
        _exit(127);
    }
    dup2(null, 0);
    dup2(null, 1);
    dup2(null, 2);
    dup2(ready, kReadyFd);
    CloseFrom(kReadyFd + 1);
    execve(path, argv, envp);
    Report(kReadyFd, kExecFailed, errno);
    _exit(127);
}

// Waits for the program's first word on the pipe. A program that ends, or takes too long,
// before its message loop still counts as started.
DWORD AwaitReady(int readyRead) {
    pollfd wait{readyRead, POLLIN, 0};
    int ready = 0;
    do {
        ready = poll(&wait, 1, kReadyWaitMs);
    } while (ready < 0 && errno == EINTR);
    char message[2] = {};
    if (ready <= 0 || read(readyRead, message, sizeof message) <= 0 || message[0] == kReady) {
        return ERROR_SUCCESS;
    }
    if (message[0] == kForkFailed) {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
    return message[1] == ENOEXEC ? ERROR_BAD_FORMAT : ERROR_FILE_NOT_FOUND;
}

} // namespace

void NotifyLauncherOnce() {
    static std::once_flag once;
    std::call_once(once, [] {
        const char* named = std::getenv(kReadyFdVariable);
        if (named == nullptr) {
            return;
        }
        const int fd = std::atoi(named);
        unsetenv(kReadyFdVariable); // the program's own children are not ours to announce
        struct stat st {};
        if (fd > 2 && fstat(fd, &st) == 0 && S_ISFIFO(st.st_mode)) {
            const char ready = kReady;
            [[maybe_unused]] const ssize_t written = write(fd, &ready, 1);
            close(fd);
        }
    });
}

DWORD LaunchProgram(const char* commandLine) {
    std::vector<std::string> words = Words(commandLine);
    if (words.empty() || !NamesViewer(words.front())) {
        return ERROR_FILE_NOT_FOUND;
    }
    const std::optional<std::string> path = FindViewer();
    if (!path) {
        return ERROR_FILE_NOT_FOUND;
    }
    words.front() = "bvdiag";
    std::vector<std::string> environment = ChildEnvironment();
    const std::vector<char*> argv = Pointers(words);
    const std::vector<char*> envp = Pointers(environment);
    int pipe[2];
    if (pipe2(pipe, O_CLOEXEC) != 0) {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
    const pid_t middle = fork();
    if (middle == 0) {
        setsid();
        const pid_t program = _Fork(); // no fork handlers: only safe calls in this child

        if (program == 0) {
            BecomeProgram(pipe[1], path->c_str(), argv.data(), envp.data());
        }
        if (program < 0) {
            Report(pipe[1], kForkFailed, errno);
        }
        _exit(0); // the program is adopted by init: no zombie of ours
    }
    close(pipe[1]);
    DWORD result = ERROR_NOT_ENOUGH_MEMORY;
    if (middle > 0) {
        int status = 0;
        while (waitpid(middle, &status, 0) < 0 && errno == EINTR) {
        }
        result = AwaitReady(pipe[0]);
    }
    close(pipe[0]);
    return result;
}

} // namespace bvplatform::detail
