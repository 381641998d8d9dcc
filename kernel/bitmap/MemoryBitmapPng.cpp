// PNG reading and writing for CMemoryBitmap through libpng.
//
// libpng reports errors by longjmp. Every setjmp below sits in a small
// function whose frame, and every frame a longjmp can cross, holds only plain
// data: all C++ objects (pixel buffers, row tables, the bitmap) are created
// outside those functions, so nothing is skipped by a longjmp and nothing
// leaks. The libpng structures are freed by a guard in the caller.
#include <kernel/MemoryBitmap.h>

#include "platform/Utf.h"

#include <fcntl.h>
#include <png.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cmath>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <string>

#include <kernel/Exceptions.h>

namespace Kernel {

namespace {

// Wide (UTF-32) path to the UTF-8 bytes the system calls take.
std::string ToUtf8(const wchar_t* text) { return text != nullptr ? Utf::WideToUtf8(text, std::wcslen(text)) : std::string(); }

// The message of the last libpng error, kept in plain storage.
struct ErrorSlot {
  char message[256];
};

[[noreturn]] void OnPngError(png_structp png, png_const_charp message) {
  auto* slot = static_cast<ErrorSlot*>(png_get_error_ptr(png));
  if (slot != nullptr) {
    std::snprintf(slot->message, sizeof(slot->message), "%s", message ? message : "unknown error");
  }
  png_longjmp(png, 1);
}

void OnPngWarning(png_structp, png_const_charp) {}

// ---------------------------------------------------------------------------
// Reading

struct MemorySource {
  const uint8_t* data;
  size_t size;
  size_t pos;
};

void ReadFromMemory(png_structp png, png_bytep out, png_size_t count) {
  auto* src = static_cast<MemorySource*>(png_get_io_ptr(png));
  if (count > src->size - src->pos) png_error(png, "file is truncated");
  std::memcpy(out, src->data + src->pos, count);
  src->pos += count;
}

// What the header phase learns; plain data only.
struct ReadHeader {
  png_uint_32 width;
  png_uint_32 height;
  int bitDepth;    // after the transforms
  int colourType;  // after the transforms
  int paletteCount;
  png_color palette[256];
  int xDpi;
  int yDpi;
};

bool ReadInfo(png_structp png, png_infop info, MemorySource* src, bool bgr, ReadHeader* out) {
  if (setjmp(png_jmpbuf(png))) return false;
  png_set_read_fn(png, src, ReadFromMemory);
  png_read_info(png, info);

  const int colourType = png_get_color_type(png, info);
  const int depth = png_get_bit_depth(png, info);
  const bool hasTrns = png_get_valid(png, info, PNG_INFO_tRNS) != 0;
  if (colourType == PNG_COLOR_TYPE_PALETTE && hasTrns) {
    // Per-entry transparency has no place in an indexed bitmap: go to RGBA.
    png_set_palette_to_rgb(png);
    png_set_tRNS_to_alpha(png);
  } else if (colourType == PNG_COLOR_TYPE_GRAY && depth < 8) {
    png_set_expand_gray_1_2_4_to_8(png);
  }
  if (colourType != PNG_COLOR_TYPE_PALETTE && hasTrns) png_set_tRNS_to_alpha(png);
  if (depth == 16) png_set_swap(png);  // words are stored little-endian
  if (bgr) png_set_bgr(png);
  png_set_interlace_handling(png);
  png_read_update_info(png, info);

  out->width = png_get_image_width(png, info);
  out->height = png_get_image_height(png, info);
  out->bitDepth = png_get_bit_depth(png, info);
  out->colourType = png_get_color_type(png, info);
  out->paletteCount = 0;
  if (out->colourType == PNG_COLOR_TYPE_PALETTE) {
    png_colorp entries = nullptr;
    int count = 0;
    if (png_get_PLTE(png, info, &entries, &count) != 0 && count > 0) {
      if (count > 256) count = 256;
      std::memcpy(out->palette, entries, sizeof(png_color) * static_cast<size_t>(count));
      out->paletteCount = count;
    }
  }
  out->xDpi = out->yDpi = 0;
  png_uint_32 xppm = 0, yppm = 0;
  int unit = 0;
  if (png_get_pHYs(png, info, &xppm, &yppm, &unit) != 0 && unit == PNG_RESOLUTION_METER) {
    out->xDpi = static_cast<int>(std::lround(xppm * 0.0254));
    out->yDpi = static_cast<int>(std::lround(yppm * 0.0254));
  }
  return true;
}

bool ReadPixels(png_structp png, png_bytepp rows) {
  if (setjmp(png_jmpbuf(png))) return false;
  png_read_image(png, rows);
  png_read_end(png, nullptr);
  return true;
}

struct ReadGuard {
  png_structp png = nullptr;
  png_infop info = nullptr;
  ~ReadGuard() {
    if (png != nullptr) png_destroy_read_struct(&png, info ? &info : nullptr, nullptr);
  }
};

// The depth and order a decoded PNG layout maps to; false for none.
bool LayoutFor(const ReadHeader& h, ColourOrder::Type colourOrder, int& bits, ColourOrder::Type& order) {
  const int d = h.bitDepth;
  switch (h.colourType) {
    case PNG_COLOR_TYPE_PALETTE:
      bits = d;
      order = colourOrder;
      return d == 1 || d == 2 || d == 4 || d == 8;
    case PNG_COLOR_TYPE_GRAY:
      bits = d;
      order = ColourOrder::Mono;
      return d == 8 || d == 16;
    case PNG_COLOR_TYPE_GRAY_ALPHA:
      bits = 2 * d;
      order = ColourOrder::MonoA;
      return d == 8 || d == 16;
    case PNG_COLOR_TYPE_RGB:
      bits = 3 * d;
      order = colourOrder;
      return d == 8 || d == 16;
    case PNG_COLOR_TYPE_RGB_ALPHA:
      bits = 4 * d;
      order = colourOrder;
      return d == 8 || d == 16;
    default:
      return false;
  }
}

CPtr<CMemoryBitmap> Decode(const std::string& name, const uint8_t* data, size_t size, ColourOrder::Type order) {
  if (order != ColourOrder::Rgb && order != ColourOrder::Bgr)
    throw CImageFileException(name, "colour order must be Rgb or Bgr");
  if (size < 8 || png_sig_cmp(data, 0, 8) != 0) throw CImageFileException(name, "not a PNG file");

  ErrorSlot error{};
  ReadGuard guard;
  guard.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &error, OnPngError, OnPngWarning);
  if (guard.png == nullptr) throw CImageFileException(name, "out of memory");
  guard.info = png_create_info_struct(guard.png);
  if (guard.info == nullptr) throw CImageFileException(name, "out of memory");

