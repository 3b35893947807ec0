// The system's message table: Windows' English texts of the Win32 codes and HRESULTs that the
// stand-in and the library produce.
#pragma once

#include <bvplatform/types.h>

#include <optional>
#include <string_view>

namespace bvplatform::detail {

/// The text of a message id as the system keeps it (each line ending in CR LF). An HRESULT
/// 0x8007xxxx without a text of its own gives the text of the Win32 code xxxx.
[[nodiscard]] std::optional<std::u16string_view> FindSystemMessage(DWORD id);

/// True if the table holds texts in this language: neutral and default LANGIDs (0, user
/// default 0x0400, system default 0x0800, ...) and every English LANGID.
[[nodiscard]] bool IsSystemMessageLanguage(DWORD languageId);

} // namespace bvplatform::detail
