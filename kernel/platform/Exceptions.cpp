#include <kernel/Exceptions.h>

#include <cerrno>
#include <cwchar>

#include "platform/Utf.h"

CException::~CException() = default;

CString CException::GetMessage() const { return CString(L"An unknown error occurred."); }

BOOL CException::GetErrorMessage(wchar_t* buffer, UINT maxChars, UINT* helpContext) const {
  if (helpContext) *helpContext = 0;
  if (!buffer || maxChars == 0) return FALSE;
  CString msg = GetMessage();
  UINT n = static_cast<UINT>(msg.GetLength());
  if (n > maxChars - 1) n = maxChars - 1;
  std::wmemcpy(buffer, msg.GetString(), n);
  buffer[n] = 0;
  return TRUE;
}

const char* CException::what() const noexcept {
  try {
    CString msg = GetMessage();
    m_what = Kernel::Utf::WideToUtf8(msg.GetString(), static_cast<size_t>(msg.GetLength()));
  } catch (...) {
    return "exception (message unavailable)";
  }
  return m_what.c_str();
}

CString CMemoryException::GetMessage() const { return CString(L"Out of memory."); }

CString CNotSupportedException::GetMessage() const { return CString(L"The operation is not supported."); }

CString CInvalidArgException::GetMessage() const { return CString(L"An invalid argument was encountered."); }

CArchiveException::CArchiveException(int cause, const wchar_t* name) : m_cause(cause), m_strFileName(name) {}

CString CArchiveException::GetMessage() const {
  static const wchar_t* const texts[] = {
      L"No archive error occurred",
      L"An unknown error occurred while accessing the archive",
      L"An attempt was made to write to an archive opened for reading",
      L"An attempt was made to read past the end of the archive",
      L"An attempt was made to read from an archive opened for writing",
      L"The archive has a bad format",
      L"The archive contains an unexpected object",
      L"The archive contains an unsupported schema",
  };
  CString msg(m_cause >= 0 && m_cause <= badSchema ? texts[m_cause] : texts[genericException]);
  if (!m_strFileName.IsEmpty()) {
    msg += L": ";
    msg += m_strFileName;
  }
  msg += L'.';
  return msg;
}

CFileException::CFileException(int cause, LONG osError, const wchar_t* fileName)
    : m_cause(cause), m_lOsError(osError), m_strFileName(fileName) {}

CString CFileException::GetMessage() const {
  static const wchar_t* const texts[] = {
      L"No file error occurred",
      L"An unknown error occurred while accessing the file",
      L"The file was not found",
      L"The path is invalid",
      L"Too many files are open",
      L"Access to the file was denied",
      L"The file handle is invalid",
      L"The current folder cannot be removed",
      L"The folder is full",
      L"The file position cannot be set",
      L"A hardware input/output error occurred",
      L"The file is in use by another process",
      L"A locked region of the file was accessed",
      L"The disk is full",
      L"An attempt was made to access the file past its end",
  };
  CString msg(m_cause >= 0 && m_cause <= endOfFile ? texts[m_cause] : texts[genericException]);
  if (!m_strFileName.IsEmpty()) {
    msg += L": ";
    msg += m_strFileName;
  }
  if (m_lOsError > 0) msg.AppendFormat(L" (error %d)", m_lOsError);
  msg += L'.';
  return msg;
}

int CFileException::ErrnoToException(int e) {
  switch (e) {
    case 0:
      return none;
    case ENOENT:
      return fileNotFound;
    case ENOTDIR:
    case ENAMETOOLONG:
    case ELOOP:
    case EINVAL:
      return badPath;
    case EMFILE:
    case ENFILE:
      return tooManyOpenFiles;
    case EACCES:
    case EPERM:
    case EROFS:
    case EISDIR:
    case EEXIST:
      return accessDenied;
    case EBADF:
      return invalidFile;
    case EBUSY:
      return removeCurrentDir;
    case EMLINK:
      return directoryFull;
    case ESPIPE:
    case EOVERFLOW:
      return badSeek;
    case EIO:
      return hardIO;
    case ETXTBSY:
    case EWOULDBLOCK:
      return sharingViolation;
    case ENOLCK:
    case EDEADLK:
      return lockViolation;
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
      return diskFull;
    default:
      return genericException;
  }
}

void AfxThrowMemoryException() { throw CMemoryException(); }
void AfxThrowNotSupportedException() { throw CNotSupportedException(); }
void AfxThrowInvalidArgException() { throw CInvalidArgException(); }
void AfxThrowArchiveException(int cause, const wchar_t* name) { throw CArchiveException(cause, name); }
void AfxThrowFileException(int cause, LONG osError, const wchar_t* fileName) {
  throw CFileException(cause, osError, fileName);
}
