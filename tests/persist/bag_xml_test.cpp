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

class TempDir {
 public:
  TempDir() {
    std::string pattern = (fs::temp_directory_path() / "nk_bag_XXXXXX").string();
    m_path = mkdtemp(pattern.data());
  }
  ~TempDir() {
    std::error_code ec;
    fs::remove_all(m_path, ec);
  }
  CString File(const char* name) const { return CString((m_path / name).string().c_str()); }
  const fs::path& Path() const { return m_path; }

 private:
  fs::path m_path;
};

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
  CVariant v;
  ASSERT_TRUE(back.GetVariantAttribute(L"third", v));
  EXPECT_TRUE(v.IsDouble());
  EXPECT_EQ(v.GetDouble(), 1.0 / 3.0);
  ASSERT_TRUE(back.GetVariantAttribute(L"negzero", v));
  EXPECT_TRUE(std::signbit(v.GetDouble()));
  ASSERT_TRUE(back.GetVariantAttribute(L"inline", v));
  EXPECT_TRUE(v.IsInlineString());
  ASSERT_TRUE(back.GetVariantAttribute(L"padded", v));
  EXPECT_EQ(v.GetString(), CString(L"  two\tlines\n<&\"'>  "));
  ASSERT_TRUE(back.GetVariantAttribute(L"error", v));
  EXPECT_EQ(v.GetError(), VariantError::DivisionByZero);
  ASSERT_EQ(back.GetChildCount(), 3);
  EXPECT_EQ(back.GetChildName(0), CString(L"second"));
  EXPECT_EQ(back.GetChildName(1), CString(L"first"));
  EXPECT_EQ(back.GetChildName(2), CString(L"second"));
  ASSERT_TRUE(back.GetChild(2)->GetVariantAttribute(L"n", v));
  EXPECT_EQ(v.GetInt64(), 2);
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
  };
  for (const Case& c : cases) {
    CXmlPropertyBag bag;
    bag.AddAttribute(L"old", 1);
    try {
      bag.LoadFromString(c.text, std::strlen(c.text), L"doc.xml");
      ADD_FAILURE() << "accepted: " << c.text;
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

TEST(XmlBag, DeepNestingIsRefused) {
  std::string text = "<propertybag>";
  for (int i = 0; i < 300; ++i) text += "<child name=\"c\">";
  for (int i = 0; i < 300; ++i) text += "</child>";
  text += "</propertybag>";
  CXmlPropertyBag bag;
  EXPECT_THROW(bag.LoadFromString(text.data(), text.size()), CArchiveException);
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
  EXPECT_EQ(FileCount(dir.Path()), 1u);
  CXmlPropertyBag check;
  check.Load(path);
  CVariant v;
  ASSERT_TRUE(check.GetVariantAttribute(L"version", v));
  EXPECT_EQ(v.GetInt64(), 2);

  // A directory in the way makes the final rename fail: the temporary file
  // must go and the directory must stay.
  fs::create_directory(dir.Path() / "taken");
  fs::create_directory(dir.Path() / "taken" / "inner");
  EXPECT_THROW(bag.Save(dir.File("taken")), CFileException);
  EXPECT_TRUE(fs::is_directory(dir.Path() / "taken" / "inner"));
  EXPECT_EQ(FileCount(dir.Path()), 2u);

  EXPECT_THROW(bag.Save(dir.File("no/such/folder.xml")), CFileException);
  EXPECT_EQ(FileCount(dir.Path()), 2u);
}

}  // namespace
