// Window classes of this process and the atoms that name them. Names compare as Windows
// compares them: unit by unit, ignoring case.
#pragma once

#include <bvplatform/types.h>
#include <bvplatform/windows.h>

#include <optional>
#include <string>
#include <string_view>

namespace bvplatform::detail {

struct WindowClass {
    std::u16string name; // as registered (case kept)
    ATOM atom = 0;       // the class's atom
    WNDPROC procedure = nullptr;
    int windowExtra = 0; // bytes of extra window memory (GetWindowLongW at 0, 4, ...)
};

/// True for the two names Windows holds equal (case-insensitive, unit by unit).
[[nodiscard]] bool SameName(std::u16string_view a, std::u16string_view b);

/// True when a class-name argument carries an atom (MAKEINTATOM) instead of a pointer.
[[nodiscard]] bool IsAtomArgument(LPCWSTR name);

/// Registers a class. Returns ERROR_SUCCESS (and the atom) or the failure's code.
DWORD RegisterWindowClass(const WNDCLASSW& record, ATOM& atom);

/// Removes a class named by string or atom. ERROR_CLASS_DOES_NOT_EXIST when there is none.
DWORD UnregisterWindowClass(LPCWSTR name);

/// The registered class named by string or atom.
[[nodiscard]] std::optional<WindowClass> FindWindowClass(LPCWSTR name);

/// The class name a string or atom argument stands for; nullopt for an atom never issued.
[[nodiscard]] std::optional<std::u16string> ClassNameOf(LPCWSTR name);

} // namespace bvplatform::detail
