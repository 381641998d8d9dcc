#pragma once
// Binary persistence of graphs of shared objects through CArchive: one pointer
// map per open archive (numbering of stored objects in both directions, and
// references that keep loaded objects alive until the archive is closed), the
// registry of those maps, the scope object that opens and closes them, the
// one-byte schema helper and the bool archive operators.

#include <kernel/Export.h>
#include <kernel/RefCount.h>
#include <kernel/Sync.h>
#include <kernel/TypeName.h>

#include <cstdint>
#include <list>
#include <map>
#include <string>
#include <type_traits>

class CArchive;

namespace Persist {

// Base of the reference holders, so that holders of different element types
// can share one table.
class NK_API CHoldRef {
 public:
  CHoldRef() = default;
  CHoldRef(const CHoldRef&) = delete;
  CHoldRef& operator=(const CHoldRef&) = delete;
  virtual ~CHoldRef();
};

template <class T>
struct _addref {
  void operator()(T* p) const { p->AddRef(); }
};

template <class T>
struct _release {
  void operator()(T* p) const { p->Release(); }
};

// A list of held objects in the order they were added. The same object may be
// held more than once. Destroying the list frees its nodes only: whoever owns
// it calls ReleaseAll() first.
template <class T, class AddRefPolicy, class ReleasePolicy>
class CHoldRefList : public CHoldRef {
 public:
  CHoldRefList() = default;
  ~CHoldRefList() override = default;

  // Releases every element in list order and leaves the list empty. An element
  // whose release destroys other held objects may remove them from this list
  // while it runs; they are then not released a second time.
  virtual void ReleaseAll() {
    while (!m_list.empty()) {
      T* p = m_list.front();
      m_list.pop_front();
      ReleasePolicy()(p);
    }
  }
  // Unlinks every node holding p without releasing it; returns how many.
  virtual int Remove(T* p) {
    const size_t before = m_list.size();
    m_list.remove(p);
    return static_cast<int>(before - m_list.size());
  }

  void Add(T* p) {
    if (!p) return;
    m_list.push_back(p);
    AddRefPolicy()(p);
  }
  int GetCount() const { return static_cast<int>(m_list.size()); }
  const std::list<T*>& GetList() const { return m_list; }

 private:
  std::list<T*> m_list;
};

using CRefCountHoldList = CHoldRefList<Kernel::CRefCount, _addref<Kernel::CRefCount>, _release<Kernel::CRefCount>>;

class CArchiveMaps;

// The pointer map of one archive. Identifiers and addresses are recorded by
// the serialising classes (which decide when an object is written in full and
// when by number); the map also keeps a reference to every object loaded
// through it until it is destroyed.
class NK_API CPtrMap : public Kernel::CRefCount {
 public:
  // A map with an owner enters itself in the owner's registry under archive.
  explicit CPtrMap(CArchive* archive = nullptr, CArchiveMaps* owner = nullptr);
  CPtrMap(const CPtrMap&) = delete;
  CPtrMap& operator=(const CPtrMap&) = delete;
  // Releases every held object (holders in key order), then leaves the registry.
  ~CPtrMap() override;

  // The next identifier; the first call returns 1.
  int32_t NextID();
  void AddStoreID(const void* p, int32_t id);
  // The identifier recorded for p, or -1.
  int32_t GetStoreID(const void* p) const;
  void AddPtr(int32_t id, void* p);
  // The address recorded for id, or null.
  void* GetPtr(int32_t id) const;

  // The archive's own object numbering (its load array): append and return
  // the index used; read back (CInvalidArgException when out of range); size.
  uint32_t AppendLoadMapPtr(void* p);
  void* GetLoadMapPtr(uint32_t index) const;
  uint32_t GetLoadMapPtrCount() const;

  // Drops p from every holder list without releasing it; returns the number
  // of entries removed. The identifier maps are left as they are.
  int RemovePtr(const void* p);

  // Takes a reference on p and keeps it until the map is destroyed. Holders
  // are kept per element type, under the type's name.
  template <class T>
  void HoldRef(T* p) {
    // Every loaded object comes through here: name the type once.
    static const std::string typeName = Kernel::GetTypeName<T>();
    HoldRefUsing(typeName, HolderOpsFor<std::remove_cv_t<T>>(), const_cast<void*>(static_cast<const void*>(p)));
  }
  // Number of references currently held for objects of type T (counting
  // repeats).
  template <class T>
  int GetHeldCount() const {
    return GetHeldCountOf(Kernel::GetTypeName<T>());
  }

  CArchive* GetArchive() const { return m_archive; }
  CArchiveMaps* GetOwner() const { return m_owner; }

 private:
  friend class CArchiveMaps;

