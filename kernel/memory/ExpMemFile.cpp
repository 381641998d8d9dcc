#include <kernel/ExpMemFile.h>

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace Kernel {
namespace {

// A memory file addresses at most a UINT of bytes.
UINT ViewLength(uint64_t size) { return static_cast<UINT>(std::min<uint64_t>(size, std::numeric_limits<UINT>::max())); }

}  // namespace

// --- CppExpMemFile ---------------------------------------------------------

CppExpMemFile::CppExpMemFile(const CPtr<Block>& block) : ExpMemFile(1024), m_block(block) { View(block.Get()); }

CppExpMemFile::CppExpMemFile(const Block* block) : ExpMemFile(1024), m_blockByAddress(const_cast<Block*>(block)) {
  View(m_blockByAddress.Get());
}

void CppExpMemFile::View(Block* block) {
  if (block == nullptr) return;
  block->PinContents();
  m_pinned = true;
  Attach(block->GetData(), ViewLength(block->GetSize()), 0);
}

void CppExpMemFile::ReleaseBlock() {
  Block* block = m_block ? m_block.Get() : m_blockByAddress.Get();
  if (m_pinned && block != nullptr) block->UnpinContents();
  m_pinned = false;
  m_block = nullptr;
  m_blockByAddress = nullptr;
}

CppExpMemFile::~CppExpMemFile() {
  // The view must not outlive the pin: forget the buffer (it is the block's)
  // before the block may be released or written out.
  if (m_pinned) CMemFile::Detach();
  ReleaseBlock();
}

CPtr<CppExpMemFile::Block> CppExpMemFile::DetachRawData() {
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

BYTE* CppExpMemFile::Alloc(SIZE_T bytes) {
  // C-heap storage, as every RefRawData<Allocator> buffer is.
  return static_cast<BYTE*>(std::malloc(bytes == 0 ? 1 : bytes));
}

void CppExpMemFile::Free(BYTE* block) { std::free(block); }

BYTE* CppExpMemFile::Realloc(BYTE* block, SIZE_T bytes) {
  if (bytes == m_nBufferSize) return m_lpBuffer;
  BYTE* fresh = Alloc(bytes);
  if (fresh == nullptr || block == nullptr) return fresh;
  Memcpy(fresh, block, std::min<SIZE_T>(bytes, m_nBufferSize));
  Free(block);
  return fresh;
}

// --- CrtExpMemFile ---------------------------------------------------------

CrtExpMemFile::CrtExpMemFile(const CPtr<Block>& block) : ExpMemFile(1024), m_block(block) { View(block.Get()); }

CrtExpMemFile::CrtExpMemFile(const Block* block) : ExpMemFile(1024), m_blockByAddress(const_cast<Block*>(block)) {
  View(m_blockByAddress.Get());
}

void CrtExpMemFile::View(Block* block) {
  if (block == nullptr) return;
  block->PinContents();
  m_pinned = true;
  Attach(block->GetData(), ViewLength(block->GetSize()), 0);
}

void CrtExpMemFile::ReleaseBlock() {
  Block* block = m_block ? m_block.Get() : m_blockByAddress.Get();
  if (m_pinned && block != nullptr) block->UnpinContents();
  m_pinned = false;
  m_block = nullptr;
  m_blockByAddress = nullptr;
}

CrtExpMemFile::~CrtExpMemFile() {
  if (m_pinned) CMemFile::Detach();
  ReleaseBlock();
}

CPtr<CrtExpMemFile::Block> CrtExpMemFile::DetachRawData() {
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

BYTE* CrtExpMemFile::Alloc(SIZE_T bytes) { return static_cast<BYTE*>(std::malloc(bytes == 0 ? 1 : bytes)); }

void CrtExpMemFile::Free(BYTE* block) { std::free(block); }

BYTE* CrtExpMemFile::Realloc(BYTE* block, SIZE_T bytes) {
  if (bytes == m_nBufferSize) return m_lpBuffer;
  // The C heap can resize in place, which the array-new twin cannot.
  return static_cast<BYTE*>(std::realloc(block, bytes == 0 ? 1 : bytes));
}

}  // namespace Kernel
