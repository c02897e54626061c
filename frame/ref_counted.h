// Intrusive reference counting for the objects handed to Lua.
//
// Every hardware object carries its own count (RefCountedObjectType<int>);
// RefCountedObjectPtr<T> raises it on copy and lowers it on release, and the
// last release deletes the object through its virtual destructor.
#pragma once

#include <utility>

namespace Tessel {

// Stops the process with the failed expression; used for programming errors
// that must never be silently ignored, whatever the build type.
[[noreturn]] void assertionFailed(const char* expr, const char* file, int line);

#define TESSEL_ASSERT(expr) \
  ((expr) ? static_cast<void>(0) : ::Tessel::assertionFailed(#expr, __FILE__, __LINE__))

template <class CounterType>
class RefCountedObjectType {
 public:
  void incReferenceCount() const { ++m_refCount; }

  void decReferenceCount() const {
    TESSEL_ASSERT(getReferenceCount() > 0);
    if (--m_refCount == 0) delete this;
  }

  int getReferenceCount() const { return static_cast<int>(m_refCount); }

 protected:
  RefCountedObjectType() : m_refCount() {}
  virtual ~RefCountedObjectType() { TESSEL_ASSERT(getReferenceCount() == 0); }

 private:
  RefCountedObjectType(const RefCountedObjectType&) = delete;
  RefCountedObjectType& operator=(const RefCountedObjectType&) = delete;

  mutable CounterType m_refCount;
};

template <class T>
class RefCountedObjectPtr {
 public:
  using ReferencedType = T;

  RefCountedObjectPtr() noexcept : m_object(nullptr) {}
  RefCountedObjectPtr(std::nullptr_t) noexcept : m_object(nullptr) {}
  RefCountedObjectPtr(T* object) : m_object(object) {
    if (m_object) m_object->incReferenceCount();
  }
  RefCountedObjectPtr(const RefCountedObjectPtr& other) : RefCountedObjectPtr(other.m_object) {}
  RefCountedObjectPtr(RefCountedObjectPtr&& other) noexcept : m_object(other.m_object) {
    other.m_object = nullptr;
  }
  ~RefCountedObjectPtr() { reset(); }

  RefCountedObjectPtr& operator=(RefCountedObjectPtr other) noexcept {
    std::swap(m_object, other.m_object);
    return *this;
  }

  void reset() {
    T* old = m_object;
    m_object = nullptr;
    if (old) old->decReferenceCount();
  }

  // Hands the counted reference over to the caller, who becomes responsible
  // for one decReferenceCount(). Used where Lua takes ownership.
  T* detach() noexcept {
    T* p = m_object;
    m_object = nullptr;
    return p;
  }

  T* getObject() const noexcept { return m_object; }
  T* get() const noexcept { return m_object; }
  T* operator->() const noexcept { return m_object; }
  T& operator*() const noexcept { return *m_object; }
  explicit operator bool() const noexcept { return m_object != nullptr; }

 private:
  T* m_object;
};

}  // namespace Tessel
