#pragma once
// Intrusive reference counting: the base every shareable object derives from,
// the smart pointer that holds such objects, and the immutability mix-in.

#include <kernel/Export.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <type_traits>
#include <utility>

class CArchive;
class IClassProperty;

namespace Kernel {

// The count is deliberately not symmetrical:
//  - AddRef()/Release()/ReleaseNoDel() are atomic and may be used from any thread;
//  - AddRef(int)/Release(int) are plain read-modify-writes for the owning thread;
//  - Release() tests the value it found (1 means "last one"), Release(int) tests
//    the value it leaves (0 means "last one");
//  - the copy constructor gives the copy a count of 0 (a copy never inherits the
//    references of its source) whereas operator= copies the source's count.
class NK_API CRefCount {
 public:
  // Written into the count just before the object deletes itself, so that code
  // running inside the destructor (or a stale pointer) can see that the object
  // is on its way out.
  static constexpr int32_t c_inReleaseCount = 0x3F015577;

  CRefCount() noexcept : m_count(0) {}
  CRefCount(const CRefCount&) noexcept : m_count(0) {}
  CRefCount& operator=(const CRefCount& other) noexcept {
    m_count.store(other.m_count.load(std::memory_order_relaxed), std::memory_order_relaxed);
    return *this;
  }

  void AddRef() const noexcept { m_count.fetch_add(1, std::memory_order_relaxed); }
  // Deletes the object when the count it found was 1. Only the thread that
  // takes the count from 1 to 0 deletes.
  void Release() const {
    if (m_count.fetch_sub(1, std::memory_order_acq_rel) == 1) DeleteThis();
  }
  // Drops a reference without ever deleting: for counts raised only to protect
  // a temporary.
  void ReleaseNoDel() const noexcept { m_count.fetch_sub(1, std::memory_order_acq_rel); }
  void AddRef(int n) const noexcept;
  // Deletes the object when the count it leaves is 0.
  void Release(int n) const;

  int32_t GetRefCount() const noexcept { return m_count.load(std::memory_order_relaxed); }
  bool IsRefCount() const noexcept { return GetRefCount() != 0; }
  bool IsShared() const noexcept { return GetRefCount() > 1; }

  // Defaults for classes that are also property handlers: nothing to write,
  // and on reading, hand the object to the bag's object holder.
  bool GetProperties(IClassProperty* bag) const;
  bool SetProperties(IClassProperty* bag);
  // While loading, the archive's pointer map takes a reference so the object
  // outlives the load even if the loader drops its own pointers.
  void Serialize(CArchive& ar);

  // Bytes held by the object; derived classes report what they own.
  virtual uint64_t Measure() const;

 protected:
  virtual ~CRefCount();

 private:
  void DeleteThis() const;

  mutable std::atomic<int32_t> m_count;
};

// Holds one counted reference to a CRefCount-derived object (or nothing).
// Assignment adds a reference to the new object, swaps it in atomically and
// only then releases the old one, so self-assignment is harmless and several
// threads may assign to the same holder at once. Reading a holder (copying
// from it, dereferencing it) while another thread assigns to it is not safe:
// the object read may lose its last reference in between.
template <class T>
class CPtr {
 public:
  using element_type = T;

  constexpr CPtr() noexcept : m_p(nullptr) {}
  constexpr CPtr(std::nullptr_t) noexcept : m_p(nullptr) {}
  CPtr(T* p) noexcept : m_p(p) {
    if (p) p->AddRef();
  }
  CPtr(const CPtr& other) noexcept : CPtr(other.Get()) {}
  CPtr(CPtr&& other) noexcept : m_p(other.TakeMovedFrom()) {}
  template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
  CPtr(const CPtr<U>& other) noexcept : CPtr(static_cast<T*>(other.Get())) {}
  template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
  CPtr(CPtr<U>&& other) noexcept : m_p(static_cast<T*>(other.Detach())) {}

  ~CPtr() {
    if (T* p = m_p.load(std::memory_order_relaxed)) p->Release();
  }

  CPtr& operator=(T* p) {
    if (p) p->AddRef();
    Replace(p);
    return *this;
  }
  CPtr& operator=(std::nullptr_t) {
    Replace(nullptr);
    return *this;
  }
  CPtr& operator=(const CPtr& other) { return *this = other.Get(); }
  template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
  CPtr& operator=(const CPtr<U>& other) {
    return *this = static_cast<T*>(other.Get());
  }
  CPtr& operator=(CPtr&& other) {
    // Taking the other's pointer first makes self-move a no-op.
    Replace(other.TakeMovedFrom());
    return *this;
  }
  template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
  CPtr& operator=(CPtr<U>&& other) {
    Replace(static_cast<T*>(other.Detach()));
    return *this;
  }

