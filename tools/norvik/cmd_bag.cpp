// norvik bag FILE.xml: prints a saved property bag as a tree. Also the demo
// step that writes a small bag and prints it back.
#include <kernel/Exceptions.h>
#include <kernel/MemoryPropertyBag.h>

#include <cstdio>
#include <cwchar>
#include <filesystem>
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

std::string Value(const CVariant& v) {
  switch (v.GetTag()) {
    case CVariant::tagInlineString:
      return Cat({"string \"", Narrow(v.GetString()), "\" (inline)"});
    case CVariant::tagHeapString:
      return Cat({"string \"", Narrow(v.GetString()), "\""});
    case CVariant::tagSigned:
      return Cat({"int ", Narrow(v.GetString())});
    case CVariant::tagUnsigned:
      return Cat({"uint ", Narrow(v.GetString())});
    case CVariant::tagDouble:
      return Cat({"double ", Narrow(v.GetString())});
    case CVariant::tagError:
      return Cat({"error ", std::to_string(v.GetError()), " (", Narrow(v.GetString()), ")"});
    default:
      return "empty";
  }
}

void Print(const Kernel::CMemoryPropertyBag& bag, const std::string& indent, std::string& out) {
  for (int i = 0; i < bag.GetAttributeCount(); ++i) {
    out += Cat({indent, Narrow(bag.GetAttributeKey(i)), " = ", Value(bag.GetAttributeValue(i)), "\n"});
  }
  for (int i = 0; i < bag.GetChildCount(); ++i) {
    out += Cat({indent, "[", Narrow(bag.GetChildName(i)), "]\n"});
    Print(*bag.GetChild(i), Cat({indent, "  "}), out);
  }
}

std::string Tree(const std::string& path) {
  Kernel::CXmlPropertyBag bag;
  try {
    bag.Load(CString(path.c_str()));
  } catch (const CException& e) {
    throw Failure(e.what());
  }
  std::string out = Cat({path, "\n"});
  Print(bag, "  ", out);
  return out;
}

int RunBag(const Args& args) {
  if (args.size() != 1) throw UsageError("bag takes exactly one FILE.xml");
  const std::string text = Tree(args[0]);
  std::fwrite(text.data(), 1, text.size(), stdout);
  return 0;
}

void DemoBag(const std::filesystem::path& folder) {
  Kernel::CXmlPropertyBag bag;
  bag.AddAttribute(L"Title", L"Front page");
  bag.AddAttribute(L"Columns", 3);
  bag.AddAttribute(L"Origin", CPoint(12, -4));
  bag.AddAttribute(L"Frame", DBLRECT{0, 0, 595.28, 841.89});
  bag.AddAttribute(L"Published", COleDateTime(2024, 3, 1, 9, 30, 0));
  CArray<int> guides;
  for (int x : {40, 200, 360, 520}) guides.Add(x);
  bag.AddAttribute(L"Guides", guides);
  LOGFONTW font{};
  font.lfHeight = -14;
  font.lfWeight = 700;
  font.lfCharSet = 1;
  std::wcsncpy(font.lfFaceName, L"Georgia", LF_FACESIZE - 1);
  bag.WriteClass(font, L"HeadingFont");
  bag.WriteClass(CString(L"All the news that fits"), L"Strapline");
  const std::filesystem::path file = folder / "bag.xml";
  try {
    bag.Save(CString(file.string().c_str()));
  } catch (const CException& e) {
    throw Failure(e.what());
  }
  const std::string text = Tree(file.string());
  std::fwrite(text.data(), 1, text.size(), stdout);
}

}  // namespace
}  // namespace norvik

NK_COMMAND("bag", "bag FILE.xml",
           "Loads a property bag saved as XML and prints it as a tree: each attribute\n"
           "with its stored kind and value, each child bag indented under its name.\n"
           "A malformed or truncated document is reported with its line and column.\n",
           &norvik::RunBag);
NK_DEMO(60, "A property bag saved as XML and read back (bag.xml)", &norvik::DemoBag);
