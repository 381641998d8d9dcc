#include <kernel/Sync.h>

#include <kernel/Exceptions.h>

CSyncObject::~CSyncObject() = default;

CCriticalSection::CCriticalSection() = default;
CCriticalSection::~CCriticalSection() = default;

BOOL CCriticalSection::Lock(DWORD) {
  m_mutex.lock();
  return TRUE;
}

BOOL CCriticalSection::Lock() { return Lock(INFINITE); }

BOOL CCriticalSection::Unlock() {
  m_mutex.unlock();
  return TRUE;
}

BOOL CCriticalSection::TryLock() { return m_mutex.try_lock() ? TRUE : FALSE; }

CSingleLock::CSingleLock(CSyncObject* object, BOOL initialLock) : m_pObject(object) {
  if (!object) throw CInvalidArgException();
  if (initialLock) Lock();
}

CSingleLock::~CSingleLock() {
  if (m_bAcquired) m_pObject->Unlock();
}

BOOL CSingleLock::Lock(DWORD timeout) {
  // Locking twice through the same CSingleLock would leave one unlock behind.
  if (m_bAcquired) return TRUE;
  m_bAcquired = m_pObject->Lock(timeout);
  return m_bAcquired;
}

BOOL CSingleLock::Unlock() {
  if (m_bAcquired) {
    m_bAcquired = !m_pObject->Unlock();
  }
  // Like the framework: TRUE when this object no longer holds the lock.
  return !m_bAcquired;
}
