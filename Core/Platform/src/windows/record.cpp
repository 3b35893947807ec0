// Window records and owner locks in the station directory.
//
// Sections: record encoding; this process's token and lock; owner liveness (with the cache of
// lock descriptors and handle owners); record files.
#include "windows/record.h"

#include "windows/forksafe.h"

#include <bvplatform/windows.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <map>
#include <mutex>
#include <pthread.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

namespace bvplatform::detail {
namespace {

constexpr char kMagic[4] = {'B', 'V', 'W', '1'};
constexpr std::size_t kMaxRecord = 1 << 20; // no record of ours comes near; bigger is damage
constexpr time_t kLeftoverAge = 10;         // seconds before a temporary file counts as left

// ---- Record encoding: little-endian fixed fields, then counted strings.

class Writer {
public:
    template <class T>
    void Put(T value) {
        const auto* bytes = reinterpret_cast<const char*>(&value);
        m_out.append(bytes, sizeof value);
    }
    template <class Unit>
    void PutText(const std::basic_string<Unit>& text) {
        Put(static_cast<std::uint32_t>(text.size()));
        m_out.append(reinterpret_cast<const char*>(text.data()), text.size() * sizeof(Unit));
    }
    [[nodiscard]] std::string Take() { return std::move(m_out); }

private:
    std::string m_out; // the record so far
};

class Reader {
public:
    explicit Reader(const std::string& in) : m_in(in) {}
    template <class T>
    bool Get(T& value) {
        if (m_in.size() - m_pos < sizeof value) {
            return false;
        }
        std::memcpy(&value, m_in.data() + m_pos, sizeof value);
        m_pos += sizeof value;
        return true;
    }
    template <class Unit>
    bool GetText(std::basic_string<Unit>& text) {
        std::uint32_t count = 0;
        if (!Get(count) || (m_in.size() - m_pos) / sizeof(Unit) < count) {
            return false;
        }
        text.resize(count);
        std::memcpy(text.data(), m_in.data() + m_pos, count * sizeof(Unit));
        m_pos += count * sizeof(Unit);
        return true;
    }
    [[nodiscard]] bool AtEnd() const { return m_pos == m_in.size(); }

private:
    const std::string& m_in; // the whole record
    std::size_t m_pos = 0;   // bytes read so far
};

std::string Encode(const WindowRecord& record) {
    Writer out;
    for (const char c : kMagic) {
        out.Put(c);
    }
    out.Put(static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(record.handle)));
    out.Put(record.processId);
    out.Put(record.threadId);
    out.Put(record.style);
    out.Put(record.exStyle);
    out.Put(record.id);
    out.Put(record.userData);
    out.PutText(record.owner);
    out.PutText(record.className);
    out.PutText(record.title);
    out.PutText(std::basic_string<unsigned char>(record.extra.begin(), record.extra.end()));
    return out.Take();
}

bool Decode(const std::string& in, WindowRecord& record) {
    Reader reader(in);
    char magic[4] = {};
    for (char& c : magic) {
        reader.Get(c);
    }
    std::uint64_t handle = 0;
    std::basic_string<unsigned char> extra;
    const bool read = std::memcmp(magic, kMagic, sizeof magic) == 0 && reader.Get(handle) &&
                      reader.Get(record.processId) && reader.Get(record.threadId) &&
                      reader.Get(record.style) && reader.Get(record.exStyle) &&
                      reader.Get(record.id) && reader.Get(record.userData) &&
                      reader.GetText(record.owner) && reader.GetText(record.className) &&
                      reader.GetText(record.title) && reader.GetText(extra) && reader.AtEnd();
    record.handle = reinterpret_cast<HWND>(static_cast<std::uintptr_t>(handle));
    record.extra.assign(extra.begin(), extra.end());
    return read;
}

bool ReadWhole(int dirFd, const std::string& name, std::string& out) {
    const int fd = openat(dirFd, name.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (fd < 0) {
        return false;
    }
    char buffer[4096];
    ssize_t got = 0;
    while ((got = read(fd, buffer, sizeof buffer)) > 0 && out.size() < kMaxRecord) {
        out.append(buffer, static_cast<std::size_t>(got));
    }
    close(fd);
    return got == 0;
}

bool WriteWhole(int fd, const std::string& data) {
    std::size_t done = 0;
    while (done < data.size()) {
        const ssize_t put = write(fd, data.data() + done, data.size() - done);
        if (put < 0 && errno == EINTR) {
            continue;
        }
        if (put <= 0) {
            return false;
        }
        done += static_cast<std::size_t>(put);
    }
    return true;
}

std::string LockName(const std::string& token) {
    return "p-" + token + ".lock";
}

// ---- This process's token and lock.

struct Self {
    std::mutex lock;     // guards the fields below
    pid_t pid = 0;       // the process that made the token (a forked child makes its own)
    std::string station; // the station the lock is in
    std::string token;   // "<pid>x<random>": never the same twice
    int lockFd = -1;     // the locked file; never closed while the lock must hold
    unsigned serial = 0; // numbers temporary record names
};

Self& TheSelf();

// In a forked child (single-threaded here): the parent's lock descriptor is closed, so that the
// lock ends with the parent. The description stays locked for the parent, which keeps its copy.
void DropInheritedLock() {
    Self& self = TheSelf();
    if (self.lockFd >= 0) {
        close(self.lockFd);
        self.lockFd = -1;
    }
}

Self& TheSelf() {
    static Self& self = *[] {
        auto* made = new Self;
        HoldAcrossFork(made->lock);
        pthread_atfork(nullptr, nullptr, DropInheritedLock);
        return made;
    }();
    return self;
}

std::string NewToken() {
    std::uint64_t random = 0;
    if (getrandom(&random, sizeof random, 0) != static_cast<ssize_t>(sizeof random)) {
        random = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(&random)) ^
                 static_cast<std::uint64_t>(time(nullptr));
    }
    char token[48];
    std::snprintf(token, sizeof token, "%xx%016llx", static_cast<unsigned>(getpid()),
                  static_cast<unsigned long long>(random));
    return token;
}

// Makes and locks the lock file under a temporary name, then renames it into place: a lock file
// is never seen unlocked while its owner lives.
int MakeLock(const StationDir& station, const std::string& token) {
    const std::string temp = "t-" + token + "-lock";
    const int fd = openat(station.Fd(), temp.c_str(),
                          O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0) {
        return -1;
    }
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    if (fcntl(fd, F_OFD_SETLK, &lock) != 0 ||
        renameat(station.Fd(), temp.c_str(), station.Fd(), LockName(token).c_str()) != 0) {
        unlinkat(station.Fd(), temp.c_str(), 0);
        close(fd);
        return -1;
    }
    return fd;
}

// The token of this process if it has one (not the parent's in a forked child).
std::string OwnTokenIfAny() {
    Self& self = TheSelf();
    std::lock_guard lock(self.lock);
    return self.pid == getpid() ? self.token : std::string();
}

// ---- Owner liveness.

struct Owners {
    std::mutex lock;                             // guards the fields below
    std::map<std::string, int> lockFds;          // open lock files of other processes, by token
    std::map<std::uintptr_t, std::string> owner; // the owner token of handles seen
};

Owners& TheOwners() {
    return ForkSafeTable<Owners>();
}

// True while the process of `token` holds its lock.
bool OwnerAlive(const StationDir& station, const std::string& token) {
    Owners& owners = TheOwners();
    std::lock_guard lock(owners.lock);
    auto found = owners.lockFds.find(token);
    if (found == owners.lockFds.end()) {
        const int fd =
            openat(station.Fd(), LockName(token).c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
        if (fd < 0) {
            return false; // removed by whoever saw the owner die first
        }
        found = owners.lockFds.emplace(token, fd).first;
    }
    struct flock probe {};
    probe.l_type = F_WRLCK;
    probe.l_whence = SEEK_SET;
    if (fcntl(found->second, F_OFD_GETLK, &probe) == 0 && probe.l_type != F_UNLCK) {
        return true;
    }
    close(found->second);
    owners.lockFds.erase(found);
    return false;
}

void Forget(HWND handle) {
    Owners& owners = TheOwners();
    std::lock_guard lock(owners.lock);
    owners.owner.erase(reinterpret_cast<std::uintptr_t>(handle));
}

void RemoveDeadOwner(const StationDir& station, const std::string& token, HWND handle) {
    RemoveRecord(station, handle);
    unlinkat(station.Fd(), LockName(token).c_str(), 0);
}

// The file name's handle for "w-<hex>.rec"; null for any other name.
HWND HandleOfRecordName(const char* name) {
    unsigned long long value = 0;
    int end = 0;
    if (std::sscanf(name, "w-%16llx.rec%n", &value, &end) != 1 || name[end] != '\0') {
        return nullptr;
    }
    return reinterpret_cast<HWND>(static_cast<std::uintptr_t>(value));
}

// Removes a temporary or lock file left by a dead process.
void SweepLeftover(const StationDir& station, const std::string& name, const std::string& own) {
    std::string token;
    if (name.starts_with("t-") && name.rfind('-') > 2) {
        // A temporary file may be an owner's lock just before its rename: only old ones go.
        struct stat st {};
        if (fstatat(station.Fd(), name.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0 ||
            time(nullptr) - st.st_mtime < kLeftoverAge) {
            return;
        }
        token = name.substr(2, name.rfind('-') - 2);
    } else if (name.starts_with("p-") && name.ends_with(".lock")) {
        token = name.substr(2, name.size() - 7);
    }
    if (!token.empty() && token != own && !OwnerAlive(station, token)) {
        unlinkat(station.Fd(), name.c_str(), 0);
    }
}

// The four bytes behind a GetWindowLong index: extra window memory for offsets, a field for the
// GWL_ indices; null for an index the window has not.
unsigned char* Slot(WindowRecord& record, int index) {
    if (index >= 0) {
        const bool fits = static_cast<std::size_t>(index) + sizeof(LONG) <= record.extra.size();
        return fits ? &record.extra[static_cast<std::size_t>(index)] : nullptr;
    }
    switch (index) {
    case GWL_STYLE:
        return reinterpret_cast<unsigned char*>(&record.style);
    case GWL_EXSTYLE:
        return reinterpret_cast<unsigned char*>(&record.exStyle);
    case GWL_ID:
        return reinterpret_cast<unsigned char*>(&record.id);
    case GWL_USERDATA:
        return reinterpret_cast<unsigned char*>(&record.userData);
    default:
        // GWL_WNDPROC among them: a 64-bit procedure address does not fit a LONG, so the
        // 64-bit platform refuses that index here.
        return nullptr;
    }
}

} // namespace

bool ReadLong(const WindowRecord& record, int index, LONG& value) {
    const unsigned char* slot = Slot(const_cast<WindowRecord&>(record), index);
    if (slot == nullptr) {
        return false;
    }
    std::memcpy(&value, slot, sizeof value);
    return true;
}

bool WriteLong(WindowRecord& record, int index, LONG value, LONG& previous) {
    unsigned char* slot = Slot(record, index);
    if (slot == nullptr) {
        return false;
    }
    std::memcpy(&previous, slot, sizeof previous);
    std::memcpy(slot, &value, sizeof value);
    return true;
}

std::string RecordName(HWND handle) {
    char name[32];
    std::snprintf(name, sizeof name, "w-%016llx.rec",
                  static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(handle)));
    return name;
}

std::string SocketName(HWND handle) {
    char name[32];
    std::snprintf(name, sizeof name, "w-%016llx.sock",
                  static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(handle)));
    return name;
}

