#pragma once
// Helpers the gradient classes share for reading themselves back.
#include <cstdint>
#include <vector>

class CArchive;
class IClassProperty;

namespace Kernel {

// Bytes a loading archive can still deliver (its read-ahead included), so
// that a count read from the archive can be checked against the data that
// is really there before anything is sized by it. An archive whose file
// cannot tell its length or position answers UINT64_MAX: the check then
// passes and the reader meets the end of the data as it reads.
uint64_t ArchiveBytesLeft(CArchive& ar);

// The child bags named `name`, in the order they were written. The bag
// interface can only find the first child of a name; the library's own bags
// (and everything derived from them) list repeated children, any other bag
// gives its first child, or nothing.
std::vector<IClassProperty*> ChildrenNamed(IClassProperty* bag, const wchar_t* name);

}  // namespace Kernel
