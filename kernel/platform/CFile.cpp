#include <kernel/CFile.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <fcntl.h>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/Utf.h"

namespace {

std::string ToSystemPath(const wchar_t* path) { return Kernel::Utf::WideToUtf8(path, std::wcslen(path)); }

// The absolute form of a path, as the framework reports it from GetFilePath.
CString AbsolutePath(const wchar_t* path) {
  if (path[0] == L'/') return CString(path);
  char cwd[PATH_MAX];
  if (!getcwd(cwd, sizeof cwd)) return CString(path);
  CString full(cwd);
  if (full.IsEmpty() || full[full.GetLength() - 1] != L'/') full += L'/';
  // "./name" reads better without the dot.
  while (path[0] == L'.' && path[1] == L'/') path += 2;
  full += path;
  return full;
}

bool ParentExists(const std::string& path) {
  size_t slash = path.find_last_of('/');
  if (slash == std::string::npos) return true;  // the current folder
  std::string parent = slash == 0 ? "/" : path.substr(0, slash);
  struct stat st;
  return ::stat(parent.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

}  // namespace

IMPLEMENT_DYNAMIC(CFile, CObject)

CFile::CFile() noexcept : m_hFile(hFileNull), m_bCloseOnDelete(FALSE) {}

CFile::CFile(int hFile) noexcept : m_hFile(hFile), m_bCloseOnDelete(FALSE) {}

CFile::CFile(const wchar_t* fileName, UINT openFlags) : CFile() {
  CFileException e;
  if (!Open(fileName, openFlags, &e)) throw e;
}

CFile::~CFile() {
  if (m_hFile != hFileNull && m_bCloseOnDelete) Abort();
}

BOOL CFile::Open(const wchar_t* fileName, UINT openFlags, CFileException* error) {
  if (error) *error = CFileException(CFileException::none, -1, fileName);
  auto fail = [&](int cause, int err) {
    if (error) *error = CFileException(cause, err, fileName);
    return FALSE;
  };
  if (!fileName || !*fileName) return fail(CFileException::badPath, EINVAL);
  if (m_hFile != hFileNull) return fail(CFileException::genericException, EBUSY);

  int flags = O_CLOEXEC;
  switch (openFlags & 3) {
    case modeRead:
      flags |= O_RDONLY;
      break;
    case modeWrite:
      flags |= O_WRONLY;
      break;
    case modeReadWrite:
      flags |= O_RDWR;
      break;
    default:
      return fail(CFileException::genericException, EINVAL);
  }
  if (openFlags & modeCreate) {
    flags |= O_CREAT;
    if (!(openFlags & modeNoTruncate)) flags |= O_TRUNC;
  }
  if (openFlags & osWriteThrough) flags |= O_DSYNC;

  std::string path = ToSystemPath(fileName);
  int fd = ::open(path.c_str(), flags, 0666);
  if (fd < 0) {
    int err = errno;
    // As on Windows, a missing folder is a bad path, a missing file in an
    // existing folder is "not found".
    if (err == ENOENT && !ParentExists(path)) return fail(CFileException::badPath, err);
    return fail(CFileException::ErrnoToException(err), err);
  }
  struct stat st;
  if (::fstat(fd, &st) == 0 && S_ISDIR(st.st_mode)) {
    ::close(fd);
    return fail(CFileException::accessDenied, EISDIR);
  }
  UINT share = openFlags & 0x70;
  int lockOp = 0;
  if (share == shareExclusive || share == shareDenyRead) {
    lockOp = LOCK_EX;
  } else if (share == shareDenyWrite) {
    lockOp = LOCK_SH;
  }
  if (lockOp && ::flock(fd, lockOp | LOCK_NB) != 0) {
    int err = errno;
    ::close(fd);
    return fail(err == EWOULDBLOCK ? CFileException::sharingViolation : CFileException::ErrnoToException(err), err);
  }
  if (openFlags & osSequentialScan) ::posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
  if (openFlags & osRandomAccess) ::posix_fadvise(fd, 0, 0, POSIX_FADV_RANDOM);

  m_hFile = fd;
  m_bCloseOnDelete = TRUE;
  m_strFileName = AbsolutePath(fileName);
  return TRUE;
}

void CFile::CheckOpen() const {
  if (m_hFile == hFileNull) throw CFileException(CFileException::invalidFile, EBADF, m_strFileName);
}

void CFile::ThrowErrno(int err) const {
  throw CFileException(CFileException::ErrnoToException(err), err, m_strFileName);
}

UINT CFile::Read(void* buffer, UINT count) {
  CheckOpen();
  if (count == 0) return 0;
  if (!buffer) throw CInvalidArgException();
  auto* p = static_cast<char*>(buffer);
  UINT done = 0;
  while (done < count) {
    ssize_t n = ::read(m_hFile, p + done, count - done);
    if (n < 0) {
      if (errno == EINTR) continue;
      ThrowErrno(errno);
    }
    if (n == 0) break;
    done += static_cast<UINT>(n);
  }
  return done;
}

void CFile::Write(const void* buffer, UINT count) {
  CheckOpen();
  if (count == 0) return;
  if (!buffer) throw CInvalidArgException();
  auto* p = static_cast<const char*>(buffer);
  UINT done = 0;
  while (done < count) {
    ssize_t n = ::write(m_hFile, p + done, count - done);
    if (n < 0) {
      if (errno == EINTR) continue;
      ThrowErrno(errno);
    }
    if (n == 0) throw CFileException(CFileException::diskFull, ENOSPC, m_strFileName);
    done += static_cast<UINT>(n);
  }
}

ULONGLONG CFile::Seek(LONGLONG offset, UINT from) {
  CheckOpen();
  int whence;
  switch (from) {
    case begin:
      whence = SEEK_SET;
      break;
    case current:
      whence = SEEK_CUR;
      break;
    case end:
      whence = SEEK_END;
      break;
    default:
      throw CInvalidArgException();
  }
  off_t pos = ::lseek(m_hFile, static_cast<off_t>(offset), whence);
  if (pos < 0) {
    int err = errno;
    throw CFileException(err == EINVAL ? CFileException::badSeek : CFileException::ErrnoToException(err), err,
                         m_strFileName);
  }
  return static_cast<ULONGLONG>(pos);
}

ULONGLONG CFile::GetPosition() const {
  CheckOpen();
  off_t pos = ::lseek(m_hFile, 0, SEEK_CUR);
  if (pos < 0) ThrowErrno(errno);
  return static_cast<ULONGLONG>(pos);
}

ULONGLONG CFile::GetLength() const {
  CheckOpen();
  struct stat st;
  if (::fstat(m_hFile, &st) != 0) ThrowErrno(errno);
  return static_cast<ULONGLONG>(st.st_size);
}

void CFile::SetLength(ULONGLONG newLength) {
  CheckOpen();
  if (newLength > static_cast<ULONGLONG>(LLONG_MAX))
    throw CFileException(CFileException::badSeek, EINVAL, m_strFileName);
  if (::ftruncate(m_hFile, static_cast<off_t>(newLength)) != 0) ThrowErrno(errno);
}

void CFile::Flush() {
  if (m_hFile == hFileNull) return;
  // Data written through write() is already with the system; fsync makes it
  // durable, which is what callers of Flush want before they carry on.
  if (::fsync(m_hFile) != 0 && errno != EINVAL && errno != EROFS) ThrowErrno(errno);
}

void CFile::Close() {
  if (m_hFile == hFileNull) return;
  int fd = m_hFile;
  m_hFile = hFileNull;
  m_bCloseOnDelete = FALSE;
  if (::close(fd) != 0 && errno != EINTR) ThrowErrno(errno);
}

void CFile::Abort() {
  if (m_hFile != hFileNull) {
    ::close(m_hFile);
    m_hFile = hFileNull;
  }
  m_bCloseOnDelete = FALSE;
}

CString CFile::GetFileName() const {
  int slash = m_strFileName.ReverseFind(L'/');
  return slash < 0 ? m_strFileName : m_strFileName.Mid(slash + 1);
}

CString CFile::GetFileTitle() const {
  CString name = GetFileName();
  int dot = name.ReverseFind(L'.');
  return dot <= 0 ? name : name.Left(dot);
}

CString CFile::GetFilePath() const { return m_strFileName; }

void CFile::SetFilePath(const wchar_t* newName) { m_strFileName = newName; }

void CFile::Rename(const wchar_t* oldName, const wchar_t* newName) {
  if (!oldName || !newName) throw CInvalidArgException();
  if (::rename(ToSystemPath(oldName).c_str(), ToSystemPath(newName).c_str()) != 0) {
    int err = errno;
    throw CFileException(CFileException::ErrnoToException(err), err, oldName);
  }
}

void CFile::Remove(const wchar_t* fileName) {
  if (!fileName) throw CInvalidArgException();
  if (::unlink(ToSystemPath(fileName).c_str()) != 0) {
    int err = errno;
    throw CFileException(CFileException::ErrnoToException(err), err, fileName);
  }
}