  // What the map needs to do with a holder without knowing its element type.
  struct HolderOps {
    CHoldRef* (*create)();
    void (*add)(CHoldRef*, void*);
    void (*releaseAll)(CHoldRef*);
    int (*remove)(CHoldRef*, const void*);
    int (*count)(const CHoldRef*);
  };
  struct Holder {
    CHoldRef* holder;
    const HolderOps* ops;
  };

  template <class T>
  static const HolderOps* HolderOpsFor() {
    using List = CHoldRefList<T, _addref<T>, _release<T>>;
    static const HolderOps ops = {
        []() -> CHoldRef* { return new List; },
        [](CHoldRef* h, void* p) { static_cast<List*>(h)->Add(static_cast<T*>(p)); },
        [](CHoldRef* h) { static_cast<List*>(h)->ReleaseAll(); },
        [](CHoldRef* h, const void* p) { return static_cast<List*>(h)->Remove(static_cast<T*>(const_cast<void*>(p))); },
        [](const CHoldRef* h) { return static_cast<const List*>(h)->GetCount(); },
    };
    return &ops;
  }

  void HoldRefUsing(const std::string& typeName, const HolderOps* ops, void* p);
  int GetHeldCountOf(const std::string& typeName) const;

  std::map<std::string, Holder> m_holders;
  int32_t m_nextID;
  std::map<const void*, int32_t> m_storeMap;
  std::map<int32_t, void*> m_loadMap;
  CArchiveMaps* m_owner;
  CArchive* m_archive;
};

// The process-wide registry of open pointer maps, one per archive. Every
// operation holds the registry's lock for its whole length; the per-archive
// holder lists are guarded by the same lock.
class NK_API CArchiveMaps {
 public:
  static CArchiveMaps& Instance();

  CArchiveMaps(const CArchiveMaps&) = delete;
  CArchiveMaps& operator=(const CArchiveMaps&) = delete;

  // Creates the archive's map on the first open; every open adds a reference,
  // so opening one archive twice nests.
  void OpenArchive(CArchive& ar);
  // Drops one reference; the last close destroys the map and releases every
  // object it held. Closing an archive that is not open does nothing.
  void CloseArchive(CArchive& ar);
  // The archive's map; CArchiveException (generic) when it is not open.
  CPtrMap& GetMap(CArchive& ar) const;
  // The archive's map, or null when it is not open.
  CPtrMap* CheckMap(CArchive& ar) const;
  // Drops p from the holder lists of every open map; returns the total removed.
  int RemovePtr(const void* p);
  // Number of archives open at the moment.
  int GetMapCount() const;

  // Used by the destructor of an object that dies with one reference still
  // standing: forgets it in every open map, also during process exit after
  // the registry itself is gone.
  static void ForgetDestroyed(const void* p);

 protected:
  CArchiveMaps();
  ~CArchiveMaps();
  void AddMap(CArchive* ar, CPtrMap* map);
  void RemoveMap(CArchive* ar);

 private:
  friend class CPtrMap;
  CPtrMap* FindMap(CArchive* ar) const;

  mutable CCriticalSection m_lock;
  std::map<CArchive*, CPtrMap*> m_maps;
};

// Keeps the archive's pointer map open for its own lifetime. Create one on the
// stack around a whole load or store.
class NK_API CPtrMapsSession {
 public:
  explicit CPtrMapsSession(CArchive& ar);
  ~CPtrMapsSession();
  CPtrMapsSession(const CPtrMapsSession&) = delete;
  CPtrMapsSession& operator=(const CPtrMapsSession&) = delete;

  CArchive& GetArchive() const { return *m_archive; }
  CPtrMap& GetMap() const;

 private:
  CArchive* m_archive;
};

// The archive's load array, for objects that take part in the archive's own
// object numbering without a pointer map.
NK_API uint32_t AppendLoadMapPtr(CArchive& ar, void* p);
NK_API void* GetLoadMapPtr(const CArchive& ar, uint32_t index);
NK_API uint32_t GetLoadMapPtrCount(const CArchive& ar);

}  // namespace Persist

namespace Kernel {

// The schema number as one byte. Loading: schema holds, on entry, the newest
// schema the caller understands and, on return, the number read; a stored
// number newer than the caller's throws CArchiveException (badSchema).
NK_API void SerializeSchema(CArchive& ar, int& schema);

// A bool as one byte, 0 or 1. Wrong-mode use throws CArchiveException
// (readOnly when storing into a loading archive, writeOnly when loading from a
// storing one).
NK_API CArchive& operator<<(CArchive& ar, bool value);
NK_API CArchive& operator>>(CArchive& ar, bool& value);

}  // namespace Kernel
