// Numbers read from text: the integer readings must print back to a text
// that reads to the same integer, and the fifteen-digit double text must be
// stable from its first printing on.
#include <kernel/Variant.h>

#include "FuzzText.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string input = fuzz::Text(data, size);
  const CVariant v{CString(input.c_str())};
  const int64_t i = v.GetInt64();
  fuzz::Check(CVariant(CVariant(i).GetString()).GetInt64() == i, "int64", input);
  const uint64_t u = v.GetUInt64();
  fuzz::Check(CVariant(CVariant(u).GetString()).GetUInt64() == u, "uint64", input);
  // Every saturating narrowing agrees with the 64-bit reading.
  const int n = v;
  fuzz::Check(n == (i < INT32_MIN ? INT32_MIN : i > INT32_MAX ? INT32_MAX : i), "int", input);
  const double d = v.GetDouble();
  const CString first = CVariant(d).GetString();
  const double once = CVariant(first).GetDouble();
  const CString second = CVariant(once).GetString();
  fuzz::Check(first == second, "double text", input);
  fuzz::Check(fuzz::SameDouble(CVariant(second).GetDouble(), once), "double value", input);
  return 0;
}
