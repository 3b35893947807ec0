// Registry speed on a fresh hive in a temporary prefix, each figure beside a raw prepared
// SQLite statement on the same data in a database of the same directory with the same pragmas
// (WAL, synchronous=NORMAL): a DWORD query on an open handle (also right after another process
// wrote), open + query + close on a four-level path, and a DWORD write against an autocommit
// upsert.
#include <bvplatform/registry.h>
#include <bvplatform/winerror.h>

#include <benchmark/benchmark.h>

#include <sqlite3.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/// The raw baseline: one connection, a table of values and one of keys, prepared statements.
struct Raw {
    sqlite3* db = nullptr;           // the baseline's connection
    sqlite3_stmt* query = nullptr;   // value by key and name
    sqlite3_stmt* upsert = nullptr;  // insert or replace a value
    sqlite3_stmt* findKey = nullptr; // child key by parent and name
    decltype(&sqlite3_step) step = &sqlite3_step;
    decltype(&sqlite3_reset) reset = &sqlite3_reset;
    decltype(&sqlite3_bind_int64) bind = &sqlite3_bind_int64;
    decltype(&sqlite3_bind_text) text = &sqlite3_bind_text;
    decltype(&sqlite3_column_int64) column = &sqlite3_column_int64;

    explicit Raw(const std::string& path) {
        auto open = &sqlite3_open;
        auto exec = &sqlite3_exec;
        auto prepare = &sqlite3_prepare_v2;
        open(path.c_str(), &db);
        exec(db,
             "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL;"
             "CREATE TABLE IF NOT EXISTS k(id INTEGER PRIMARY KEY, parent INT, name TEXT,"
             " UNIQUE(parent, name));"
             "CREATE TABLE IF NOT EXISTS v(key INT, name TEXT, data INT, PRIMARY KEY(key, name));"
             "INSERT OR IGNORE INTO k VALUES(1,0,'A'),(2,1,'B'),(3,2,'C'),(4,3,'D');"
             "INSERT OR IGNORE INTO v VALUES(4,'n',7);",
             nullptr, nullptr, nullptr);
        prepare(db, "SELECT data FROM v WHERE key=?1 AND name='n'", -1, &query, nullptr);
        prepare(db,
                "INSERT INTO v VALUES(?1,'n',?2) ON CONFLICT(key, name) DO UPDATE SET "
                "data=excluded.data",
                -1, &upsert, nullptr);
        prepare(db, "SELECT id FROM k WHERE parent=?1 AND name=?2", -1, &findKey, nullptr);
    }
    std::int64_t Query(std::int64_t key) {
        bind(query, 1, key);
        step(query);
        const std::int64_t value = column(query, 0);
        reset(query);
        return value;
    }
    std::int64_t FindKey(std::int64_t parent, const char* name) {
        bind(findKey, 1, parent);
        text(findKey, 2, name, -1, SQLITE_STATIC);
        step(findKey);
        const std::int64_t id = column(findKey, 0);
        reset(findKey);
        return id;
    }
    void Upsert(std::int64_t value) {
        bind(upsert, 1, 4);
        bind(upsert, 2, value);
        step(upsert);
        reset(upsert);
    }
};

/// The temporary prefix of this run, removed at exit.
const std::string& Prefix() {
    static const std::string dir = [] {
        std::string templ = (std::filesystem::temp_directory_path() / "bvregbench-XXXXXX").string();
        if (mkdtemp(templ.data()) == nullptr) {
            std::abort();
        }
        setenv("BV_PREFIX", templ.c_str(), 1);
        std::atexit([] {
            std::error_code ec;
            std::filesystem::remove_all(Prefix(), ec);
        });
        return templ;
    }();
    return dir;
}

Raw& Baseline() {
    static Raw& raw = *new Raw(Prefix() + "/raw.db");
    return raw;
}

HKEY BenchKey() {
    Prefix();
    static HKEY key = [] {
        HKEY created = nullptr;
        RegCreateKeyW(HKEY_CURRENT_USER, u"Software\\A\\B\\C", &created);
        const DWORD value = 7;
        RegSetValueExW(created, u"n", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value), 4);
        return created;
    }();
    return key;
}

