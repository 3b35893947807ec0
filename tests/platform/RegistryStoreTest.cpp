// The hive as a store: read-only marks, batches, damaged or foreign files, several processes at
// once, and writers killed at random moments.
#include "RegistryTestUtil.h"

#include <bvplatform/debug.h>

#include <atomic>
#include <csignal>
#include <fstream>
#include <map>
#include <random>
#include <sstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace {

using bvtest::RawSqlite;

class RegistryStore : public bvtest::RegistryFixture {
protected:
    LONG SetDword(HKEY key, const char16_t* name, DWORD value) {
        return RegSetValueExW(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value), 4);
    }
    LONG GetDword(HKEY key, const char16_t* name, DWORD& value) {
        DWORD size = 4;
        return RegQueryValueExW(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(&value),
                                &size);
    }
    std::string FileBytes(const std::string& path) {
        std::ifstream in(path, std::ios::binary);
        std::ostringstream bytes;
        bytes << in.rdbuf();
        return bytes.str();
    }
};

TEST_F(RegistryStore, HiveFileIsPrivate) {
    struct stat st {};
    ASSERT_EQ(stat(DbPath().c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);
}

// A new hive has each user's Software branch, as the platform does: modules open it without
// creating it first.
TEST_F(RegistryStore, FreshHiveHasEachUsersSoftwareBranch) {
    const std::pair<HKEY, const char16_t*> branches[] = {{HKEY_CURRENT_USER, u"Software"},
                                                         {HKEY_USERS, u".DEFAULT\\Software"}};
    for (const auto& [root, path] : branches) {
        HKEY key = nullptr;
        EXPECT_EQ(RegOpenKeyExW(root, path, 0, KEY_READ, &key), ERROR_SUCCESS);
        RegCloseKey(key);
    }
}

// A read-only key: reads work, write rights and changes are refused, open handles keep theirs.
TEST_F(RegistryStore, ReadOnlyKey) {
    HKEY before = nullptr;
    ASSERT_EQ(RegCreateKeyExW(m_key, u"ro\\child", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &before,
                              nullptr),
              ERROR_SUCCESS);
    ASSERT_EQ(SetDword(before, u"v", 1), ERROR_SUCCESS);
    ASSERT_EQ(BvRegSetKeyReadOnly(m_key, u"ro\\child", TRUE), ERROR_SUCCESS);
    HKEY key = nullptr;
    DWORD value = 0;
    struct Row {
        const char* what; // the call
        LONG status;      // its answer
        LONG expected;    // the expected answer
    } rows[] = {
        {"open read", RegOpenKeyExW(m_key, u"ro\\child", 0, KEY_READ, &key), ERROR_SUCCESS},
        {"query", GetDword(key, u"v", value), ERROR_SUCCESS},
        {"open set", RegOpenKeyExW(m_key, u"ro\\child", 0, KEY_SET_VALUE, &key),
         ERROR_ACCESS_DENIED},
        {"create all",
         RegCreateKeyExW(m_key, u"ro\\child", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key,
                         nullptr),
         ERROR_ACCESS_DENIED},
        {"new sub-key",
         RegCreateKeyExW(m_key, u"ro\\child\\new", 0, nullptr, 0, KEY_READ, nullptr, &key, nullptr),
         ERROR_ACCESS_DENIED},
        {"delete", RegDeleteKeyW(m_key, u"ro\\child"), ERROR_ACCESS_DENIED},
        {"tree delete", SHDeleteKeyW(m_key, u"ro"), ERROR_ACCESS_DENIED},
        {"old handle writes", SetDword(before, u"v", 2), ERROR_SUCCESS},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(row.status, row.expected);
    }
    EXPECT_EQ(value, 1u);
    HKEY maximum = nullptr;
    ASSERT_EQ(RegCreateKeyW(m_key, u"ro\\child", &maximum), ERROR_SUCCESS);
    EXPECT_EQ(SetDword(maximum, u"v", 3), ERROR_ACCESS_DENIED) << "MAXIMUM_ALLOWED gets reads";
    EXPECT_EQ(GetDword(maximum, u"v", value), ERROR_SUCCESS);
    EXPECT_EQ(value, 2u);
    HKEY still = nullptr;
    EXPECT_EQ(RegOpenKeyExW(m_key, u"ro", 0, KEY_READ, &still), ERROR_SUCCESS)
        << "the refused tree deletion deleted nothing";
    ASSERT_EQ(BvRegSetKeyReadOnly(m_key, u"ro\\child", FALSE), ERROR_SUCCESS);
    EXPECT_EQ(SHDeleteKeyW(m_key, u"ro"), ERROR_SUCCESS);
    EXPECT_EQ(BvRegSetKeyReadOnly(HKEY_CURRENT_USER, nullptr, TRUE), ERROR_ACCESS_DENIED);
    for (HKEY open : {before, key, maximum, still}) {
        RegCloseKey(open);
    }
}

TEST_F(RegistryStore, BatchCommitsOrRollsBackAsOne) {
    for (BOOL commit : {FALSE, TRUE}) {
        SCOPED_TRACE(commit);
        ASSERT_EQ(BvRegBeginBatch(), ERROR_SUCCESS);
        EXPECT_EQ(BvRegBeginBatch(), ERROR_INVALID_FUNCTION);
        HKEY key = nullptr;
        ASSERT_EQ(RegCreateKeyW(m_key, u"batch", &key), ERROR_SUCCESS);
        ASSERT_EQ(SetDword(key, u"a", 1), ERROR_SUCCESS);
        DWORD value = 0;
        EXPECT_EQ(GetDword(key, u"a", value), ERROR_SUCCESS) << "the batch sees its writes";
        ASSERT_EQ(BvRegEndBatch(commit), ERROR_SUCCESS);
        const LONG expected = commit ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND;
        HKEY again = nullptr;
        EXPECT_EQ(RegOpenKeyExW(m_key, u"batch", 0, KEY_READ, &again), expected);
        EXPECT_EQ(GetDword(key, u"a", value), commit ? ERROR_SUCCESS : ERROR_KEY_DELETED);
        RegCloseKey(again);
        RegCloseKey(key);
    }
    EXPECT_EQ(BvRegEndBatch(TRUE), ERROR_INVALID_FUNCTION);
}

// Damaged or foreign files: 1015 from the first call that meets the damage, a line on the debug
// output, and the file left byte for byte.
TEST_F(RegistryStore, BadFilesAreReportedAndLeftAlone) {
    // A hive with enough values that its later pages hold data.
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyW(m_key, u"big", &key), ERROR_SUCCESS);
    ASSERT_EQ(BvRegBeginBatch(), ERROR_SUCCESS);
    const std::string filler(1000, 'x');
    for (int i = 0; i < 200; ++i) {
        const std::u16string name = u"v" + std::u16string(1, static_cast<char16_t>(u'A' + i % 26)) +
                                    std::u16string(static_cast<std::size_t>(i / 26 + 1), u'_');
        ASSERT_EQ(RegSetValueExW(key, name.c_str(), 0, REG_BINARY,
                                 reinterpret_cast<const BYTE*>(filler.data()), 1000),
                  ERROR_SUCCESS);
    }
    ASSERT_EQ(BvRegEndBatch(TRUE), ERROR_SUCCESS);
    ASSERT_EQ(RegFlushKey(key), ERROR_SUCCESS); // everything into the main file
    RegCloseKey(key);
    bvplatform::testing::ResetRegistry();
    const std::string good = FileBytes(DbPath());
    ASSERT_GT(good.size(), 100000u);

    struct Row {
        const char* name;  // the damage
        std::string bytes; // the file's content
        const char* sql;   // or SQL run on the good file
    } rows[] = {
        {"garbage", std::string(8192, '\x5a'), nullptr},
        {"truncated", good.substr(0, good.size() / 3), nullptr},
        {"newer schema", good, "PRAGMA user_version=2"},
        {"other schema", "", "CREATE TABLE songs(title TEXT); INSERT INTO songs VALUES('a')"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        bvplatform::testing::ResetRegistry();
        std::filesystem::remove(DbPath() + "-wal");
        std::filesystem::remove(DbPath() + "-shm");
        std::ofstream(DbPath(), std::ios::binary | std::ios::trunc) << row.bytes;
        if (row.sql != nullptr) {
            ASSERT_TRUE(RawSqlite().Run(DbPath(), row.sql));
        }
        const std::string before = FileBytes(DbPath());
        bvplatform::testing::DebugOutputCapture capture;
        LONG status =
            RegOpenKeyExW(HKEY_CURRENT_USER, u"Software\\RegTest\\big", 0, KEY_READ, &key);
        for (DWORD i = 0; status == ERROR_SUCCESS; ++i) {
            WCHAR name[16];
            DWORD length = 16;
            BYTE data[1000];
            DWORD size = sizeof data;
            status = RegEnumValueW(key, i, name, &length, nullptr, nullptr, data, &size);
        }
        EXPECT_EQ(status, ERROR_REGISTRY_CORRUPT);
        EXPECT_NE(capture.Text().find(u"registry"), std::u16string::npos);
        bvplatform::testing::ResetRegistry();
        EXPECT_TRUE(FileBytes(DbPath()) == before) << "the file was changed";
    }
}

// A prefix that cannot be made is an I/O failure, reported and not fatal.
TEST_F(RegistryStore, UnusablePrefixIsAnIoFailure) {
    UsePrefix(DbPath() + "/below-a-file");
    bvplatform::testing::DebugOutputCapture capture;
    HKEY key = nullptr;
    EXPECT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, nullptr, 0, KEY_READ, &key),
              ERROR_REGISTRY_IO_FAILED);
    EXPECT_EQ(key, nullptr);
    EXPECT_NE(capture.Text().find(u"registry"), std::u16string::npos);
}

