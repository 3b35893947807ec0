// The hive. Sections: SQL texts; opening (file, schema, sequence word); the cache; reads;
// writes (one transaction each, framed by the sequence word); batches and maintenance.
#include "registry/hive.h"

#include "base/prefix.h"
#include "registry/names.h"

#include <bvplatform/debug.h>
#include <bvplatform/winerror.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace bvplatform::detail {

enum Hive::Sql : unsigned {
    kFindChild,
    kKeyById,
    kFindValue,
    kInsertKey,
    kUpsertValue,
    kDeleteValue,
    kDeleteKey,
    kHasChildren,
    kTreeReadOnly,
    kSubKeys,
    kValues,
    kSetReadOnly,
    kSqlCount
};

namespace {

constexpr int kApplicationId = 0x42565247; // "BVRG": marks the file as this stand-in's hive
constexpr int kSchemaVersion = 1;          // the layout below
constexpr int kBusyTimeoutMs = 10000;      // how long a call waits for another writer

constexpr const char* kSqlText[] = {
    "SELECT id FROM keys WHERE parent=?1 AND fold=?2",
    "SELECT parent, name, readonly FROM keys WHERE id=?1",
    "SELECT type, data FROM vals WHERE key=?1 AND fold=?2",
    "INSERT INTO keys(parent, name, fold) VALUES(?1, ?2, ?3)",
    "INSERT INTO vals(key, name, fold, type, data) VALUES(?1, ?2, ?3, ?4, ?5) "
    "ON CONFLICT(key, fold) DO UPDATE SET type=excluded.type, data=excluded.data",
    "DELETE FROM vals WHERE key=?1 AND fold=?2",
    "DELETE FROM keys WHERE id=?1",
    "SELECT EXISTS(SELECT 1 FROM keys WHERE parent=?1)",
    "WITH RECURSIVE t(id) AS (SELECT ?1 UNION ALL SELECT k.id FROM keys k JOIN t ON k.parent=t.id) "
    "SELECT EXISTS(SELECT 1 FROM keys WHERE readonly<>0 AND id IN t)",
    "SELECT name FROM keys WHERE parent=?1 ORDER BY fold",
    "SELECT name, type, data FROM vals WHERE key=?1 ORDER BY id",
    "UPDATE keys SET readonly=?2 WHERE id=?1",
};

// Names are stored as UTF-16 bytes (lossless, lone surrogates included); the folded form in
// big-endian units, so that SQLite's byte order on it is the platform's order of units.
std::string NameBlob(std::u16string_view name) {
    return std::string(reinterpret_cast<const char*>(name.data()), name.size() * 2);
}

std::string FoldBlob(std::u16string_view name) {
    std::string blob;
    blob.reserve(name.size() * 2);
    for (char16_t unit : FoldName(name)) {
        blob.push_back(static_cast<char>(unit >> 8));
        blob.push_back(static_cast<char>(unit & 0xFF));
    }
    return blob;
}

std::u16string ColumnName(sqlite3_stmt* stmt, int col) {
    const auto* bytes = static_cast<const char*>(sqlite3_column_blob(stmt, col));
    const int size = sqlite3_column_bytes(stmt, col);
    std::u16string name(static_cast<std::size_t>(size) / 2, u'\0');
    if (size > 0) {
        std::memcpy(name.data(), bytes, name.size() * 2);
    }
    return name;
}

std::string ColumnBytes(sqlite3_stmt* stmt, int col) {
    const auto* bytes = static_cast<const char*>(sqlite3_column_blob(stmt, col));
    const int size = sqlite3_column_bytes(stmt, col);
    return size > 0 ? std::string(bytes, static_cast<std::size_t>(size)) : std::string();
}

void BindBlob(sqlite3_stmt* stmt, int index, const std::string& blob) {
    if (blob.empty()) {
        sqlite3_bind_zeroblob(stmt, index, 0); // a null pointer would bind NULL
        return;
    }
    sqlite3_bind_blob(stmt, index, blob.data(), static_cast<int>(blob.size()), SQLITE_TRANSIENT);
}

// Resets a statement when leaving scope: an unreset SELECT holds a read transaction and keeps
// the WAL from being checkpointed.
class Using {
public:
    explicit Using(sqlite3_stmt* stmt) : m_stmt(stmt) {}
    ~Using() {
        sqlite3_reset(m_stmt);
        sqlite3_clear_bindings(m_stmt);
    }
    Using(const Using&) = delete;
    Using& operator=(const Using&) = delete;

private:
    sqlite3_stmt* m_stmt; // the statement in use
};

void Debug(const std::string& line) {
    OutputDebugStringA(("bvplatform registry: " + line + "\n").c_str());
}

// The predefined handles' keys, as paths from the hive's root; empty: none.
constexpr const char16_t* kPredefinedPaths[kPredefinedCount] = {
    u"MACHINE\\SOFTWARE\\Classes",
    nullptr, // the current user: filled in with the user's name
    u"MACHINE",
    u"USER",
    nullptr,
    u"MACHINE\\SYSTEM\\CurrentControlSet\\Hardware Profiles\\Current",
    nullptr,
};

// The current user's key name below USER, in the platform's SID form.
std::u16string UserKeyName() {
    const std::string text = "S-1-5-21-0-0-0-" + std::to_string(getuid());
    return std::u16string(text.begin(), text.end());
}

std::vector<std::u16string> Levels(std::u16string_view path) {
    std::vector<std::u16string> levels;
    std::size_t start = 0;
    while (start <= path.size()) {
        std::size_t end = std::min(path.find(u'\\', start), path.size());
        levels.emplace_back(path.substr(start, end - start));
        start = end + 1;
    }
    return levels;
}

} // namespace

