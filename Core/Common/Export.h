// Export macro of libbvcore. Exported classes keep default visibility on both sides, so that
// their vtables and type information are one across modules and other modules can catch them.
#pragma once

#if defined(_MSC_VER)
#if defined(BVCORE_BUILDING)
#define BVCORE_API __declspec(dllexport)
#else
#define BVCORE_API __declspec(dllimport)
#endif
#else
#define BVCORE_API __attribute__((visibility("default")))
#endif
