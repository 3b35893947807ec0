// Key and value names.
#include "registry/names.h"

#include <bvplatform/winerror.h>

#include <unicode/uchar.h>

namespace bvplatform::detail {

std::u16string FoldName(std::u16string_view name) {
    std::u16string folded(name);
    for (char16_t& unit : folded) {
        unit = static_cast<char16_t>(u_toupper(unit));
    }
    return folded;
}

LONG SplitKeyPath(LPCWSTR text, std::vector<std::u16string>& levels) {
    levels.clear();
    if (text == nullptr || *text == u'\0') {
        return ERROR_SUCCESS;
    }
    if (*text == u'\\') {
        return ERROR_BAD_PATHNAME;
    }
    const std::u16string_view path(text);
    std::size_t start = 0;
    while (start <= path.size()) {
        std::size_t end = path.find(u'\\', start);
        if (end == std::u16string_view::npos) {
            end = path.size();
        }
        if (end - start > kMaxKeyNameUnits) {
            return ERROR_INVALID_PARAMETER;
        }
        if (end > start) {
            levels.emplace_back(path.substr(start, end - start));
        }
        start = end + 1;
    }
    return ERROR_SUCCESS;
}

} // namespace bvplatform::detail