  // Takes over a reference the caller already owns (no AddRef).
  static CPtr Adopt(T* p) noexcept {
    CPtr result;
    result.m_p.store(p, std::memory_order_relaxed);
    return result;
  }
  // Gives up the pointer without releasing it; the caller now owns that reference.
  T* Detach() noexcept { return m_p.exchange(nullptr, std::memory_order_acq_rel); }
  void Reset() { Replace(nullptr); }
  void Swap(CPtr& other) noexcept {
    T* mine = m_p.load(std::memory_order_relaxed);
    m_p.store(other.m_p.exchange(mine, std::memory_order_acq_rel), std::memory_order_release);
  }

  T* Get() const noexcept { return m_p.load(std::memory_order_acquire); }
  T& operator*() const noexcept { return *Get(); }
  T* operator->() const noexcept { return Get(); }
  explicit operator bool() const noexcept { return Get() != nullptr; }
  bool IsNull() const noexcept { return Get() == nullptr; }

 private:
  // A holder being moved from belongs to the thread moving it, so its pointer
  // is taken with plain loads and stores; only the holder assigned to is
  // swapped atomically.
  T* TakeMovedFrom() noexcept {
    T* p = m_p.load(std::memory_order_relaxed);
    m_p.store(nullptr, std::memory_order_relaxed);
    return p;
  }
  void Replace(T* p) {
    if (T* old = m_p.exchange(p, std::memory_order_acq_rel)) old->Release();
  }

  std::atomic<T*> m_p;
};

template <class T>
void swap(CPtr<T>& a, CPtr<T>& b) noexcept {
  a.Swap(b);
}

template <class T, class U>
bool operator==(const CPtr<T>& a, const CPtr<U>& b) noexcept {
  return a.Get() == b.Get();
}
template <class T, class U>
bool operator!=(const CPtr<T>& a, const CPtr<U>& b) noexcept {
  return a.Get() != b.Get();
}
template <class T, class U>
bool operator<(const CPtr<T>& a, const CPtr<U>& b) noexcept {
  using P = std::common_type_t<T*, U*>;
  return std::less<P>()(a.Get(), b.Get());
}
template <class T, class U>
bool operator==(const CPtr<T>& a, U* b) noexcept {
  return a.Get() == b;
}
template <class T, class U>
bool operator==(U* a, const CPtr<T>& b) noexcept {
  return a == b.Get();
}
template <class T, class U>
bool operator!=(const CPtr<T>& a, U* b) noexcept {
  return a.Get() != b;
}
template <class T, class U>
bool operator!=(U* a, const CPtr<T>& b) noexcept {
  return a != b.Get();
}
template <class T, class U>
bool operator<(const CPtr<T>& a, U* b) noexcept {
  using P = std::common_type_t<T*, U*>;
  return std::less<P>()(a.Get(), b);
}
template <class T, class U>
bool operator<(U* a, const CPtr<T>& b) noexcept {
  using P = std::common_type_t<T*, U*>;
  return std::less<P>()(a, b.Get());
}
template <class T>
bool operator==(const CPtr<T>& a, std::nullptr_t) noexcept {
  return a.Get() == nullptr;
}
template <class T>
bool operator==(std::nullptr_t, const CPtr<T>& b) noexcept {
  return b.Get() == nullptr;
}
template <class T>
bool operator!=(const CPtr<T>& a, std::nullptr_t) noexcept {
  return a.Get() != nullptr;
}
template <class T>
bool operator!=(std::nullptr_t, const CPtr<T>& b) noexcept {
  return b.Get() != nullptr;
}

// Builds a new object and hands it back already held (count 1).
template <class T, class... Args>
CPtr<T> MakePtr(Args&&... args) {
  return CPtr<T>(new T(std::forward<Args>(args)...));
}

// Objects that can be frozen. A frozen object is shared freely; whoever wants
// to change one asks for a mutable clone. The flag is per object and is never
// copied: copies start mutable and assignment leaves both fields alone.
class NK_API CIsImmutable : public CRefCount {
 public:
  CIsImmutable() noexcept : m_immutable(false) {}
  CIsImmutable(const CIsImmutable& other) noexcept : CRefCount(other), m_immutable(false) {}
  CIsImmutable& operator=(const CIsImmutable&) noexcept { return *this; }

  bool IsImmutable() const noexcept { return m_immutable; }
  virtual void MakeImmutable();
  // A new, mutable copy of the object; the caller owns it (count 0).
  virtual CIsImmutable* CreateClone() const = 0;

 protected:
  ~CIsImmutable() override;
  virtual void RecycleToMutable();
  // This object if it is already frozen; otherwise a frozen clone. An unowned
  // temporary (count 0) is deleted on the way, an owned one is left alone.
  const CIsImmutable* BaseGetImmutable() const;

 private:
  bool m_immutable;
};

}  // namespace Kernel

template <class T>
struct std::hash<Kernel::CPtr<T>> {
  size_t operator()(const Kernel::CPtr<T>& p) const noexcept { return std::hash<T*>()(p.Get()); }
};