  MemorySource src{data, size, 0};
  ReadHeader header{};
  if (!ReadInfo(guard.png, guard.info, &src, order == ColourOrder::Rgb, &header))
    throw CImageFileException(name, std::string("corrupt PNG: ") + error.message);

  int bits = 0;
  ColourOrder::Type bitmapOrder = ColourOrder::Bgr;
  if (!LayoutFor(header, order, bits, bitmapOrder)) throw CImageFileException(name, "unsupported PNG layout");
  if (header.width > 0x7FFFFFFF || header.height > 0x7FFFFFFF ||
      CBaseBitmap::GetBytesNeeded(static_cast<int>(header.width), static_cast<int>(header.height), bits, 4) ==
          0xFFFFFFFFu)
    throw CImageFileException(name, "image too large");

  CPtr<CMemoryBitmap> bitmap;
  try {
    bitmap = new CMemoryBitmap(static_cast<int>(header.width), static_cast<int>(header.height), bits, bitmapOrder);
  } catch (const CMemoryException&) {
    throw CImageFileException(name, "out of memory");
  } catch (const CInvalidArgException&) {
    throw CImageFileException(name, "image too large");
  }
  const size_t rowBytes = (static_cast<size_t>(header.width) * static_cast<size_t>(bits) + 7) / 8;
  if (png_get_rowbytes(guard.png, guard.info) != rowBytes) throw CImageFileException(name, "unsupported PNG layout");

