#include "unit/config/small_stack.h"

#ifdef _WIN32
#include <windows.h>

#include <malloc.h>
#else
#include <pthread.h>
#endif

namespace moorlak {
namespace {

#ifdef _WIN32

[[gnu::noinline]] void Call(const std::function<void()>& work) {
  work();
}

// The system may give a thread more stack than requested: the excess is taken away before the call. Two pages at the
// lower end stay untouched, because the system needs them.
DWORD WINAPI Body(void* context) {
  constexpr size_t kGuard = 8u << 10;
  ULONG_PTR low = 0;
  ULONG_PTR high = 0;
  GetCurrentThreadStackLimits(&low, &high);
  const size_t left = reinterpret_cast<ULONG_PTR>(&low) - low;
  if (left > kSmallStack + kGuard) {
    volatile char* const taken = static_cast<char*>(_alloca(left - kSmallStack - kGuard));
    taken[0] = 1;
  }
  Call(*static_cast<const std::function<void()>*>(context));
  return 0;
}

#else

void* Body(void* context) {
  (*static_cast<const std::function<void()>*>(context))();
  return nullptr;
}

#endif

}  // namespace

#ifdef _WIN32

bool RunOnSmallStack(const std::function<void()>& work) {
  void* const context = const_cast<std::function<void()>*>(&work);
  const HANDLE thread = CreateThread(nullptr, kSmallStack, Body, context, STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
  if (thread == nullptr) return false;
  const bool ended = WaitForSingleObject(thread, INFINITE) == WAIT_OBJECT_0;
  CloseHandle(thread);
  return ended;
}

#else

bool RunOnSmallStack(const std::function<void()>& work) {
  pthread_attr_t attributes;
  if (pthread_attr_init(&attributes) != 0) return false;
  pthread_t thread{};
  void* const context = const_cast<std::function<void()>*>(&work);
  const bool started = pthread_attr_setstacksize(&attributes, kSmallStack) == 0 &&
                       pthread_create(&thread, &attributes, Body, context) == 0;
  pthread_attr_destroy(&attributes);
  return started && pthread_join(thread, nullptr) == 0;
}

#endif

}  // namespace moorlak
