#include "GradientPersist.h"

#include <kernel/CArchive.h>
#include <kernel/CFile.h>
#include <kernel/ClassProperty.h>
#include <kernel/Exceptions.h>
#include <kernel/MemoryPropertyBag.h>

#include <limits>

namespace Kernel {

uint64_t ArchiveBytesLeft(CArchive& ar) {
  CFile* file = ar.GetFile();
  if (!file) return 0;
  try {
    // Giving back the read-ahead puts the file where the archive stands, so
    // the file alone tells what is left.
    ar.Flush();
    const ULONGLONG length = file->GetLength();
    const ULONGLONG position = file->GetPosition();
    return length > position ? length - position : 0;
  } catch (const CFileException&) {
    return std::numeric_limits<uint64_t>::max();
  }
}

std::vector<IClassProperty*> ChildrenNamed(IClassProperty* bag, const wchar_t* name) {
  std::vector<IClassProperty*> children;
  if (!bag) return children;
  if (auto* tree = dynamic_cast<CMemoryPropertyBag*>(bag)) {
    for (int i = 0; i < tree->GetChildCount(); ++i)
      if (tree->GetChildName(i) == name) children.push_back(tree->GetChild(i));
    return children;
  }
  if (IClassProperty* first = bag->FindChild(name)) children.push_back(first);
  return children;
}

}  // namespace Kernel
