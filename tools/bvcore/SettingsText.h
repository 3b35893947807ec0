// The texts of `bvcore settings`: type names, values as `set` reads them from the command line
// and `get` prints them back, and the escaping that keeps every stored name and text on one line.
// Pure text work: nothing here touches the store.
#pragma once

#include "Core/Common/Settings.h"
#include "Core/Common/Types.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>

namespace bvtool::settings {

using core::settings::eValueType;

/// A value of one of the types that `set` writes; the alternative tells the type.
using Value = std::variant<bool, std::int32_t, std::int64_t, double, tagPOINT, tagRECT, TStr,
                           TStrVec, ByteVec>;

/// "key", "bool", "int32", ..., "unknown": the word `get` and `list` show for a stored type.
[[nodiscard]] std::string_view TypeName(eValueType type);
/// The type that `set` writes under this word; nothing for "key", "unknown" or another word.
[[nodiscard]] std::optional<eValueType> WritableType(std::string_view name);

/// Reads the value words of `set` as `type` (a writable one): one word for every type but
/// tstrvec, which takes one word per element. Nothing, with the reason in `error`, when the words
/// don't make such a value.
[[nodiscard]] std::optional<Value> ParseValue(eValueType type, std::span<const std::string> words,
                                              std::string& error);
/// The value in the words `set` takes (quoted for a shell where needed); an empty string vector
/// shows as "(no elements)".
[[nodiscard]] std::string FormatValue(const Value& value);

/// UTF-8 of `text` with line ends, tabs, NULs and other control or line-breaking units written
/// as \n, \r, \t, \0, \xNN or \uNNNN (lone surrogates too); backslashes stay as they are.
[[nodiscard]] std::string Escape(const TStr& text);
/// `text` as one shell word: bare when it holds only plain characters, else in single quotes,
/// or in $'...' with the escapes above when it holds a unit that Escape writes out.
[[nodiscard]] std::string ShellWord(const TStr& text);
/// The text of a command-line word (UTF-8).
[[nodiscard]] TStr FromUtf8(const std::string& text);

} // namespace bvtool::settings
