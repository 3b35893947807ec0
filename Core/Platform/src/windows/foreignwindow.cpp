// Windows of other processes. What they are is read from their records without asking their
// owners; a message goes over the window's socket on one kept connection per process and
// window, which the sending threads share one request at a time.
#include "windows/foreignwindow.h"

#include "windows/forksafe.h"
#include "windows/record.h"
#include "windows/stationdir.h"
#include "windows/wire.h"

#include <bvplatform/windows.h>
#include <bvplatform/winerror.h>

#include <cstring>
#include <map>
#include <mutex>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace bvplatform::detail {
namespace {

// A kept connection to one window. It belongs to the process that made it: a forked child
// makes its own rather than write into its parent's conversation.
struct Connection {
    explicit Connection(pid_t owner) : pid(owner) {}
    const pid_t pid; // the process that may use it
    std::mutex lock; // held for a whole request and reply; guards fd
    int fd = -1;     // the connected socket, -1 until connected or after a failure
};

struct Connections {
    std::mutex lock;                                                // guards byWindow
    std::map<std::uintptr_t, std::shared_ptr<Connection>> byWindow; // by window handle
};

Connections& TheConnections() {
    return ForkSafeTable<Connections>();
}

std::shared_ptr<Connection> ConnectionTo(HWND handle) {
    Connections& connections = TheConnections();
    std::lock_guard lock(connections.lock);
    auto& entry = connections.byWindow[reinterpret_cast<std::uintptr_t>(handle)];
    if (entry && entry->pid != getpid()) {
        // The parent's: its lock may be held by a parent thread, so it is never destroyed
        // here; the descriptor copy is closed so that the child does not keep it open.
        using Abandoned = std::vector<std::shared_ptr<Connection>>;
        static Abandoned& abandoned = *new Abandoned;
        if (entry->fd >= 0) {
            close(entry->fd);
        }
        abandoned.push_back(std::move(entry));
    }
    if (!entry) {
        entry = std::make_shared<Connection>(getpid());
    }
    return entry;
}

void DropConnection(HWND handle, const std::shared_ptr<Connection>& connection) {
    Connections& connections = TheConnections();
    std::lock_guard lock(connections.lock);
    const auto it = connections.byWindow.find(reinterpret_cast<std::uintptr_t>(handle));
    if (it != connections.byWindow.end() && it->second == connection) {
        connections.byWindow.erase(it);
    }
}

int Connect(const StationDir& station, HWND handle) {
    sockaddr_un address{};
    const int fd = WindowSocket(station, handle, address);
    if (fd < 0) {
        return -1;
    }
    int connected = 0;
    do {
        connected = connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    } while (connected != 0 && errno == EINTR);
    if (connected != 0 || TrustedPeer(fd) == 0) {
        close(fd);
        return -1;
    }
    return fd;
}

class ForeignWindow final : public Window {
public:
    ForeignWindow(HWND handle, std::shared_ptr<const StationDir> station)
        : Window(handle), m_station(std::move(station)) {}

    [[nodiscard]] bool Alive() const override { return ForeignWindowAlive(*m_station, Handle()); }

    DWORD Facts(WindowFacts& facts) const override {
        const auto record = ReadLiveRecord(*m_station, Handle());
        if (!record) {
            return ERROR_INVALID_WINDOW_HANDLE;
        }
        facts = WindowFacts{record->className, record->title, record->threadId, record->processId};
        return ERROR_SUCCESS;
    }

    DWORD GetLong(int index, LONG& value) const override {
        const auto record = ReadLiveRecord(*m_station, Handle());
        if (!record) {
            return ERROR_INVALID_WINDOW_HANDLE;
        }
        return ReadLong(*record, index, value) ? ERROR_SUCCESS : ERROR_INVALID_INDEX;
    }

    // Another process's window is changed and destroyed only by its owner.
    DWORD SetLong(int, LONG, LONG&) override { return ERROR_ACCESS_DENIED; }
    DWORD Destroy() override { return ERROR_ACCESS_DENIED; }

    DWORD Send(UINT message, WPARAM wParam, LPARAM lParam, LRESULT& result) override;

private:
    DWORD Exchange(Connection& connection, const WireRequest& request, const void* data,
                   WireReply& reply) const;

    const std::shared_ptr<const StationDir> m_station; // the checked station it was found in
};

DWORD ForeignWindow::Send(UINT message, WPARAM wParam, LPARAM lParam, LRESULT& result) {
    WireRequest request;
    request.message = message;
    request.wParam = wParam;
    request.lParam = static_cast<std::uint64_t>(lParam);
    const void* data = nullptr;
    if (message == WM_COPYDATA) {
        const auto* copy = reinterpret_cast<const COPYDATASTRUCT*>(lParam);
        if (copy == nullptr || copy->cbData > kMaxCopyData ||
            (copy->cbData != 0 && copy->lpData == nullptr)) {
            return ERROR_INVALID_PARAMETER;
        }
        request.lParam = copy->dwData;
        request.bytes = copy->cbData;
        data = copy->lpData;
    } else if (!CrossesProcesses(message)) {
        return ERROR_INVALID_PARAMETER;
    }
    const std::shared_ptr<Connection> connection = ConnectionTo(Handle());
    WireReply reply;
    if (const DWORD error = Exchange(*connection, request, data, reply)) {
        DropConnection(Handle(), connection);
        return error;
    }
    if (reply.error != ERROR_SUCCESS) {
        return reply.error;
    }
    result = static_cast<LRESULT>(reply.result);
    return ERROR_SUCCESS;
}

DWORD ForeignWindow::Exchange(Connection& connection, const WireRequest& request, const void* data,
                              WireReply& reply) const {
    std::lock_guard lock(connection.lock);
    if (connection.fd < 0) {
        connection.fd = Connect(*m_station, Handle());
    }
    // A receiver that is gone, or dies before it answers, leaves the message without result.
    if (connection.fd < 0 ||
        !SendWhole(connection.fd, &request, sizeof request, data, request.bytes) ||
        !ReceiveWhole(connection.fd, &reply, sizeof reply) || reply.magic != kReplyMagic) {
        if (connection.fd >= 0) {
            close(connection.fd);
            connection.fd = -1;
        }
        return ERROR_INVALID_WINDOW_HANDLE;
    }
    return ERROR_SUCCESS;
}

} // namespace

std::shared_ptr<Window> FindForeignWindow(HWND handle) {
    std::shared_ptr<const StationDir> station = OpenStation();
    if (!station || !ForeignWindowAlive(*station, handle)) {
        return nullptr;
    }
    return std::make_shared<ForeignWindow>(handle, std::move(station));
}

std::vector<std::shared_ptr<Window>> ForeignWindows() {
    std::vector<std::shared_ptr<Window>> windows;
    const std::shared_ptr<const StationDir> station = OpenStation();
    if (!station) {
        return windows;
    }
    for (const WindowRecord& record : LiveForeignRecords(*station)) {
        windows.push_back(std::make_shared<ForeignWindow>(record.handle, station));
    }
    return windows;
}

} // namespace bvplatform::detail
