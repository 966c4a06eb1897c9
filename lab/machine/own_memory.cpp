// The memory of a stand-in loaded into a program whose heaps are checked: its own, outside those heaps.
//
// Each call into a stand-in parses and writes the whole machine, which takes thousands of small blocks. A checked heap
// fills a free region again with every block that joins it (RtlFreeHeap of Wine 8): two fifths of the processor time of
// the sessions in a profile of the fault sweep. The product's own errors are still seen, because its memory stays in
// the checked heaps.
//
// Blocks are kept by size in lists without locks ("Interlocked Singly Linked Lists" of Microsoft Learn): a thread that
// ends with its process in the middle of an allocation leaves nothing locked. What was taken from the system is never
// given back, so that a list can always be read. For the same reason a program whose memory is measured keeps its plain
// heap.
#include <windows.h>

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <new>

namespace moorlak::lab {
namespace {

constexpr size_t kSmallestBlock = 32;
constexpr size_t kSizes = 16;  // each twice the one before: up to 1 MiB
constexpr size_t kLargestBlock = kSmallestBlock << (kSizes - 1);
constexpr size_t kChunk = size_t{64} << 10;
constexpr size_t kNoList = kSizes;
constexpr size_t kHeapsBlock = kSizes + 1;

// Precedes each block in use. A free one has its list's entry there.
struct alignas(MEMORY_ALLOCATION_ALIGNMENT) BlockHead {
  size_t list;
};
static_assert(sizeof(BlockHead) >= sizeof(SLIST_ENTRY) && sizeof(BlockHead) % alignof(std::max_align_t) == 0);

// All zero is an empty list ("InitializeSListHead function" of Microsoft Learn).
SLIST_HEADER freeBlocks[kSizes];

size_t ListFor(size_t bytes) {
  const size_t size = std::bit_ceil(std::max(bytes, kSmallestBlock));
  return static_cast<size_t>(std::countr_zero(size) - std::countr_zero(kSmallestBlock));
}

// Tail, free and parameter checking ("GFlags flag table" of Microsoft Learn).
constexpr ULONG kHeapChecks = 0x70;

bool AskWhetherHeapIsChecked() {
  const HMODULE ntdll = GetModuleHandleW(L"ntdll.dll");
  const auto flags = reinterpret_cast<ULONG(WINAPI*)()>(
      reinterpret_cast<void*>(ntdll == nullptr ? nullptr : GetProcAddress(ntdll, "RtlGetNtGlobalFlags")));
  return flags != nullptr && (flags() & kHeapChecks) != 0;
}

enum class Knowledge : uint8_t { None, Plain, Checked };

// No static variable of a function: its guard would give each thread handles of this module's own thread library.
bool IsHeapChecked() {
  static constinit std::atomic<Knowledge> known{Knowledge::None};
  Knowledge knowledge = known;
  if (knowledge == Knowledge::None) {
    knowledge = AskWhetherHeapIsChecked() ? Knowledge::Checked : Knowledge::Plain;
    known = knowledge;
  }
  return knowledge == Knowledge::Checked;
}

void* FromSystem(size_t bytes) {
  return VirtualAlloc(nullptr, bytes, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
}

// The first block of a new chunk; the others go to the list.
void* TakeChunk(size_t list) {
  const size_t size = kSmallestBlock << list;
  const size_t bytes = std::max(kChunk, size);
  auto* chunk = static_cast<std::byte*>(FromSystem(bytes));
  if (chunk == nullptr) return nullptr;
  for (size_t at = size; at < bytes; at += size) {
    InterlockedPushEntrySList(&freeBlocks[list], reinterpret_cast<SLIST_ENTRY*>(chunk + at));
  }
  return chunk;
}

void* TakeBlock(size_t bytes, size_t list) {
  if (list == kHeapsBlock) return HeapAlloc(GetProcessHeap(), 0, bytes);
  if (list == kNoList) return FromSystem(bytes);
  void* block = InterlockedPopEntrySList(&freeBlocks[list]);
  return block != nullptr ? block : TakeChunk(list);
}

void* Take(size_t size) noexcept {
  const size_t bytes = size + sizeof(BlockHead);
  if (bytes < size) return nullptr;
  size_t list = bytes > kLargestBlock ? kNoList : ListFor(bytes);
  if (!IsHeapChecked()) list = kHeapsBlock;
  void* block = TakeBlock(bytes, list);
  return block == nullptr ? nullptr : ::new (block) BlockHead{list} + 1;
}

void Release(void* memory) noexcept {
  if (memory == nullptr) return;
  BlockHead* head = static_cast<BlockHead*>(memory) - 1;
  const size_t list = head->list;
  if (list == kHeapsBlock) {
    HeapFree(GetProcessHeap(), 0, head);
  } else if (list == kNoList) {
    VirtualFree(head, 0, MEM_RELEASE);
  } else {
    InterlockedPushEntrySList(&freeBlocks[list], reinterpret_cast<SLIST_ENTRY*>(head));
  }
}

}  // namespace
}  // namespace moorlak::lab

void* operator new(size_t size) {
  void* memory = moorlak::lab::Take(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

void operator delete(void* memory) noexcept {
  moorlak::lab::Release(memory);
}

void operator delete(void* memory, size_t /*size*/) noexcept {
  moorlak::lab::Release(memory);
}