Hive& Hive::Instance() {
    static Hive& hive = *[] {
        auto* created = new Hive; // immortal: used by calls during static destruction
        pthread_atfork([] { Hive::Instance().BeforeFork(); },
                       [] { Hive::Instance().Mutex().unlock(); },
                       [] {
                           Hive::Instance().InChild();
                           Hive::Instance().Mutex().unlock();
                       });
        return created;
    }();
    return hive;
}

void Hive::BeforeFork() {
    m_mutex.lock();
    if (!m_batch) {
        Close();
    }
}

void Hive::InChild() {
    m_forked = m_db != nullptr;
    ClearCache();
}

// ---- opening ------------------------------------------------------------------------------

LONG Hive::Enter() {
    if (m_forked) {
        // The inherited connection belongs to the parent: leave it untouched, never close it.
        m_db = nullptr;
        m_statements.clear();
        m_batch = false;
        m_forked = false;
        ClearCache();
    }
    if (m_db == nullptr) {
        if (LONG status = Open(); status != ERROR_SUCCESS) {
            return status;
        }
    }
    const std::uint64_t seen = LoadSequence();
    if ((seen & 1) != 0 || seen != m_seenSequence) {
        ClearCache();
        m_seenSequence = seen;
    }
    return ERROR_SUCCESS;
}

LONG Hive::Open() {
    const std::string prefix = EnsurePrefix();
    if (prefix.empty()) {
        Debug("cannot create the prefix: " + std::string(std::strerror(errno)));
        return ERROR_REGISTRY_IO_FAILED;
    }
    m_path = prefix + "/registry.db";
    if (!MapSequence(prefix + "/registry.seq")) {
        return ERROR_REGISTRY_IO_FAILED;
    }
    // Created 0600 by us, before SQLite opens it (SQLite would use 0644).
    const int fd = open(m_path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0) {
        Debug("cannot open " + m_path + ": " + std::strerror(errno));
        return errno == EACCES ? ERROR_ACCESS_DENIED : ERROR_REGISTRY_IO_FAILED;
    }
    close(fd);
    LONG status = OpenConnection(m_path);
    if (status != ERROR_SUCCESS) {
        Close();
    }
    return status;
}

