// Reader of the recorded platform answers in tests/data/platform-reference (key<TAB>value rows,
// '#' lines annotating the next row).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace bvtest {

struct RefRow {
    std::string key;                   // dotted key as recorded
    std::string value;                 // raw value text as recorded
    std::vector<std::string> comments; // '#' lines just above the row, without the '#'
    int line = 0;                      // line in the file, for messages

    /// True if a comment above the row contains `text`.
    [[nodiscard]] bool CommentHas(const std::string& text) const;
};

class RefTable {
public:
    /// Loads a file of tests/data/platform-reference by name ("text.tsv"); fails the test
    /// program if it is missing.
    static RefTable Load(const std::string& fileName);

    [[nodiscard]] const std::vector<RefRow>& Rows() const { return m_rows; }
    /// Rows whose key starts with `prefix`.
    [[nodiscard]] std::vector<RefRow> WithPrefix(const std::string& prefix) const;
    /// The row of exactly this key.
    [[nodiscard]] std::optional<RefRow> Find(const std::string& key) const;

private:
    std::vector<RefRow> m_rows;
};

/// Decodes a quoted UTF-16 value ("..." with \\, \" and \uXXXX escapes) into its units.
[[nodiscard]] std::u16string ParseUtf16(const std::string& quoted);
/// Decodes "hex:c3a9" into its bytes.
[[nodiscard]] std::string ParseHex(const std::string& value);
/// Decodes a decimal or 0x-hex number.
[[nodiscard]] std::int64_t ParseNumber(const std::string& value);
/// Decodes "U+00C4" into its unit.
[[nodiscard]] char16_t ParseUnit(const std::string& value);

/// The number of the row of exactly this key; a missing row fails the test (and gives -1).
[[nodiscard]] std::int64_t RefNumber(const RefTable& table, const std::string& key);

/// Splits a key at the dots that stand outside double quotes.
[[nodiscard]] std::vector<std::string> SplitKey(const std::string& key);

/// Printable form of a UTF-16 text for failure messages (same notation as the files).
[[nodiscard]] std::string Show(const std::u16string& text);
/// Printable form of bytes ("hex:...").
[[nodiscard]] std::string ShowHex(const std::string& bytes);

} // namespace bvtest