std::string OwnToken(const StationDir& station) {
    Self& self = TheSelf();
    std::lock_guard lock(self.lock);
    if (self.pid == getpid() && self.station == station.Path()) {
        return self.token;
    }
    // A station left for another keeps its lock: windows published there stay alive.
    const std::string token = NewToken();
    const int fd = MakeLock(station, token);
    if (fd < 0) {
        return {};
    }
    self.pid = getpid();
    self.station = station.Path();
    self.token = token;
    self.lockFd = fd;
    return token;
}

bool WriteRecord(const StationDir& station, const WindowRecord& record) {
    unsigned serial = 0;
    {
        std::lock_guard lock(TheSelf().lock);
        serial = ++TheSelf().serial;
    }
    const std::string temp = "t-" + record.owner + "-" + std::to_string(serial);
    const int fd = openat(station.Fd(), temp.c_str(),
                          O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0) {
        return false;
    }
    const bool written = WriteWhole(fd, Encode(record));
    close(fd);
    if (!written || renameat(station.Fd(), temp.c_str(), station.Fd(),
                             RecordName(record.handle).c_str()) != 0) {
        unlinkat(station.Fd(), temp.c_str(), 0);
        return false;
    }
    return true;
}

void RemoveRecord(const StationDir& station, HWND handle) {
    unlinkat(station.Fd(), RecordName(handle).c_str(), 0);
    unlinkat(station.Fd(), SocketName(handle).c_str(), 0);
    Forget(handle);
}

