// The file-backed bag: the memory bag's tree as an XML document, through
// pugixml. Every attribute carries its variant kind so that it reloads to an
// equal variant; doubles are written in their shortest exact form rather
// than the fifteen-digit display form, which would lose bits.
#include <kernel/Exceptions.h>
#include <kernel/MemoryPropertyBag.h>

#include <pugixml.hpp>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "persist/VariantText.h"

namespace Kernel {

namespace {

constexpr const char* kRoot = "propertybag";
constexpr const char* kAttribute = "attribute";
constexpr const char* kChild = "child";
// Deeper documents are refused rather than risking the stack.
constexpr int kMaxDepth = 200;

std::string Utf8(const CString& s) {
  const CStringA a(s);
  return std::string(a.GetString(), static_cast<size_t>(a.GetLength()));
}

void WriteBag(const CMemoryPropertyBag& bag, pugi::xml_node node) {
  for (int i = 0; i < bag.GetAttributeCount(); ++i) {
    pugi::xml_node a = node.append_child(kAttribute);
    a.append_attribute("key").set_value(Utf8(bag.GetAttributeKey(i)).c_str());
    const CVariant& v = bag.GetAttributeValue(i);
    std::string text;
    const char* type = "empty";
    switch (v.GetTag()) {
      case CVariant::tagInlineString:
      case CVariant::tagHeapString:
        type = "string";
        text = Utf8(v.GetString());
        break;
      case CVariant::tagSigned:
        type = "int";
        VariantText::AppendInt(text, v.GetInt64());
        break;
      case CVariant::tagUnsigned:
        type = "uint";
        VariantText::AppendUInt(text, v.GetUInt64());
        break;
      case CVariant::tagDouble:
        type = "double";
        VariantText::AppendDoubleExact(text, v.GetDouble());
        break;
      case CVariant::tagError:
        type = "error";
        VariantText::AppendInt(text, v.GetError());
        break;
      default:
        break;
    }
    a.append_attribute("type").set_value(type);
    if (!v.IsEmpty()) a.append_attribute("value").set_value(text.c_str());
  }
  for (int i = 0; i < bag.GetChildCount(); ++i) {
    pugi::xml_node c = node.append_child(kChild);
    c.append_attribute("name").set_value(Utf8(bag.GetChildName(i)).c_str());
    WriteBag(*bag.GetChild(i), c);
  }
}

struct StringWriter : pugi::xml_writer {
  std::string text;
  void write(const void* data, size_t size) override { text.append(static_cast<const char*>(data), size); }
};

std::string Serialise(const CMemoryPropertyBag& bag) {
  pugi::xml_document doc;
  WriteBag(bag, doc.append_child(kRoot));
  StringWriter writer;
  doc.save(writer, "  ", pugi::format_default, pugi::encoding_utf8);
  return std::move(writer.text);
}

// --- Loading --------------------------------------------------------------------------

class LoadError {
 public:
  explicit LoadError(std::string why) : m_why(std::move(why)) {}
  const std::string& What() const { return m_why; }

