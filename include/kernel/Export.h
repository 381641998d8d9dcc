#pragma once
// NK_API marks what the shared library exports. Everything else is hidden, so
// the library's binary interface is exactly what carries this mark.
#if defined(NK_BUILDING_LIBRARY)
#define NK_API __attribute__((visibility("default")))
#else
#define NK_API __attribute__((visibility("default")))
#endif
// Hidden helpers inside exported classes.
#define NK_LOCAL __attribute__((visibility("hidden")))
