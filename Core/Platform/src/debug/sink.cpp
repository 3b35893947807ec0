// Text encoding and whole writes for debug output and message boxes.
#include "debug/sink.h"

#include <unicode/ustring.h>

#include <cerrno>
#include <unistd.h>

namespace bvplatform::detail {
namespace {

constexpr UChar32 kReplacement = 0xFFFD;

std::mutex& WriteLock() {
    static std::mutex& lock = *new std::mutex; // immortal: used by texts sent at exit
    return lock;
}

} // namespace

std::string ToUtf8(std::u16string_view text) {
    // A unit gives at most 3 bytes (a pair gives 4 for its 2 units), so one pass suffices.
    std::string out(text.size() * 3, '\0');
    int32_t length = 0;
    UErrorCode status = U_ZERO_ERROR;
    u_strToUTF8WithSub(out.data(), static_cast<int32_t>(out.size()), &length, text.data(),
                       static_cast<int32_t>(text.size()), kReplacement, nullptr, &status);
    out.resize(U_SUCCESS(status) ? static_cast<std::size_t>(length) : 0);
    return out;
}

std::u16string FromUtf8(std::string_view bytes) {
    // A byte gives at most one unit (four bytes give a pair).
    std::u16string out(bytes.size(), u'\0');
    int32_t length = 0;
    UErrorCode status = U_ZERO_ERROR;
    u_strFromUTF8WithSub(out.data(), static_cast<int32_t>(out.size()), &length, bytes.data(),
                         static_cast<int32_t>(bytes.size()), kReplacement, nullptr, &status);
    out.resize(U_SUCCESS(status) ? static_cast<std::size_t>(length) : 0);
    return out;
}

void WriteWhole(int fd, std::string_view bytes) {
    std::lock_guard lock(WriteLock());
    while (!bytes.empty()) {
        const ssize_t written = write(fd, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return;
        }
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
}

} // namespace bvplatform::detail
