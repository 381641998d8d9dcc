// norvik variant TEXT: how a text is stored in a variant (tag, inline or
// heap, size) and what every conversion out of it gives.
#include <kernel/Variant.h>

#include <cstdio>
#include <initializer_list>
#include <string>
#include <string_view>

#include "Command.h"

namespace norvik {
namespace {

std::string Narrow(const CString& s) { return CStringA(s).GetString(); }

// Joins pieces; avoids the "literal" + std::string chains that GCC 12
// misreads as overlapping copies (-Wrestrict).
std::string Cat(std::initializer_list<std::string_view> parts) {
  std::string out;
  for (std::string_view p : parts) out.append(p);
  return out;
}

const char* TagName(CVariant::Tag tag) {
  switch (tag) {
    case CVariant::tagInlineString:
      return "0 (inline string)";
    case CVariant::tagHeapString:
      return "1 (heap string)";
    case CVariant::tagEmpty:
      return "2 (empty)";
    case CVariant::tagSigned:
      return "3 (signed integer)";
    case CVariant::tagUnsigned:
      return "4 (unsigned integer)";
    case CVariant::tagDouble:
      return "5 (double)";
    case CVariant::tagError:
      return "6 (error)";
  }
  return "?";
}

void Line(std::string& out, const char* name, const std::string& value) {
  char label[32];
  std::snprintf(label, sizeof label, "  %-16s ", name);
  out += label;
  out += value;
  out += '\n';
}

std::string Describe(const CVariant& v) {
  std::string out;
  out += "storage\n";
  Line(out, "tag", TagName(v.GetTag()));
  if (v.IsInlineString()) {
    const std::string bytes = v.GetInlineUtf8();
    Line(out, "inline bytes",
         Cat({std::to_string(bytes.size()), " of ", std::to_string(CVariant::c_maxInlineString),
              bytes.size() == 11 ? " (the tag byte ends the text)" : ""}));
  } else if (v.GetTag() == CVariant::tagHeapString) {
    Line(out, "heap characters", std::to_string(v.GetString().GetLength()));
  }
  Line(out, "memory estimate", Cat({std::to_string(v.EstimateMemoryUsed()), " bytes"}));
  Line(out, "plain copy", v.IsPod() ? "yes (bitwise)" : "no (owns a string)");

  out += "conversions\n";
  Line(out, "text", Cat({"\"", v.GetStringA().GetString(), "\""}));
  Line(out, "int64", std::to_string(static_cast<int64_t>(v)));
  Line(out, "uint64", std::to_string(static_cast<uint64_t>(v)));
  Line(out, "int", std::to_string(static_cast<int>(v)));
  Line(out, "short", std::to_string(static_cast<short>(v)));
  Line(out, "char", std::to_string(static_cast<int>(static_cast<char>(v))));
  Line(out, "byte", std::to_string(static_cast<unsigned>(static_cast<unsigned char>(v))));
  Line(out, "bool", static_cast<bool>(v) ? "true" : "false");
  char number[40];
  std::snprintf(number, sizeof number, "%.17g", static_cast<double>(v));
  Line(out, "double", number);
  Line(out, "point", Narrow(CVariant(static_cast<POINT>(v)).GetString()));
  Line(out, "size", Narrow(CVariant(static_cast<SIZE>(v)).GetString()));
  Line(out, "rect", Narrow(CVariant(static_cast<RECT>(v)).GetString()));
  Line(out, "double point", Narrow(CVariant(static_cast<DBLPOINT>(v)).GetString()));
  Line(out, "double rect", Narrow(CVariant(static_cast<DBLRECT>(v)).GetString()));
  Line(out, "guid", Narrow(GuidToString(static_cast<GUID>(v))));
  const COleDateTime date = v;
  const char* status = date.GetStatus() == COleDateTime::valid  ? "valid"
                       : date.GetStatus() == COleDateTime::null ? "null"
                                                                : "invalid";
  std::snprintf(number, sizeof number, " (DATE %.10g)", date.m_dt);
  const std::string when = date.GetStatus() == COleDateTime::valid ? Narrow(date.Format()) : std::string();
  Line(out, "date", Cat({status, when.empty() ? "" : ", ", when, number}));
  const COleDateTimeSpan span = v;
  std::snprintf(number, sizeof number, "%.15g days", span.m_span);
  Line(out, "span",
       span.GetStatus() == COleDateTimeSpan::valid  ? number
       : span.GetStatus() == COleDateTimeSpan::null ? "null"
                                                    : "invalid");
  Line(out, "currency", Narrow(CurrencyToString(static_cast<CY>(v))));
  char letter = 0;
  CString name;
  int count = 0;
  if (v.GetArrayInfo(letter, &name, &count)) {
    const char letterText[2] = {letter, 0};
    std::string info = Cat({"letter '", letterText, "', ", std::to_string(count), " elements"});
    if (!name.IsEmpty()) info += Cat({", name \"", Narrow(name), "\""});
    Line(out, "array", info);
  } else {
    Line(out, "array", "not an array");
  }
  return out;
}

int RunVariant(const Args& args) {
  if (args.size() != 1) throw UsageError("variant takes exactly one TEXT");
  const CVariant v{CString(args[0].c_str())};
  const std::string text = Describe(v);
  std::fwrite(text.data(), 1, text.size(), stdout);
  return 0;
}

}  // namespace
}  // namespace norvik

NK_COMMAND("variant", "variant TEXT",
           "Stores TEXT in a variant and shows how it is kept (the tag, inline UTF-8\n"
           "or a heap string, the bytes used and the memory estimate), then every\n"
           "conversion out of it: the integer readings with their saturation, the\n"
           "double, points, sizes and rectangles, GUID, date, span, currency and the\n"
           "array header. Try: norvik variant 300, norvik variant \"_arr_i:3:1;2;3\".\n",
           &norvik::RunVariant);
