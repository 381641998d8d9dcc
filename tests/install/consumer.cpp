// A program outside the repository: it sees only the installed headers and
// library, exactly as a user's module would.
#include <kernel/NorvikKernel.h>

#include <cstdio>
#include <cstring>

int main() {
  const char* v = Kernel::GetLibraryVersion();
  if (!v || !std::strlen(v)) return 1;
  std::printf("consumer linked NorvikKernel %s\n", v);
  return 0;
}
