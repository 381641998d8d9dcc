// Loads hostile bytes through the archive's readers. Every reader must either
// produce a value or throw CArchiveException; strings that were read must
// survive a store/load round trip unchanged.
#include <kernel/CArchive.h>
#include <kernel/CFile.h>

#include <cstdint>
#include <cstdlib>
#include <vector>

namespace {

void CheckRoundTrip(const CString& s) {
  CMemFile file;
  {
    CArchive out(&file, CArchive::store);
    out << s;
  }
  file.SeekToBegin();
  CArchive in(&file, CArchive::load);
  CString back;
  in >> back;
  if (!(back == s)) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::vector<BYTE> bytes(data, data + size);
  CMemFile file(bytes.empty() ? nullptr : bytes.data(), static_cast<UINT>(bytes.size()));
  CArchive ar(&file, CArchive::load, 128);
  try {
    for (int step = 0; step < 64; ++step) {
      BYTE op;
      ar >> op;
      switch (op % 7) {
        case 0: {
          CString s;
          ar >> s;
          CheckRoundTrip(s);
          break;
        }
        case 1: {
          CStringA s;
          ar >> s;
          CheckRoundTrip(CString(s));
          break;
        }
        case 2:
          (void)ar.ReadCount();
          break;
        case 3: {
          double d;
          ar >> d;
          break;
        }
        case 4: {
          CString line;
          if (!ar.ReadString(line)) return 0;
          break;
        }
        case 5: {
          BYTE buf[300];
          BYTE n;
          ar >> n;
          if (ar.Read(buf, n) > n) std::abort();
          break;
        }
        default: {
          ULONGLONG v;
          ar >> v;
          break;
        }
      }
    }
  } catch (const CArchiveException&) {
    // Running out of data or a bad length is the expected way to stop.
  }
  return 0;
}
