#include <kernel/ExpMemFile.h>

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace Kernel {
namespace {

// A memory file addresses at most a UINT of bytes.
UINT ViewLength(uint64_t size) { return static_cast<UINT>(std::min<uint64_t>(size, std::numeric_limits<UINT>::max())); }

}  // namespace

template <class A>
RawDataMemFile<A>::RawDataMemFile(const CPtr<Block>& block) : ExpMemFile(1024), m_block(block) {
  View(block.Get());
}

template <class A>
RawDataMemFile<A>::RawDataMemFile(const Block* block)
    : ExpMemFile(1024), m_blockByAddress(const_cast<Block*>(block)) {
  View(m_blockByAddress.Get());
}

template <class A>
void RawDataMemFile<A>::View(Block* block) {
  if (block == nullptr) return;
  block->PinContents();
  m_pinned = true;
  Attach(block->GetData(), ViewLength(block->GetSize()), 0);
}

template <class A>
void RawDataMemFile<A>::ReleaseBlock() {
  Block* block = m_block ? m_block.Get() : m_blockByAddress.Get();
  if (m_pinned && block != nullptr) block->UnpinContents();
  m_pinned = false;
  m_block = nullptr;
  m_blockByAddress = nullptr;
}

template <class A>
RawDataMemFile<A>::~RawDataMemFile() {
  // The view must not outlive the pin: forget the buffer (it is the block's)
  // before the block may be released or written out.
  if (m_pinned) CMemFile::Detach();
  ReleaseBlock();
}

template <class A>
CPtr<RefRawData<A>> RawDataMemFile<A>::DetachRawData() {
  const ULONGLONG length = GetLength();
  if (m_pinned) {
    CPtr<Block> block = m_block ? m_block : m_blockByAddress;
    CMemFile::Detach();
    ReleaseBlock();
    return block;
  }
  BYTE* buffer = CMemFile::Detach();
  return CPtr<Block>(new Block(buffer, buffer != nullptr ? length : 0, false));
}

template <class A>
BYTE* RawDataMemFile<A>::Alloc(SIZE_T bytes) {
  return static_cast<BYTE*>(std::malloc(bytes == 0 ? 1 : bytes));
}

template <class A>
void RawDataMemFile<A>::Free(BYTE* block) {
  std::free(block);
}

template class RawDataMemFile<Allocator>;
template class RawDataMemFile<Mallocator>;

BYTE* CppExpMemFile::Realloc(BYTE* block, SIZE_T bytes) {
  if (bytes == m_nBufferSize) return m_lpBuffer;
  BYTE* fresh = Alloc(bytes);
  if (fresh == nullptr || block == nullptr) return fresh;
  Memcpy(fresh, block, std::min<SIZE_T>(bytes, m_nBufferSize));
  Free(block);
  return fresh;
}

BYTE* CrtExpMemFile::Realloc(BYTE* block, SIZE_T bytes) {
  if (bytes == m_nBufferSize) return m_lpBuffer;
  return static_cast<BYTE*>(std::realloc(block, bytes == 0 ? 1 : bytes));
}

}  // namespace Kernel
