#include <kernel/ClassProperty.h>
#include <kernel/CObject.h>
#include <kernel/PropHandler.h>
#include <kernel/RefCount.h>
#include <kernel/TypeName.h>

#include <gtest/gtest.h>

#include <vector>

#include "Probe.h"

using Kernel::CPtr;
using Kernel::CRefCount;
using persist_test::DeathLog;
using persist_test::Probe;

namespace persist_test {

class CGradient : public CRefCount, public IPropHandler {
 public:
  bool GetProperties(IClassProperty*) const override { return true; }
  bool SetProperties(IClassProperty*) override { return true; }
};
class CGradientSolid : public CGradient {};
class CRenamed : public CGradient {
  const char* GetOutputRuntimeClassName() const override { return "OldName"; }
};
class CGeneric : public CGradient {
  const char* GetOutputRuntimeClassName() const override { return "SCObject"; }
};
template <class T>
class CBox : public CGradient {};

class CShapeObject : public CObject, public IPropHandler {
  DECLARE_DYNAMIC(CShapeObject)
 public:
  bool GetProperties(IClassProperty*) const override { return true; }
  bool SetProperties(IClassProperty*) override { return true; }
};
IMPLEMENT_DYNAMIC(CShapeObject, CObject)

}  // namespace persist_test

namespace {

using namespace persist_test;

TEST(PropHandler, ClassNames) {
  const CGradient gradient;
  const CGradientSolid solid;
  const CRenamed renamed;
  const CGeneric generic;
  const CBox<int> box;
  const CShapeObject shape;
  struct Row {
    const IPropHandler* handler;
    const char* name;
    bool valid;
  };
  const Row rows[] = {
      {&gradient, "persist_test::CGradient", true},
      {&gradient, "CGradient", true},
      {&gradient, "class persist_test::CGradient", false},
      {&gradient, "SCObject", false},
      {&gradient, "cgradient", false},
      {&gradient, "test::CGradient", false},
      {&gradient, "", false},
      {&gradient, nullptr, false},
      {&solid, "CGradientSolid", true},
      {&solid, "CGradient", false},  // the dynamic type counts
      {&renamed, "OldName", true},
      {&renamed, "CRenamed", true},
      {&generic, "SCObject", false},  // even when it is the output name
      {&box, "persist_test::CBox<int>", true},
      {&box, "CBox<int>", true},
      {&shape, "CShapeObject", true},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(row.handler->IsValidClassName(row.name), row.valid) << (row.name ? row.name : "(null)");
  }
  EXPECT_EQ(Kernel::GetTypeName<Kernel::CRefCount>(), "Kernel::CRefCount");
  // Only framework objects have a runtime class name.
  EXPECT_EQ(gradient.GetRuntimeClassName(), nullptr);
  EXPECT_EQ(gradient.GetOutputRuntimeClassName(), nullptr);
  EXPECT_STREQ(static_cast<const IPropHandler&>(shape).GetRuntimeClassName(), "CShapeObject");
  EXPECT_STREQ(static_cast<const IPropHandler&>(shape).GetOutputRuntimeClassName(), "CShapeObject");
  EXPECT_EQ(gradient.GetFork(), nullptr);
  EXPECT_TRUE(gradient.IsForkLightweight());
}

class HoldingBag : public IClassProperty, public IObjectHolder {
 public:
  explicit HoldingBag(bool hasHolder) : m_hasHolder(hasHolder) {}
  void AddVariantAttribute(const wchar_t*, const CVariant&) override {}
  bool GetVariantAttribute(const wchar_t*, CVariant&) override { return false; }
  IClassProperty* CreateChild(const wchar_t*) override { return nullptr; }
  IClassProperty* FindChild(const wchar_t*) override { return nullptr; }
  bool IsWriteDefaults() const override { return false; }
  IObjectHolder* GetObjectHolder() override { return m_hasHolder ? this : nullptr; }
  void Hold(CRefCount* object) override { m_held.push_back(object); }

  std::vector<CPtr<CRefCount>> m_held;

 private:
  bool m_hasHolder;
};

// The bag's holder keeps what it reads; an unowned object nobody holds is
// deleted by SetProperties itself.
TEST(PropHandler, SetPropertiesHandsTheObjectToTheBagsHolder) {
  struct Row {
    bool hasHolder, owned;
    int deathsAfterCall, deathsAfterBag;
  };
  for (const Row& row : {Row{true, false, 0, 1}, Row{true, true, 0, 0}, Row{false, false, 1, 1}}) {
    DeathLog log;
    Probe* object = new Probe(&log);
    CPtr<Probe> owner(row.owned ? object : nullptr);
    {
      HoldingBag bag(row.hasHolder);
      EXPECT_TRUE(object->SetProperties(&bag));
      EXPECT_EQ(log.deaths, row.deathsAfterCall);
      EXPECT_EQ(bag.m_held.size(), row.hasHolder ? 1u : 0u);
      EXPECT_FALSE(bag.IsResetMissing());
    }
    EXPECT_EQ(log.deaths, row.deathsAfterBag);
  }
  EXPECT_STREQ(IClassProperty::VALUE_TAG, L"_value");
  EXPECT_STREQ(IClassProperty::COMMENT_TAG, L"_comment");
}

}  // namespace
