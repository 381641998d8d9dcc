#pragma once
// CFile: a binary file over a POSIX descriptor, with the framework's open
// flags and errors (CFileException, thrown by value). Paths are wide strings,
// converted to UTF-8 for the system; the folder separator is '/'.
// CMemFile: a file in memory that grows in steps, with protected allocation
// hooks for subclasses that keep their bytes elsewhere. A subclass that
// overrides Free must call Close() (or Detach) in its own destructor: by the
// time the base destructor runs only the base Free is left to call.
#include <kernel/CObject.h>
#include <kernel/CString.h>
#include <kernel/Exceptions.h>
#include <kernel/Export.h>
#include <kernel/WinTypes.h>

class NK_API CFile : public CObject {
  DECLARE_DYNAMIC(CFile)

 public:
  enum OpenFlags : UINT {
    modeRead = 0x0000,
    modeWrite = 0x0001,
    modeReadWrite = 0x0002,
    shareCompat = 0x0000,
    shareExclusive = 0x0010,
    shareDenyWrite = 0x0020,
    shareDenyRead = 0x0030,
    shareDenyNone = 0x0040,
    modeNoInherit = 0x0080,
    modeCreate = 0x1000,
    modeNoTruncate = 0x2000,
    typeText = 0x4000,
    typeBinary = 0x8000,
    osNoBuffer = 0x10000,
    osWriteThrough = 0x20000,
    osRandomAccess = 0x40000,
    osSequentialScan = 0x80000,
  };
  enum SeekPosition : UINT { begin = 0x0, current = 0x1, end = 0x2 };
  static constexpr int hFileNull = -1;

  CFile() noexcept;
  // Wraps an open descriptor; the descriptor is not closed by the destructor.
  explicit CFile(int hFile) noexcept;
  // Opens the file or throws CFileException.
  CFile(const wchar_t* fileName, UINT openFlags);
  ~CFile() override;
  CFile(const CFile&) = delete;
  CFile& operator=(const CFile&) = delete;

  // Opens the file; on failure returns FALSE and, when given, fills `error`.
  // modeCreate makes the file (emptying an existing one unless
  // modeNoTruncate). shareExclusive/shareDenyRead take an exclusive advisory
  // lock, shareDenyWrite a shared one; a conflicting lock is a sharing
  // violation.
  virtual BOOL Open(const wchar_t* fileName, UINT openFlags, CFileException* error = nullptr);

  // Reads up to `count` bytes; 0 at the end of the file.
  virtual UINT Read(void* buffer, UINT count);
  // Writes all `count` bytes or throws.
  virtual void Write(const void* buffer, UINT count);
  // Moves the position; returns the new position. A position before the
  // start throws CFileException(badSeek).
  virtual ULONGLONG Seek(LONGLONG offset, UINT from);
  void SeekToBegin() { Seek(0, begin); }
  ULONGLONG SeekToEnd() { return Seek(0, end); }
  virtual ULONGLONG GetPosition() const;
  virtual ULONGLONG GetLength() const;
  virtual void SetLength(ULONGLONG newLength);
  virtual void Flush();
  // Closes the file; errors throw. Abort closes and ignores errors.
  virtual void Close();
  virtual void Abort();

  // Name with extension ("b.txt"), title without it ("b"), and the full path.
  virtual CString GetFileName() const;
  virtual CString GetFileTitle() const;
  virtual CString GetFilePath() const;
  virtual void SetFilePath(const wchar_t* newName);

  static void Rename(const wchar_t* oldName, const wchar_t* newName);
  static void Remove(const wchar_t* fileName);

  int m_hFile;

 protected:
  void CheckOpen() const;
  [[noreturn]] void ThrowErrno(int err) const;

  BOOL m_bCloseOnDelete;
  CString m_strFileName;
};

class NK_API CMemFile : public CFile {
  DECLARE_DYNAMIC(CMemFile)

 public:
  // An empty growable file that adds `growBytes` at a time.
  explicit CMemFile(UINT growBytes = 1024);
  // A file over the caller's buffer. With growBytes 0 the file holds `size`
  // bytes and cannot grow; otherwise it starts empty and grows the buffer
  // through Realloc (so it must come from the same heap as Alloc's).
  CMemFile(BYTE* buffer, UINT size, UINT growBytes = 0);
  ~CMemFile() override;

  void Attach(BYTE* buffer, UINT size, UINT growBytes = 0);
  // Hands the buffer to the caller (who frees it) and leaves the file empty.
  BYTE* Detach();

  BOOL Open(const wchar_t* fileName, UINT openFlags, CFileException* error = nullptr) override;
  UINT Read(void* buffer, UINT count) override;
  // Grows the file as needed; a file that cannot grow throws CMemoryException.
  void Write(const void* buffer, UINT count) override;
  // Any position from 0 on is allowed, also past the end (a later write
  // fills the gap).
  ULONGLONG Seek(LONGLONG offset, UINT from) override;
  ULONGLONG GetPosition() const override;
  ULONGLONG GetLength() const override;
  void SetLength(ULONGLONG newLength) override;
  void Flush() override;
  void Close() override;
  void Abort() override;
  CString GetFilePath() const override;

  // The current buffer (not a copy); valid until the file grows.
  const BYTE* GetBufferPtr() const noexcept { return m_lpBuffer; }
  SIZE_T GetBufferSize() const noexcept { return m_nBufferSize; }

 protected:
  // Allocation hooks: C heap by default.
  virtual BYTE* Alloc(SIZE_T bytes);
  virtual BYTE* Realloc(BYTE* block, SIZE_T bytes);
  virtual BYTE* Memcpy(BYTE* target, const BYTE* source, SIZE_T count);
  virtual void Free(BYTE* block);
  // Makes the buffer hold at least newLength bytes, growing in whole steps of
  // m_nGrowBytes; throws CMemoryException when it cannot grow.
  virtual void GrowFile(SIZE_T newLength);

  SIZE_T m_nGrowBytes;
  SIZE_T m_nPosition;
  SIZE_T m_nBufferSize;
  SIZE_T m_nFileSize;
  BYTE* m_lpBuffer;
  BOOL m_bAutoDelete;
};
