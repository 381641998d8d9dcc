#include <kernel/MemoryPropertyBag.h>

#include <cmath>
#include <cstring>

namespace Kernel {

class CMemoryPropertyBag::Holder : public IObjectHolder {
 public:
  void Hold(CRefCount* object) override {
    if (object) m_objects.emplace_back(object);
  }

 private:
  std::vector<CPtr<CRefCount>> m_objects;
};

CMemoryPropertyBag::CMemoryPropertyBag() : m_root(this) {}

CMemoryPropertyBag::~CMemoryPropertyBag() = default;

void CMemoryPropertyBag::AddVariantAttribute(const wchar_t* key, const CVariant& value) {
  CString k(key ? key : L"");
  const auto found = m_index.find(k);
  if (found != m_index.end()) {
    m_attributes[found->second].second = value;
    return;
  }
  m_index.emplace(k, m_attributes.size());
  m_attributes.emplace_back(std::move(k), value);
}

bool CMemoryPropertyBag::GetVariantAttribute(const wchar_t* key, CVariant& value) {
  const auto found = m_index.find(CString(key ? key : L""));
  if (found == m_index.end()) return false;
  value = m_attributes[found->second].second;
  return true;
}

bool CMemoryPropertyBag::RemoveAttribute(const wchar_t* key) {
  const auto found = m_index.find(CString(key ? key : L""));
  if (found == m_index.end()) return false;
  const size_t at = found->second;
  m_attributes.erase(m_attributes.begin() + static_cast<ptrdiff_t>(at));
  m_index.erase(found);
  for (auto& entry : m_index) {
    if (entry.second > at) --entry.second;
  }
  return true;
}

CMemoryPropertyBag* CMemoryPropertyBag::AddChild(const wchar_t* name) {
  auto child = std::make_unique<CMemoryPropertyBag>();
  child->m_root = m_root;
  child->m_writeDefaults = m_writeDefaults;
  child->m_resetMissing = m_resetMissing;
  CMemoryPropertyBag* raw = child.get();
  m_children.emplace_back(CString(name ? name : L""), std::move(child));
  return raw;
}

IClassProperty* CMemoryPropertyBag::CreateChild(const wchar_t* name) { return AddChild(name); }

IClassProperty* CMemoryPropertyBag::FindChild(const wchar_t* name) {
  const wchar_t* n = name ? name : L"";
  for (auto& child : m_children) {
    if (child.first == n) return child.second.get();
  }
  return nullptr;
}

IObjectHolder* CMemoryPropertyBag::GetObjectHolder() {
  if (m_root != this) return m_root->GetObjectHolder();
  if (!m_holder) m_holder = std::make_unique<Holder>();
  return m_holder.get();
}

void CMemoryPropertyBag::Clear() {
  m_attributes.clear();
  m_index.clear();
  m_children.clear();
}

void CMemoryPropertyBag::SetWriteDefaults(bool on) {
  m_writeDefaults = on;
  for (auto& child : m_children) child.second->SetWriteDefaults(on);
}

void CMemoryPropertyBag::SetResetMissing(bool on) {
  m_resetMissing = on;
  for (auto& child : m_children) child.second->SetResetMissing(on);
}

std::vector<CString> CMemoryPropertyBag::GetAttributeKeys() const {
  std::vector<CString> keys;
  keys.reserve(m_attributes.size());
  for (const auto& a : m_attributes) keys.push_back(a.first);
  return keys;
}

namespace {
bool SameValue(const CVariant& a, const CVariant& b) {
  if (a.GetTag() != b.GetTag()) return false;
  switch (a.GetTag()) {
    case CVariant::tagEmpty:
      return true;
    case CVariant::tagSigned:
      return a.GetInt64() == b.GetInt64();
    case CVariant::tagUnsigned:
      return a.GetUInt64() == b.GetUInt64();
    case CVariant::tagDouble: {
      const double x = a.GetDouble(), y = b.GetDouble();
      // Bit for bit (so -0 differs from 0), except that any NaN equals any NaN.
      return (std::isnan(x) && std::isnan(y)) || std::memcmp(&x, &y, sizeof x) == 0;
    }
    case CVariant::tagError:
      return a.GetError() == b.GetError();
    default:
      return a.GetString() == b.GetString();
  }
}
}  // namespace

bool CMemoryPropertyBag::IsEqual(const CMemoryPropertyBag& other) const {
  if (m_attributes.size() != other.m_attributes.size() || m_children.size() != other.m_children.size()) return false;
  for (size_t i = 0; i < m_attributes.size(); ++i) {
    if (m_attributes[i].first != other.m_attributes[i].first ||
        !SameValue(m_attributes[i].second, other.m_attributes[i].second)) {
      return false;
    }
  }
  for (size_t i = 0; i < m_children.size(); ++i) {
    if (m_children[i].first != other.m_children[i].first ||
        !m_children[i].second->IsEqual(*other.m_children[i].second)) {
      return false;
    }
  }
  return true;
}

}  // namespace Kernel
