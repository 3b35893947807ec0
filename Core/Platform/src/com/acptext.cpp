// Narrow text of the active code page widened to UTF-16.
#include "com/acptext.h"

#include <bvplatform/text.h>

#include <climits>

namespace bvplatform::detail {

std::optional<std::u16string> WidenActiveCodePage(std::string_view text) {
    if (text.empty()) {
        return std::u16string();
    }
    if (text.size() > static_cast<std::size_t>(INT_MAX)) {
        return std::nullopt;
    }
    const int bytes = static_cast<int>(text.size());
    const int units = MultiByteToWideChar(CP_ACP, 0, text.data(), bytes, nullptr, 0);
    if (units <= 0) {
        return std::nullopt;
    }
    std::u16string wide(static_cast<std::size_t>(units), u'\0');
    if (MultiByteToWideChar(CP_ACP, 0, text.data(), bytes, wide.data(), units) != units) {
        return std::nullopt;
    }
    return wide;
}

} // namespace bvplatform::detail
