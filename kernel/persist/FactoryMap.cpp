#include <kernel/Dynamic.h>

#include <kernel/CObject.h>
#include <kernel/Exceptions.h>

namespace Dynamic {

CAbstractFactory::~CAbstractFactory() = default;

CMFCFactory::CMFCFactory(const char* className) : m_className(className ? className : "") {}

void* CMFCFactory::CreateObject() const {
  CRuntimeClass* runtimeClass = CRuntimeClass::FromName(m_className.c_str());
  if (!runtimeClass) return nullptr;
  return runtimeClass->CreateObject();
}

CFactoryMap& CFactoryMap::Instance() {
  static CFactoryMap instance;
  return instance;
}

CFactoryMap::CFactoryMap() = default;

CFactoryMap::~CFactoryMap() {
  for (auto& entry : m_factories) delete entry.second;
}

void CFactoryMap::AddFactory(const char* name, CAbstractFactory* factory) {
  if (!name || !factory) throw CInvalidArgException();
  CSingleLock lock(&m_lock, TRUE);
  auto [where, inserted] = m_factories.try_emplace(name, factory);
  if (!inserted && where->second != factory) {
    delete where->second;
    where->second = factory;
  }
}

CAbstractFactory* CFactoryMap::GetFactory(const char* name) const {
  if (!name) return nullptr;
  CSingleLock lock(&m_lock, TRUE);
  const auto found = m_factories.find(name);
  return found == m_factories.end() ? nullptr : found->second;
}

void* CFactoryMap::CreateObject(const char* name) const {
  if (!name) return nullptr;
  // The lock stays held while the factory works, so a concurrent AddFactory
  // cannot delete it under our feet.
  CSingleLock lock(&m_lock, TRUE);
  const auto found = m_factories.find(name);
  return found == m_factories.end() ? nullptr : found->second->CreateObject();
}

}  // namespace Dynamic
