#include "DisposalFile.h"

#include "platform/Utf.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <string>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Kernel {
namespace DisposalFile {
namespace {

// Blocks are written in chunks inverted in place just before write() copies
// them out, so each chunk is still in cache for that copy and nothing beyond
// the block and the file's pages is touched. (Inverting into a separate buffer
// costs more: at 1 MiB the extra buffer pushes the block out of L2.) The
// block is freed right after, so its inverted state is never seen; on failure
// the written part is inverted back.
//
// Small blocks go in chunks that leave room in L2 for the file's pages. From
// 8 MiB on, 2 MiB chunks measured up to a fifth faster: the page cache can
// then take the file in 2 MiB folios, and the block, restored into huge
// pages, is inverted a huge page at a time.
constexpr size_t kSmallChunk = 512 * 1024;
constexpr size_t kLargeChunk = 2 * 1024 * 1024;
constexpr uint64_t kLargeBlock = 8 * 1024 * 1024;
// Large files are read back through read-only mappings of this many bytes
// and inverted straight from the page cache into the block: one pass over
// the bytes, where read() followed by an inversion makes two. Below 8 MiB
// setting up and tearing down the mapping costs more than the pass it saves,
// and read() into the block, inverted chunk by chunk while in cache, is
// faster. The window bounds the address space a restore needs besides the
// block itself.
constexpr size_t kWindow = 8 * 1024 * 1024;

// Sixteen-byte vectors, four at a time: the loop runs at memory speed. The
// memcpy calls keep it free of alignment and aliasing assumptions and
// compile to plain unaligned vector loads and stores.
typedef uint64_t Vector __attribute__((vector_size(16)));

void InvertInto(unsigned char* target, const unsigned char* source, size_t n) {
  size_t i = 0;
  for (; i + 64 <= n; i += 64) {
    Vector a, b, c, d;
    std::memcpy(&a, source + i, 16);
    std::memcpy(&b, source + i + 16, 16);
    std::memcpy(&c, source + i + 32, 16);
    std::memcpy(&d, source + i + 48, 16);
    a = ~a;
    b = ~b;
    c = ~c;
    d = ~d;
    std::memcpy(target + i, &a, 16);
    std::memcpy(target + i + 16, &b, 16);
    std::memcpy(target + i + 32, &c, 16);
    std::memcpy(target + i + 48, &d, 16);
  }
  for (; i < n; ++i) target[i] = static_cast<unsigned char>(~source[i]);
}

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

std::string LeafName(const void* block) {
  char leaf[32];
  const auto low = static_cast<unsigned>(reinterpret_cast<uintptr_t>(block) & 0xFFFFFFFFu);
  std::snprintf(leaf, sizeof leaf, "/%x.dat", low);
  return leaf;
}

}  // namespace

void SetFolder(const CString& folder) {
  Folder& f = TheFolder();
  std::string utf8 = Utf::WideToUtf8(folder.GetString(), static_cast<size_t>(folder.GetLength()));
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

void Invert(unsigned char* bytes, size_t n) { InvertInto(bytes, bytes, n); }

bool Write(const std::string& path, unsigned char* data, uint64_t size) {
  const int fd = CreateFresh(path);
  if (fd < 0) return false;
  const size_t chunk = size >= kLargeBlock ? kLargeChunk : kSmallChunk;
  uint64_t done = 0;
  bool ok = true;
  while (ok && done < size) {
    const size_t n = static_cast<size_t>(std::min<uint64_t>(chunk, size - done));
    Invert(data + done, n);
    ok = WriteAll(fd, data + done, n);
    done += n;
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
  // A mapped file that shrinks under the reader raises SIGBUS instead of
  // giving a short read. Only a file of this user's own, read up to the
  // length it had when opened, is mapped; anything else (a file planted by
  // another user, a failed mapping when address space is short) goes
  // through read().
  const uint64_t length = std::min<uint64_t>(size, static_cast<uint64_t>(st.st_size));
  uint64_t done = 0;
  if (length >= kLargeBlock && st.st_uid == ::geteuid()) {
    while (done < length) {
      const size_t n = static_cast<size_t>(std::min<uint64_t>(kWindow, length - done));
      void* view = ::mmap(nullptr, n, PROT_READ, MAP_PRIVATE | MAP_POPULATE, fd, static_cast<off_t>(done));
      if (view == MAP_FAILED) break;
      InvertInto(buffer + done, static_cast<const unsigned char*>(view), n);
      ::munmap(view, n);
      done += n;
    }
  }
  // The file position is still 0 unless mappings took a part.
  const bool rest = done < size && (done == 0 || ::lseek(fd, static_cast<off_t>(done), SEEK_SET) >= 0);
  while (rest && done < size) {
    const size_t n = static_cast<size_t>(std::min<uint64_t>(kSmallChunk, size - done));
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
