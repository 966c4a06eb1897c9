#include "network/support/scarce_memory.h"

#include <windows.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace moorlak {
namespace {

// The affected thread; 0 for none.
std::atomic<DWORD> thread{0};
// Requests until the one that fails. Only that thread's requests count.
std::atomic<uint64_t> left{0};

void* Request(std::size_t size) {
  if (thread == GetCurrentThreadId() && left != 0 && --left == 0) throw std::bad_alloc();
  void* memory = std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

}  // namespace

ScarceMemory::ScarceMemory(uint64_t nth) {
  left = nth;
  thread = GetCurrentThreadId();
}

ScarceMemory::~ScarceMemory() {
  thread = 0;
}

bool ScarceMemory::WasMet() {
  return left == 0;
}

}  // namespace moorlak

void* operator new(std::size_t size) {
  return moorlak::Request(size);
}

void* operator new[](std::size_t size) {
  return moorlak::Request(size);
}

void operator delete(void* memory) noexcept {
  std::free(memory);
}

void operator delete[](void* memory) noexcept {
  std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);
}

void operator delete[](void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);
}