// Threads share the process's connection and cache; each sees its own writes at once.
TEST_F(RegistryStore, ThreadsWriteAndReadAtOnce) {
    std::vector<std::thread> threads;
    std::atomic<int> failures{0};
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            const std::u16string name(1, static_cast<char16_t>(u'a' + t));
            for (DWORD n = 1; n <= 200; ++n) {
                DWORD back = 0;
                if (SetDword(m_key, name.c_str(), n) != ERROR_SUCCESS ||
                    GetDword(m_key, name.c_str(), back) != ERROR_SUCCESS || back != n) {
                    ++failures;
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(failures, 0);
    DWORD values = 0;
    EXPECT_EQ(RegQueryInfoKeyW(m_key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &values,
                               nullptr, nullptr, nullptr, nullptr),
              ERROR_SUCCESS);
    EXPECT_EQ(values, 4u);
}

// ---- several processes --------------------------------------------------------------------

constexpr int kWorkers = 4;
constexpr DWORD kRounds = 1000;

// One of the processes of the next test, started by it (skipped otherwise): writes its counter
// and reads its neighbour's on handles opened before the others write.
TEST(RegistryWorker, Run) {
    const char* prefix = std::getenv("BV_REG_WORKER_PREFIX");
    const char* index = std::getenv("BV_REG_WORKER_INDEX");
    if (prefix == nullptr || index == nullptr) {
        GTEST_SKIP() << "started by RegistryStore.ProcessesSeeEachOthersWrites";
    }
    setenv("BV_PREFIX", prefix, 1);
    bvplatform::testing::ResetRegistry();
    const int self = std::atoi(index);
    HKEY key = nullptr;
    ASSERT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, u"Software\\Shared", 0, KEY_ALL_ACCESS, &key),
              ERROR_SUCCESS);
    const std::u16string mine = u"c" + std::u16string(1, static_cast<char16_t>(u'0' + self));
    const std::u16string next =
        u"c" + std::u16string(1, static_cast<char16_t>(u'0' + (self + 1) % kWorkers));
    DWORD last = 0;
    auto readNext = [&] {
        DWORD seen = 0;
        DWORD size = 4;
        const LONG status = RegQueryValueExW(key, next.c_str(), nullptr, nullptr,
                                             reinterpret_cast<BYTE*>(&seen), &size);
        EXPECT_TRUE(status == ERROR_SUCCESS || status == ERROR_FILE_NOT_FOUND) << status;
        EXPECT_GE(seen + (status != ERROR_SUCCESS ? last : 0), last) << "went back";
        last = status == ERROR_SUCCESS ? seen : last;
    };
    for (DWORD round = 1; round <= kRounds; ++round) {
        ASSERT_EQ(RegSetValueExW(key, mine.c_str(), 0, REG_DWORD,
                                 reinterpret_cast<const BYTE*>(&round), 4),
                  ERROR_SUCCESS);
        readNext();
    }
    for (int wait = 0; wait < 20000 && last != kRounds; ++wait) {
        usleep(500);
        readNext();
    }
    EXPECT_EQ(last, kRounds) << "the neighbour's last write never showed";
    RegCloseKey(key);
}

