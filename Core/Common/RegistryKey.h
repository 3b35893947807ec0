// One open registry key per object: every non-success status of a registry call becomes an
// exception of the RegistryKey family naming the call, the key and the decimal status.
#pragma once

#include "Core/Common/Exc.h"
#include "Core/Common/Export.h"
#include "Core/Common/Types.h"

#include <bvplatform/registry.h>

#include <cstdint>

namespace core::registry {

class BVCORE_API RegistryKey {
public:
    BV_DECLARE_EXCEPTION(Exception, mcExc);
    BV_DECLARE_EXCEPTION(KeyException, Exception);
    BV_DECLARE_EXCEPTION(ValueException, Exception);
    BV_DECLARE_EXCEPTION(ValueTypeException, Exception);

    /// The root keys below which a name counts. The fixed width keeps any other number a valid
    /// value, which the lookups answer as "no key".
    enum mtSubTree : int {
        eSubTreeNone = 0,
        eSubTreeClassesRoot = 1,
        eSubTreeCurrentConfig = 2,
        eSubTreeCurrentUser = 3,
        eSubTreeDynData = 4,
        eSubTreeLocalMachine = 5,
        eSubTreePerformanceData = 6,
        eSubTreeUsers = 7,
    };

    /// One platform key handle, opened by the constructor and closed by the destructor; never
    /// shared between keys.
    class BVCORE_API Handle {
    public:
        BV_DECLARE_EXCEPTION(Exception, RegistryKey::Exception);
        BV_DECLARE_EXCEPTION(OpenException, RegistryKey::Exception);
        BV_DECLARE_EXCEPTION(CloseException, RegistryKey::Exception);

        /// Opens `subKey` below `parent`; throws OpenException on a non-zero status.
        Handle(HKEY parent, LPCWSTR subKey, REGSAM access);
        /// Closes the key; a failure throws CloseException, or is only announced while the stack
        /// unwinds (a second exception would end the process).
        ~Handle() noexcept(false);
        Handle(const Handle&) = delete;
        Handle& operator=(const Handle&) = delete;

        /// Closes now; throws CloseException on failure and then stays open.
        void Close();
        [[nodiscard]] HKEY Get() const { return m_key; }

    private:
        HKEY m_key; // the open platform key; null once closed
    };

    /// Both enumerations read names into buffers of this many units, the NUL included.
    static constexpr std::uint32_t kui32MaxKeyNameChars = 256;
    static constexpr std::uint32_t kui32MaxValueNameChars = 256;

    /// Opens the root key itself.
    RegistryKey(mtSubTree subTree, REGSAM access);
    /// Opens `name` below the root; creates the missing levels first when `create` is set.
    RegistryKey(mtSubTree subTree, LPCWSTR name, REGSAM access, bool create);
    /// A fresh open of the same path: no platform handle is shared.
    RegistryKey(const RegistryKey& other);
    /// Closes the key; see Handle::~Handle for a failing close.
    ~RegistryKey() noexcept(false);
    RegistryKey& operator=(const RegistryKey& other);

    /// Points this object at another key, creating it first when asked to.
    void Reassign(mtSubTree subTree, LPCWSTR name, REGSAM access, bool create);

    [[nodiscard]] TStr GetName() const { return m_name; }
    [[nodiscard]] mtSubTree GetSubTree() const { return m_subTree; }
    [[nodiscard]] REGSAM GetREGSAM() const { return m_access; }
    /// Same subtree and mask, names equal regardless of case.
    bool operator==(const RegistryKey& other) const;
    bool operator!=(const RegistryKey& other) const;
    /// The enumerator of a predefined key; eSubTreeNone for any other handle.
    static mtSubTree SubTreeFromHKEY(HKEY key);

    [[nodiscard]] RegistryKey GetSubKey(LPCWSTR subKey) const;
    [[nodiscard]] RegistryKey GetSubKey(LPCWSTR subKey, REGSAM access) const;
    [[nodiscard]] RegistryKey CreateSubKey(LPCWSTR subKey) const;
    [[nodiscard]] RegistryKey CreateSubKey(LPCWSTR subKey, REGSAM access) const;
    /// Whether the sub-key opens with this key's (or the given) mask; never throws.
    [[nodiscard]] bool HasSubKey(LPCWSTR subKey) const;
    [[nodiscard]] bool HasSubKey(LPCWSTR subKey, REGSAM access) const;
    [[nodiscard]] bool HasValue(LPCWSTR valueName) const;
    /// 0 when the platform refuses the query with ERROR_ACCESS_DENIED.
    [[nodiscard]] std::uint32_t GetSubKeyCount() const;
    [[nodiscard]] std::uint32_t GetValueCount() const;
    /// Replace the vector's content with the names, in the platform's order.
    void GetSubKeyNames(TStrVec& names) const;
    void GetValueNames(TStrVec& names) const;
    void DeleteSubKey(LPCWSTR subKey) const;
    /// The sub-key and everything below it.
    void DeleteSubKeyTree(LPCWSTR subKey) const;
    void DeleteValue(LPCWSTR valueName) const;

