#include <kernel/CArchive.h>
#include <kernel/CObject.h>
#include <kernel/Gdi.h>

#include <gtest/gtest.h>

#include <memory>
#include <sstream>

namespace Shapes {

class CShape : public CObject {
  DECLARE_DYNAMIC(CShape)
 public:
  int m_sides = 0;
};

class CSquare : public CShape {
  DECLARE_SERIAL(CSquare)
 public:
  CSquare() { m_sides = 4; }
  void Serialize(CArchive& ar) override {
    if (ar.IsStoring()) {
      ar << m_side;
    } else {
      ar >> m_side;
    }
  }
  int m_side = 0;
};

class CCircle : public CShape {
  DECLARE_DYNCREATE(CCircle)
};

IMPLEMENT_DYNAMIC(CShape, CObject)
IMPLEMENT_SERIAL(CSquare, CShape, 3)
IMPLEMENT_DYNCREATE(CCircle, Shapes::CShape)

}  // namespace Shapes

namespace {

TEST(RuntimeClass, NamesSchemasAndSizes) {
  const CRuntimeClass* sq = RUNTIME_CLASS(Shapes::CSquare);
  EXPECT_STREQ(sq->m_lpszClassName, "CSquare");  // unqualified, as written
  EXPECT_EQ(sq->m_wSchema, 3u);
  EXPECT_EQ(sq->m_nObjectSize, static_cast<int>(sizeof(Shapes::CSquare)));
  EXPECT_EQ(sq->m_pBaseClass, RUNTIME_CLASS(Shapes::CShape));
  EXPECT_EQ(RUNTIME_CLASS(Shapes::CShape)->m_pBaseClass, RUNTIME_CLASS(CObject));
  EXPECT_EQ(RUNTIME_CLASS(Shapes::CCircle)->m_pBaseClass, RUNTIME_CLASS(Shapes::CShape));
  EXPECT_EQ(RUNTIME_CLASS(CObject)->m_pBaseClass, nullptr);
  EXPECT_EQ(RUNTIME_CLASS(Shapes::CShape)->m_wSchema, 0xFFFFu);
}

TEST(RuntimeClass, IsKindOfFollowsTheBaseChain) {
  Shapes::CSquare square;
  Shapes::CCircle circle;
  struct Case {
    const CObject* object;
    const CRuntimeClass* cls;
    BOOL expect;
  };
  const Case cases[] = {
      {&square, RUNTIME_CLASS(Shapes::CSquare), TRUE},  {&square, RUNTIME_CLASS(Shapes::CShape), TRUE},
      {&square, RUNTIME_CLASS(CObject), TRUE},          {&square, RUNTIME_CLASS(Shapes::CCircle), FALSE},
      {&circle, RUNTIME_CLASS(Shapes::CSquare), FALSE}, {&circle, nullptr, FALSE},
  };
  for (const Case& c : cases) EXPECT_EQ(c.object->IsKindOf(c.cls), c.expect);
  EXPECT_EQ(square.GetRuntimeClass(), RUNTIME_CLASS(Shapes::CSquare));
  const CObject& asBase = square;
  EXPECT_EQ(asBase.GetRuntimeClass(), RUNTIME_CLASS(Shapes::CSquare));
  EXPECT_TRUE(square.IsSerializable());
  EXPECT_FALSE(circle.IsSerializable());
  std::ostringstream os;
  circle.Dump(os);
  EXPECT_EQ(os.str().rfind("a CCircle at ", 0), 0u) << os.str();
}

TEST(RuntimeClass, FromNameFindsCreatableClassesOnly) {
  EXPECT_EQ(CRuntimeClass::FromName("CSquare"), RUNTIME_CLASS(Shapes::CSquare));
  EXPECT_EQ(CRuntimeClass::FromName(L"CCircle"), RUNTIME_CLASS(Shapes::CCircle));
  // Merely dynamic classes cannot be created, so they are not listed.
  EXPECT_EQ(CRuntimeClass::FromName("CShape"), nullptr);
  EXPECT_EQ(CRuntimeClass::FromName("Shapes::CSquare"), nullptr);
  EXPECT_EQ(CRuntimeClass::FromName("csquare"), nullptr);
  EXPECT_EQ(CRuntimeClass::FromName(static_cast<const char*>(nullptr)), nullptr);

  std::unique_ptr<CObject> made(CRuntimeClass::CreateObject("CSquare"));
  ASSERT_NE(made, nullptr);
  EXPECT_TRUE(made->IsKindOf(RUNTIME_CLASS(Shapes::CSquare)));
  EXPECT_EQ(static_cast<Shapes::CSquare*>(made.get())->m_sides, 4);  // really constructed
  EXPECT_EQ(CRuntimeClass::CreateObject("NoSuchClass"), nullptr);
  EXPECT_EQ(RUNTIME_CLASS(Shapes::CShape)->CreateObject(), nullptr);
  std::unique_ptr<CObject> circle(Shapes::CCircle::CreateObject());
  EXPECT_TRUE(circle->IsKindOf(RUNTIME_CLASS(Shapes::CCircle)));
}

TEST(RuntimeClass, RecreatedObjectReadsWhatWasStored) {
  CMemFile file;
  {
    CArchive ar(&file, CArchive::store);
    Shapes::CSquare sq;
    sq.m_side = 17;
    CStringA name(sq.GetRuntimeClass()->m_lpszClassName);
    ar << name;
    sq.Serialize(ar);
  }
  file.SeekToBegin();
  CArchive ar(&file, CArchive::load);
  CStringA name;
  ar >> name;
  std::unique_ptr<CObject> obj(CRuntimeClass::CreateObject(name.GetString()));
  ASSERT_NE(obj, nullptr);
  obj->Serialize(ar);
  EXPECT_EQ(static_cast<Shapes::CSquare*>(obj.get())->m_side, 17);
}

TEST(RuntimeClass, LibraryClassesCarryTheirOwn) {
  CMemFile mem;
  const CFile& asFile = mem;
  EXPECT_EQ(asFile.GetRuntimeClass(), RUNTIME_CLASS(CMemFile));
  EXPECT_TRUE(asFile.IsKindOf(RUNTIME_CLASS(CFile)));
  EXPECT_FALSE(CFile().IsKindOf(RUNTIME_CLASS(CMemFile)));
  EXPECT_STREQ(RUNTIME_CLASS(CPalette)->m_lpszClassName, "CPalette");
  EXPECT_TRUE(RUNTIME_CLASS(CPalette)->IsDerivedFrom(RUNTIME_CLASS(CGdiObject)));
}

}  // namespace
