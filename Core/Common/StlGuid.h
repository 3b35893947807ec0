// GUIDs as ordinary values: mcStlGuid compares and orders by the numeric value of its parts (so
// it can key standard containers), and three free functions turn GUIDs into text and back and
// make new ones.
#pragma once

#include "Core/Common/Export.h"
#include "Core/Common/Types.h"

#include <bvplatform/guid.h>

#include <cstdint>

/// The library's own plain form of the sixteen bytes of a GUID, laid out as the platform's _GUID.
struct tag_BV_GUID {
    std::uint32_t Data1;   // first part
    std::uint16_t Data2;   // second part
    std::uint16_t Data3;   // third part
    std::uint8_t Data4[8]; // fourth part, in order
};

/// A _GUID with value semantics and an order. Adds no field: only the _GUID part is ever copied
/// or cleared.
class BVCORE_API mcStlGuid : public _GUID {
public:
    /// All sixteen bytes 0.
    mcStlGuid();
    mcStlGuid(const mcStlGuid& other);
    mcStlGuid(const tag_BV_GUID& other);
    mcStlGuid(const _GUID& other);
    virtual ~mcStlGuid();

    mcStlGuid& operator=(const mcStlGuid& other);
    mcStlGuid& operator=(const tag_BV_GUID& other);
    mcStlGuid& operator=(const _GUID& other);

    /// Sets all sixteen bytes to 0.
    void Clear();
    /// True if all sixteen bytes are 0.
    [[nodiscard]] bool IsEmpty() const;

    bool operator==(const mcStlGuid& other) const;
    bool operator!=(const mcStlGuid& other) const;
    bool operator<(const mcStlGuid& other) const;
    bool operator>(const mcStlGuid& other) const;
    bool operator==(const _GUID& other) const;
    bool operator!=(const _GUID& other) const;
    bool operator<(const _GUID& other) const;
    bool operator>(const _GUID& other) const;
    bool operator==(const tag_BV_GUID& other) const;
    bool operator!=(const tag_BV_GUID& other) const;
    bool operator<(const tag_BV_GUID& other) const;
    bool operator>(const tag_BV_GUID& other) const;

protected:
    /// -1, 0 or 1: the first part, the second, the third, then the eight bytes, each compared as
    /// an unsigned number; the first difference decides.
    [[nodiscard]] int PrvInternalCompare(const mcStlGuid& other) const;
};

/// "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx" in lower-case digits, no braces; with `dashEveryByte`
/// a dash follows each byte of the fourth part but the last.
[[nodiscard]] BVCORE_API TStr mfStrConvertGuidToStr(const _GUID& guid, bool dashEveryByte);
/// Reads the hexadecimal digits of the text, ignoring every other unit; false (and `out`
/// untouched) unless exactly 32 remain.
[[nodiscard]] BVCORE_API bool mfStrConvertStrToGuid(const TStr& text, _GUID& out);
/// The text of a new GUID, "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}". Throws mcExc if the
/// platform cannot make one.
[[nodiscard]] BVCORE_API TStr mfStrMakeGuidStr();
