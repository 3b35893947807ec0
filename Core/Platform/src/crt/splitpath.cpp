// _wsplitpath: the runtime's split of a path into drive, directory, file name and extension.
#include <bvplatform/crt.h>

#include <algorithm>
#include <cerrno>
#include <string_view>

namespace {

// Copies a part into an out-pointer of the runtime's _MAX_* size. The runtime documents longer
// parts as overrunning the caller's buffer; the stand-in cuts them to room - 1 units instead, as
// the classic msvcrt did, so a buffer of the documented size is always enough.
void PutPart(WCHAR* out, std::u16string_view part, int room) {
    if (out == nullptr) {
        return;
    }
    const std::size_t units = std::min(part.size(), static_cast<std::size_t>(room - 1));
    std::copy_n(part.data(), units, out);
    out[units] = u'\0';
}

} // namespace

void _wsplitpath(const WCHAR* path, WCHAR* drive, WCHAR* dir, WCHAR* fname, WCHAR* ext) {
    if (path == nullptr) {
        // The runtime calls its invalid-parameter handler; the stand-in reports EINVAL and
        // gives empty parts.
        errno = EINVAL;
        for (WCHAR* out : {drive, dir, fname, ext}) {
            PutPart(out, {}, 1);
        }
        return;
    }
    std::u16string_view rest(path);
    std::u16string_view drivePart;
    // Only "X:" at the very start is a drive; "\\server\share" and "\\?\C:\" have none.
    if (rest.size() >= 2 && rest[1] == u':') {
        drivePart = rest.substr(0, 2);
        rest.remove_prefix(2);
    }
    const std::size_t slash = rest.find_last_of(u"\\/");
    const std::size_t nameStart = slash == std::u16string_view::npos ? 0 : slash + 1;
    const std::u16string_view name = rest.substr(nameStart);
    const std::size_t dot = name.rfind(u'.');
    const std::size_t extStart = dot == std::u16string_view::npos ? name.size() : dot;

    PutPart(drive, drivePart, _MAX_DRIVE);
    PutPart(dir, rest.substr(0, nameStart), _MAX_DIR);
    PutPart(fname, name.substr(0, extStart), _MAX_FNAME);
    PutPart(ext, name.substr(extStart), _MAX_EXT);
}
