// Automation strings: BSTR (length-prefixed, terminated UTF-16) and its counted owner _bstr_t.
#pragma once

#include <bvplatform/export.h>
#include <bvplatform/types.h>

using OLECHAR = WCHAR;
using BSTR = OLECHAR*;
using LPOLESTR = OLECHAR*;
using LPCOLESTR = const OLECHAR*;

/// A new BSTR holding a copy of a terminated text. Returns null for a null text or when memory
/// runs out.
BVPLATFORM_API BSTR SysAllocString(LPCOLESTR psz);

/// A new BSTR of ui units copied from strIn (zero units included), or of ui zero units when strIn
/// is null (the platform leaves them unset). Returns null when memory runs out or the byte count
/// would not fit 32 bits.
BVPLATFORM_API BSTR SysAllocStringLen(const OLECHAR* strIn, UINT ui);

/// Frees a BSTR; null is accepted.
BVPLATFORM_API void SysFreeString(BSTR bstrString);

/// Units of a BSTR, without the terminator; 0 for null.
BVPLATFORM_API UINT SysStringLen(BSTR pbstr);

/// Bytes of a BSTR, without the terminator; 0 for null.
BVPLATFORM_API UINT SysStringByteLen(BSTR bstr);

/// Owner of one BSTR, shared by copies through a reference count (as the platform's comutil
/// class; the count is thread-safe, an object is not). A null BSTR is the empty text. Where comutil
/// raises an error (memory runs out, narrow text fails to convert), these throw std::bad_alloc.
class BVPLATFORM_API _bstr_t {
public:
    _bstr_t() noexcept = default;
    _bstr_t(const _bstr_t& other) noexcept;
    _bstr_t(_bstr_t&& other) noexcept;
    _bstr_t(LPCOLESTR text);
    _bstr_t(const char* text); // active code page
    _bstr_t(BSTR bstr, bool copy);
    ~_bstr_t();

    _bstr_t& operator=(const _bstr_t& other) noexcept;
    _bstr_t& operator=(_bstr_t&& other) noexcept;
    _bstr_t& operator=(LPCOLESTR text);

    /// The owned BSTR (null when none is held: default, null text); stays owned.
    BSTR GetBSTR() const noexcept;
    /// Frees the owned text and returns the slot for an out-parameter call.
    BSTR* GetAddress();
    /// A new BSTR copy for the caller to free.
    BSTR copy(bool copy = true) const;
    /// Takes ownership of a BSTR without copying.
    void Attach(BSTR bstr);
    /// Gives up ownership of the BSTR. When copies share it (comutil refuses with E_POINTER),
    /// the caller gets a new copy instead (null if memory runs out); either way this is empty.
    BSTR Detach() noexcept;
    /// Units, without the terminator.
    unsigned int length() const noexcept;

    operator const OLECHAR*() const noexcept;
    explicit operator bool() const noexcept { return length() != 0; }
    bool operator==(const _bstr_t& other) const noexcept;

private:
    struct Data;
    void Release() noexcept;
    Data* m_data = nullptr; // shared by copies; null when no BSTR is held
};
