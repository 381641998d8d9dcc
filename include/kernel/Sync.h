#pragma once
// Synchronisation objects as the framework has them. A critical section is
// recursive: the thread that holds it may lock it again, and must unlock it
// as many times.
#include <mutex>

#include <kernel/Export.h>
#include <kernel/WinTypes.h>

class NK_API CSyncObject {
 public:
  virtual ~CSyncObject();
  // TRUE when the object was acquired within `timeout` milliseconds.
  virtual BOOL Lock(DWORD timeout = INFINITE) = 0;
  virtual BOOL Unlock() = 0;

 protected:
  CSyncObject() = default;
  CSyncObject(const CSyncObject&) = delete;
  CSyncObject& operator=(const CSyncObject&) = delete;
};

class NK_API CCriticalSection : public CSyncObject {
 public:
  CCriticalSection();
  ~CCriticalSection() override;
  // Waits as long as needed: like the framework's critical section, the
  // time-out is not honoured.
  BOOL Lock(DWORD timeout = INFINITE) override;
  BOOL Lock();
  BOOL Unlock() override;
  // TRUE when the section was free (or already held by this thread) and is
  // now held; never waits.
  BOOL TryLock();

 private:
  std::recursive_mutex m_mutex;
};

// Holds a synchronisation object for a scope; the destructor unlocks it if
// this object locked it.
class NK_API CSingleLock {
 public:
  explicit CSingleLock(CSyncObject* object, BOOL initialLock = FALSE);
  ~CSingleLock();
  CSingleLock(const CSingleLock&) = delete;
  CSingleLock& operator=(const CSingleLock&) = delete;

  BOOL Lock(DWORD timeout = INFINITE);
  BOOL Unlock();
  BOOL IsLocked() const noexcept { return m_bAcquired; }

 private:
  CSyncObject* m_pObject;
  BOOL m_bAcquired = FALSE;
};
