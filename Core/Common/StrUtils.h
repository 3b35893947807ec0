// Free functions on TStr: string and path-string utilities.
#pragma once

#include "Core/Common/Export.h"
#include "Core/Common/Types.h"

/// The file name and extension of a path, as the runtime's _wsplitpath cuts them: what stands
/// behind the last "\" or "/", or behind a drive's ":". Records no assertion: the assertion
/// path itself uses it.
[[nodiscard]] BVCORE_API TStr mfStrGetFilenameAndExtFromPath(const TStr& path);
