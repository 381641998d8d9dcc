#pragma once
// CArchive: buffered binary reading or writing of a CFile in the framework's
// byte format. Every multi-byte value is little-endian. A wrong-direction
// operation throws CArchiveException(readOnly) when storing into a loading
// archive and CArchiveException(writeOnly) when loading from a storing one;
// running out of data throws CArchiveException(endOfFile). All by value.
#include <string>

#include <kernel/CArray.h>
#include <kernel/CFile.h>
#include <kernel/CString.h>
#include <kernel/Exceptions.h>
#include <kernel/Export.h>
#include <kernel/WinTypes.h>

class NK_API CArchive {
 public:
  enum Mode : UINT { store = 0, load = 1, bNoFlushOnDelete = 2, bNoByteSwap = 4 };

  // `buffer`, when given, is used as the archive's buffer of bufSize bytes
  // and stays the caller's.
  CArchive(CFile* file, UINT mode, int bufSize = 4096, void* buffer = nullptr);
  // Closes (flushing a storing archive) unless bNoFlushOnDelete was given or
  // it was closed already; errors at this point are swallowed.
  ~CArchive();
  CArchive(const CArchive&) = delete;
  CArchive& operator=(const CArchive&) = delete;

  BOOL IsLoading() const noexcept { return (m_nMode & load) != 0; }
  BOOL IsStoring() const noexcept { return (m_nMode & load) == 0; }
  BOOL IsByteSwapping() const noexcept { return FALSE; }
  // TRUE when a loading archive has no buffered bytes left.
  BOOL IsBufferEmpty() const noexcept { return m_lpBufCur == m_lpBufMax; }
  CFile* GetFile() const noexcept { return m_pFile; }

  // Reads up to `count` bytes; returns how many were available.
  UINT Read(void* buffer, UINT count);
  void Write(const void* buffer, UINT count);
  // Writes buffered bytes to the file (storing; the file itself is not
  // asked to sync) or forgets read-ahead bytes and puts the file position
  // back where the archive stands (loading).
  void Flush();
  // Flushes and detaches from the file (the file stays open).
  void Close();
  // Detaches without flushing.
  void Abort();

  // Text lines in UTF-16LE: WriteString writes the characters as they are
  // (no terminator, no newline added); ReadString reads up to and without
  // "\n" (and a "\r" before it). ReadString returns FALSE at the end.
  void WriteString(const wchar_t* text);
  BOOL ReadString(CString& text);

  // Counts in the framework's short form: 16 bits, or 0xFFFF and 32 bits, or
  // 0xFFFF, 0xFFFFFFFF and 64 bits.
  void WriteCount(DWORD_PTR count);
  DWORD_PTR ReadCount();

  // --- Storing ------------------------------------------------------------
  CArchive& operator<<(BYTE v);
  CArchive& operator<<(char v) { return *this << static_cast<BYTE>(v); }
  CArchive& operator<<(signed char v) { return *this << static_cast<BYTE>(v); }
  CArchive& operator<<(WORD v);
  CArchive& operator<<(short v) { return *this << static_cast<WORD>(v); }
  // A wide character travels as one 16-bit unit, as on Windows; characters
  // beyond U+FFFF do not fit (use a CString for text).
  CArchive& operator<<(wchar_t v) { return *this << static_cast<WORD>(v); }
  CArchive& operator<<(int v) { return *this << static_cast<DWORD>(v); }  // also LONG
  CArchive& operator<<(DWORD v);                                          // also UINT
  CArchive& operator<<(LONGLONG v) { return *this << static_cast<ULONGLONG>(v); }
  CArchive& operator<<(ULONGLONG v);
  CArchive& operator<<(long long v) { return *this << static_cast<ULONGLONG>(v); }
  CArchive& operator<<(unsigned long long v) { return *this << static_cast<ULONGLONG>(v); }
  CArchive& operator<<(float v);
  CArchive& operator<<(double v);
  // A wide string: the 0xFF 0xFFFE marker, the length in UTF-16 units (one
  // byte below 255, else 0xFF and 16 bits below 0xFFFE, else 0xFFFF and 32
  // bits), then the UTF-16LE units.
  CArchive& operator<<(const CString& s);
  // A narrow string: the same length form without the marker, then bytes.
  CArchive& operator<<(const CStringA& s);
  // Plain text pointers are stored as wide strings (narrow ones taken as
  // UTF-8); null stores an empty string.
  CArchive& operator<<(const wchar_t* s);
  CArchive& operator<<(const char* s);

  // --- Loading ------------------------------------------------------------
  CArchive& operator>>(BYTE& v);
  CArchive& operator>>(char& v);
  CArchive& operator>>(signed char& v);
  CArchive& operator>>(WORD& v);
  CArchive& operator>>(short& v);
  CArchive& operator>>(wchar_t& v);
  CArchive& operator>>(int& v);
  CArchive& operator>>(DWORD& v);
  CArchive& operator>>(LONGLONG& v);
  CArchive& operator>>(ULONGLONG& v);
  CArchive& operator>>(long long& v);
  CArchive& operator>>(unsigned long long& v);
  CArchive& operator>>(float& v);
  CArchive& operator>>(double& v);
  // Reads either string form. Into a CString narrow bytes are taken as
  // UTF-8; into a CStringA they come back unchanged and wide text as UTF-8.
  CArchive& operator>>(CString& s);
  CArchive& operator>>(CStringA& s);

  // Objects read so far, for code that numbers the objects of an archive.
  // Always allocated, owned by the archive, empty at the start; m_nMapCount
  // is kept by that code.
  CPtrArray* m_pLoadArray;
  UINT m_nMapCount;
  // The file's path, for exception messages.
  CString m_strFileName;

 protected:
  void CheckStoring();
  void CheckLoading();
  // Makes at least `bytes` bytes (at most the buffer size) available at
  // m_lpBufCur; throws endOfFile when the file has fewer.
  void FillBuffer(UINT bytes);
  void ReadRaw(void* out, UINT bytes);  // all bytes or endOfFile
  void WriteRaw(const void* in, UINT bytes);
  [[noreturn]] void Throw(int cause) const;
  // Reads the length prefix; `wide` tells which form followed.
  ULONGLONG ReadStringLength(bool& wide);
  void WriteStringLength(ULONGLONG length, bool wide);
  void ReadStringBody(bool& wide, std::u16string& units, std::string& bytes);

  UINT m_nMode;
  BOOL m_bUserBuf;
  int m_nBufSize;
  CFile* m_pFile;
  BYTE* m_lpBufCur;
  BYTE* m_lpBufMax;
  BYTE* m_lpBufStart;
};
