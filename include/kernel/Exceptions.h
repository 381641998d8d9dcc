#pragma once
// The framework's exception classes. They are thrown and caught BY VALUE
// (`throw CArchiveException(...)`, `catch (const CArchiveException& e)`), and
// all derive from std::exception so that what() gives a readable message.
#include <exception>
#include <string>

#include <kernel/CString.h>
#include <kernel/Export.h>
#include <kernel/WinTypes.h>

class NK_API CException : public std::exception {
 public:
  CException() = default;
  ~CException() override;
  // Copies the message into `buffer` (truncated, always terminated when
  // maxChars > 0). Returns TRUE when a message was available.
  virtual BOOL GetErrorMessage(wchar_t* buffer, UINT maxChars, UINT* helpContext = nullptr) const;
  // The message as a wide string.
  virtual CString GetMessage() const;
  const char* what() const noexcept override;

 private:
  mutable std::string m_what;
};

class NK_API CMemoryException : public CException {
 public:
  CString GetMessage() const override;
};

class NK_API CNotSupportedException : public CException {
 public:
  CString GetMessage() const override;
};

class NK_API CInvalidArgException : public CException {
 public:
  CString GetMessage() const override;
};

class NK_API CArchiveException : public CException {
 public:
  enum {
    none = 0,
    genericException = 1,
    readOnly = 2,
    endOfFile = 3,
    writeOnly = 4,
    badIndex = 5,
    badClass = 6,
    badSchema = 7,
  };
  // `name` is kept in m_strFileName: the archive's file name, or a short text
  // saying what went wrong (for example "Unknown schema").
  explicit CArchiveException(int cause = none, const wchar_t* name = nullptr);
  CString GetMessage() const override;

  int m_cause;
  CString m_strFileName;
};

class NK_API CFileException : public CException {
 public:
  enum {
    none = 0,
    genericException = 1,
    fileNotFound = 2,
    badPath = 3,
    tooManyOpenFiles = 4,
    accessDenied = 5,
    invalidFile = 6,
    removeCurrentDir = 7,
    directoryFull = 8,
    badSeek = 9,
    hardIO = 10,
    sharingViolation = 11,
    lockViolation = 12,
    diskFull = 13,
    endOfFile = 14,
  };
  explicit CFileException(int cause = none, LONG osError = -1, const wchar_t* fileName = nullptr);
  CString GetMessage() const override;
  // The cause that best describes an errno value.
  static int ErrnoToException(int errnoValue);

  int m_cause;
  LONG m_lOsError;  // the errno value, or -1
  CString m_strFileName;
};

[[noreturn]] NK_API void AfxThrowMemoryException();
[[noreturn]] NK_API void AfxThrowNotSupportedException();
[[noreturn]] NK_API void AfxThrowInvalidArgException();
[[noreturn]] NK_API void AfxThrowArchiveException(int cause, const wchar_t* name = nullptr);
[[noreturn]] NK_API void AfxThrowFileException(int cause, LONG osError = -1, const wchar_t* fileName = nullptr);
