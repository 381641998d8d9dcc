#include <kernel/CArchive.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "platform/Utf.h"

namespace {

template <typename U>
void PutLE(BYTE* p, U v) {
  for (size_t i = 0; i < sizeof(U); ++i) p[i] = static_cast<BYTE>(v >> (8 * i));
}

template <typename U>
U GetLE(const BYTE* p) {
  U v = 0;
  for (size_t i = 0; i < sizeof(U); ++i) v |= static_cast<U>(static_cast<U>(p[i]) << (8 * i));
  return v;
}

// Strings are read in pieces of this many bytes, so that a corrupt length
// costs no more memory than the data actually present.
constexpr UINT kStringChunk = 64 * 1024;

}  // namespace

CArchive::CArchive(CFile* file, UINT mode, int bufSize, void* buffer)
    : m_pLoadArray(nullptr),
      m_nMapCount(0),
      m_nMode(mode),
      m_bUserBuf(buffer != nullptr),
      m_nBufSize(bufSize),
      m_pFile(file),
      m_lpBufCur(nullptr),
      m_lpBufMax(nullptr),
      m_lpBufStart(nullptr) {
  if (!file) throw CInvalidArgException();
  // A buffer needs room for the widest value read in one piece.
  if (m_nBufSize < 128) m_nBufSize = 128;
  if (buffer && bufSize < 128) throw CInvalidArgException();
  m_lpBufStart = buffer ? static_cast<BYTE*>(buffer) : new (std::nothrow) BYTE[static_cast<size_t>(m_nBufSize)];
  if (!m_lpBufStart) throw CMemoryException();
  m_pLoadArray = new (std::nothrow) CPtrArray;
  if (!m_pLoadArray) {
    if (!m_bUserBuf) delete[] m_lpBufStart;
    throw CMemoryException();
  }
  try {
    m_strFileName = file->GetFilePath();
  } catch (...) {
    // A file that cannot tell its path still archives.
  }
  if (IsLoading()) {
    m_lpBufCur = m_lpBufMax = m_lpBufStart;
  } else {
    m_lpBufCur = m_lpBufStart;
    m_lpBufMax = m_lpBufStart + m_nBufSize;
  }
}

CArchive::~CArchive() {
  if (m_pFile && !(m_nMode & bNoFlushOnDelete)) {
    try {
      Close();
    } catch (...) {
      // Nothing sensible to do with a failure while unwinding.
    }
  }
  Abort();
  delete m_pLoadArray;
  if (!m_bUserBuf) delete[] m_lpBufStart;
}

void CArchive::Throw(int cause) const { throw CArchiveException(cause, m_strFileName); }

void CArchive::CheckStoring() {
  if (!m_pFile) Throw(CArchiveException::genericException);
  if (IsLoading()) Throw(CArchiveException::readOnly);
}

void CArchive::CheckLoading() {
  if (!m_pFile) Throw(CArchiveException::genericException);
  if (!IsLoading()) Throw(CArchiveException::writeOnly);
}

void CArchive::Flush() {
  if (!m_pFile) return;
  if (IsStoring()) {
    if (m_lpBufCur != m_lpBufStart) {
      UINT n = static_cast<UINT>(m_lpBufCur - m_lpBufStart);
      m_lpBufCur = m_lpBufStart;
      m_pFile->Write(m_lpBufStart, n);
    }
  } else if (m_lpBufMax != m_lpBufCur) {
    // Give back the read-ahead, so the file stands where the archive does.
    m_pFile->Seek(-static_cast<LONGLONG>(m_lpBufMax - m_lpBufCur), CFile::current);
    m_lpBufCur = m_lpBufMax = m_lpBufStart;
  }
}

void CArchive::Close() {
  if (!m_pFile) return;
  Flush();
  m_pFile = nullptr;
}

void CArchive::Abort() { m_pFile = nullptr; }

void CArchive::FillBuffer(UINT bytes) {
  CheckLoading();
  UINT have = static_cast<UINT>(m_lpBufMax - m_lpBufCur);
  if (have >= bytes) return;
  if (bytes > static_cast<UINT>(m_nBufSize)) Throw(CArchiveException::genericException);
  // Keep the unread bytes at the front and read as much as fits after them.
  if (have) std::memmove(m_lpBufStart, m_lpBufCur, have);
  m_lpBufCur = m_lpBufStart;
  m_lpBufMax = m_lpBufStart + have;
  while (have < bytes) {
    UINT got = m_pFile->Read(m_lpBufMax, static_cast<UINT>(m_nBufSize) - have);
    if (got == 0) Throw(CArchiveException::endOfFile);
    have += got;
    m_lpBufMax += got;
  }
}

