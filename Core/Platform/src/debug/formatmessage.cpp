// FormatMessageW: finds the message definition, expands it and hands the text over by the
// platform's size protocol.
#include "debug/messageformat.h"
#include "debug/messagetable.h"

#include <bvplatform/base.h>
#include <bvplatform/debug.h>
#include <bvplatform/winerror.h>

#include <algorithm>
#include <cstring>
#include <string>

namespace {

using bvplatform::detail::ExpandMessage;
using bvplatform::detail::FindSystemMessage;
using bvplatform::detail::IsSystemMessageLanguage;

// Codes the public winerror.h doesn't carry.
constexpr DWORD kErrorNoWorkDone = 235;            // ERROR_NO_WORK_DONE: nothing to write
constexpr DWORD kErrorResourceTypeNotFound = 1813; // ERROR_RESOURCE_TYPE_NOT_FOUND

constexpr DWORD kAnySource =
    FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_FROM_SYSTEM;

// The definition named by the flags: the caller's string, or the system's text. Modules of the
// stand-in carry no message tables, so FROM_HMODULE alone finds nothing and FROM_HMODULE with
// FROM_SYSTEM falls back to the system's table, as the platform does for a module without one.
DWORD FindDefinition(DWORD flags, LPCVOID source, DWORD id, DWORD language,
                     std::u16string_view& definition) {
    if ((flags & FORMAT_MESSAGE_FROM_STRING) != 0) {
        if (source == nullptr) {
            return ERROR_INVALID_PARAMETER;
        }
        definition = static_cast<LPCWSTR>(source);
        return ERROR_SUCCESS;
    }
    if ((flags & FORMAT_MESSAGE_FROM_SYSTEM) == 0) {
        return kErrorResourceTypeNotFound;
    }
    if (!IsSystemMessageLanguage(language)) {
        return ERROR_RESOURCE_LANG_NOT_FOUND;
    }
    const auto text = FindSystemMessage(id);
    if (!text) {
        return ERROR_MR_MID_NOT_FOUND;
    }
    definition = *text;
    return ERROR_SUCCESS;
}

// Writes the text with its terminator: into a LocalAlloc'ed block whose address goes to
// *(LPWSTR*)buffer, or into the caller's buffer of `size` units, left untouched if too small.
DWORD Deliver(DWORD flags, const std::u16string& text, LPWSTR buffer, DWORD size) {
    const std::size_t units = text.size() + 1;
    if ((flags & FORMAT_MESSAGE_ALLOCATE_BUFFER) == 0) {
        if (units > size) {
            return ERROR_INSUFFICIENT_BUFFER;
        }
        std::memcpy(buffer, text.c_str(), units * sizeof(WCHAR));
        return ERROR_SUCCESS;
    }
    const std::size_t room = std::max<std::size_t>(units, size);
    auto* block = static_cast<LPWSTR>(LocalAlloc(LMEM_FIXED, room * sizeof(WCHAR)));
    if (block == nullptr) {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
    std::memcpy(block, text.c_str(), units * sizeof(WCHAR));
    *reinterpret_cast<LPWSTR*>(buffer) = block;
    return ERROR_SUCCESS;
}

DWORD FormatMessageWorker(DWORD flags, LPCVOID source, DWORD id, DWORD language, LPWSTR buffer,
                          DWORD size, va_list* arguments, std::u16string& text) {
    if ((flags & kAnySource) == 0 || buffer == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    std::u16string_view definition;
    if (const DWORD status = FindDefinition(flags, source, id, language, definition);
        status != ERROR_SUCCESS) {
        return status;
    }
    if (const DWORD status = ExpandMessage(definition, flags, arguments, text);
        status != ERROR_SUCCESS) {
        return status;
    }
    if (text.empty()) {
        return kErrorNoWorkDone;
    }
    return Deliver(flags, text, buffer, size);
}

} // namespace

DWORD FormatMessageW(DWORD dwFlags, LPCVOID lpSource, DWORD dwMessageId, DWORD dwLanguageId,
                     LPWSTR lpBuffer, DWORD nSize, va_list* Arguments) {
    std::u16string text;
    const DWORD status = FormatMessageWorker(dwFlags, lpSource, dwMessageId, dwLanguageId, lpBuffer,
                                             nSize, Arguments, text);
    if (status != ERROR_SUCCESS) {
        SetLastError(status);
        return 0;
    }
    return static_cast<DWORD>(text.size());
}
