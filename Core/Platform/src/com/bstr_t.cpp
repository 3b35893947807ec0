// _bstr_t: one BSTR shared by copies through a reference count, as the platform's comutil class.
// Memory shortage throws std::bad_alloc where comutil raises E_OUTOFMEMORY.
#include "com/acptext.h"

#include <bvplatform/oleauto.h>

#include <atomic>
#include <cstring>
#include <new>

// The shared state. `bstr` is null only between GetAddress() and the call that fills the slot.
struct _bstr_t::Data {
    std::atomic<unsigned long> refs{1}; // _bstr_t objects sharing this Data
    BSTR bstr = nullptr;                // the owned text
};

namespace {

// A new BSTR of the same units (embedded zeros included), or null for null.
BSTR Duplicate(BSTR text) {
    if (text == nullptr) {
        return nullptr;
    }
    BSTR copy = SysAllocStringLen(text, SysStringLen(text));
    if (copy == nullptr) {
        throw std::bad_alloc();
    }
    return copy;
}

// A new BSTR of a terminated text, or null for null.
BSTR FromText(LPCOLESTR text) {
    if (text == nullptr) {
        return nullptr;
    }
    BSTR copy = SysAllocString(text);
    if (copy == nullptr) {
        throw std::bad_alloc();
    }
    return copy;
}

// A new BSTR of narrow text in the active code page, or null for null.
BSTR FromNarrow(const char* text) {
    if (text == nullptr) {
        return nullptr;
    }
    const auto wide = bvplatform::detail::WidenActiveCodePage(text);
    if (!wide) {
        throw std::bad_alloc();
    }
    BSTR bstr = SysAllocStringLen(wide->data(), static_cast<UINT>(wide->size()));
    if (bstr == nullptr) {
        throw std::bad_alloc();
    }
    return bstr;
}

} // namespace

_bstr_t::_bstr_t(const _bstr_t& other) noexcept : m_data(other.m_data) {
    if (m_data != nullptr) {
        m_data->refs.fetch_add(1, std::memory_order_relaxed);
    }
}

_bstr_t::_bstr_t(_bstr_t&& other) noexcept : m_data(other.m_data) {
    other.m_data = nullptr;
}

_bstr_t::_bstr_t(LPCOLESTR text) {
    Attach(FromText(text));
}

_bstr_t::_bstr_t(const char* text) {
    Attach(FromNarrow(text));
}

_bstr_t::_bstr_t(BSTR bstr, bool copy) {
    Attach(copy ? Duplicate(bstr) : bstr);
}

_bstr_t::~_bstr_t() {
    Release();
}

_bstr_t& _bstr_t::operator=(const _bstr_t& other) noexcept {
    if (m_data == other.m_data) {
        return *this;
    }
    if (other.m_data != nullptr) {
        other.m_data->refs.fetch_add(1, std::memory_order_relaxed);
    }
    Release();
    m_data = other.m_data;
    return *this;
}

_bstr_t& _bstr_t::operator=(_bstr_t&& other) noexcept {
    if (this != &other) {
        Release();
        m_data = other.m_data;
        other.m_data = nullptr;
    }
    return *this;
}

_bstr_t& _bstr_t::operator=(LPCOLESTR text) {
    Attach(FromText(text)); // copied before the old text goes, so `text` may point into it
    return *this;
}

BSTR _bstr_t::GetBSTR() const noexcept {
    return m_data == nullptr ? nullptr : m_data->bstr;
}

BSTR* _bstr_t::GetAddress() {
    Release();
    m_data = new Data;
    return &m_data->bstr;
}

BSTR _bstr_t::copy(bool copy) const {
    return copy ? Duplicate(GetBSTR()) : GetBSTR();
}

void _bstr_t::Attach(BSTR bstr) {
    Release();
    if (bstr == nullptr) {
        return;
    }
    try {
        m_data = new Data;
    } catch (...) {
        SysFreeString(bstr);
        throw;
    }
    m_data->bstr = bstr;
}

BSTR _bstr_t::Detach() noexcept {
    if (m_data == nullptr) {
        return nullptr;
    }
    BSTR out = nullptr;
    if (m_data->refs.load(std::memory_order_acquire) == 1) {
        out = m_data->bstr;
        m_data->bstr = nullptr;
    } else {
        // Shared (comutil refuses with E_POINTER): the caller gets a copy of its own.
        BSTR shared = m_data->bstr;
        out = shared == nullptr ? nullptr : SysAllocStringLen(shared, SysStringLen(shared));
    }
    Release();
    return out;
}

unsigned int _bstr_t::length() const noexcept {
    return SysStringLen(GetBSTR());
}

_bstr_t::operator const OLECHAR*() const noexcept {
    return GetBSTR();
}

bool _bstr_t::operator==(const _bstr_t& other) const noexcept {
    const unsigned int units = length();
    if (units != other.length()) {
        return false;
    }
    return units == 0 || std::memcmp(GetBSTR(), other.GetBSTR(), units * sizeof(OLECHAR)) == 0;
}

void _bstr_t::Release() noexcept {
    if (m_data == nullptr) {
        return;
    }
    if (m_data->refs.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        SysFreeString(m_data->bstr);
        delete m_data;
    }
    m_data = nullptr;
}
