// Currency amounts read from text.
#include <kernel/Variant.h>

#include "FuzzText.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string input = fuzz::Text(data, size);
  const CString text(input.c_str());
  CY cy = MakeCY(0);
  if (CurrencyFromString(text, cy)) {
    const CString printed = CurrencyToString(cy);
    CY back = MakeCY(0);
    fuzz::Check(CurrencyFromString(printed, back) && back == cy, "currency", input);
    fuzz::Check(static_cast<CY>(CVariant(cy)) == cy, "currency variant", input);
  }
  return 0;
}