LONG Hive::OpenConnection(const std::string& path) {
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX;
    if (int rc = sqlite3_open_v2(path.c_str(), &m_db, flags, nullptr); rc != SQLITE_OK) {
        return Fail(rc, "open");
    }
    sqlite3_busy_timeout(m_db, kBusyTimeoutMs);
    // A close needs no checkpoint (the next connection reads the WAL); RegFlushKey makes one.
    sqlite3_db_config(m_db, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    m_statements.assign(kSqlCount, nullptr);
    bool fresh = false;
    if (LONG status = CheckSchema(fresh); status != ERROR_SUCCESS) {
        return status;
    }
    // Only now that the file is known to be ours (or empty) may anything write to it.
    for (const char* pragma :
         {"PRAGMA journal_mode=WAL", "PRAGMA synchronous=NORMAL", "PRAGMA foreign_keys=ON"}) {
        if (LONG status = Exec(pragma); status != ERROR_SUCCESS) {
            return status;
        }
    }
    if (fresh) {
        if (LONG status = CreateSchema(); status != ERROR_SUCCESS) {
            return status;
        }
    }
    return ResolvePredefined();
}

LONG Hive::CheckSchema(bool& fresh) {
    sqlite3_stmt* stmt = nullptr;
    const char* sql = "SELECT (SELECT application_id FROM pragma_application_id), "
                      "(SELECT user_version FROM pragma_user_version), "
                      "(SELECT count(*) FROM sqlite_schema)";
    if (int rc = sqlite3_prepare_v2(m_db, sql, -1, &stmt, nullptr); rc != SQLITE_OK) {
        return Fail(rc, "reading the header");
    }
    const int rc = sqlite3_step(stmt);
    const int appId = sqlite3_column_int(stmt, 0);
    const int version = sqlite3_column_int(stmt, 1);
    const int objects = sqlite3_column_int(stmt, 2);
    sqlite3_finalize(stmt);
    if (rc != SQLITE_ROW) {
        return Fail(rc, "reading the header");
    }
    fresh = appId == 0 && version == 0 && objects == 0;
    if (fresh || (appId == kApplicationId && version == kSchemaVersion)) {
        return ERROR_SUCCESS;
    }
    Debug(m_path + (appId == kApplicationId ? " has a newer schema version " : " is no hive: ") +
          std::to_string(version) + "; left as it is");
    return ERROR_REGISTRY_CORRUPT;
}

LONG Hive::CreateSchema() {
    return Write([this] {
        sqlite3_stmt* stmt = nullptr;
        sqlite3_prepare_v2(m_db, "PRAGMA user_version", -1, &stmt, nullptr);
        const bool done = sqlite3_step(stmt) == SQLITE_ROW && sqlite3_column_int(stmt, 0) != 0;
        sqlite3_finalize(stmt);
        if (done) {
            return LONG{ERROR_SUCCESS}; // another process made it meanwhile
        }
        const std::string ddl =
            "PRAGMA application_id=" + std::to_string(kApplicationId) +
            ";PRAGMA user_version=" + std::to_string(kSchemaVersion) +
            ";CREATE TABLE keys(id INTEGER PRIMARY KEY AUTOINCREMENT,"
            " parent INTEGER REFERENCES keys(id) ON DELETE CASCADE,"
            " name BLOB NOT NULL, fold BLOB NOT NULL, readonly INTEGER NOT NULL DEFAULT 0,"
            " UNIQUE(parent, fold));"
            "CREATE TABLE vals(id INTEGER PRIMARY KEY,"
            " key INTEGER NOT NULL REFERENCES keys(id) ON DELETE CASCADE,"
            " name BLOB NOT NULL, fold BLOB NOT NULL, type INTEGER NOT NULL, data BLOB NOT NULL,"
            " UNIQUE(key, fold));"
            "INSERT INTO keys(id, parent, name, fold) VALUES(1, NULL, x'', x'');";
        if (LONG status = Exec(ddl.c_str()); status != ERROR_SUCCESS) {
            return status;
        }
        std::int64_t id = 0;
        bool created = false;
        for (unsigned i = 0; i < kPredefinedCount; ++i) {
            std::vector<std::u16string> levels;
            if (i == 1) {
                levels = {u"USER", UserKeyName()};
            } else if (kPredefinedPaths[i] != nullptr) {
                levels = Levels(kPredefinedPaths[i]);
            }
            if (LONG status = InsertLevels(1, levels, id, created); status != ERROR_SUCCESS) {
                return status;
            }
        }
        // Every user's key has its Software branch from the start, as on the platform.
        if (LONG status = InsertLevels(1, {u"USER", UserKeyName(), u"Software"}, id, created);
            status != ERROR_SUCCESS) {
            return status;
        }
        return InsertLevels(1, {u"USER", u".DEFAULT", u"Software"}, id, created);
    });
}

LONG Hive::ResolvePredefined() {
    for (unsigned i = 0; i < kPredefinedCount; ++i) {
        m_predefined[i] = 0;
        std::vector<std::u16string> levels;
        if (i == 1) {
            levels = {u"USER", UserKeyName()};
        } else if (kPredefinedPaths[i] != nullptr) {
            levels = Levels(kPredefinedPaths[i]);
        } else {
            continue;
        }
        std::int64_t id = 0;
        if (LONG status = Walk(1, levels, id); status != ERROR_SUCCESS) {
            if (status == ERROR_FILE_NOT_FOUND) {
                Debug(m_path + " lacks a predefined key");
                return ERROR_REGISTRY_CORRUPT;
            }
            return status;
        }
        m_predefined[i] = id;
    }
    return ERROR_SUCCESS;
}

bool Hive::MapSequence(const std::string& path) {
    if (m_sequence != nullptr) {
        return true;
    }
    const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    struct stat st {};
    if (fd < 0 || fstat(fd, &st) != 0 ||
        (st.st_size < static_cast<off_t>(sizeof(std::uint64_t)) &&
         ftruncate(fd, sizeof(std::uint64_t)) != 0)) {
        Debug("cannot prepare " + path + ": " + std::strerror(errno));
        if (fd >= 0) {
            close(fd);
        }
        return false;
    }
    void* map = mmap(nullptr, sizeof(std::uint64_t), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    close(fd);
    if (map == MAP_FAILED) {
        Debug("cannot map " + path + ": " + std::strerror(errno));
        return false;
    }
    m_sequence = static_cast<std::uint64_t*>(map);
    return true;
}

void Hive::Close() {
    for (sqlite3_stmt*& stmt : m_statements) {
        sqlite3_finalize(stmt);
        stmt = nullptr;
    }
    if (m_db != nullptr) {
        sqlite3_close_v2(m_db);
        m_db = nullptr;
    }
}

void Hive::Reset() {
    if (m_batch) {
        Exec("ROLLBACK");
        m_batch = false;
    }
    Close();
    if (m_sequence != nullptr) {
        munmap(m_sequence, sizeof(std::uint64_t));
        m_sequence = nullptr;
    }
    ClearCache();
    m_seenSequence = ~0ull;
}

std::uint64_t Hive::LoadSequence() const {
    return std::atomic_ref<std::uint64_t>(*m_sequence).load(std::memory_order_acquire);
}

// The word only ever grows, so that no value a process cached under comes back. A writer
// holds SQLite's write lock from here to its COMMIT, but its end comes after that, when the
// next writer may already have begun: hence compare-and-swap on both ends.
std::uint64_t Hive::BeginSequence() {
    std::atomic_ref<std::uint64_t> word(*m_sequence);
    std::uint64_t current = word.load(std::memory_order_acquire);
    if (current != m_seenSequence) {
        ClearCache(); // another process wrote between our Enter and our lock
    }
    std::uint64_t odd = 0;
    do {
        odd = (current & 1) != 0 ? current + 2 : current + 1;
    } while (!word.compare_exchange_weak(current, odd, std::memory_order_acq_rel));
    m_seenSequence = odd;
    return odd;
}

// Back to even unless another writer has begun since (its end will do it). Only when nobody
// else began is the cache, which holds our own changes, valid for the new value.
void Hive::EndSequence(std::uint64_t odd) {
    std::uint64_t expected = odd;
    if (std::atomic_ref<std::uint64_t>(*m_sequence)
            .compare_exchange_strong(expected, odd + 1, std::memory_order_acq_rel)) {
        m_seenSequence = odd + 1;
    }
}

sqlite3_stmt* Hive::Prepare(Sql sql) {
    static_assert(std::size(kSqlText) == kSqlCount);
    sqlite3_stmt*& stmt = m_statements[sql];
    if (stmt == nullptr && sqlite3_prepare_v3(m_db, kSqlText[sql], -1, SQLITE_PREPARE_PERSISTENT,
                                              &stmt, nullptr) != SQLITE_OK) {
        stmt = nullptr;
    }
    return stmt;
}

LONG Hive::Exec(const char* sql) {
    const int rc = sqlite3_exec(m_db, sql, nullptr, nullptr, nullptr);
    return rc == SQLITE_OK ? LONG{ERROR_SUCCESS} : Fail(rc, sql);
}

LONG Hive::Fail(int rc, const char* what) {
    const char* message = m_db != nullptr ? sqlite3_errmsg(m_db) : sqlite3_errstr(rc);
    Debug(m_path + ": " + what + ": " + message);
    switch (rc & 0xFF) {
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
    case SQLITE_ERROR:
    case SQLITE_SCHEMA:
    case SQLITE_MISMATCH:
    case SQLITE_FORMAT:
    case SQLITE_CONSTRAINT:
        return ERROR_REGISTRY_CORRUPT;
    case SQLITE_NOMEM:
        return ERROR_NOT_ENOUGH_MEMORY;
    case SQLITE_READONLY:
    case SQLITE_PERM:
    case SQLITE_AUTH:
        return ERROR_ACCESS_DENIED;
    default:
        return ERROR_REGISTRY_IO_FAILED;
    }
}

// ---- the cache ----------------------------------------------------------------------------

void Hive::ClearCache() {
    m_keys.clear();
    m_deadKeys.clear();
}

Hive::CachedKey* Hive::Cached(std::int64_t id) {
    auto it = m_keys.find(id);
    return it == m_keys.end() ? nullptr : &it->second;
}

bool Hive::IsPredefinedKey(std::int64_t id) const {
    return id == 1 || std::find(std::begin(m_predefined), std::end(m_predefined), id) !=
                          std::end(m_predefined);
}

// ---- reads --------------------------------------------------------------------------------

LONG Hive::Key(std::int64_t id, const KeyRec*& rec) {
    if (CachedKey* cached = Cached(id)) {
        rec = &cached->rec;
        return ERROR_SUCCESS;
    }
    if (m_deadKeys.contains(id)) {
        return ERROR_KEY_DELETED;
    }
    sqlite3_stmt* stmt = Prepare(kKeyById);
    if (stmt == nullptr) {
        return Fail(sqlite3_errcode(m_db), "prepare");
    }
    Using use(stmt);
    sqlite3_bind_int64(stmt, 1, id);
    const int rc = sqlite3_step(stmt);
    if (rc == SQLITE_DONE) {
        m_deadKeys.insert(id);
        return ERROR_KEY_DELETED;
    }
    if (rc != SQLITE_ROW) {
        return Fail(rc, "reading a key");
    }
    CachedKey& entry = m_keys[id];
    entry.rec = {sqlite3_column_int64(stmt, 0), ColumnName(stmt, 1),
                 sqlite3_column_int(stmt, 2) != 0};
    rec = &entry.rec;
    return ERROR_SUCCESS;
}

LONG Hive::Child(std::int64_t parent, std::u16string_view name, std::int64_t& id) {
    const KeyRec* rec = nullptr;
    if (LONG status = Key(parent, rec); status != ERROR_SUCCESS) {
        return status;
    }
    CachedKey& entry = m_keys[parent];
    std::u16string folded = FoldName(name);
    if (auto it = entry.children.find(folded); it != entry.children.end()) {
        id = it->second;
        return id != 0 ? LONG{ERROR_SUCCESS} : LONG{ERROR_FILE_NOT_FOUND};
    }
    sqlite3_stmt* stmt = Prepare(kFindChild);
    if (stmt == nullptr) {
        return Fail(sqlite3_errcode(m_db), "prepare");
    }
    Using use(stmt);
    sqlite3_bind_int64(stmt, 1, parent);
    BindBlob(stmt, 2, FoldBlob(name));
    const int rc = sqlite3_step(stmt);
    if (rc != SQLITE_ROW && rc != SQLITE_DONE) {
        return Fail(rc, "looking up a key");
    }
    id = rc == SQLITE_ROW ? sqlite3_column_int64(stmt, 0) : 0;
    entry.children.emplace(std::move(folded), id);
    return id != 0 ? LONG{ERROR_SUCCESS} : LONG{ERROR_FILE_NOT_FOUND};
}

LONG Hive::Walk(std::int64_t from, const std::vector<std::u16string>& levels, std::int64_t& id) {
    id = from;
    for (const std::u16string& level : levels) {
        if (LONG status = Child(id, level, id); status != ERROR_SUCCESS) {
            return status;
        }
    }
    return ERROR_SUCCESS;
}

LONG Hive::Value(std::int64_t key, std::u16string_view name, const ValueRec*& value) {
    const KeyRec* rec = nullptr;
    if (LONG status = Key(key, rec); status != ERROR_SUCCESS) {
        return status;
    }
    CachedKey& entry = m_keys[key];
    std::u16string folded = FoldName(name);
    auto it = entry.values.find(folded);
    if (it == entry.values.end()) {
        sqlite3_stmt* stmt = Prepare(kFindValue);
        if (stmt == nullptr) {
            return Fail(sqlite3_errcode(m_db), "prepare");
        }
        Using use(stmt);
        sqlite3_bind_int64(stmt, 1, key);
        BindBlob(stmt, 2, FoldBlob(name));
        const int rc = sqlite3_step(stmt);
        if (rc != SQLITE_ROW && rc != SQLITE_DONE) {
            return Fail(rc, "reading a value");
        }
        std::optional<ValueRec> found;
        if (rc == SQLITE_ROW) {
            found =
                ValueRec{static_cast<DWORD>(sqlite3_column_int64(stmt, 0)), ColumnBytes(stmt, 1)};
        }
        it = entry.values.emplace(std::move(folded), std::move(found)).first;
    }
    if (!it->second) {
        return ERROR_FILE_NOT_FOUND;
    }
    value = &*it->second;
    return ERROR_SUCCESS;
}

LONG Hive::SubKeys(std::int64_t id, std::vector<std::u16string>& names) {
    sqlite3_stmt* stmt = Prepare(kSubKeys);
    if (stmt == nullptr) {
        return Fail(sqlite3_errcode(m_db), "prepare");
    }
    Using use(stmt);
    sqlite3_bind_int64(stmt, 1, id);
    int rc = SQLITE_ROW;
    while ((rc = sqlite3_step(stmt)) == SQLITE_ROW) {
        names.push_back(ColumnName(stmt, 0));
    }
    return rc == SQLITE_DONE ? LONG{ERROR_SUCCESS} : Fail(rc, "listing sub-keys");
}

LONG Hive::Values(std::int64_t id, const std::vector<NamedValue>*& values) {
    const KeyRec* rec = nullptr;
    if (LONG status = Key(id, rec); status != ERROR_SUCCESS) {
        return status;
    }
    // Enumeration asks by index, so the list is read once rather than at every index.
    CachedKey& entry = *Cached(id);
    if (!entry.listed) {
        sqlite3_stmt* stmt = Prepare(kValues);
        if (stmt == nullptr) {
            return Fail(sqlite3_errcode(m_db), "prepare");
        }
        Using use(stmt);
        sqlite3_bind_int64(stmt, 1, id);
        std::vector<NamedValue> listed;
        int rc = SQLITE_ROW;
        while ((rc = sqlite3_step(stmt)) == SQLITE_ROW) {
            listed.push_back(
                {ColumnName(stmt, 0),
                 {static_cast<DWORD>(sqlite3_column_int64(stmt, 1)), ColumnBytes(stmt, 2)}});
        }
        if (rc != SQLITE_DONE) {
            return Fail(rc, "listing values");
        }
        entry.listed = std::move(listed);
    }
    values = &*entry.listed;
    return ERROR_SUCCESS;
}

// ---- writes -------------------------------------------------------------------------------

namespace {
std::atomic<unsigned long> g_commits{0}; // successful write transactions of this process
} // namespace

void Hive::CountCommit(LONG status) {
    if (status == ERROR_SUCCESS) {
        g_commits.fetch_add(1, std::memory_order_relaxed);
    }
}

unsigned long Hive::CommitCount() {
    return g_commits.load(std::memory_order_relaxed);
}

// One write transaction around `body`. The sequence word is odd from BEGIN IMMEDIATE to the
// end, so that other processes read through SQL meanwhile (and after a writer was killed).
LONG Hive::Write(const std::function<LONG()>& body) {
    if (m_batch) {
        return body();
    }
    if (LONG status = Exec("BEGIN IMMEDIATE"); status != ERROR_SUCCESS) {
        return status;
    }
    const std::uint64_t odd = BeginSequence();
    LONG status = body();
    if (status == ERROR_SUCCESS) {
        const int rc = sqlite3_exec(m_db, "COMMIT", nullptr, nullptr, nullptr);
        status = rc == SQLITE_OK ? LONG{ERROR_SUCCESS} : Fail(rc, "COMMIT");
        CountCommit(status);
    }
    if (status != ERROR_SUCCESS) {
        sqlite3_exec(m_db, "ROLLBACK", nullptr, nullptr, nullptr);
        ClearCache();
    }
    EndSequence(odd);
    return status;
}

LONG Hive::InsertLevels(std::int64_t from, const std::vector<std::u16string>& levels,
                        std::int64_t& id, bool& created) {
    id = from;
    for (const std::u16string& level : levels) {
        std::int64_t child = 0;
        LONG status = Child(id, level, child);
        if (status == ERROR_SUCCESS) {
            id = child;
            continue;
        }
        if (status != ERROR_FILE_NOT_FOUND) {
            return status;
        }
        const KeyRec* parent = nullptr;
        if (status = Key(id, parent); status != ERROR_SUCCESS) {
            return status;
        }
        if (parent->readOnly) {
            return ERROR_ACCESS_DENIED;
        }
        sqlite3_stmt* stmt = Prepare(kInsertKey);
        if (stmt == nullptr) {
            return Fail(sqlite3_errcode(m_db), "prepare");
        }
        Using use(stmt);
        sqlite3_bind_int64(stmt, 1, id);
        BindBlob(stmt, 2, NameBlob(level));
        BindBlob(stmt, 3, FoldBlob(level));
        if (int rc = sqlite3_step(stmt); rc != SQLITE_DONE) {
            return Fail(rc, "creating a key");
        }
        child = sqlite3_last_insert_rowid(m_db);
        m_keys[id].children[FoldName(level)] = child;
        m_keys[child].rec = {id, level, false};
        id = child;
        created = true;
    }
    return ERROR_SUCCESS;
}

LONG Hive::CreatePath(std::int64_t from, const std::vector<std::u16string>& levels,
                      std::int64_t& id, bool& created) {
    created = false;
    LONG status = Walk(from, levels, id);
    if (status != ERROR_FILE_NOT_FOUND) {
        return status;
    }
    return Write([&] { return InsertLevels(from, levels, id, created); });
}

LONG Hive::SetValue(std::int64_t key, std::u16string_view name, DWORD type, std::string data) {
    return Write([&] {
        const KeyRec* rec = nullptr;
        if (LONG status = Key(key, rec); status != ERROR_SUCCESS) {
            return status;
        }
        sqlite3_stmt* stmt = Prepare(kUpsertValue);
        if (stmt == nullptr) {
            return Fail(sqlite3_errcode(m_db), "prepare");
        }
        Using use(stmt);
        sqlite3_bind_int64(stmt, 1, key);
        BindBlob(stmt, 2, NameBlob(name));
        BindBlob(stmt, 3, FoldBlob(name));
        sqlite3_bind_int64(stmt, 4, type);
        BindBlob(stmt, 5, data);
        if (int rc = sqlite3_step(stmt); rc != SQLITE_DONE) {
            return Fail(rc, "writing a value");
        }
        CachedKey& entry = m_keys[key];
        entry.values[FoldName(name)] = ValueRec{type, std::move(data)};
        entry.listed.reset();
        return LONG{ERROR_SUCCESS};
    });
}

LONG Hive::DeleteValue(std::int64_t key, std::u16string_view name) {
    return Write([&] {
        const KeyRec* rec = nullptr;
        if (LONG status = Key(key, rec); status != ERROR_SUCCESS) {
            return status;
        }
        sqlite3_stmt* stmt = Prepare(kDeleteValue);
        if (stmt == nullptr) {
            return Fail(sqlite3_errcode(m_db), "prepare");
        }
        Using use(stmt);
        sqlite3_bind_int64(stmt, 1, key);
        BindBlob(stmt, 2, FoldBlob(name));
        if (int rc = sqlite3_step(stmt); rc != SQLITE_DONE) {
            return Fail(rc, "deleting a value");
        }
        if (sqlite3_changes(m_db) == 0) {
            return LONG{ERROR_FILE_NOT_FOUND};
        }
        CachedKey& entry = m_keys[key];
        entry.values[FoldName(name)] = std::nullopt;
        entry.listed.reset();
        return LONG{ERROR_SUCCESS};
    });
}

LONG Hive::DeleteKey(std::int64_t id, bool tree) {
    return Write([&] {
        const KeyRec* rec = nullptr;
        if (LONG status = Key(id, rec); status != ERROR_SUCCESS) {
            return status == ERROR_KEY_DELETED ? LONG{ERROR_FILE_NOT_FOUND} : status;
        }
        if (IsPredefinedKey(id)) {
            return LONG{ERROR_ACCESS_DENIED};
        }
        sqlite3_stmt* check = Prepare(tree ? kTreeReadOnly : kHasChildren);
        if (check == nullptr) {
            return Fail(sqlite3_errcode(m_db), "prepare");
        }
        {
            Using use(check);
            sqlite3_bind_int64(check, 1, id);
            if (int rc = sqlite3_step(check); rc != SQLITE_ROW) {
                return Fail(rc, "checking a key");
            }
            if (sqlite3_column_int(check, 0) != 0 || rec->readOnly) {
                return LONG{ERROR_ACCESS_DENIED};
            }
        }
        sqlite3_stmt* stmt = Prepare(kDeleteKey);
        if (stmt == nullptr) {
            return Fail(sqlite3_errcode(m_db), "prepare");
        }
        Using use(stmt);
        sqlite3_bind_int64(stmt, 1, id);
        if (int rc = sqlite3_step(stmt); rc != SQLITE_DONE) {
            return Fail(rc, "deleting a key");
        }
        ClearCache(); // a tree's ids are not known here; deletions are rare
        return LONG{ERROR_SUCCESS};
    });
}

LONG Hive::SetReadOnly(std::int64_t id, bool readOnly) {
    return Write([&] {
        sqlite3_stmt* stmt = Prepare(kSetReadOnly);
        if (stmt == nullptr) {
            return Fail(sqlite3_errcode(m_db), "prepare");
        }
        Using use(stmt);
        sqlite3_bind_int64(stmt, 1, id);
        sqlite3_bind_int(stmt, 2, readOnly ? 1 : 0);
        if (int rc = sqlite3_step(stmt); rc != SQLITE_DONE) {
            return Fail(rc, "marking a key");
        }
        ClearCache();
        return sqlite3_changes(m_db) != 0 ? LONG{ERROR_SUCCESS} : LONG{ERROR_KEY_DELETED};
    });
}

// ---- batches and maintenance --------------------------------------------------------------

LONG Hive::BeginBatch() {
    if (m_batch) {
        return ERROR_INVALID_FUNCTION;
    }
    if (LONG status = Exec("BEGIN IMMEDIATE"); status != ERROR_SUCCESS) {
        return status;
    }
    m_batchSequence = BeginSequence();
    ClearCache();
    m_batch = true;
    return ERROR_SUCCESS;
}

LONG Hive::EndBatch(bool commit) {
    if (!m_batch) {
        return ERROR_INVALID_FUNCTION;
    }
    m_batch = false;
    LONG status = commit ? Exec("COMMIT") : LONG{ERROR_SUCCESS};
    if (commit) {
        CountCommit(status);
    }
    if (!commit || status != ERROR_SUCCESS) {
        sqlite3_exec(m_db, "ROLLBACK", nullptr, nullptr, nullptr);
    }
    ClearCache();
    EndSequence(m_batchSequence);
    return status;
}

LONG Hive::Flush() {
    int logFrames = 0;
    int done = 0;
    const int rc =
        sqlite3_wal_checkpoint_v2(m_db, nullptr, SQLITE_CHECKPOINT_FULL, &logFrames, &done);
    return rc == SQLITE_OK ? LONG{ERROR_SUCCESS} : Fail(rc, "checkpoint");
}

LONG Hive::CheckIntegrity() {
    sqlite3_stmt* stmt = nullptr;
    int rc = sqlite3_prepare_v2(m_db, "PRAGMA integrity_check", -1, &stmt, nullptr);
    if (rc != SQLITE_OK) {
        return Fail(rc, "integrity check");
    }
    rc = sqlite3_step(stmt);
    const bool ok =
        rc == SQLITE_ROW &&
        std::strcmp(reinterpret_cast<const char*>(sqlite3_column_text(stmt, 0)), "ok") == 0;
    if (rc == SQLITE_ROW && !ok) {
        Debug(m_path +
              ": integrity check: " + reinterpret_cast<const char*>(sqlite3_column_text(stmt, 0)));
    }
    sqlite3_finalize(stmt);
    if (rc != SQLITE_ROW) {
        return Fail(rc, "integrity check");
    }
    return ok ? LONG{ERROR_SUCCESS} : LONG{ERROR_REGISTRY_CORRUPT};
}

} // namespace bvplatform::detail
