#include "Core/Common/Settings.h"

namespace core::settings {

BV_DEFINE_EXCEPTION(Exception, Exception, mcExc);
BV_DEFINE_EXCEPTION(Setting::Exception, Exception, settings::Exception);
BV_DEFINE_EXCEPTION(Setting::TypeException, TypeException, Setting::Exception);
BV_DEFINE_EXCEPTION(Setting::PathException, PathException, Setting::Exception);

} // namespace core::settings