std::optional<WindowRecord> ReadLiveRecord(const StationDir& station, HWND handle) {
    std::string bytes;
    WindowRecord record;
    if (!ReadWhole(station.Fd(), RecordName(handle), bytes) || !Decode(bytes, record) ||
        record.handle != handle || record.owner == OwnTokenIfAny()) {
        return std::nullopt;
    }
    if (!OwnerAlive(station, record.owner)) {
        RemoveDeadOwner(station, record.owner, handle);
        return std::nullopt;
    }
    Owners& owners = TheOwners();
    std::lock_guard lock(owners.lock);
    owners.owner[reinterpret_cast<std::uintptr_t>(handle)] = record.owner;
    return record;
}

bool ForeignWindowAlive(const StationDir& station, HWND handle) {
    std::string token;
    {
        Owners& owners = TheOwners();
        std::lock_guard lock(owners.lock);
        if (const auto it = owners.owner.find(reinterpret_cast<std::uintptr_t>(handle));
            it != owners.owner.end()) {
            token = it->second;
        }
    }
    if (token.empty()) {
        return ReadLiveRecord(station, handle).has_value();
    }
    struct stat st {};
    if (fstatat(station.Fd(), RecordName(handle).c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0) {
        Forget(handle);
        return false;
    }
    if (!OwnerAlive(station, token)) {
        RemoveDeadOwner(station, token, handle);
        return false;
    }
    return true;
}

std::vector<WindowRecord> LiveForeignRecords(const StationDir& station) {
    std::vector<WindowRecord> records;
    // Its own open description: a scan must not move the shared directory descriptor's offset.
    const int fd = openat(station.Fd(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    DIR* dir = fd < 0 ? nullptr : fdopendir(fd);
    if (dir == nullptr) {
        if (fd >= 0) {
            close(fd);
        }
        return records;
    }
    const std::string own = OwnTokenIfAny();
    while (const dirent* entry = readdir(dir)) {
        if (const HWND handle = HandleOfRecordName(entry->d_name)) {
            if (auto record = ReadLiveRecord(station, handle)) {
                records.push_back(std::move(*record));
            }
        } else {
            SweepLeftover(station, entry->d_name, own);
        }
    }
    closedir(dir);
    return records;
}

} // namespace bvplatform::detail
