#include <kernel/CFile.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

IMPLEMENT_DYNAMIC(CMemFile, CFile)

CMemFile::CMemFile(UINT growBytes)
    : m_nGrowBytes(growBytes),
      m_nPosition(0),
      m_nBufferSize(0),
      m_nFileSize(0),
      m_lpBuffer(nullptr),
      m_bAutoDelete(TRUE) {}

CMemFile::CMemFile(BYTE* buffer, UINT size, UINT growBytes) : CMemFile(growBytes) { Attach(buffer, size, growBytes); }

CMemFile::~CMemFile() {
  // Close() is virtual, but here only our own part is left to release.
  if (m_lpBuffer && m_bAutoDelete) CMemFile::Free(m_lpBuffer);
  m_lpBuffer = nullptr;
}

void CMemFile::Attach(BYTE* buffer, UINT size, UINT growBytes) {
  if (m_lpBuffer) throw CNotSupportedException();  // close or detach first
  if (!buffer && size != 0) throw CInvalidArgException();
  m_nGrowBytes = growBytes;
  m_nPosition = 0;
  m_nBufferSize = size;
  // A fixed buffer is the file; a growable one is only room to grow into.
  m_nFileSize = growBytes == 0 ? size : 0;
  m_lpBuffer = buffer;
  m_bAutoDelete = FALSE;
}

BYTE* CMemFile::Detach() {
  BYTE* buffer = m_lpBuffer;
  m_lpBuffer = nullptr;
  m_nFileSize = 0;
  m_nBufferSize = 0;
  m_nPosition = 0;
  return buffer;
}

BOOL CMemFile::Open(const wchar_t*, UINT, CFileException* error) {
  if (error) *error = CFileException(CFileException::genericException, EINVAL);
  throw CNotSupportedException();
}

BYTE* CMemFile::Alloc(SIZE_T bytes) { return static_cast<BYTE*>(std::malloc(bytes)); }

BYTE* CMemFile::Realloc(BYTE* block, SIZE_T bytes) {
  if (bytes == 0) {
    Free(block);
    return nullptr;
  }
  return static_cast<BYTE*>(std::realloc(block, bytes));
}

BYTE* CMemFile::Memcpy(BYTE* target, const BYTE* source, SIZE_T count) {
  return static_cast<BYTE*>(std::memcpy(target, source, count));
}

void CMemFile::Free(BYTE* block) { std::free(block); }

void CMemFile::GrowFile(SIZE_T newLength) {
  if (newLength <= m_nBufferSize) return;
  if (m_nGrowBytes == 0) throw CMemoryException();
  // Whole steps of the grow size, counted from the current buffer size.
  SIZE_T steps = (newLength - m_nBufferSize + m_nGrowBytes - 1) / m_nGrowBytes;
  if (steps > (SIZE_MAX - m_nBufferSize) / m_nGrowBytes) throw CMemoryException();
  SIZE_T newSize = m_nBufferSize + steps * m_nGrowBytes;
  BYTE* p = m_lpBuffer ? Realloc(m_lpBuffer, newSize) : Alloc(newSize);
  if (!p) throw CMemoryException();
  m_lpBuffer = p;
  m_nBufferSize = newSize;
}

UINT CMemFile::Read(void* buffer, UINT count) {
  if (count == 0 || m_nPosition >= m_nFileSize) return 0;
  if (!buffer) throw CInvalidArgException();
  SIZE_T n = m_nFileSize - m_nPosition;
  if (n > count) n = count;
  Memcpy(static_cast<BYTE*>(buffer), m_lpBuffer + m_nPosition, n);
  m_nPosition += n;
  return static_cast<UINT>(n);
}

void CMemFile::Write(const void* buffer, UINT count) {
  if (count == 0) return;
  if (!buffer) throw CInvalidArgException();
  if (m_nPosition > SIZE_MAX - count) throw CMemoryException();
  SIZE_T end = m_nPosition + count;
  if (end > m_nBufferSize) GrowFile(end);
  // A write after a seek past the end leaves no stale bytes in the gap.
  if (m_nPosition > m_nFileSize) std::memset(m_lpBuffer + m_nFileSize, 0, m_nPosition - m_nFileSize);
  Memcpy(m_lpBuffer + m_nPosition, static_cast<const BYTE*>(buffer), count);
  m_nPosition = end;
  if (m_nPosition > m_nFileSize) m_nFileSize = m_nPosition;
}

ULONGLONG CMemFile::Seek(LONGLONG offset, UINT from) {
  LONGLONG base;
  switch (from) {
    case begin:
      base = 0;
      break;
    case current:
      base = static_cast<LONGLONG>(m_nPosition);
      break;
    case end:
      base = static_cast<LONGLONG>(m_nFileSize);
      break;
    default:
      throw CInvalidArgException();
  }
  LONGLONG pos;
  if (__builtin_add_overflow(base, offset, &pos) || pos < 0) {
    throw CFileException(CFileException::badSeek, EINVAL, m_strFileName);
  }
  m_nPosition = static_cast<SIZE_T>(pos);
  return static_cast<ULONGLONG>(pos);
}

ULONGLONG CMemFile::GetPosition() const { return m_nPosition; }

ULONGLONG CMemFile::GetLength() const { return m_nFileSize; }

void CMemFile::SetLength(ULONGLONG newLength) {
  if (newLength > SIZE_MAX) throw CMemoryException();
  SIZE_T n = static_cast<SIZE_T>(newLength);
  if (n > m_nBufferSize) GrowFile(n);
  if (n > m_nFileSize) std::memset(m_lpBuffer + m_nFileSize, 0, n - m_nFileSize);
  if (n < m_nPosition) m_nPosition = n;
  m_nFileSize = n;
}

void CMemFile::Flush() {}

void CMemFile::Close() {
  if (m_lpBuffer && m_bAutoDelete) Free(m_lpBuffer);
  m_lpBuffer = nullptr;
  m_nBufferSize = 0;
  m_nFileSize = 0;
  m_nPosition = 0;
}

void CMemFile::Abort() { Close(); }

CString CMemFile::GetFilePath() const { return m_strFileName; }
