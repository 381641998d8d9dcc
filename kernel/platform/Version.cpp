#include <kernel/Version.h>

namespace Kernel {
const char* GetLibraryVersion() { return "0.1.0"; }
}  // namespace Kernel
