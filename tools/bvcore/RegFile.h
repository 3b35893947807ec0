// The registry editor's file format (.reg): a reader for both dialects and a writer of the
// Unicode one. Pure text work: it never touches the registry, so tests and the fuzzer compile it
// in on their own.
#pragma once

#include <bvplatform/registry.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace bvtool::regfile {

using Bytes = std::vector<std::uint8_t>;

/// One value line: set (type and data) or delete (`"name"=-`).
struct Value {
    std::u16string name; // the value's name; empty for the default value (`@`)
    DWORD type = REG_SZ; // the value's type when set
    Bytes data;          // the value's bytes when set
    bool remove = false; // true for a deletion line
};

/// One `[KEY]` block with its value lines, or a `[-KEY]` deletion.
struct Key {
    std::u16string path;       // full path, root name as written (long or short)
    bool remove = false;       // true for `[-KEY]`
    std::size_t line = 0;      // the line of the block's header, for messages
    std::vector<Value> values; // the block's value lines in file order
};

/// A parsed file: its blocks in file order.
struct Document {
    std::vector<Key> keys; // the blocks in file order
};

/// Why a file was refused.
struct ParseError {
    std::size_t line = 0; // 1-based line of the fault
    std::string message;  // what is wrong, in words
};

/// Parses a whole file: a UTF-16LE text with byte-order mark ("Windows Registry Editor Version
/// 5.00") or narrow text in the active code page ("REGEDIT4"). False with `error` filled on the
/// first fault; `doc` is then incomplete.
bool Parse(std::span<const std::uint8_t> bytes, Document& doc, ParseError& error);

/// Writes `doc` (no deletions) as a Unicode file: byte-order mark, CRLF lines. Any value the
/// quoted or `dword:` form can't carry byte for byte is written as `hex(N):`.
Bytes Write(const Document& doc);

/// Splits "ROOT\sub\key" into the predefined key and the rest; accepts long and short root names
/// in any case. `longName` gets the root's long name. False for an unknown root.
bool SplitRoot(std::u16string_view path, HKEY& root, std::u16string& sub, std::u16string& longName);

/// True when two names match without regard to (ASCII) case.
bool SameName(std::u16string_view a, std::u16string_view b);

/// UTF-8 (the console's and the active code page) to UTF-16 and back.
std::u16string Widen(std::string_view text);
std::string Narrow(std::u16string_view text);

} // namespace bvtool::regfile
