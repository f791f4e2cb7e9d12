// Objects of which the newest is the active one in the whole process. Loggers are such objects.
#ifndef ZTUTIL_STACKABLE_H_
#define ZTUTIL_STACKABLE_H_

#include <boost/thread/lock_types.hpp>
#include <boost/thread/recursive_mutex.hpp>

#include <algorithm>
#include <cstddef>
#include <stdexcept>
#include <utility>
#include <vector>

namespace ztutil {

class StackableBase {
 public:
  virtual ~StackableBase() = default;
};

// Base of a T whose objects make up a stack. An object is on the stack from the beginning of its
// construction; it may leave from anywhere on it. Any thread may do all of this.
//
// Another thread must not meet an object that is half made or half gone. So a class of which objects are made
// delegates each of its constructors, with a Hold that lives until the whole object stands, and begins its
// destructor with Leave:
//
//   explicit FileLogger(const char* path) : FileLogger(Hold(), path) {}
//   ~FileLogger() override { Leave(); }
//  private:
//   FileLogger(const Hold&, const char* path) : ZTLogger("file") ...
template <class T>
class Stackable : public StackableBase {
 public:
  // Keeps the stack as it is. The thread that holds may change it all the same.
  class Hold {
   public:
    Hold() : fLock(StackMutex()) {}

   private:
    boost::unique_lock<boost::recursive_mutex> fLock;
  };

  // An object of the stack, or none, with a hold as long as there is one. Use of none throws
  // std::runtime_error with "Stackable: nullptr".
  class Held {
   public:
    Held() = default;
    Held(T* object, boost::unique_lock<boost::recursive_mutex> lock) : fObject(object) {
      if (object != nullptr) fLock = std::move(lock);
    }

    explicit operator bool() const { return fObject != nullptr; }
    T* operator->() const {
      if (fObject == nullptr) throw std::runtime_error("Stackable: nullptr");
      return fObject;
    }
    T* get() const { return fObject; }

   private:
    boost::unique_lock<boost::recursive_mutex> fLock;
    T* fObject = nullptr;
  };

  Stackable(const Stackable&) = delete;
  Stackable& operator=(const Stackable&) = delete;

  // The active object.
  static Held Top() {
    boost::unique_lock<boost::recursive_mutex> lock(StackMutex());
    return {Stack().empty() ? nullptr : static_cast<T*>(Stack().back()), std::move(lock)};
  }

  // The neighbours of an object, none where there is no neighbour or the object isn't on the stack.
  static Held Below(const T* object) { return Neighbour(object, -1); }
  static Held Above(const T* object) { return Neighbour(object, 1); }

 protected:
  Stackable() {
    const Hold hold;
    Stack().push_back(this);
  }

  ~Stackable() override { Leave(); }

  // Takes the object off the stack, if it is on it.
  void Leave() {
    const Hold hold;
    Stack().erase(std::remove(Stack().begin(), Stack().end(), this), Stack().end());
  }

 private:
  // Neither is ever destroyed: abandoned threads may still be at work while the process ends.

  static boost::recursive_mutex& StackMutex() {
    static auto* const mutex = new boost::recursive_mutex;
    return *mutex;
  }

  static Held Neighbour(const T* object, std::ptrdiff_t distance) {
    boost::unique_lock<boost::recursive_mutex> lock(StackMutex());
    const std::vector<Stackable*>& stack = Stack();
    const auto place = std::find(stack.begin(), stack.end(), static_cast<const Stackable*>(object));
    if (place == stack.end()) return {};
    const std::ptrdiff_t neighbour = place - stack.begin() + distance;
    if (neighbour < 0 || neighbour >= static_cast<std::ptrdiff_t>(stack.size())) return {};
    return {static_cast<T*>(stack[static_cast<std::size_t>(neighbour)]), std::move(lock)};
  }

  // Oldest first. Guarded by StackMutex. Not as T, which an object isn't yet when it's put there, and no
  // longer when it leaves.
  static std::vector<Stackable*>& Stack() {
    static auto* const stack = new std::vector<Stackable*>;
    return *stack;
  }
};

}  // namespace ztutil

#endif  // ZTUTIL_STACKABLE_H_
