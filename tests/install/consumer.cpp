// A program outside the repository: it sees only the installed headers and
// library, exactly as a user's module would. It touches each family once so a
// symbol that is used by callers but not exported fails here, not in a user's
// build.
#include <kernel/NorvikKernel.h>

#include <cstdio>
#include <cstring>

namespace {
int g_failures = 0;
void Check(bool ok, const char* what) {
  if (!ok) {
    std::fprintf(stderr, "consumer: %s failed\n", what);
    ++g_failures;
  }
}
}  // namespace

int main() {
  Check(std::strlen(Kernel::GetLibraryVersion()) > 0, "version");

  CString s;
  s.Format(L"%d-%s", 42, L"x");
  Check(s == L"42-x", "CString::Format");

  CRect a(0, 0, 10, 10), b(5, 5, 20, 20), c;
  Check(IntersectRect(&c, &a, &b) && c == CRect(5, 5, 10, 10), "IntersectRect");

  Kernel::CPtr<Kernel::CMemoryBitmap> src(new Kernel::CMemoryBitmap(7, 5, 24, Kernel::ColourOrder::Rgb));
  Kernel::CPtr<Kernel::CMemoryBitmap> dst(new Kernel::CMemoryBitmap(7, 5, 32, Kernel::ColourOrder::Rgb));
  src->Clear(0x00336699u, nullptr);
  Kernel::CopyPixels(dst.Get(), src.Get(), nullptr, nullptr);
  const uint8_t* p = dst->GetBits(CPoint(3, 2));
  // Red sits in the colour's low byte; the RGB family stores blue first.
  Check(p[0] == 0x33 && p[1] == 0x66 && p[2] == 0x99, "CopyPixels RGB24 -> RGB32");

  Check(Kernel::NearestSupportedFormat(Kernel::SupportedFormat::RGB24, Kernel::SupportedFormat::RGB32) ==
            Kernel::SupportedFormat::RGB32,
        "NearestSupportedFormat");

  if (g_failures) return 1;
  std::printf("consumer linked NorvikKernel %s: strings, rectangles, bitmaps and conversion work\n",
              Kernel::GetLibraryVersion());
  return 0;
}
