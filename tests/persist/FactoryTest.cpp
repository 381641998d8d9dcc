#include <kernel/CObject.h>
#include <kernel/Dynamic.h>
#include <kernel/Exceptions.h>

#include <gtest/gtest.h>

#include <memory>

namespace persist_test {

class CFactoryWidget : public CObject {
  DECLARE_SERIAL(CFactoryWidget)
 public:
  int m_marker = 77;
};
IMPLEMENT_SERIAL(CFactoryWidget, CObject, 1)

}  // namespace persist_test

namespace {

class TaggedFactory : public Dynamic::CAbstractFactory {
 public:
  TaggedFactory(int tag, int* deaths) : m_tag(tag), m_deaths(deaths) {}
  ~TaggedFactory() override { ++*m_deaths; }
  void* CreateObject() const override { return new int(m_tag); }

 private:
  int m_tag;
  int* m_deaths;
};

int TagOf(void* created) {
  std::unique_ptr<int> owned(static_cast<int*>(created));
  return owned ? *owned : -1;
}

TEST(FactoryMap, CreatesByExactNameReplacesAndDeletes) {
  Dynamic::CFactoryMap& factories = Dynamic::CFactoryMap::Instance();
  int deaths = 0;
  factories.AddFactory("test.A", new TaggedFactory(1, &deaths));
  auto* replaced = new TaggedFactory(2, &deaths);
  factories.AddFactory("test.B", replaced);
  factories.AddFactory("test.B", replaced);  // the same factory again stays alive
  factories.AddFactory("test.B", new TaggedFactory(3, &deaths));
  EXPECT_EQ(deaths, 1);
  struct Row {
    const char* name;
    int tag;
  };
  for (const Row& row :
       {Row{"test.A", 1}, Row{"test.B", 3}, Row{"test.a", -1}, Row{"test.A ", -1}, Row{"", -1}, Row{nullptr, -1}}) {
    EXPECT_EQ(TagOf(factories.CreateObject(row.name)), row.tag) << (row.name ? row.name : "(null)");
    EXPECT_EQ(factories.GetFactory(row.name) != nullptr, row.tag != -1);
  }
  EXPECT_THROW(factories.AddFactory(nullptr, replaced), CInvalidArgException);
  EXPECT_THROW(factories.AddFactory("test.C", nullptr), CInvalidArgException);
  EXPECT_EQ(factories.GetFactory("test.C"), nullptr);
}

TEST(FactoryMap, RuntimeClassAndTypedFactories) {
  struct Thing {
    int value = 5;
  };
  Dynamic::CFactoryMap& factories = Dynamic::CFactoryMap::Instance();
  factories.AddFactory("test.Widget", new Dynamic::CMFCFactory("CFactoryWidget"));
  factories.AddFactory("test.Missing", new Dynamic::CMFCFactory("CNoSuchClass"));
  factories.AddFactory("test.Thing", new Dynamic::CNewFactory<Thing>);
  std::unique_ptr<CObject> made(static_cast<CObject*>(factories.CreateObject("test.Widget")));
  ASSERT_TRUE(made && made->IsKindOf(RUNTIME_CLASS(persist_test::CFactoryWidget)));
  EXPECT_EQ(static_cast<persist_test::CFactoryWidget*>(made.get())->m_marker, 77);
  EXPECT_EQ(factories.CreateObject("test.Missing"), nullptr);
  std::unique_ptr<Thing> thing(static_cast<Thing*>(factories.CreateObject("test.Thing")));
  ASSERT_NE(thing, nullptr);
  EXPECT_EQ(thing->value, 5);
}

}  // namespace