    /// Existence tests: false for any failed open or query; only a failing close throws.
    static bool Exists(mtSubTree subTree, LPCWSTR name, REGSAM access);
    static bool ValueExists(mtSubTree subTree, LPCWSTR name, REGSAM access, LPCWSTR valueName);

    [[nodiscard]] DWORD GetValueType(LPCWSTR valueName) const;
    [[nodiscard]] DWORD GetValueSize(LPCWSTR valueName) const;
    void GetValueTypeAndSize(LPCWSTR valueName, DWORD& type, DWORD& size) const;

    /// Typed getters: a value of another type throws ValueTypeException before any data is read.
    [[nodiscard]] std::int32_t GetValueDWord(LPCWSTR valueName) const;
    [[nodiscard]] std::int64_t GetValueQWord(LPCWSTR valueName) const;
    /// REG_SZ or REG_EXPAND_SZ (unexpanded), without its trailing NULs.
    [[nodiscard]] TStr GetValueString(LPCWSTR valueName) const;
    [[nodiscard]] ByteVec GetValueBinary(LPCWSTR valueName) const;
    /// Whether any byte of the binary value is non-zero.
    [[nodiscard]] bool GetValueBinaryAsBool(LPCWSTR valueName) const;
    [[nodiscard]] TStrVec GetValueMultiString(LPCWSTR valueName) const;

    /// Typed setters: an existing value of another type throws ValueTypeException and stays.
    /// Every failure throws, so they answer true.
    bool SetValueDWord(LPCWSTR valueName, std::int32_t value);
    bool SetValueQWord(LPCWSTR valueName, std::int64_t value);
    bool SetValueString(LPCWSTR valueName, LPCWSTR value);
    bool SetValueEnvironmentString(LPCWSTR valueName, LPCWSTR value);
    bool SetValueBinary(LPCWSTR valueName, const ByteVec& value);
    bool SetValueMultiString(LPCWSTR valueName, const TStrVec& value);

protected:
    /// Nothing opened; subtree and mask undefined.
    RegistryKey();
    /// Opens `name` below the root; never creates.
    RegistryKey(LPCWSTR name, mtSubTree subTree, REGSAM access);

    /// Closes what is open and opens name, subtree and mask anew.
    void Open();
    /// Stores the name without one leading backslash.
    void SetName(LPCWSTR name);

    static HKEY HandleFromSubTree_(mtSubTree subTree);
    static TStr KeyNameFromSubTree_(mtSubTree subTree);
    /// A new handle to `key` itself; the status is stored also when this throws.
    static HKEY Open_(HKEY key, REGSAM access, LONG& status);
    static HKEY Open_(HKEY key, LPCWSTR subKey, REGSAM access, LONG& status);
    /// Nothing for a null key, which leaves `status` alone.
    static void Close_(HKEY key, LONG& status);

    /// Packed form: each element and a NUL, then one more NUL.
    static void MultiStringToString_(const TStrVec& strings, TStr& packed);
    /// Elements up to each NUL; the last counts only when two NULs end the text.
    static void StringToMultiString_(const TStr& packed, TStrVec& strings);

private:
    [[nodiscard]] HKEY Key() const;
    /// "key\value", the way every value text names a value.
    [[nodiscard]] TStr ValuePath(LPCWSTR valueName) const;
    /// Throws ValueTypeException naming the expected and the stored type.
    [[noreturn]] void ThrowTypeMismatch(const char* function, LPCWSTR valueName,
                                        const TStr& expected, DWORD got) const;
    /// Reads `size` bytes of data into `buffer`; returns the size the platform reported.
    DWORD ReadData(const char* function, LPCWSTR valueName, void* buffer, DWORD size) const;
    /// Type check and size of a getter's value.
    DWORD SizeOfTyped(const char* function, LPCWSTR valueName, DWORD expected) const;
    /// The text of `size` stored bytes in whole units, as long as the read reported.
    [[nodiscard]] TStr ReadUnits(const char* function, LPCWSTR valueName, DWORD size) const;
    /// A fixed-width integer read; wider stored data fails with ERROR_MORE_DATA.
    template <class T>
    T ReadInteger(const char* function, LPCWSTR valueName, DWORD type) const;
    /// The shared setter procedure; false: the write failed with `status`.
    bool Write(const char* function, LPCWSTR valueName, DWORD type, const void* data, DWORD size,
               LONG& status);
    void WriteOrThrow(const char* function, LPCWSTR valueName, DWORD type, const void* data,
                      DWORD size);
    /// Steps 1-3 of both enumerations.
    template <class Enum>
    void EnumerateNames(std::uint32_t count, TStrVec& names, Enum enumerate,
                        const char16_t* call) const;

    TStr m_name;         // path below the root, without a leading backslash; empty for the root
    mtSubTree m_subTree; // the root key below which the name counts
    REGSAM m_access;     // mask of this key, and of its sub-keys by default
    Handle* m_handle;    // owned; null after a failed open
};

} // namespace core::registry
