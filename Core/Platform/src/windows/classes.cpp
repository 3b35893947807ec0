// Window classes of this process.
#include "windows/classes.h"

#include <bvplatform/winerror.h>

#include <unicode/uchar.h>

#include <cstdint>
#include <map>
#include <mutex>
#include <vector>

namespace bvplatform::detail {
namespace {

// Class atoms live in 0xC000..0xFFFF, as the platform's string atoms do.
constexpr ATOM kFirstAtom = 0xC000;
constexpr std::size_t kAtomCount = 0x4000;

// The form under which names compare equal: each unit upper-cased on its own.
std::u16string NameKey(std::u16string_view name) {
    std::u16string key(name);
    for (char16_t& unit : key) {
        unit = static_cast<char16_t>(u_toupper(unit));
    }
    return key;
}

struct ClassTable {
    std::mutex lock;                               // guards the members below
    std::map<std::u16string, WindowClass> classes; // registered classes by NameKey
    std::map<std::u16string, ATOM> atomsByKey;     // every name ever given an atom, by NameKey
    std::vector<std::u16string> namesByAtom;       // index atom - kFirstAtom: the first spelling
};

ClassTable& Table() {
    static ClassTable& table = *new ClassTable; // immortal, like the station
    return table;
}

// The atom of a name: the same for every spelling and every registration, as in an atom
// table. 0 when the table is full. Caller holds the table's lock.
ATOM AtomFor(ClassTable& table, const std::u16string& key, std::u16string_view name) {
    if (const auto found = table.atomsByKey.find(key); found != table.atomsByKey.end()) {
        return found->second;
    }
    if (table.namesByAtom.size() == kAtomCount) {
        return 0;
    }
    const auto atom = static_cast<ATOM>(kFirstAtom + table.namesByAtom.size());
    table.namesByAtom.emplace_back(name);
    table.atomsByKey.emplace(key, atom);
    return atom;
}

// The name an atom stands for; nullopt for one never issued. Caller holds the table's lock.
std::optional<std::u16string> NameOfAtom(const ClassTable& table, ATOM atom) {
    if (atom < kFirstAtom) {
        return std::nullopt;
    }
    const std::size_t index = atom - kFirstAtom;
    if (index >= table.namesByAtom.size()) {
        return std::nullopt;
    }
    return table.namesByAtom[index];
}

// The NameKey of a string or atom argument. Caller holds the table's lock.
std::optional<std::u16string> KeyOf(const ClassTable& table, LPCWSTR name) {
    if (!IsAtomArgument(name)) {
        return NameKey(name);
    }
    const std::optional<std::u16string> spelled =
        NameOfAtom(table, static_cast<ATOM>(reinterpret_cast<std::uintptr_t>(name)));
    return spelled ? std::optional(NameKey(*spelled)) : std::nullopt;
}

} // namespace

bool SameName(std::u16string_view a, std::u16string_view b) {
    return a.size() == b.size() && NameKey(a) == NameKey(b);
}

bool IsAtomArgument(LPCWSTR name) {
    return reinterpret_cast<std::uintptr_t>(name) <= 0xFFFF;
}

DWORD RegisterWindowClass(const WNDCLASSW& record, ATOM& atom) {
    // An atom in place of the name is not taken: this process's atoms all name classes.
    if (IsAtomArgument(record.lpszClassName) || *record.lpszClassName == u'\0' ||
        record.lpfnWndProc == nullptr || record.cbWndExtra < 0 || record.cbClsExtra < 0) {
        return ERROR_INVALID_PARAMETER;
    }
    ClassTable& table = Table();
    std::lock_guard lock(table.lock);
    std::u16string key = NameKey(record.lpszClassName);
    if (table.classes.contains(key)) {
        return ERROR_CLASS_ALREADY_EXISTS;
    }
    const ATOM issued = AtomFor(table, key, record.lpszClassName);
    if (issued == 0) {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
    table.classes.emplace(std::move(key), WindowClass{record.lpszClassName, issued,
                                                      record.lpfnWndProc, record.cbWndExtra});
    atom = issued;
    return ERROR_SUCCESS;
}

DWORD UnregisterWindowClass(LPCWSTR name) {
    ClassTable& table = Table();
    std::lock_guard lock(table.lock);
    const std::optional<std::u16string> key = KeyOf(table, name);
    if (!key || table.classes.erase(*key) == 0) {
        return ERROR_CLASS_DOES_NOT_EXIST;
    }
    return ERROR_SUCCESS;
}

std::optional<WindowClass> FindWindowClass(LPCWSTR name) {
    ClassTable& table = Table();
    std::lock_guard lock(table.lock);
    const std::optional<std::u16string> key = KeyOf(table, name);
    if (!key) {
        return std::nullopt;
    }
    const auto found = table.classes.find(*key);
    return found == table.classes.end() ? std::nullopt : std::optional(found->second);
}

std::optional<std::u16string> ClassNameOf(LPCWSTR name) {
    if (!IsAtomArgument(name)) {
        return std::u16string(name);
    }
    ClassTable& table = Table();
    std::lock_guard lock(table.lock);
    return NameOfAtom(table, static_cast<ATOM>(reinterpret_cast<std::uintptr_t>(name)));
}

} // namespace bvplatform::detail
