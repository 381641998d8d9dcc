// Loads hostile bytes as a sequence of raw data blocks. Each load must either
// produce a block or throw CArchiveException, must not reserve memory far
// beyond what the input holds, and every block that loads must store and load
// back to the same bytes.
#include <kernel/CArchive.h>
#include <kernel/CFile.h>
#include <kernel/RawData.h>

#include <cstdint>
#include <cstdlib>
#include <vector>

namespace {

using Block = Kernel::RefRawData<Kernel::Allocator>;

void CheckRoundTrip(Block& block) {
  CMemFile file;
  {
    CArchive out(&file, CArchive::store);
    block.Serialize(out);
  }
  file.SeekToBegin();
  CArchive in(&file, CArchive::load);
  Block back;
  back.Serialize(in);
  if (!(back == block)) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::vector<BYTE> bytes(data, data + size);
  CMemFile file(bytes.empty() ? nullptr : bytes.data(), static_cast<UINT>(bytes.size()));
  CArchive ar(&file, CArchive::load, 64);
  try {
    for (int step = 0; step < 16; ++step) {
      Block block;
      block.Serialize(ar);
      CheckRoundTrip(block);
    }
  } catch (const CArchiveException&) {
  }
  return 0;
}