TEST_F(RegistryStore, ProcessesSeeEachOthersWrites) {
    HKEY shared = nullptr;
    ASSERT_EQ(RegCreateKeyW(HKEY_CURRENT_USER, u"Software\\Shared", &shared), ERROR_SUCCESS);
    std::vector<pid_t> children;
    for (int i = 0; i < kWorkers; ++i) {
        const pid_t pid = fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            setenv("BV_REG_WORKER_PREFIX", m_dir.c_str(), 1);
            setenv("BV_REG_WORKER_INDEX", std::to_string(i).c_str(), 1);
            execl("/proc/self/exe", "bvplatform_tests", "--gtest_filter=RegistryWorker.Run",
                  "--gtest_brief=1", static_cast<char*>(nullptr));
            _exit(127);
        }
        children.push_back(pid);
    }
    for (pid_t pid : children) {
        int status = 0;
        ASSERT_EQ(waitpid(pid, &status, 0), pid);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "worker " << pid;
    }
    for (int i = 0; i < kWorkers; ++i) {
        const std::u16string name = u"c" + std::u16string(1, static_cast<char16_t>(u'0' + i));
        DWORD value = 0;
        EXPECT_EQ(GetDword(shared, name.c_str(), value), ERROR_SUCCESS);
        EXPECT_EQ(value, kRounds) << "worker " << i;
    }
    EXPECT_EQ(BvRegCheckIntegrity(), ERROR_SUCCESS);
    RegCloseKey(shared);
}