void RegQueryDword(benchmark::State& state) {
    HKEY key = BenchKey();
    for (auto _ : state) {
        DWORD value = 0;
        DWORD size = 4;
        RegQueryValueExW(key, u"n", nullptr, nullptr, reinterpret_cast<BYTE*>(&value), &size);
        benchmark::DoNotOptimize(value);
    }
}
BENCHMARK(RegQueryDword);

void RawQueryDword(benchmark::State& state) {
    Raw& raw = Baseline();
    for (auto _ : state) {
        benchmark::DoNotOptimize(raw.Query(4));
    }
}
BENCHMARK(RawQueryDword);

// A child process writes (with `write`, on its own connection) before each timed `query`.
template <class Write, class Query>
void AfterOtherProcessWrote(benchmark::State& state, Write write, Query query) {
    int toChild[2];
    int toParent[2];
    if (pipe(toChild) != 0 || pipe(toParent) != 0) {
        state.SkipWithError("pipe");
        return;
    }
    const pid_t pid = fork();
    if (pid == 0) {
        close(toChild[1]); // else the read below never sees the end
        close(toParent[0]);
        char byte = 0;
        for (DWORD n = 0; read(toChild[0], &byte, 1) == 1; ++n) {
            write(n);
            (void)!::write(toParent[1], &byte, 1);
        }
        _exit(0);
    }
    for (auto _ : state) {
        state.PauseTiming();
        char byte = 1;
        (void)!::write(toChild[1], &byte, 1);
        (void)!read(toParent[0], &byte, 1);
        state.ResumeTiming();
        benchmark::DoNotOptimize(query());
    }
    close(toChild[1]);
    waitpid(pid, nullptr, 0);
    close(toChild[0]);
    close(toParent[0]);
    close(toParent[1]);
}

DWORD QueryDword(HKEY key) {
    DWORD value = 0;
    DWORD size = 4;
    RegQueryValueExW(key, u"n", nullptr, nullptr, reinterpret_cast<BYTE*>(&value), &size);
    return value;
}

void RegQueryAfterOtherProcessWrote(benchmark::State& state) {
    HKEY key = BenchKey();
    AfterOtherProcessWrote(
        state,
        [key](DWORD n) {
            RegSetValueExW(key, u"other", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&n), 4);
        },
        [key] { return QueryDword(key); });
}
BENCHMARK(RegQueryAfterOtherProcessWrote);

void RawQueryAfterOtherProcessWrote(benchmark::State& state) {
    Raw& raw = Baseline();
    AfterOtherProcessWrote(
        state,
        [](DWORD n) {
            static Raw& own = *new Raw(Prefix() + "/raw.db"); // the child's own connection
            own.Upsert(n);
        },
        [&raw] { return raw.Query(4); });
}
BENCHMARK(RawQueryAfterOtherProcessWrote);

void RegOpenQueryClose(benchmark::State& state) {
    BenchKey();
    for (auto _ : state) {
        HKEY key = nullptr;
        RegOpenKeyExW(HKEY_CURRENT_USER, u"Software\\A\\B\\C", 0, 31, &key);
        DWORD value = 0;
        DWORD size = 4;
        RegQueryValueExW(key, u"n", nullptr, nullptr, reinterpret_cast<BYTE*>(&value), &size);
        RegCloseKey(key);
        benchmark::DoNotOptimize(value);
    }
}
BENCHMARK(RegOpenQueryClose);

void RawOpenQuery(benchmark::State& state) {
    Raw& raw = Baseline();
    for (auto _ : state) {
        std::int64_t id = raw.FindKey(0, "A");
        id = raw.FindKey(id, "B");
        id = raw.FindKey(id, "C");
        id = raw.FindKey(id, "D");
        benchmark::DoNotOptimize(raw.Query(id));
    }
}
BENCHMARK(RawOpenQuery);

void RegSetDword(benchmark::State& state) {
    HKEY key = BenchKey();
    DWORD value = 0;
    for (auto _ : state) {
        ++value;
        RegSetValueExW(key, u"n", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value), 4);
    }
}
BENCHMARK(RegSetDword);

void RawUpsertDword(benchmark::State& state) {
    Raw& raw = Baseline();
    std::int64_t value = 0;
    for (auto _ : state) {
        raw.Upsert(++value);
    }
}
BENCHMARK(RawUpsertDword);

} // namespace

BENCHMARK_MAIN();
