#include "DisposalFile.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace Kernel {
namespace DisposalFile {
namespace {

// Large enough that system-call overhead vanishes, small enough that a chunk
// that was just inverted is still in cache when write() copies it out.
constexpr size_t kChunk = 512 * 1024;

struct Folder {
  std::mutex lock;
  CString wide;
  std::string utf8;
};

// Never destroyed: a block that outlives the memory manager at process exit
// must still be able to delete its file.
Folder& TheFolder() {
  static Folder* folder = new Folder;
  return *folder;
}

bool WriteAll(int fd, const unsigned char* p, size_t n) {
  while (n > 0) {
    const ssize_t done = ::write(fd, p, n);
    if (done < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    if (done == 0) return false;
    p += done;
    n -= static_cast<size_t>(done);
  }
  return true;
}

// Reads until n bytes or the end of the file; returns the count or -1.
int64_t ReadSome(int fd, unsigned char* p, size_t n) {
  size_t total = 0;
  while (total < n) {
    const ssize_t done = ::read(fd, p + total, n - total);
    if (done < 0) {
      if (errno == EINTR) continue;
      return -1;
    }
    if (done == 0) break;
    total += static_cast<size_t>(done);
  }
  return static_cast<int64_t>(total);
}

// A fresh file at path, or -1. O_EXCL with O_NOFOLLOW refuses any existing
// entry, a symbolic link included; such an entry (a stale file of a crashed
// run, or something planted) is unlinked and creation tried again. unlink
// removes the name only, never the file a link points to.
int CreateFresh(const std::string& path) {
  for (int attempt = 0; attempt < 16; ++attempt) {
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd >= 0) return fd;
    if (errno == EINTR) continue;
    if (errno != EEXIST) return -1;
    if (::unlink(path.c_str()) != 0 && errno != ENOENT) return -1;
  }
  return -1;
}

void AppendUtf8(std::string& out, uint32_t c) {
  if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) c = 0xFFFD;
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else if (c < 0x800) {
    out += static_cast<char>(0xC0 | (c >> 6));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    out += static_cast<char>(0xE0 | (c >> 12));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (c >> 18));
    out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  }
}

std::string LeafName(const void* block) {
  char leaf[32];
  const auto low = static_cast<unsigned>(reinterpret_cast<uintptr_t>(block) & 0xFFFFFFFFu);
  std::snprintf(leaf, sizeof leaf, "/%x.dat", low);
  return leaf;
}

}  // namespace

std::string ToUtf8(const wchar_t* text) {
  std::string out;
  if (text == nullptr) return out;
  for (; *text != 0; ++text) AppendUtf8(out, static_cast<uint32_t>(*text));
  return out;
}

void SetFolder(const CString& folder) {
  Folder& f = TheFolder();
  std::string utf8 = ToUtf8(folder.GetString());
  std::lock_guard<std::mutex> hold(f.lock);
  f.wide = folder;
  f.utf8 = std::move(utf8);
}

CString GetFolder() {
  Folder& f = TheFolder();
  std::lock_guard<std::mutex> hold(f.lock);
  return f.wide;
}

bool HasFolder() {
  Folder& f = TheFolder();
  std::lock_guard<std::mutex> hold(f.lock);
  return !f.utf8.empty();
}

std::string Utf8Name(const void* block) {
  Folder& f = TheFolder();
  std::string folder;
  {
    std::lock_guard<std::mutex> hold(f.lock);
    folder = f.utf8;
  }
  return folder + LeafName(block);
}

CString WideName(const void* block) {
  CString name = GetFolder();
  const std::string leaf = LeafName(block);
  std::wstring wleaf(leaf.begin(), leaf.end());  // ASCII only
  name += wleaf.c_str();
  return name;
}

void Invert(unsigned char* bytes, size_t n) {
  size_t i = 0;
  // Whole words first; memcpy keeps this free of alignment and aliasing
  // assumptions and compiles to plain (vectorisable) loads and stores.
  for (; i + 32 <= n; i += 32) {
    uint64_t w[4];
    std::memcpy(w, bytes + i, 32);
    w[0] = ~w[0];
    w[1] = ~w[1];
    w[2] = ~w[2];
    w[3] = ~w[3];
    std::memcpy(bytes + i, w, 32);
  }
  for (; i < n; ++i) bytes[i] = static_cast<unsigned char>(~bytes[i]);
}

bool Write(const std::string& path, unsigned char* data, uint64_t size) {
  const int fd = CreateFresh(path);
  if (fd < 0) return false;
  uint64_t done = 0;
  bool ok = true;
  while (done < size) {
    const size_t n = static_cast<size_t>(std::min<uint64_t>(kChunk, size - done));
    Invert(data + done, n);
    done += n;
    if (!WriteAll(fd, data + done - n, n)) {
      ok = false;
      break;
    }
  }
  if (::close(fd) != 0) ok = false;
  if (!ok) {
    Invert(data, static_cast<size_t>(done));
    ::unlink(path.c_str());
  }
  return ok;
}

int64_t Read(const std::string& path, unsigned char* buffer, uint64_t size) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
  if (fd < 0) return -1;
  struct stat st;
  if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
    ::close(fd);
    return -1;
  }
  uint64_t done = 0;
  while (done < size) {
    const size_t n = static_cast<size_t>(std::min<uint64_t>(kChunk, size - done));
    const int64_t got = ReadSome(fd, buffer + done, n);
    if (got <= 0) break;
    Invert(buffer + done, static_cast<size_t>(got));
    done += static_cast<uint64_t>(got);
    if (static_cast<size_t>(got) < n) break;
  }
  ::close(fd);
  ::unlink(path.c_str());
  return static_cast<int64_t>(done);
}

void Remove(const std::string& path) { ::unlink(path.c_str()); }

}  // namespace DisposalFile
}  // namespace Kernel
