// Shared pieces of the registry tests: a fresh prefix per test with a scratch key, reference
// rows, and SQLite's own calls (the library is already loaded by libbvplatform) for writing
// damaged or foreign hives.
#pragma once

#include <bvplatform/regadmin.h>
#include <bvplatform/registry.h>
#include <bvplatform/testing.h>
#include <bvplatform/winerror.h>

#include "support/RefData.h"

#include <gtest/gtest.h>

#include <sqlite3.h>

#include <cstdlib>
#include <dlfcn.h>
#include <filesystem>
#include <string>

namespace bvtest {

/// Points the process at a fresh prefix and creates HKCU\Software\RegTest (all access).
class RegistryFixture : public ::testing::Test {
protected:
    void SetUp() override {
        std::string templ = (std::filesystem::temp_directory_path() / "bvreg-XXXXXX").string();
        ASSERT_NE(mkdtemp(templ.data()), nullptr);
        m_dir = templ;
        if (const char* old = std::getenv("BV_PREFIX")) {
            m_oldPrefix = old;
        }
        UsePrefix(m_dir);
        ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, u"Software\\RegTest", 0, nullptr, 0,
                                  KEY_ALL_ACCESS, nullptr, &m_key, nullptr),
                  ERROR_SUCCESS);
    }
    void TearDown() override {
        UsePrefix(m_oldPrefix);
        std::error_code ec;
        std::filesystem::remove_all(m_dir, ec);
    }
    static void UsePrefix(const std::string& dir) {
        setenv("BV_PREFIX", dir.c_str(), 1);
        bvplatform::testing::ResetRegistry();
    }
    [[nodiscard]] std::string DbPath() const { return m_dir + "/registry.db"; }

    std::string m_dir;       // this test's prefix
    std::string m_oldPrefix; // the program's prefix, restored after the test
    HKEY m_key = nullptr;    // HKCU\Software\RegTest, all access
};

inline const RefTable& RegistryRef() {
    static const RefTable table = RefTable::Load("registry.tsv");
    return table;
}

/// SQLite's calls, found in the process (libbvplatform links the shared library).
struct RawSqlite {
    decltype(&sqlite3_open) open = Find<decltype(&sqlite3_open)>("sqlite3_open");
    decltype(&sqlite3_exec) exec = Find<decltype(&sqlite3_exec)>("sqlite3_exec");
    decltype(&sqlite3_close) close = Find<decltype(&sqlite3_close)>("sqlite3_close");

    template <class F>
    static F Find(const char* name) {
        return reinterpret_cast<F>(dlsym(RTLD_DEFAULT, name));
    }
    /// Runs SQL on a file with a connection of its own; true on success.
    bool Run(const std::string& path, const char* sql) const {
        sqlite3* db = nullptr;
        const bool ok = open(path.c_str(), &db) == SQLITE_OK &&
                        exec(db, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
        close(db);
        return ok;
    }
};

} // namespace bvtest
