#pragma once
// CArray: the framework's growable array. Elements live in one block; new
// elements are value-initialised (zero for scalars). Indexing outside the
// array throws CInvalidArgException and a failed allocation throws
// CMemoryException, both by value.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <type_traits>
#include <utility>

#include <kernel/Exceptions.h>
#include <kernel/WinTypes.h>

template <class TYPE, class ARG_TYPE = const TYPE&>
class CArray {
 public:
  CArray() noexcept = default;
  CArray(const CArray& other) : CArray() { Copy(other); }
  CArray(CArray&& other) noexcept
      : m_pData(std::exchange(other.m_pData, nullptr)),
        m_nSize(std::exchange(other.m_nSize, 0)),
        m_nMaxSize(std::exchange(other.m_nMaxSize, 0)),
        m_nGrowBy(std::exchange(other.m_nGrowBy, 0)) {}
  CArray& operator=(const CArray& other) {
    if (this != &other) Copy(other);
    return *this;
  }
  CArray& operator=(CArray&& other) noexcept {
    if (this != &other) {
      Destroy();
      m_pData = std::exchange(other.m_pData, nullptr);
      m_nSize = std::exchange(other.m_nSize, 0);
      m_nMaxSize = std::exchange(other.m_nMaxSize, 0);
      m_nGrowBy = std::exchange(other.m_nGrowBy, 0);
    }
    return *this;
  }
  ~CArray() { Destroy(); }

  INT_PTR GetSize() const noexcept { return m_nSize; }
  INT_PTR GetCount() const noexcept { return m_nSize; }
  BOOL IsEmpty() const noexcept { return m_nSize == 0; }
  INT_PTR GetUpperBound() const noexcept { return m_nSize - 1; }

  // Resizes to newSize elements. growBy >= 0 sets how many slots to add when
  // the array has to grow (0: a step that grows with the array, size/8 but at
  // least 4 and at most 1024); -1 keeps the current setting.
  void SetSize(INT_PTR newSize, INT_PTR growBy = -1) {
    if (newSize < 0) throw CInvalidArgException();
    if (growBy >= 0) m_nGrowBy = growBy;
    if (newSize == 0) {
      Destroy();
      return;
    }
    if (newSize > m_nMaxSize) {
      INT_PTR step = m_nGrowBy;
      if (step == 0) step = std::clamp<INT_PTR>(m_nSize / 8, 4, 1024);
      INT_PTR newMax = m_nMaxSize == 0 ? std::max(newSize, m_nGrowBy) : std::max(newSize, m_nMaxSize + step);
      Reserve(newMax);
    }
    if (newSize > m_nSize) {
      for (INT_PTR i = m_nSize; i < newSize; ++i) ::new (static_cast<void*>(m_pData + i)) TYPE();
    } else {
      for (INT_PTR i = newSize; i < m_nSize; ++i) m_pData[i].~TYPE();
    }
    m_nSize = newSize;
  }

  void FreeExtra() {
    if (m_nSize != m_nMaxSize) {
      if (m_nSize == 0) {
        Destroy();
      } else {
        Reallocate(m_nSize);
      }
    }
  }
  void RemoveAll() noexcept { Destroy(); }

  const TYPE& GetAt(INT_PTR i) const {
    Check(i);
    return m_pData[i];
  }
  TYPE& GetAt(INT_PTR i) {
    Check(i);
    return m_pData[i];
  }
  void SetAt(INT_PTR i, ARG_TYPE e) {
    Check(i);
    m_pData[i] = e;
  }
  TYPE& ElementAt(INT_PTR i) {
    Check(i);
    return m_pData[i];
  }
  const TYPE& ElementAt(INT_PTR i) const {
    Check(i);
    return m_pData[i];
  }
  const TYPE& operator[](INT_PTR i) const { return GetAt(i); }
  TYPE& operator[](INT_PTR i) { return ElementAt(i); }
  const TYPE* GetData() const noexcept { return m_pData; }
  TYPE* GetData() noexcept { return m_pData; }