  if (header.colourType == PNG_COLOR_TYPE_PALETTE) {
    if (header.paletteCount == 0) throw CImageFileException(name, "corrupt PNG: palette missing");
    // A palette longer than the depth can index keeps only what can be used.
    const int count = std::min(header.paletteCount, 1 << bits);
    std::vector<RGBQUAD> palette(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i)
      palette[static_cast<size_t>(i)] =
          RGBQUAD{header.palette[i].blue, header.palette[i].green, header.palette[i].red, 0};
    bitmap->CreateWithPalette(bitmap->GetWidth(), bitmap->GetHeight(), bits, palette.data(), count, bitmapOrder,
                              BitmapOrigin::TopLeft);
  }

  std::vector<png_bytep> rows(header.height);
  for (png_uint_32 y = 0; y < header.height; ++y) rows[y] = bitmap->GetBits(CPoint(0, static_cast<int>(y)));
  if (!ReadPixels(guard.png, rows.data()))
    throw CImageFileException(name, std::string("corrupt PNG: ") + error.message);
  bitmap->SetResolution(header.xDpi, header.yDpi);
  return bitmap;
}

// ---------------------------------------------------------------------------
// Writing

struct MemorySink {
  std::vector<uint8_t>* bytes;
};

void WriteToMemory(png_structp png, png_bytep data, png_size_t count) {
  auto* sink = static_cast<MemorySink*>(png_get_io_ptr(png));
  bool ok = true;
  try {
    sink->bytes->insert(sink->bytes->end(), data, data + count);
  } catch (...) {
    ok = false;
  }
  if (!ok) png_error(png, "out of memory");
}

void FlushMemory(png_structp) {}

struct WriteJob {
  png_uint_32 width;
  png_uint_32 height;
  int bitDepth;
  int colourType;
  bool swap16;
  bool bgr;
  const png_color* palette;
  int paletteCount;
  int xDpi;
  int yDpi;
  png_bytepp rows;
};

bool WritePng(png_structp png, png_infop info, MemorySink* sink, const WriteJob* job) {
  if (setjmp(png_jmpbuf(png))) return false;
  png_set_write_fn(png, sink, WriteToMemory, FlushMemory);
  png_set_IHDR(png, info, job->width, job->height, job->bitDepth, job->colourType, PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  if (job->colourType == PNG_COLOR_TYPE_PALETTE) png_set_PLTE(png, info, job->palette, job->paletteCount);
  if (job->xDpi > 0 && job->yDpi > 0) {
    png_set_pHYs(png, info, static_cast<png_uint_32>(std::lround(job->xDpi / 0.0254)),
                 static_cast<png_uint_32>(std::lround(job->yDpi / 0.0254)), PNG_RESOLUTION_METER);
  }
  png_write_info(png, info);
  if (job->swap16) png_set_swap(png);
  if (job->bgr) png_set_bgr(png);
  png_write_image(png, job->rows);
  png_write_end(png, info);
  return true;
}

struct WriteGuard {
  png_structp png = nullptr;
  png_infop info = nullptr;
  ~WriteGuard() {
    if (png != nullptr) png_destroy_write_struct(&png, info ? &info : nullptr);
  }
};

// PNG colour type, bit depth and byte order of a format; false when PNG
// cannot hold it.
bool PngLayoutOf(SupportedFormat::Type format, int& colourType, int& depth, bool& bgr) {
  using SF = SupportedFormat;
  bgr = false;
  switch (format) {
    case SF::RGB1:
      colourType = PNG_COLOR_TYPE_PALETTE;
      depth = 1;
      return true;
    case SF::RGB2:
      colourType = PNG_COLOR_TYPE_PALETTE;
      depth = 2;
      return true;
    case SF::RGB4:
      colourType = PNG_COLOR_TYPE_PALETTE;
      depth = 4;
      return true;
    case SF::RGB8:
      colourType = PNG_COLOR_TYPE_PALETTE;
      depth = 8;
      return true;
    case SF::MONO8:
      colourType = PNG_COLOR_TYPE_GRAY;
      depth = 8;
      return true;
    case SF::MONO16:
      colourType = PNG_COLOR_TYPE_GRAY;
      depth = 16;
      return true;
    case SF::MONOA16:
      colourType = PNG_COLOR_TYPE_GRAY_ALPHA;
      depth = 8;
      return true;
    case SF::MONOA32:
      colourType = PNG_COLOR_TYPE_GRAY_ALPHA;
      depth = 16;
      return true;
    case SF::RGB24:
      bgr = true;
      [[fallthrough]];
    case SF::BGR24:
      colourType = PNG_COLOR_TYPE_RGB;
      depth = 8;
      return true;
    case SF::RGB32:
      bgr = true;
      [[fallthrough]];
    case SF::BGR32:
      colourType = PNG_COLOR_TYPE_RGB_ALPHA;
      depth = 8;
      return true;
    case SF::RGB48:
      bgr = true;
      [[fallthrough]];
    case SF::BGR48:
      colourType = PNG_COLOR_TYPE_RGB;
      depth = 16;
      return true;
    case SF::RGB64:
      bgr = true;
      [[fallthrough]];
    case SF::BGR64:
      colourType = PNG_COLOR_TYPE_RGB_ALPHA;
      depth = 16;
      return true;
    default:
      return false;
  }
}

// The largest palette index any pixel uses.
int HighestIndex(const CBaseBitmap& bm) {
  const int bits = bm.GetBitsPerPixel();
  const int perByte = 8 / bits;
  const int valueMask = (1 << bits) - 1;
  int highest = 0;
  for (int y = 0; y < bm.GetHeight(); ++y) {
    const uint8_t* row = bm.GetBits(CPoint(0, y));
    for (int x = 0; x < bm.GetWidth(); ++x) {
      const int shift = 8 - (x % perByte + 1) * bits;
      highest = std::max(highest, (row[x / perByte] >> shift) & valueMask);
    }
  }
  return highest;
}

// Writes bytes to a new file beside path and renames it over path, so readers
// see the old file or the new one, never a part.
void WriteFileAtomically(const std::string& path, const std::vector<uint8_t>& bytes) {
  static std::atomic<unsigned> counter{0};
  const size_t slash = path.rfind('/');
  const std::string folder = slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
  const std::string leaf = slash == std::string::npos ? path : path.substr(slash + 1);
  if (leaf.empty()) throw CImageFileException(path, "no file name");

  std::string temp;
  int fd = -1;
  for (int attempt = 0; attempt < 100 && fd < 0; ++attempt) {
    temp = folder + "." + leaf + "." + std::to_string(::getpid()) + "." + std::to_string(counter++) + ".tmp";
    fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd < 0 && errno != EEXIST) break;
  }
  if (fd < 0) throw CImageFileException(path, std::string("cannot create file: ") + std::strerror(errno));

  const auto fail = [&](const char* what) {
    const int err = errno;
    if (fd >= 0) ::close(fd);
    ::unlink(temp.c_str());
    throw CImageFileException(path, std::string(what) + ": " + std::strerror(err));
  };
  // A replaced file keeps its permissions.
  struct stat old {};
  if (::stat(path.c_str(), &old) == 0 && S_ISREG(old.st_mode) && ::fchmod(fd, old.st_mode & 07777) != 0)
    fail("cannot set file permissions");
  size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
    if (n < 0) {
      if (errno == EINTR) continue;
      fail("cannot write file");
    }
    done += static_cast<size_t>(n);
  }
  if (::fsync(fd) != 0) fail("cannot write file");
  const int closed = ::close(fd);
  fd = -1;
  if (closed != 0) fail("cannot write file");
  if (::rename(temp.c_str(), path.c_str()) != 0) fail("cannot replace file");
}

}  // namespace