UINT CArchive::Read(void* buffer, UINT count) {
  CheckLoading();
  if (count == 0) return 0;
  if (!buffer) throw CInvalidArgException();
  auto* out = static_cast<BYTE*>(buffer);
  UINT done = 0;
  UINT have = static_cast<UINT>(m_lpBufMax - m_lpBufCur);
  UINT take = std::min(have, count);
  std::memcpy(out, m_lpBufCur, take);
  m_lpBufCur += take;
  done = take;
  if (done == count) return done;
  // Large remainders go straight to the file; small ones through the buffer.
  UINT rest = count - done;
  if (rest >= static_cast<UINT>(m_nBufSize)) {
    while (done < count) {
      UINT got = m_pFile->Read(out + done, count - done);
      if (got == 0) break;
      done += got;
    }
    return done;
  }
  m_lpBufCur = m_lpBufMax = m_lpBufStart;
  while (done < count) {
    UINT got = m_pFile->Read(m_lpBufStart, static_cast<UINT>(m_nBufSize));
    if (got == 0) break;
    m_lpBufMax = m_lpBufStart + got;
    UINT n = std::min(got, count - done);
    std::memcpy(out + done, m_lpBufStart, n);
    m_lpBufCur = m_lpBufStart + n;
    done += n;
  }
  return done;
}

void CArchive::ReadRaw(void* out, UINT bytes) {
  if (Read(out, bytes) != bytes) Throw(CArchiveException::endOfFile);
}

void CArchive::Write(const void* buffer, UINT count) {
  CheckStoring();
  if (count == 0) return;
  if (!buffer) throw CInvalidArgException();
  auto* in = static_cast<const BYTE*>(buffer);
  UINT room = static_cast<UINT>(m_lpBufMax - m_lpBufCur);
  if (count <= room) {
    std::memcpy(m_lpBufCur, in, count);
    m_lpBufCur += count;
    return;
  }
  // Fill the buffer, write it out, then either write the rest directly or
  // buffer it.
  std::memcpy(m_lpBufCur, in, room);
  m_lpBufCur += room;
  in += room;
  count -= room;
  m_pFile->Write(m_lpBufStart, static_cast<UINT>(m_lpBufCur - m_lpBufStart));
  m_lpBufCur = m_lpBufStart;
  if (count >= static_cast<UINT>(m_nBufSize)) {
    m_pFile->Write(in, count);
  } else {
    std::memcpy(m_lpBufCur, in, count);
    m_lpBufCur += count;
  }
}

void CArchive::WriteRaw(const void* in, UINT bytes) { Write(in, bytes); }

// --- Scalars ---------------------------------------------------------------

CArchive& CArchive::operator<<(BYTE v) {
  CheckStoring();
  if (m_lpBufCur == m_lpBufMax) Flush();
  *m_lpBufCur++ = v;
  return *this;
}

CArchive& CArchive::operator<<(WORD v) {
  CheckStoring();
  if (m_lpBufMax - m_lpBufCur >= 2) {
    PutLE(m_lpBufCur, v);
    m_lpBufCur += 2;
  } else {
    BYTE b[2];
    PutLE(b, v);
    Write(b, 2);
  }
  return *this;
}

CArchive& CArchive::operator<<(DWORD v) {
  CheckStoring();
  if (m_lpBufMax - m_lpBufCur >= 4) {
    PutLE(m_lpBufCur, v);
    m_lpBufCur += 4;
  } else {
    BYTE b[4];
    PutLE(b, v);
    Write(b, 4);
  }
  return *this;
}

CArchive& CArchive::operator<<(ULONGLONG v) {
  CheckStoring();
  if (m_lpBufMax - m_lpBufCur >= 8) {
    PutLE(m_lpBufCur, v);
    m_lpBufCur += 8;
  } else {
    BYTE b[8];
    PutLE(b, v);
    Write(b, 8);
  }
  return *this;
}

CArchive& CArchive::operator<<(float v) {
  uint32_t bits;
  std::memcpy(&bits, &v, 4);
  return *this << static_cast<DWORD>(bits);
}

CArchive& CArchive::operator<<(double v) {
  uint64_t bits;
  std::memcpy(&bits, &v, 8);
  return *this << static_cast<ULONGLONG>(bits);
}

