// The XML-backed bag: every kind of value reloads to an equal variant,
// children keep their order, bad documents give clear errors, and saving
// never leaves a half-written file.
#include <kernel/Exceptions.h>
#include <kernel/MemoryPropertyBag.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>
#include <unistd.h>

namespace {

using Kernel::CMemoryPropertyBag;
using Kernel::CXmlPropertyBag;
namespace fs = std::filesystem;

struct TempDir {
  fs::path path = [] {
    std::string pattern = (fs::temp_directory_path() / "nk_bag_XXXXXX").string();
    return fs::path(mkdtemp(pattern.data()));
  }();
  ~TempDir() {
    std::error_code ec;
    fs::remove_all(path, ec);
  }
  CString File(const char* name) const { return CString((path / name).string().c_str()); }
};

// The stored value of key; a missing key fails the test and reads as empty.
CVariant Attr(IClassProperty& bag, const wchar_t* key) {
  CVariant v;
  EXPECT_TRUE(bag.GetVariantAttribute(key, v)) << "missing " << CStringA(key).GetString();
  return v;
}

void Fill(CMemoryPropertyBag& bag) {
  bag.AddVariantAttribute(L"empty", CVariant());
  bag.AddVariantAttribute(L"inline", CVariant(L"short"));
  bag.AddVariantAttribute(L"heap", CVariant(L"a string long enough for the heap"));
  bag.AddVariantAttribute(L"padded", CVariant(L"  two\tlines\n<&\"'>  "));
  bag.AddVariantAttribute(L"unicode", CVariant(L"\u00e9\u20ac\U0001F600"));
  bag.AddVariantAttribute(L"", CVariant(L"empty key"));
  bag.AddVariantAttribute(L"key with \"quotes\" & <tags>", CVariant(1));
  bag.AddVariantAttribute(L"min", CVariant(std::numeric_limits<int64_t>::min()));
  bag.AddVariantAttribute(L"umax", CVariant(std::numeric_limits<uint64_t>::max()));
  bag.AddVariantAttribute(L"third", CVariant(1.0 / 3.0));
  bag.AddVariantAttribute(L"tiny", CVariant(4.9e-324));
  bag.AddVariantAttribute(L"negzero", CVariant(-0.0));
  bag.AddVariantAttribute(L"inf", CVariant(-std::numeric_limits<double>::infinity()));
  bag.AddVariantAttribute(L"error", CVariant(VariantError::DivisionByZero));
  bag.AddAttribute(L"rect", CRect(1, 2, 3, 4));
  bag.AddAttribute(L"date", COleDateTime(2001, 2, 3, 4, 5, 6));
  const int ints[] = {1, 2, 3};
  CVariant array;
  array.SetArray(ints, 3);
  bag.AddVariantAttribute(L"array", array);
  IClassProperty* second = bag.CreateChild(L"second");
  IClassProperty* first = bag.CreateChild(L"first");
  bag.CreateChild(L"second")->AddAttribute(L"n", 2);
  second->AddAttribute(L"n", 1);
  first->CreateChild(L"nested")->AddAttribute(L"deep", L"yes");
}

TEST(XmlBag, RoundTripThroughAFile) {
  TempDir dir;
  CXmlPropertyBag bag;
  Fill(bag);
  const CString path = dir.File("bag.xml");
  bag.Save(path);
  CXmlPropertyBag back;
  back.AddAttribute(L"stale", 1);  // loading replaces the contents
  back.Load(path);
  EXPECT_TRUE(back.IsEqual(bag)) << back.SaveToString().GetString();
  // The kinds come back exactly, not just equal texts.
  EXPECT_TRUE(Attr(back, L"third").IsDouble());
  EXPECT_EQ(Attr(back, L"third").GetDouble(), 1.0 / 3.0);
  EXPECT_TRUE(std::signbit(Attr(back, L"negzero").GetDouble()));
  EXPECT_TRUE(Attr(back, L"inline").IsInlineString());
  EXPECT_EQ(Attr(back, L"padded").GetString(), CString(L"  two\tlines\n<&\"'>  "));
  EXPECT_EQ(Attr(back, L"error").GetError(), VariantError::DivisionByZero);
  ASSERT_EQ(back.GetChildCount(), 3);
  const wchar_t* order[] = {L"second", L"first", L"second"};
  for (int i = 0; i < 3; ++i) EXPECT_EQ(back.GetChildName(i), CString(order[i])) << i;
  EXPECT_EQ(Attr(*back.GetChild(2), L"n").GetInt64(), 2);
  // Saving again gives the same document.
  EXPECT_EQ(back.SaveToString(), bag.SaveToString());
}

TEST(XmlBag, DocumentShape) {
  CXmlPropertyBag bag;
  bag.AddAttribute(L"Width", 12);
  bag.CreateChild(L"Font")->AddAttribute(L"FaceName", L"Arial");
  EXPECT_STREQ(bag.SaveToString().GetString(),
               "<?xml version=\"1.0\"?>\n"
               "<propertybag>\n"
               "  <attribute key=\"Width\" type=\"int\" value=\"12\" />\n"
               "  <child name=\"Font\">\n"
               "    <attribute key=\"FaceName\" type=\"string\" value=\"Arial\" />\n"
               "  </child>\n"
               "</propertybag>\n");
}

TEST(XmlBag, MalformedDocumentsAreRefusedClearly) {
  struct Case {
    const char* text;
    const char* reason;  // part of the message
  };
  std::string deep = "<propertybag>";
  for (int i = 0; i < 300; ++i) deep += "<child name=\"c\">";
  for (int i = 0; i < 300; ++i) deep += "</child>";
  deep += "</propertybag>";
  const Case cases[] = {
      {"", "No document element"},
      {"<propertybag><attribute key=\"a\" type=\"int\" value=\"1\"/>", "line 1"},  // truncated
      {"<propertybag>\n<attribute key=\"a\" type=\"int\" value=\"1\"/>\n<child name=\"c\">", "line 3"},
      {"<other/>", "not a property bag"},
      {"<propertybag><attribute type=\"int\" value=\"1\"/></propertybag>", "without a key"},
      {"<propertybag><attribute key=\"a\" type=\"int\" value=\"1x\"/></propertybag>", "bad int value"},
      {"<propertybag><attribute key=\"a\" type=\"uint\" value=\"-1\"/></propertybag>", "bad uint value"},
      {"<propertybag><attribute key=\"a\" type=\"double\" value=\"\"/></propertybag>", "bad double value"},
      {"<propertybag><attribute key=\"a\" type=\"int\"/></propertybag>", "has no value"},
      {"<propertybag><attribute key=\"a\" type=\"blob\" value=\"1\"/></propertybag>", "unknown value type"},
      {"<propertybag><child/></propertybag>", "without a name"},
      {"<propertybag><thing/></propertybag>", "unexpected element <thing>"},
      {"<propertybag>text</propertybag>", "unexpected text"},
      {deep.c_str(), "nested too deeply"},
  };
  for (const Case& c : cases) {
    CXmlPropertyBag bag;
    bag.AddAttribute(L"old", 1);
    try {
      bag.LoadFromString(c.text, std::strlen(c.text), L"doc.xml");
      ADD_FAILURE() << "accepted: " << c.reason;
    } catch (const CArchiveException& e) {
      EXPECT_EQ(e.m_cause, CArchiveException::genericException);
      const CStringA message(e.m_strFileName);
      EXPECT_NE(std::strstr(message.GetString(), "doc.xml: "), nullptr) << message.GetString();
      EXPECT_NE(std::strstr(message.GetString(), c.reason), nullptr) << message.GetString();
    }
    EXPECT_EQ(bag.GetAttributeCount(), 0);
    EXPECT_EQ(bag.GetChildCount(), 0);
  }
}

TEST(XmlBag, MissingFileIsAFileError) {
  TempDir dir;
  CXmlPropertyBag bag;
  try {
    bag.Load(dir.File("absent.xml"));
    ADD_FAILURE() << "loaded a missing file";
  } catch (const CFileException& e) {
    EXPECT_EQ(e.m_cause, CFileException::fileNotFound);
  }
}

size_t FileCount(const fs::path& dir) {
  size_t n = 0;
  for ([[maybe_unused]] const auto& entry : fs::directory_iterator(dir)) ++n;
  return n;
}

TEST(XmlBag, FailedSaveLeavesTheOldDocumentAndNoTemporaryFile) {
  TempDir dir;
  CXmlPropertyBag bag;
  bag.AddAttribute(L"version", 1);
  const CString path = dir.File("doc.xml");
  bag.Save(path);
  // Replacing works and leaves exactly one file.
  bag.AddAttribute(L"version", 2);
  bag.Save(path);
  EXPECT_EQ(FileCount(dir.path), 1u);
  CXmlPropertyBag check;
  check.Load(path);
  EXPECT_EQ(Attr(check, L"version").GetInt64(), 2);

  // A directory in the way makes the final rename fail: the temporary file
  // must go and the directory must stay.
  fs::create_directory(dir.path / "taken");
  fs::create_directory(dir.path / "taken" / "inner");
  EXPECT_THROW(bag.Save(dir.File("taken")), CFileException);
  EXPECT_TRUE(fs::is_directory(dir.path / "taken" / "inner"));
  EXPECT_EQ(FileCount(dir.path), 2u);

  EXPECT_THROW(bag.Save(dir.File("no/such/folder.xml")), CFileException);
  EXPECT_EQ(FileCount(dir.path), 2u);
}

}  // namespace