CPtr<CMemoryBitmap> CMemoryBitmap::LoadPNG(const void* data, size_t size, ColourOrder::Type order) {
  if (data == nullptr && size != 0) throw CImageFileException(std::string(), "no data");
  return Decode(std::string(), static_cast<const uint8_t*>(data), size, order);
}

CPtr<CMemoryBitmap> CMemoryBitmap::LoadPNG(const wchar_t* path, ColourOrder::Type order) {
  const std::string name = ToUtf8(path);
  std::FILE* file = std::fopen(name.c_str(), "rb");
  if (file == nullptr) throw CImageFileException(name, std::string("cannot open file: ") + std::strerror(errno));
  std::vector<uint8_t> bytes;
  uint8_t chunk[65536];
  bool readError = false;
  try {
    for (;;) {
      const size_t n = std::fread(chunk, 1, sizeof(chunk), file);
      bytes.insert(bytes.end(), chunk, chunk + n);
      if (n < sizeof(chunk)) {
        readError = std::ferror(file) != 0;
        break;
      }
    }
  } catch (...) {
    std::fclose(file);
    throw CImageFileException(name, "out of memory");
  }
  std::fclose(file);
  if (readError) throw CImageFileException(name, "cannot read file");
  return Decode(name, bytes.data(), bytes.size(), order);
}