CArchive& CArchive::operator>>(BYTE& v) {
  FillBuffer(1);
  v = *m_lpBufCur++;
  return *this;
}

CArchive& CArchive::operator>>(char& v) {
  BYTE b;
  *this >> b;
  v = static_cast<char>(b);
  return *this;
}

CArchive& CArchive::operator>>(signed char& v) {
  BYTE b;
  *this >> b;
  v = static_cast<signed char>(b);
  return *this;
}

CArchive& CArchive::operator>>(WORD& v) {
  FillBuffer(2);
  v = GetLE<WORD>(m_lpBufCur);
  m_lpBufCur += 2;
  return *this;
}

CArchive& CArchive::operator>>(short& v) {
  WORD w;
  *this >> w;
  v = static_cast<short>(w);
  return *this;
}

CArchive& CArchive::operator>>(wchar_t& v) {
  WORD w;
  *this >> w;
  v = static_cast<wchar_t>(w);
  return *this;
}

CArchive& CArchive::operator>>(DWORD& v) {
  FillBuffer(4);
  v = GetLE<DWORD>(m_lpBufCur);
  m_lpBufCur += 4;
  return *this;
}

CArchive& CArchive::operator>>(int& v) {
  DWORD d;
  *this >> d;
  v = static_cast<int>(d);
  return *this;
}

CArchive& CArchive::operator>>(ULONGLONG& v) {
  FillBuffer(8);
  v = GetLE<ULONGLONG>(m_lpBufCur);
  m_lpBufCur += 8;
  return *this;
}

CArchive& CArchive::operator>>(LONGLONG& v) {
  ULONGLONG u;
  *this >> u;
  v = static_cast<LONGLONG>(u);
  return *this;
}

CArchive& CArchive::operator>>(long long& v) {
  ULONGLONG u;
  *this >> u;
  v = static_cast<long long>(u);
  return *this;
}

CArchive& CArchive::operator>>(unsigned long long& v) {
  ULONGLONG u;
  *this >> u;
  v = u;
  return *this;
}

CArchive& CArchive::operator>>(float& v) {
  DWORD bits;
  *this >> bits;
  std::memcpy(&v, &bits, 4);
  return *this;
}

CArchive& CArchive::operator>>(double& v) {
  ULONGLONG bits;
  *this >> bits;
  std::memcpy(&v, &bits, 8);
  return *this;
}

// --- Counts and strings ----------------------------------------------------

void CArchive::WriteCount(DWORD_PTR count) {
  if (count < 0xFFFF) {
    *this << static_cast<WORD>(count);
    return;
  }
  *this << static_cast<WORD>(0xFFFF);
  if (count < 0xFFFFFFFFu) {
    *this << static_cast<DWORD>(count);
    return;
  }
  *this << static_cast<DWORD>(0xFFFFFFFFu);
  *this << static_cast<ULONGLONG>(count);
}

DWORD_PTR CArchive::ReadCount() {
  WORD w;
  *this >> w;
  if (w != 0xFFFF) return w;
  DWORD d;
  *this >> d;
  if (d != 0xFFFFFFFFu) return d;
  ULONGLONG q;
  *this >> q;
  return static_cast<DWORD_PTR>(q);
}

void CArchive::WriteStringLength(ULONGLONG length, bool wide) {
  if (wide) {
    *this << static_cast<BYTE>(0xFF);
    *this << static_cast<WORD>(0xFFFE);
  }
  if (length < 0xFF) {
    *this << static_cast<BYTE>(length);
  } else if (length < 0xFFFE) {
    *this << static_cast<BYTE>(0xFF);
    *this << static_cast<WORD>(length);
  } else if (length < 0xFFFFFFFFu) {
    *this << static_cast<BYTE>(0xFF);
    *this << static_cast<WORD>(0xFFFF);
    *this << static_cast<DWORD>(length);
  } else {
    *this << static_cast<BYTE>(0xFF);
    *this << static_cast<WORD>(0xFFFF);
    *this << static_cast<DWORD>(0xFFFFFFFFu);
    *this << static_cast<ULONGLONG>(length);
  }
}

ULONGLONG CArchive::ReadStringLength(bool& wide) {
  wide = false;
  BYTE b;
  *this >> b;
  if (b < 0xFF) return b;
  WORD w;
  *this >> w;
  if (w == 0xFFFE) {
    // The wide-string marker; the real length follows.
    wide = true;
    *this >> b;
    if (b < 0xFF) return b;
    *this >> w;
  }
  if (w < 0xFFFF) return w;
  DWORD d;
  *this >> d;
  if (d < 0xFFFFFFFFu) return d;
  ULONGLONG q;
  *this >> q;
  return q;
}

