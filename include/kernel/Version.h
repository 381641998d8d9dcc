#pragma once
#include <kernel/Export.h>

namespace Kernel {
// The library's version as "major.minor.patch", for reports and diagnostics.
NK_API const char* GetLibraryVersion();
}  // namespace Kernel
