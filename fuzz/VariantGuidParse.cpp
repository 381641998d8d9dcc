// GUIDs read from text.
#include <kernel/Variant.h>

#include "FuzzText.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string input = fuzz::Text(data, size);
  const CString text(input.c_str());
  GUID g{};
  if (GuidFromString(text, g)) {
    const CString printed = GuidToString(g);
    GUID back{};
    fuzz::Check(GuidFromString(printed, back) && back == g, "guid", input);
    fuzz::Check(printed.CompareNoCase(text) == 0, "guid text", input);
    fuzz::Check(static_cast<GUID>(CVariant(g)) == g, "guid variant", input);
  } else {
    fuzz::Check(static_cast<GUID>(CVariant(text)) == GUID_NULL, "bad guid", input);
  }
  return 0;
}