CArchive& CArchive::operator<<(const CString& s) {
  CheckStoring();
  std::u16string units = Kernel::Utf::WideToUtf16(s.GetString(), static_cast<size_t>(s.GetLength()));
  WriteStringLength(units.size(), true);
  BYTE chunk[512];
  size_t i = 0;
  while (i < units.size()) {
    size_t n = std::min<size_t>(units.size() - i, sizeof chunk / 2);
    for (size_t k = 0; k < n; ++k) PutLE(chunk + 2 * k, static_cast<WORD>(units[i + k]));
    Write(chunk, static_cast<UINT>(2 * n));
    i += n;
  }
  return *this;
}

CArchive& CArchive::operator<<(const CStringA& s) {
  CheckStoring();
  WriteStringLength(static_cast<ULONGLONG>(s.GetLength()), false);
  Write(s.GetString(), static_cast<UINT>(s.GetLength()));
  return *this;
}

namespace {
// Text longer than a string can hold cannot be a real string.
constexpr ULONGLONG kMaxStringUnits = 0x7FFFFFF0;
}  // namespace

// Reads one stored string in whichever form it was written: UTF-16 units
// when `wide` comes back true, else the stored bytes.
void CArchive::ReadStringBody(bool& wide, std::u16string& units, std::string& bytes) {
  CheckLoading();
  ULONGLONG n = ReadStringLength(wide);
  if (n > kMaxStringUnits) Throw(CArchiveException::badIndex);
  BYTE chunk[kStringChunk];
  ULONGLONG left = n;
  while (left > 0) {
    UINT take = static_cast<UINT>(std::min<ULONGLONG>(left, wide ? sizeof chunk / 2 : sizeof chunk));
    if (wide) {
      ReadRaw(chunk, take * 2);
      size_t at = units.size();
      units.resize(at + take);
      for (UINT k = 0; k < take; ++k) units[at + k] = static_cast<char16_t>(GetLE<WORD>(chunk + 2 * k));
    } else {
      ReadRaw(chunk, take);
      bytes.append(reinterpret_cast<const char*>(chunk), take);
    }
    left -= take;
  }
}

CArchive& CArchive::operator>>(CString& s) {
  bool wide;
  std::u16string units;
  std::string bytes;
  ReadStringBody(wide, units, bytes);
  if (wide) {
    std::wstring w = Kernel::Utf::Utf16ToWide(units.data(), units.size());
    s = CString(w.data(), static_cast<int>(w.size()));
  } else {
    s = CString(bytes.data(), static_cast<int>(bytes.size()));
  }
  return *this;
}

CArchive& CArchive::operator>>(CStringA& s) {
  bool wide;
  std::u16string units;
  std::string bytes;
  ReadStringBody(wide, units, bytes);
  if (wide) {
    std::wstring w = Kernel::Utf::Utf16ToWide(units.data(), units.size());
    s = CStringA(CString(w.data(), static_cast<int>(w.size())));
  } else {
    // Narrow text comes back byte for byte, whatever its encoding.
    s = CStringA(bytes.data(), static_cast<int>(bytes.size()));
  }
  return *this;
}

CArchive& CArchive::operator<<(const wchar_t* s) { return *this << CString(s); }

CArchive& CArchive::operator<<(const char* s) { return *this << CString(s); }

void CArchive::WriteString(const wchar_t* text) {
  CheckStoring();
  if (!text) return;
  std::u16string units = Kernel::Utf::WideToUtf16(text, std::wcslen(text));
  for (char16_t u : units) *this << static_cast<WORD>(u);
}

BOOL CArchive::ReadString(CString& text) {
  CheckLoading();
  std::u16string units;
  bool any = false;
  for (;;) {
    // End of data ends the last line.
    if (m_lpBufMax - m_lpBufCur < 2) {
      try {
        FillBuffer(2);
      } catch (const CArchiveException& e) {
        if (e.m_cause != CArchiveException::endOfFile) throw;
        break;
      }
    }
    WORD u;
    *this >> u;
    any = true;
    if (u == L'\n') break;
    units += static_cast<char16_t>(u);
  }
  if (!units.empty() && units.back() == u'\r') units.pop_back();
  std::wstring w = Kernel::Utf::Utf16ToWide(units.data(), units.size());
  text = CString(w.data(), static_cast<int>(w.size()));
  return any ? TRUE : FALSE;
}
