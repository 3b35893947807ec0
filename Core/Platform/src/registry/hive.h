// The hive: the registry's SQLite database in the prefix, the shared sequence word that tells
// this process when another one wrote, and the in-process cache of what this process touched.
// Every member function expects the caller to hold Mutex() and to have called Enter().
#pragma once

#include <bvplatform/types.h>

#include <sqlite3.h>

#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace bvplatform::detail {

/// A key's row.
struct KeyRec {
    std::int64_t parent = 0; // id of the parent key; 0 for the hive's root
    std::u16string name;     // the name as created
    bool readOnly = false;   // marked by BvRegSetKeyReadOnly
};

/// A value's type and bytes, as written.
struct ValueRec {
    DWORD type = 0;   // registry type number
    std::string data; // the bytes
};

/// A value with its name, for enumeration.
struct NamedValue {
    std::u16string name; // as created
    ValueRec value;      // type and bytes
};

/// The keys that predefined handles stand for, by the handle's low byte (0x80000000 + index).
constexpr unsigned kPredefinedCount = 7;

class Hive {
public:
    static Hive& Instance();
    /// Write transactions this process committed (a batch counts once).
    static unsigned long CommitCount();

    /// Guards everything of the hive and of the handle table.
    std::mutex& Mutex() { return m_mutex; }

    /// Starts a call: opens the database if needed (again in a forked child) and drops the
    /// cache when another process wrote. Returns 0 or the hive's error.
    LONG Enter();
    /// Forgets connection, cache and batch (the next Enter opens the prefix anew).
    void Reset();

    /// The key a predefined handle stands for; 0 for one the stand-in doesn't have.
    [[nodiscard]] std::int64_t Predefined(unsigned index) const { return m_predefined[index]; }
    [[nodiscard]] bool IsPredefinedKey(std::int64_t id) const;

    /// The key's row; ERROR_KEY_DELETED if it is gone.
    LONG Key(std::int64_t id, const KeyRec*& rec);
    /// The sub-key `name` of `parent`; ERROR_FILE_NOT_FOUND if there is none.
    LONG Child(std::int64_t parent, std::u16string_view name, std::int64_t& id);
    /// Follows `levels` from `from`; ERROR_FILE_NOT_FOUND at the first missing one.
    LONG Walk(std::int64_t from, const std::vector<std::u16string>& levels, std::int64_t& id);
    /// The value `name` of the key; ERROR_FILE_NOT_FOUND if there is none.
    LONG Value(std::int64_t key, std::u16string_view name, const ValueRec*& value);

    /// Walks `levels` from `from`, creating the missing ones in one transaction.
    LONG CreatePath(std::int64_t from, const std::vector<std::u16string>& levels, std::int64_t& id,
                    bool& created);
    LONG SetValue(std::int64_t key, std::u16string_view name, DWORD type, std::string data);
    LONG DeleteValue(std::int64_t key, std::u16string_view name);
    /// Deletes the key (with its descendants when `tree`); ERROR_ACCESS_DENIED for sub-keys
    /// without `tree`, a read-only key in the tree, or a predefined key.
    LONG DeleteKey(std::int64_t id, bool tree);
    LONG SetReadOnly(std::int64_t id, bool readOnly);

    /// Sub-key names in the platform's order (by upper-cased units).
    LONG SubKeys(std::int64_t id, std::vector<std::u16string>& names);
    /// Values in creation order, listed once and kept until the key's values change; the list
    /// lives until the next call of the hive.
    LONG Values(std::int64_t id, const std::vector<NamedValue>*& values);

    LONG BeginBatch();
    LONG EndBatch(bool commit);
    LONG Flush();
    LONG CheckIntegrity();

    /// Before a fork (with Mutex() held): closes the connection, so that the child never
    /// inherits SQLite's bookkeeping of this process's locks; a batch keeps it open.
    void BeforeFork();
    /// In the child after a fork: drops the cache and marks a connection kept for a batch as
    /// the parent's, never to be used or closed here.
    void InChild();

private:
    /// Counts a commit that succeeded.
    static void CountCommit(LONG status);
    enum Sql : unsigned;
    struct CachedKey {
        KeyRec rec;                                                // the row
        std::unordered_map<std::u16string, std::int64_t> children; // folded name -> id, 0 missing
        std::unordered_map<std::u16string, std::optional<ValueRec>> values; // folded name -> value
        std::optional<std::vector<NamedValue>> listed; // all values in creation order, once listed
    };

    LONG Open();
    LONG OpenConnection(const std::string& path);
    LONG CheckSchema(bool& fresh);
    LONG CreateSchema();
    LONG ResolvePredefined();
    bool MapSequence(const std::string& path);
    void Close();
    void ClearCache();
    CachedKey* Cached(std::int64_t id);
    sqlite3_stmt* Prepare(Sql sql);
    LONG Exec(const char* sql);
    LONG Fail(int rc, const char* what);
    LONG Write(const std::function<LONG()>& body);
    LONG InsertLevels(std::int64_t from, const std::vector<std::u16string>& levels,
                      std::int64_t& id, bool& created);
    std::uint64_t LoadSequence() const;
    std::uint64_t BeginSequence();
    void EndSequence(std::uint64_t odd);

    std::mutex m_mutex;                      // guards all members and the handle table
    sqlite3* m_db = nullptr;                 // the connection; null until opened
    std::vector<sqlite3_stmt*> m_statements; // prepared statements by Sql, null until used
    std::uint64_t* m_sequence = nullptr;     // the shared sequence word (mapped registry.seq)
    std::uint64_t m_seenSequence = ~0ull;    // the word's value the cache is valid for
    bool m_batch = false;                    // a BvRegBeginBatch transaction is open
    std::uint64_t m_batchSequence = 0;       // the odd value written at the batch's start
    bool m_forked = false; // in a forked child: the connection is the parent's batch's
    std::string m_path;    // the database file, for messages
    std::int64_t m_predefined[kPredefinedCount] = {};   // key ids of the predefined handles
    std::unordered_map<std::int64_t, CachedKey> m_keys; // keys this process touched, by id
    std::unordered_set<std::int64_t> m_deadKeys;        // ids known to be deleted
};

} // namespace bvplatform::detail
