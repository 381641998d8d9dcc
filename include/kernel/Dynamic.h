#pragma once
// Creating objects from stored class names: factories, and the process-wide
// registry that finds a factory by name.

#include <kernel/Export.h>
#include <kernel/Sync.h>

#include <map>
#include <string>

namespace Dynamic {

class NK_API CAbstractFactory {
 public:
  CAbstractFactory() = default;
  CAbstractFactory(const CAbstractFactory&) = delete;
  CAbstractFactory& operator=(const CAbstractFactory&) = delete;
  // A new object, owned by the caller, or null.
  virtual void* CreateObject() const = 0;
  virtual ~CAbstractFactory();
};

// Creates objects through the run-time class registered under a name
// (DECLARE_DYNCREATE / DECLARE_SERIAL classes). The result is a CObject*.
class NK_API CMFCFactory : public CAbstractFactory {
 public:
  explicit CMFCFactory(const char* className);
  // The new object as CObject*, or null when no run-time class has the name.
  void* CreateObject() const override;
  const char* GetClassName() const { return m_className.c_str(); }

 private:
  std::string m_className;
};

// Creates objects of one C++ type with its default constructor. The result
// is a T*.
template <class T>
class CNewFactory : public CAbstractFactory {
 public:
  void* CreateObject() const override { return new T(); }
};

// The registry of factories by class name (compared bytewise). It owns the
// factories. Every operation holds the registry's lock.
class NK_API CFactoryMap {
 public:
  static CFactoryMap& Instance();

  CFactoryMap(const CFactoryMap&) = delete;
  CFactoryMap& operator=(const CFactoryMap&) = delete;

  // Registers factory under name, deleting any factory registered there
  // before. Null name or factory: CInvalidArgException.
  void AddFactory(const char* name, CAbstractFactory* factory);
  // The factory registered under name, or null.
  CAbstractFactory* GetFactory(const char* name) const;
  // A new object from the factory registered under name; null when the name
  // is unknown.
  void* CreateObject(const char* name) const;

 protected:
  CFactoryMap();
  ~CFactoryMap();

 private:
  mutable CCriticalSection m_lock;
  std::map<std::string, CAbstractFactory*> m_factories;
};

}  // namespace Dynamic
