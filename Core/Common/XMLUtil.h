// The settings store's element helpers: how bool, double, POINT and RECT lie in the registry as
// text. An element is "<" tag ">" content "</" tag ">", made by plain concatenation and read by
// splitting on angle brackets; no XML parser, no escaping, no blanks. Doubles travel as base64
// of their 8 little-endian bytes. Stored text is outside input: the readers give only a plain
// mcExc for whatever they cannot read, and never hand out undefined bytes.
#pragma once

#include "Core/Common/Export.h"
#include "Core/Common/Types.h"

#include <bvplatform/types.h>

#include <cstddef>
#include <cstdint>
#include <span>

namespace core::xml {

// The type names of the four element types, as run-time type information names them on the
// platform the store was made on; stored tags hold them, so they are fixed here.
inline constexpr const char16_t* kTypeNameBool = u"bool";
inline constexpr const char16_t* kTypeNameDouble = u"double";
inline constexpr const char16_t* kTypeNamePOINT = u"struct tagPOINT";
inline constexpr const char16_t* kTypeNameRECT = u"struct tagRECT";

/// The delimiters that split element text into tokens.
inline constexpr const char16_t* kElementDelimiters = u"<>";
/// The base64 line width of stored values: 18 groups of 4 characters.
inline constexpr std::uint32_t kui32Base64LineWidth = 72;

/// "<" + tag + ">" + content + "</" + tag + ">".
[[nodiscard]] BVCORE_API TStr MakeXMLElement(const TStr& tag, const TStr& content);
/// The type name with each blank replaced by a dot.
[[nodiscard]] BVCORE_API TStr TagFromTypeName(const TStr& typeName);
/// The tag with each dot replaced by a blank.
[[nodiscard]] BVCORE_API TStr TypeNameFromTag(const TStr& tag);

/// "<bool>true</bool>" or "<bool>false</bool>".
[[nodiscard]] BVCORE_API TStr ToXMLElementBOOL(const bool& value);
/// "<double>" + base64 of the value's 8 bytes, low byte first + "</double>"; exact to the bit.
[[nodiscard]] BVCORE_API TStr ToXMLElementDouble(const double& value);
/// "<struct.tagPOINT><x>" x "</x><y>" y "</y></struct.tagPOINT>", fields in plain decimal.
[[nodiscard]] BVCORE_API TStr ToXMLElementPOINT(const tagPOINT& value);
/// The same with "struct.tagRECT" and the fields left, top, right, bottom.
[[nodiscard]] BVCORE_API TStr ToXMLElementRECT(const tagRECT& value);

// The readers split the text on "<>"; the first token must be the tag, compared ignoring case.
// Each throws a plain mcExc:
//   fewer than 3 tokens, or a base64 token that does not decode to exactly the value's bytes:
//     "Invalid or corrupted setting value."
//   another tag: "Type mismatch for variant (encountered type )" + first token +
//     ", expected type " + tag + ")."

/// Token 2 "true" or "false" ignoring case, else base64 of one byte (non-zero is true).
[[nodiscard]] BVCORE_API bool FromXMLElementBOOL(const TStr& text);
/// Token 2 is base64 of the value's 8 bytes, low byte first.
[[nodiscard]] BVCORE_API double FromXMLElement(const TStr& text);
/// Exactly 3 tokens: token 2 is base64 of x, y (4 bytes each, low byte first). Otherwise fields:
/// tokens 2, 5, 8, ... name a field (case counts) and the token behind holds its number (_wtoi);
/// unknown names are skipped, missing fields are 0.
[[nodiscard]] BVCORE_API tagPOINT FromXMLElementPOINT(const TStr& text);
/// As FromXMLElementPOINT with left, top, right, bottom (16 bytes in the base64 form).
[[nodiscard]] BVCORE_API tagRECT FromXMLElementRECT(const TStr& text);

/// Replaces `tokens` by the non-empty runs of units between units of `delimiters` and returns
/// how many there are. An empty delimiter set makes a non-empty text one token.
BVCORE_API std::int32_t SplitElementText(const TStr& text, const TStr& delimiters, TStrVec& tokens);

/// The bytes in the published base64 alphabet with "=" padding; "\r\n" behind every
/// lineWidth / 4 groups (a width below 4 gives one line). No bytes give an empty text.
[[nodiscard]] BVCORE_API TStr Base64Encode(std::span<const BYTE> bytes, std::uint32_t lineWidth);
/// Decodes leniently: units outside the alphabet ("=", CR, LF, anything) are skipped, and each
/// group of n alphabet units (n up to 4) gives n - 1 bytes. Writes the bytes to `target` one
/// after the other, never beyond its end, and returns how many the text holds (which may be more
/// than were written). Bytes of `target` behind those written stay as they were.
BVCORE_API std::size_t Base64Decode(const TStr& text, std::span<BYTE> target);

} // namespace core::xml
