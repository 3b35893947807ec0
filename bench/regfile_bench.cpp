// `bvcore reg` export and import of 100,000 values, beside a raw SQLite insert of the same rows
// in one transaction (the floor for any import through the registry).
#include "RegCommand.h"
#include "RegFile.h"

#include <bvplatform/regadmin.h>

#include <bvplatform/testing.h>

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

constexpr int kKeys = 1000; // keys of the exported tree
// Many small keys: the stand-in's value enumeration costs grow with the key's size.
constexpr int kValuesPerKey = 100; // values in each key

std::string FreshDir() {
    std::string templ = (std::filesystem::temp_directory_path() / "bvregfile-XXXXXX").string();
    if (mkdtemp(templ.data()) == nullptr) {
        std::abort();
    }
    return templ;
}

void UsePrefix(const std::string& dir) {
    setenv("BV_PREFIX", dir.c_str(), 1);
    bvplatform::testing::ResetRegistry();
}

int Reg(std::vector<std::string> words) {
    bvtool::reg::Console io;
    io.confirm = [](const std::string&) { return true; };
    return bvtool::reg::Run(words, io);
}

// The value number `i`: types in turn, so every writer path is timed.
void SetValue(HKEY key, int i) {
    const std::u16string name = u"Value " + bvtool::regfile::Widen(std::to_string(i));
    const std::uint64_t number = 0x0102030405060708ull * std::uint64_t(i);
    const BYTE* bytes = reinterpret_cast<const BYTE*>(&number);
    switch (i % 4) {
    case 0:
        RegSetValueExW(key, name.c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(name.c_str()),
                       DWORD(2 * name.size() + 2));
        break;
    case 1:
        RegSetValueExW(key, name.c_str(), 0, REG_DWORD, bytes, 4);
        break;
    case 2:
        RegSetValueExW(key, name.c_str(), 0, REG_QWORD, bytes, 8);
        break;
    default:
        RegSetValueExW(key, name.c_str(), 0, REG_BINARY, bytes, 8);
    }
}

// A prefix holding the tree, and its export; made once.
struct Source {
    std::string dir = FreshDir(); // the prefix with the tree
    std::string file;             // its export
    Source() {
        UsePrefix(dir);
        BvRegBeginBatch();
        for (int k = 0; k < kKeys; ++k) {
            HKEY key = nullptr;
            const std::u16string path =
                u"Software\\Bench\\K" + bvtool::regfile::Widen(std::to_string(k));
            RegCreateKeyW(HKEY_CURRENT_USER, path.c_str(), &key);
            for (int i = 0; i < kValuesPerKey; ++i) {
                SetValue(key, i);
            }
            RegCloseKey(key);
        }
        BvRegEndBatch(TRUE);
        file = dir + "/tree.reg";
        Reg({"export", "HKCU\\Software\\Bench", file, "/y"});
    }
};

const Source& TheSource() {
    static const Source& source = *new Source;
    return source;
}

void BM_Export(benchmark::State& state) {
    const Source& source = TheSource();
    UsePrefix(source.dir);
    for (auto _ : state) {
        if (Reg({"export", "HKCU\\Software\\Bench", source.dir + "/again.reg", "/y"}) != 0) {
            state.SkipWithError("export failed");
        }
    }
    state.SetItemsProcessed(state.iterations() * kKeys * kValuesPerKey);
}
BENCHMARK(BM_Export)->Unit(benchmark::kMillisecond)->Iterations(2);

void BM_Import(benchmark::State& state) {
    const Source& source = TheSource();
    for (auto _ : state) {
        state.PauseTiming();
        const std::string dir = FreshDir();
        UsePrefix(dir);
        state.ResumeTiming();
        if (Reg({"import", source.file}) != 0) {
            state.SkipWithError("import failed");
        }
        state.PauseTiming();
        std::filesystem::remove_all(dir);
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * kKeys * kValuesPerKey);
}
BENCHMARK(BM_Import)->Unit(benchmark::kMillisecond)->Iterations(2);

// The same rows straight into SQLite: one transaction, one prepared insert.
void BM_RawSqliteInsert(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        const std::string dir = FreshDir();
        state.ResumeTiming();
        sqlite3* db = nullptr;
        sqlite3_stmt* insert = nullptr;
        sqlite3_open((dir + "/raw.db").c_str(), &db);
        sqlite3_exec(db,
                     "PRAGMA journal_mode=WAL; CREATE TABLE v(key INT, name TEXT, type INT,"
                     " data BLOB, PRIMARY KEY(key, name)); BEGIN;",
                     nullptr, nullptr, nullptr);
        sqlite3_prepare_v2(db, "INSERT INTO v VALUES(?1,?2,?3,?4)", -1, &insert, nullptr);
        for (int k = 0; k < kKeys; ++k) {
            for (int i = 0; i < kValuesPerKey; ++i) {
                const std::string name = "Value " + std::to_string(i);
                const std::uint64_t number = 0x0102030405060708ull * std::uint64_t(i);
                sqlite3_bind_int(insert, 1, k);
                sqlite3_bind_text(insert, 2, name.c_str(), -1, SQLITE_TRANSIENT);
                sqlite3_bind_int(insert, 3, i % 4);
                sqlite3_bind_blob(insert, 4, &number, 8, SQLITE_TRANSIENT);
                sqlite3_step(insert);
                sqlite3_reset(insert);
            }
        }
        sqlite3_finalize(insert);
        sqlite3_exec(db, "COMMIT;", nullptr, nullptr, nullptr);
        sqlite3_close(db);
        state.PauseTiming();
        std::filesystem::remove_all(dir);
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * kKeys * kValuesPerKey);
}
BENCHMARK(BM_RawSqliteInsert)->Unit(benchmark::kMillisecond)->Iterations(2);

} // namespace

BENCHMARK_MAIN();