 private:
  std::string m_why;
};

template <class T>
bool WholeNumber(const char* text, T& value) {
  const char* end = text + std::strlen(text);
  const auto r = std::from_chars(text, end, value);
  return r.ec == std::errc() && r.ptr == end && r.ptr != text;
}

CVariant ReadValue(pugi::xml_node node) {
  const char* type = node.attribute("type").value();
  const pugi::xml_attribute valueAttribute = node.attribute("value");
  const char* text = valueAttribute.value();
  if (std::strcmp(type, "empty") == 0) return CVariant();
  if (!valueAttribute) throw LoadError(std::string("attribute of type \"") + type + "\" has no value");
  if (std::strcmp(type, "string") == 0) return CVariant(std::string_view(text));
  if (std::strcmp(type, "int") == 0) {
    int64_t v;
    if (WholeNumber(text, v)) return CVariant(v);
  } else if (std::strcmp(type, "uint") == 0) {
    uint64_t v;
    if (WholeNumber(text, v)) return CVariant(v);
  } else if (std::strcmp(type, "double") == 0) {
    const char* end = text + std::strlen(text);
    double v = 0;
    const auto r = std::from_chars(text, end, v, std::chars_format::general);
    if (r.ec == std::errc() && r.ptr == end && r.ptr != text) return CVariant(v);
  } else if (std::strcmp(type, "error") == 0) {
    int32_t v;
    if (WholeNumber(text, v)) return CVariant(static_cast<VariantError::Type>(v));
  } else {
    throw LoadError(std::string("unknown value type \"") + type + "\"");
  }
  throw LoadError(std::string("bad ") + type + " value \"" + text + "\"");
}

void ReadBag(pugi::xml_node node, CMemoryPropertyBag& bag, int depth) {
  if (depth > kMaxDepth) throw LoadError("children nested too deeply");
  for (pugi::xml_node n = node.first_child(); n; n = n.next_sibling()) {
    if (n.type() != pugi::node_element) {
      if (n.type() == pugi::node_pcdata || n.type() == pugi::node_cdata) {
        throw LoadError(std::string("unexpected text in <") + node.name() + ">");
      }
      continue;  // comments and processing instructions
    }
    if (std::strcmp(n.name(), kAttribute) == 0) {
      const pugi::xml_attribute key = n.attribute("key");
      if (!key) throw LoadError("attribute without a key");
      const CString k(key.value());
      bag.AddVariantAttribute(k, ReadValue(n));
    } else if (std::strcmp(n.name(), kChild) == 0) {
      const pugi::xml_attribute name = n.attribute("name");
      if (!name) throw LoadError("child without a name");
      ReadBag(n, *bag.AddChild(CString(name.value())), depth + 1);
    } else {
      throw LoadError(std::string("unexpected element <") + n.name() + ">");
    }
  }
}

// Line and column (both from 1) of a byte offset.
void Position(const char* text, size_t length, ptrdiff_t offset, int& line, int& column) {
  line = 1, column = 1;
  const size_t end = offset < 0 ? 0 : std::min(static_cast<size_t>(offset), length);
  for (size_t i = 0; i < end; ++i) {
    if (text[i] == '\n') {
      ++line, column = 1;
    } else {
      ++column;
    }
  }
}

[[noreturn]] void ThrowMalformed(const wchar_t* source, const std::string& why) {
  CString message;
  message.Format(L"%s: %hs", source ? source : L"property bag", why.c_str());
  throw CArchiveException(CArchiveException::genericException, message);
}

[[noreturn]] void ThrowFile(int error, const wchar_t* path) {
  throw CFileException(CFileException::ErrnoToException(error), error, path);
}

}  // namespace

CStringA CXmlPropertyBag::SaveToString() const {
  const std::string text = Serialise(*this);
  return CStringA(text.data(), static_cast<int>(text.size()));
}

void CXmlPropertyBag::LoadFromString(const char* text, size_t length, const wchar_t* sourceName) {
  Clear();
  pugi::xml_document doc;
  const pugi::xml_parse_result parsed = doc.load_buffer(text, length, pugi::parse_default, pugi::encoding_utf8);
  if (!parsed) {
    int line, column;
    Position(text, length, parsed.offset, line, column);
    ThrowMalformed(sourceName,
                   "line " + std::to_string(line) + ", column " + std::to_string(column) + ": " + parsed.description());
  }
  const pugi::xml_node root = doc.document_element();
  if (std::strcmp(root.name(), kRoot) != 0) {
    ThrowMalformed(sourceName, std::string("the document is not a property bag (root <") + root.name() + ">)");
  }
  try {
    ReadBag(root, *this, 0);
  } catch (const LoadError& e) {
    Clear();
    ThrowMalformed(sourceName, e.What());
  }
}

void CXmlPropertyBag::Save(const wchar_t* path) const {
  const std::string text = Serialise(*this);
  const std::string target = Utf8(CString(path ? path : L""));
  std::string temp = target + ".XXXXXX";
  const int fd = mkstemp(temp.data());
  if (fd < 0) ThrowFile(errno, path);
  // mkstemp creates the file for the owner only; a saved bag is an ordinary
  // document, readable as the process's umask allows.
  const mode_t mask = umask(0);
  umask(mask);
  fchmod(fd, 0666 & ~mask);
  const char* p = text.data();
  size_t left = text.size();
  int error = 0;
  while (left > 0) {
    const ssize_t n = write(fd, p, left);
    if (n < 0) {
      if (errno == EINTR) continue;
      error = errno;
      break;
    }
    p += n;
    left -= static_cast<size_t>(n);
  }
  if (!error && fsync(fd) != 0) error = errno;
  if (close(fd) != 0 && !error) error = errno;
  if (!error && std::rename(temp.c_str(), target.c_str()) != 0) error = errno;
  if (error) {
    unlink(temp.c_str());
    ThrowFile(error, path);
  }
}

void CXmlPropertyBag::Load(const wchar_t* path) {
  Clear();
  const std::string file = Utf8(CString(path ? path : L""));
  FILE* f = std::fopen(file.c_str(), "rb");
  if (!f) ThrowFile(errno, path);
  std::string text;
  char buffer[65536];
  size_t n;
  while ((n = std::fread(buffer, 1, sizeof buffer, f)) > 0) text.append(buffer, n);
  const bool failed = std::ferror(f) != 0;
  const int error = errno;
  std::fclose(f);
  if (failed) ThrowFile(error, path);
  LoadFromString(text.data(), text.size(), path);
}

}  // namespace Kernel