// A child acknowledges each returned write on a pipe and is killed at a random moment; after
// each kill the hive opens, passes its check and holds every acknowledged write.
TEST_F(RegistryStore, KilledWritersLoseNothingAcknowledged) {
    std::mt19937 random(20240611);
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyW(m_key, u"crash", &key), ERROR_SUCCESS);
    for (int kill = 0; kill < 100; ++kill) {
        int fds[2];
        ASSERT_EQ(pipe(fds), 0);
        const pid_t pid = fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            close(fds[0]);
            for (DWORD n = 0;; ++n) {
                const DWORD value = static_cast<DWORD>(kill) * 100000 + n;
                const std::u16string name = u"k" + std::u16string(1, char16_t(u'0' + n % 10));
                if (RegSetValueExW(key, name.c_str(), 0, REG_DWORD,
                                   reinterpret_cast<const BYTE*>(&value), 4) != ERROR_SUCCESS ||
                    write(fds[1], &value, 4) != 4) {
                    _exit(1);
                }
            }
        }
        close(fds[1]);
        const int acks = std::uniform_int_distribution<int>(1, 40)(random);
        std::map<std::u16string, DWORD> acked; // value name -> last acknowledged value
        DWORD value = 0;
        for (int i = 0; i < acks && read(fds[0], &value, 4) == 4; ++i) {
            acked[u"k" + std::u16string(1, char16_t(u'0' + value % 100000 % 10))] = value;
        }
        usleep(std::uniform_int_distribution<unsigned>(0, 300)(random));
        ::kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
        while (read(fds[0], &value, 4) == 4) {
            acked[u"k" + std::u16string(1, char16_t(u'0' + value % 100000 % 10))] = value;
        }
        close(fds[0]);
        SCOPED_TRACE(kill);
        bvplatform::testing::ResetRegistry(); // open the hive anew, as the next process would
        ASSERT_EQ(
            RegOpenKeyExW(HKEY_CURRENT_USER, u"Software\\RegTest\\crash", 0, KEY_ALL_ACCESS, &key),
            ERROR_SUCCESS);
        ASSERT_EQ(BvRegCheckIntegrity(), ERROR_SUCCESS);
        for (const auto& [name, expected] : acked) {
            DWORD stored = 0;
            ASSERT_EQ(GetDword(key, name.c_str(), stored), ERROR_SUCCESS);
            ASSERT_GE(stored, expected) << "an acknowledged write was lost";
        }
    }
    RegCloseKey(key);
}

} // namespace
