// Export macro of libbvplatform. Default visibility on both sides, so that type information of
// exported classes is one across modules; everything not marked stays hidden.
#pragma once

#define BVPLATFORM_API __attribute__((visibility("default")))
