// What is done at the end of a thread for its thread_local objects: the compiler registers their
// destructors by __cxa_thread_atexit(). The C library ends the process with an abort where it has
// no memory to note one, whatever the program has set for that case; here the object then just
// lives as long as the process, which costs the memory of a thread that is mostly as old.
//
// Deliberate: the function of the C++ ABI is defined for the code that is linked with this one, and
// for nothing outside it. Objects of the thread of main() are never destroyed.
#include <pthread.h>

#include <atomic>
#include <new>
#include <utility>

namespace zel::util {

namespace {

struct thread_end {
  void (*destroy)(void*);
  void* object;
  const thread_end* before;
};

/// Destroys the youngest object first. A destructor may register others: then the system calls
/// this once more.
void destroy_all(void* last) {
  for (const auto* end = static_cast<const thread_end*>(last); end != nullptr;) {
    end->destroy(end->object);
    delete std::exchange(end, end->before);
  }
}

/// The list of a thread, by a key whose destructor the system calls. Where a shared library is
/// unloaded the key goes with it, as the functions do.
class ends_of_threads {
 public:
  ends_of_threads() : made_(pthread_key_create(&key_, destroy_all) == 0) {}
  ~ends_of_threads() {
    if (made_.exchange(false)) pthread_key_delete(key_);
  }
  bool add(void (*destroy)(void*), void* object) const {
    if (!made_) return false;
    const auto* const before = static_cast<const thread_end*>(pthread_getspecific(key_));
    const auto* const end = new (std::nothrow) thread_end{destroy, object, before};
    if (end == nullptr) return false;
    if (pthread_setspecific(key_, end) == 0) return true;
    delete end;
    return false;
  }

 private:
  pthread_key_t key_{};
  std::atomic<bool> made_;  // threads may run until the process ends
};

const ends_of_threads& all_ends() {
  static const ends_of_threads ends;
  return ends;
}

}  // namespace

}  // namespace zel::util

extern "C" [[gnu::visibility("hidden")]] int __cxa_thread_atexit(void (*destroy)(void*),
                                                                 void* object, void*) noexcept {
  return zel::util::all_ends().add(destroy, object) ? 0 : -1;
}
