#include "Core/Common/StrUtils.h"

#include <bvplatform/crt.h>

TStr mfStrGetFilenameAndExtFromPath(const TStr& path) {
    if (path.empty()) {
        return {};
    }
    // The runtime cuts each piece to its _MAX_* size; the buffers hold that and a terminator.
    WCHAR fname[_MAX_FNAME] = {};
    WCHAR ext[_MAX_EXT] = {};
    _wsplitpath(path.c_str(), nullptr, nullptr, fname, ext);
    return TStr(fname) + ext;
}
