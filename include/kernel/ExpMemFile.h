#pragma once
// Memory files over raw data blocks, so that archive code can read a block in
// place and write into a buffer that becomes a block without a copy.
//
// ExpMemFile is the common base; CppExpMemFile pairs with
// RefRawData<Allocator> and CrtExpMemFile with RefRawData<Mallocator>.
// A file opened on a block views the block's bytes: it reads them in place,
// may overwrite them, and cannot grow (a write past the end throws
// CMemoryException). The block is kept alive and held in memory (pinned, so
// the memory manager does not write it out under the file) until the file is
// destroyed or its bytes are handed over with DetachRawData.
#include <kernel/CFile.h>
#include <kernel/Export.h>
#include <kernel/RawData.h>
#include <kernel/RefCount.h>

namespace Kernel {

class NK_API ExpMemFile : public CMemFile {
 public:
  explicit ExpMemFile(UINT growBytes = 1024) : CMemFile(growBytes) {}
  ExpMemFile(BYTE* buffer, UINT size, UINT growBytes = 0) : CMemFile(buffer, size, growBytes) {}
};

// The body both allocation families share: views a block of family A in
// place, grows a buffer of its own otherwise, and hands either over as a
// block of that family.
template <class A>
class NK_API RawDataMemFile : public ExpMemFile {
 public:
  using Block = RefRawData<A>;

  explicit RawDataMemFile(UINT growBytes = 1024) : ExpMemFile(growBytes) {}
  RawDataMemFile(BYTE* buffer, UINT size, UINT growBytes) : ExpMemFile(buffer, size, growBytes) {}
  // Views the block's bytes (grow step 0); a null block gives an empty file
  // with grow step 1024.
  explicit RawDataMemFile(const CPtr<Block>& block);
  explicit RawDataMemFile(const Block* block);
  ~RawDataMemFile() override;

  // The file's bytes as a block of the file's length. A file that grew its
  // own buffer hands that buffer over without a copy; a file opened on a
  // block hands back that block. The file is left empty.
  CPtr<Block> DetachRawData();
  const unsigned char* GetBuffer() const { return m_lpBuffer; }

 protected:
  // C-heap storage, as every raw-data buffer of either family is.
  BYTE* Alloc(SIZE_T bytes) override;
  void Free(BYTE* block) override;

 private:
  void View(Block* block);
  void ReleaseBlock();

  CPtr<Block> m_block;           // the block the file was opened on
  CPtr<Block> m_blockByAddress;  // the same for a block passed by address
  bool m_pinned = false;
};

extern template class RawDataMemFile<Allocator>;
extern template class RawDataMemFile<Mallocator>;

// Pairs with RefRawData<Allocator>. Grows as array new would: allocate,
// copy, free.
class NK_API CppExpMemFile : public RawDataMemFile<Allocator> {
 public:
  using RawDataMemFile::RawDataMemFile;

 protected:
  BYTE* Realloc(BYTE* block, SIZE_T bytes) override;
};

// Pairs with RefRawData<Mallocator>. Grows with realloc, which can resize in
// place where the array-new twin cannot.
class NK_API CrtExpMemFile : public RawDataMemFile<Mallocator> {
 public:
  using RawDataMemFile::RawDataMemFile;

 protected:
  BYTE* Realloc(BYTE* block, SIZE_T bytes) override;
};

}  // namespace Kernel
