/// \file
/// Intrusive reference counting for the handles of this library.
///
/// An object derived from counted lives as long as at least one counted_ptr refers to it. The count
/// may be changed from any thread; one and the same counted_ptr is not to be used by two threads at
/// once without a lock.
#ifndef WZAPP_COUNTED_H
#define WZAPP_COUNTED_H

#include <cstddef>
#include <cstdint>

namespace wzapp {

/// Base of counted objects. Not polymorphic: the destructor that counts is that of the class which
/// counted_ptr points to.
class counted {
 public:
  /// Nobody refers to a new object yet: its count is 0.
  counted() : count_(0) {}

  /// Adds a reference: an atomic read-modify-write operation with a full memory barrier before and
  /// after.
  void increment() { __sync_fetch_and_add(&count_, 1); }

  /// Takes a reference away, by the same kind of operation. Destroys nothing.
  ///
  /// \return the count from before.
  std::int32_t decrement() { return __sync_fetch_and_sub(&count_, 1); }

 protected:
  ~counted() = default;

 private:
  counted(const counted&) = delete;
  counted& operator=(const counted&) = delete;

  std::int32_t count_;
};

/// Shared owner of a T, which is derived from counted and has a virtual destructor.
template <typename T>
class counted_ptr {
 public:
  /// Refers to nothing.
  counted_ptr() : object_(nullptr) {}

  /// Refers to nothing. Implicit, so that nullptr can be passed, assigned and returned.
  counted_ptr(std::nullptr_t) : object_(nullptr) {}

  /// Becomes one of the owners of `object`, which may be null.
  // A template only so that it ranks behind the one before it for 0 and NULL, which suit both.
  template <typename = void>
  explicit counted_ptr(T* object) : object_(object) {
    acquire();
  }

  /// Becomes one more owner of what `other` refers to.
  counted_ptr(const counted_ptr& other) : object_(other.object_) { acquire(); }

  /// Destroys the object when this was its last owner.
  ~counted_ptr() { release(); }

  /// Acquires before it releases, so that the source may be owned by what is released.
  counted_ptr& operator=(const counted_ptr& other) {
    if (this == &other) return *this;
    T* const object = other.object_;
    if (object != nullptr) object->increment();
    release();
    object_ = object;
    return *this;
  }

  /// Releases before it acquires: resetting to the object that only this pointer holds destroys it.
  void reset(T* object = nullptr) {
    release();
    object_ = object;
    acquire();
  }

  /// The object, or null. It stays good for as long as somebody owns it.
  T* get() const { return object_; }

  /// A member of the object; the pointer is not empty.
  T* operator->() const { return object_; }

  /// The object; the pointer is not empty.
  T& operator*() const { return *object_; }

  /// Whether the pointer refers to an object.
  explicit operator bool() const { return object_ != nullptr; }

 private:
  void acquire() {
    if (object_ != nullptr) object_->increment();
  }

  void release() {
    if (object_ != nullptr && object_->decrement() == 1) delete object_;
  }

  T* object_;
};

}  // namespace wzapp

#endif  // WZAPP_COUNTED_H
