// Published windows: their files in the station, the listener thread and connection threads.
#include "windows/publication.h"

#include "windows/forksafe.h"
#include "windows/localwindow.h"
#include "windows/messageloop.h"
#include "windows/station.h"
#include "windows/wire.h"

#include <bvplatform/winerror.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <future>
#include <map>
#include <poll.h>
#include <set>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace bvplatform::detail {

struct Publication::Server {
    Server(HWND window, int socket) : handle(window), listenFd(socket) {}
    const HWND handle;         // the published window
    const int listenFd;        // its listening socket; closed by the listener thread
    std::mutex lock;           // guards the fields below
    std::set<int> connections; // accepted sockets being served
    bool withdrawn = false;    // no new connection is served
};

namespace {

using Server = Publication::Server;
constexpr int kBacklog = 64; // pending connections per window

// ---- One request.

WireReply RunRequest(const Server& server, DWORD peer, const WireRequest& request,
                     std::vector<unsigned char>& data) {
    WireReply reply;
    const std::shared_ptr<LocalWindow> window = FindLocalWindow(server.handle);
    if (!CrossesProcesses(request.message) || (request.message != WM_COPYDATA && !data.empty())) {
        reply.error = ERROR_INVALID_PARAMETER;
        return reply;
    }
    // A window whose thread has ended has nobody to run its procedure.
    if (!window || (syscall(SYS_tgkill, getpid(), window->ThreadId(), 0) != 0 && errno == ESRCH)) {
        reply.error = ERROR_INVALID_WINDOW_HANDLE;
        return reply;
    }
    COPYDATASTRUCT copy{static_cast<ULONG_PTR>(request.lParam), request.bytes,
                        data.empty() ? nullptr : data.data()};
    const LPARAM lParam = request.message == WM_COPYDATA ? reinterpret_cast<LPARAM>(&copy)
                                                         : static_cast<LPARAM>(request.lParam);
    std::promise<void> done;
    DeliverToThread(window->ThreadId(), [&](bool run) {
        LRESULT result = 0;
        reply.error = run ? window->SendFrom(peer, request.message,
                                             static_cast<WPARAM>(request.wParam), lParam, result)
                          : ERROR_INVALID_WINDOW_HANDLE;
        reply.result = result;
        done.set_value();
    });
    done.get_future().wait();
    return reply;
}

// Serves one sending process until it hangs up or the window is withdrawn.
void Serve(const std::shared_ptr<Server>& server, int fd, DWORD peer) {
    WireRequest request;
    std::vector<unsigned char> data;
    while (ReceiveWhole(fd, &request, sizeof request) && request.magic == kRequestMagic &&
           request.bytes <= kMaxCopyData) {
        data.resize(request.bytes);
        if (!data.empty() && !ReceiveWhole(fd, data.data(), data.size())) {
            return;
        }
        const WireReply reply = RunRequest(*server, peer, request, data);
        if (!SendWhole(fd, &reply, sizeof reply, nullptr, 0)) {
            return;
        }
    }
}

void ServeConnection(std::shared_ptr<Server> server, int fd, DWORD peer) {
    {
        std::lock_guard lock(server->lock);
        if (server->withdrawn) {
            close(fd);
            return;
        }
        server->connections.insert(fd);
    }
    Serve(server, fd, peer);
    {
        std::lock_guard lock(server->lock);
        server->connections.erase(fd);
    }
    close(fd);
}

// ---- The listener thread.

struct Listener {
    std::mutex lock;                                // guards the fields below
    pid_t pid = 0;                                  // the process the thread runs in
    int wake[2] = {-1, -1};                         // a write wakes the thread
    std::map<int, std::shared_ptr<Server>> sockets; // listening sockets being served
    std::vector<int> closing;                       // listening sockets to close
};

Listener& TheListener() {
    return ForkSafeTable<Listener>();
}

void Wake(Listener& listener) {
    const char byte = 0;
    [[maybe_unused]] const ssize_t written = write(listener.wake[1], &byte, 1);
}

void Accept(const std::shared_ptr<Server>& server) {
    const int fd = accept4(server->listenFd, nullptr, nullptr, SOCK_CLOEXEC);
    if (fd < 0) {
        return;
    }
    const DWORD peer = TrustedPeer(fd);
    if (peer == 0) {
        close(fd); // another user's process: never served
        return;
    }
    std::thread(ServeConnection, server, fd, peer).detach();
}

// The poll set for this round; closes the sockets of withdrawn windows first.
std::vector<pollfd> PollSet(Listener& listener) {
    std::lock_guard lock(listener.lock);
    for (const int fd : listener.closing) {
        close(fd);
    }
    listener.closing.clear();
    std::vector<pollfd> fds{{listener.wake[0], POLLIN, 0}};
    for (const auto& [fd, server] : listener.sockets) {
        fds.push_back({fd, POLLIN, 0});
    }
    return fds;
}

[[noreturn]] void Listen() {
    Listener& listener = TheListener();
    for (;;) {
        std::vector<pollfd> fds = PollSet(listener);
        if (poll(fds.data(), fds.size(), -1) < 0) {
            continue; // EINTR
        }
        char drain[64];
        while (read(fds[0].fd, drain, sizeof drain) > 0) {
        }
        for (std::size_t i = 1; i < fds.size(); ++i) {
            if ((fds[i].revents & POLLIN) == 0) {
                continue;
            }
            std::shared_ptr<Server> server;
            {
                std::lock_guard lock(listener.lock);
                if (const auto it = listener.sockets.find(fds[i].fd);
                    it != listener.sockets.end()) {
                    server = it->second;
                }
            }
            if (server) {
                Accept(server);
            }
        }
    }
}

// Starts serving a listening socket; the first one of a process (or of a forked child, which
// has no listener thread) starts the thread.
bool AddListening(const std::shared_ptr<Server>& server) {
    Listener& listener = TheListener();
    std::lock_guard lock(listener.lock);
    if (listener.pid != getpid()) {
        // A forked child: the parent's sockets and wake pipe are the parent's business.
        listener.sockets.clear();
        listener.closing.clear();
        if (pipe2(listener.wake, O_CLOEXEC | O_NONBLOCK) != 0) {
            listener.pid = 0;
            return false;
        }
        listener.pid = getpid();
        std::thread(Listen).detach();
    }
    listener.sockets.emplace(server->listenFd, server);
    Wake(listener);
    return true;
}

void RemoveListening(const Server& server) {
    Listener& listener = TheListener();
    std::lock_guard lock(listener.lock);
    if (listener.pid != getpid() || listener.sockets.erase(server.listenFd) == 0) {
        return;
    }
    listener.closing.push_back(server.listenFd);
    Wake(listener);
}

int ListeningSocket(const StationDir& station, HWND handle) {
    sockaddr_un address{};
    const int fd = WindowSocket(station, handle, address);
    if (fd < 0) {
        return -1;
    }
    if (bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        listen(fd, kBacklog) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

} // namespace

Publication::Publication(std::shared_ptr<const StationDir> station, std::shared_ptr<Server> server,
                         std::string owner)
    : m_station(std::move(station)), m_server(std::move(server)), m_owner(std::move(owner)) {}

Publication::~Publication() = default;

std::shared_ptr<Publication> Publication::Start(WindowRecord record) {
    std::shared_ptr<const StationDir> station = OpenStation();
    if (!station) {
        return nullptr;
    }
    record.owner = OwnToken(*station);
    if (record.owner.empty()) {
        return nullptr;
    }
    const int fd = ListeningSocket(*station, record.handle);
    if (fd < 0) {
        return nullptr;
    }
    auto server = std::make_shared<Server>(record.handle, fd);
    if (!AddListening(server)) {
        close(fd);
        RemoveRecord(*station, record.handle);
        return nullptr;
    }
    if (!WriteRecord(*station, record)) {
        RemoveListening(*server);
        RemoveRecord(*station, record.handle);
        return nullptr;
    }
    return std::make_shared<Publication>(std::move(station), std::move(server),
                                         std::move(record.owner));
}

void Publication::Update(WindowRecord record) {
    // The station is checked again: one refused since the window was published is left alone.
    const std::shared_ptr<const StationDir> now = OpenStation();
    if (!now || now->Path() != m_station->Path()) {
        return;
    }
    record.owner = m_owner;
    WriteRecord(*m_station, record);
}

void Publication::Withdraw() {
    RemoveRecord(*m_station, m_server->handle);
    RemoveListening(*m_server);
    std::lock_guard lock(m_server->lock);
    m_server->withdrawn = true;
    // Ends each connection's wait for its next request; a reply being written still goes out.
    for (const int fd : m_server->connections) {
        shutdown(fd, SHUT_RD);
    }
}

} // namespace bvplatform::detail
