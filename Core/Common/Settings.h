// The settings store: a tree of typed settings addressed by backslash paths, kept in the
// registry. This header holds the store's exception classes and the Setting class that carries
// them.
#pragma once

#include "Core/Common/Exc.h"
#include "Core/Common/Export.h"

namespace core::settings {

/// Root of the settings store's failures.
BV_DECLARE_EXCEPTION(Exception, mcExc);

/// A handle on one node of the settings tree.
class BVCORE_API Setting {
public:
    BV_DECLARE_EXCEPTION(Exception, settings::Exception);
    BV_DECLARE_EXCEPTION(TypeException, Exception);
    BV_DECLARE_EXCEPTION(PathException, Exception);
};

} // namespace core::settings
