// Dates read from the United Kingdom text form.
#include <kernel/Variant.h>

#include "FuzzText.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string input = fuzz::Text(data, size);
  const CString text(input.c_str());
  COleDateTime dt;
  if (dt.ParseDateTime(text)) {
    const CString printed = dt.Format();
    COleDateTime back;
    fuzz::Check(back.ParseDateTime(printed), "date reparse", input);
    fuzz::Check(back.GetStatus() == dt.GetStatus() && back.m_dt == dt.m_dt, "date value", input);
    fuzz::Check(back.Format() == printed, "date text", input);
    const COleDateTime viaVariant = CVariant(dt);
    fuzz::Check(viaVariant == dt, "date variant", input);
  } else {
    fuzz::Check(dt.GetStatus() == COleDateTime::invalid && (dt.m_dt == 0.0 || dt.m_dt == -1.0), "failure", input);
  }
  return 0;
}
