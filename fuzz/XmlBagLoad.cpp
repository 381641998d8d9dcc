// The XML bag loader on hostile documents: it either loads or throws
// CArchiveException, and whatever loads saves to a document that loads to an
// equal tree.
#include <kernel/Exceptions.h>
#include <kernel/MemoryPropertyBag.h>

#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Kernel::CXmlPropertyBag bag;
  try {
    bag.LoadFromString(reinterpret_cast<const char*>(data), size);
  } catch (const CArchiveException&) {
    return 0;
  }
  const CStringA saved = bag.SaveToString();
  Kernel::CXmlPropertyBag back;
  back.LoadFromString(saved.GetString(), static_cast<size_t>(saved.GetLength()));
  if (!back.IsEqual(bag)) {
    std::fprintf(stderr, "reloaded bag differs:\n%s\n", saved.GetString());
    std::abort();
  }
  return 0;
}