  // Stores at i, growing the array first when i is past its end.
  void SetAtGrow(INT_PTR i, ARG_TYPE e) {
    if (i < 0) throw CInvalidArgException();
    if (i >= m_nSize) {
      TYPE copy(e);  // e may refer into this array
      SetSize(i + 1);
      m_pData[i] = std::move(copy);
    } else {
      m_pData[i] = e;
    }
  }
  INT_PTR Add(ARG_TYPE e) {
    INT_PTR i = m_nSize;
    SetAtGrow(i, e);
    return i;
  }
  // Appends a copy of src; returns the index of its first element.
  INT_PTR Append(const CArray& src) {
    INT_PTR old = m_nSize;
    if (&src == this) {
      CArray copy(src);
      return Append(copy);
    }
    SetSize(m_nSize + src.m_nSize);
    for (INT_PTR i = 0; i < src.m_nSize; ++i) m_pData[old + i] = src.m_pData[i];
    return old;
  }
  void Copy(const CArray& src) {
    if (&src == this) return;
    SetSize(src.m_nSize);
    for (INT_PTR i = 0; i < src.m_nSize; ++i) m_pData[i] = src.m_pData[i];
  }

  void InsertAt(INT_PTR index, ARG_TYPE e, INT_PTR count = 1) {
    if (index < 0 || count < 0) throw CInvalidArgException();
    if (count == 0) return;
    TYPE copy(e);
    INT_PTR old = m_nSize;
    if (index >= old) {
      SetSize(index + count);
    } else {
      SetSize(old + count);
      std::move_backward(m_pData + index, m_pData + old, m_pData + old + count);
    }
    for (INT_PTR i = 0; i < count; ++i) m_pData[index + i] = copy;
  }
  void InsertAt(INT_PTR start, const CArray* src) {
    if (!src) throw CInvalidArgException();
    if (src->m_nSize == 0) return;
    CArray copy(*src);
    InsertAt(start, copy.m_pData[0], copy.m_nSize);
    for (INT_PTR i = 0; i < copy.m_nSize; ++i) m_pData[start + i] = copy.m_pData[i];
  }
  void RemoveAt(INT_PTR index, INT_PTR count = 1) {
    if (index < 0 || count < 0 || index + count > m_nSize) throw CInvalidArgException();
    std::move(m_pData + index + count, m_pData + m_nSize, m_pData + index);
    for (INT_PTR i = m_nSize - count; i < m_nSize; ++i) m_pData[i].~TYPE();
    m_nSize -= count;
  }

  TYPE* begin() noexcept { return m_pData; }
  TYPE* end() noexcept { return m_pData + m_nSize; }
  const TYPE* begin() const noexcept { return m_pData; }
  const TYPE* end() const noexcept { return m_pData + m_nSize; }

 protected:
  TYPE* m_pData = nullptr;
  INT_PTR m_nSize = 0;
  INT_PTR m_nMaxSize = 0;
  INT_PTR m_nGrowBy = 0;  // 0: a step that grows with the array

 private:
  void Check(INT_PTR i) const {
    if (i < 0 || i >= m_nSize) throw CInvalidArgException();
  }
  void Destroy() noexcept {
    for (INT_PTR i = 0; i < m_nSize; ++i) m_pData[i].~TYPE();
    ::operator delete(static_cast<void*>(m_pData), std::align_val_t(alignof(TYPE)));
    m_pData = nullptr;
    m_nSize = m_nMaxSize = 0;
  }
  void Reserve(INT_PTR newMax) {
    if (newMax > m_nMaxSize) Reallocate(newMax);
  }
  void Reallocate(INT_PTR newMax) {
    if (newMax < 0 || static_cast<size_t>(newMax) > static_cast<size_t>(PTRDIFF_MAX) / sizeof(TYPE)) {
      throw CMemoryException();
    }
    void* raw =
        ::operator new(static_cast<size_t>(newMax) * sizeof(TYPE), std::align_val_t(alignof(TYPE)), std::nothrow);
    if (!raw) throw CMemoryException();
    TYPE* p = static_cast<TYPE*>(raw);
    for (INT_PTR i = 0; i < m_nSize; ++i) {
      ::new (static_cast<void*>(p + i)) TYPE(std::move(m_pData[i]));
      m_pData[i].~TYPE();
    }
    ::operator delete(static_cast<void*>(m_pData), std::align_val_t(alignof(TYPE)));
    m_pData = p;
    m_nMaxSize = newMax;
  }
};

// The framework's typed arrays. Classes rather than aliases so that they can
// be forward-declared.
class CByteArray : public CArray<BYTE, BYTE> {
 public:
  using CArray::CArray;
};
class CWordArray : public CArray<WORD, WORD> {
 public:
  using CArray::CArray;
};
class CDWordArray : public CArray<DWORD, DWORD> {
 public:
  using CArray::CArray;
};
class CUIntArray : public CArray<UINT, UINT> {
 public:
  using CArray::CArray;
};
class CPtrArray : public CArray<void*, void*> {
 public:
  using CArray::CArray;
};