bool CMemoryBitmap::CanSavePNG() const {
  int colourType = 0, depth = 0;
  bool bgr = false;
  return PngLayoutOf(GetImageType(this), colourType, depth, bgr);
}

std::vector<uint8_t> CMemoryBitmap::EncodePNG() const {
  const SupportedFormat::Type format = GetImageType(this);
  WriteJob job{};
  if (!PngLayoutOf(format, job.colourType, job.bitDepth, job.bgr)) {
    const char* formatName = GetFormatName(format);
    throw CImageFileException(
        std::string(), std::string("PNG cannot hold the format ") + (formatName ? formatName : "of this bitmap"));
  }
  if (m_width == 0 || m_height == 0) throw CImageFileException(std::string(), "PNG cannot hold an empty image");
  job.width = static_cast<png_uint_32>(m_width);
  job.height = static_cast<png_uint_32>(m_height);
  job.swap16 = job.bitDepth == 16;
  job.xDpi = m_xDpi;
  job.yDpi = m_yDpi;

  std::vector<png_color> palette;
  if (job.colourType == PNG_COLOR_TYPE_PALETTE) {
    const int maxEntries = 1 << job.bitDepth;
    const int count = std::min(GetPaletteSize(), maxEntries);
    for (int i = 0; i < count; ++i)
      palette.push_back(png_color{m_palette[i].rgbRed, m_palette[i].rgbGreen, m_palette[i].rgbBlue});
    if (palette.empty()) {
      // No palette given: the indices are grey levels.
      for (int i = 0; i < maxEntries; ++i) {
        const auto v = static_cast<png_byte>(i * 255 / (maxEntries - 1));
        palette.push_back(png_color{v, v, v});
      }
    }
    // PNG refuses indices past the palette's end; give such pixels black
    // entries rather than failing the save.
    const int highest = HighestIndex(*this);
    while (static_cast<int>(palette.size()) <= highest) palette.push_back(png_color{0, 0, 0});
    job.palette = palette.data();
    job.paletteCount = static_cast<int>(palette.size());
  }

  std::vector<png_bytep> rows(static_cast<size_t>(m_height));
  for (int y = 0; y < m_height; ++y) rows[static_cast<size_t>(y)] = const_cast<png_bytep>(GetBits(CPoint(0, y)));
  job.rows = rows.data();

  ErrorSlot error{};
  WriteGuard guard;
  guard.png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &error, OnPngError, OnPngWarning);
  if (guard.png == nullptr) throw CImageFileException(std::string(), "out of memory");
  guard.info = png_create_info_struct(guard.png);
  if (guard.info == nullptr) throw CImageFileException(std::string(), "out of memory");

  std::vector<uint8_t> bytes;
  MemorySink sink{&bytes};
  if (!WritePng(guard.png, guard.info, &sink, &job))
    throw CImageFileException(std::string(), std::string("cannot encode PNG: ") + error.message);
  return bytes;
}

void CMemoryBitmap::SavePNG(const wchar_t* path) const {
  const std::string name = ToUtf8(path);
  std::vector<uint8_t> bytes;
  try {
    bytes = EncodePNG();
  } catch (const CImageFileException& e) {
    throw CImageFileException(name, e.GetReason());
  }
  WriteFileAtomically(name, bytes);
}

}  // namespace Kernel
