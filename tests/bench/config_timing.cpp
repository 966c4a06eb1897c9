// Time and peak memory of the rewriting at a VPN start, with the standard library only, so that the Windows program,
// which is what ships, can be measured.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>
#include <utility>

#include "bench/config_texts.h"
#include "bench/start_pipeline.h"
#include "config/vpn_config.h"

namespace {

// Bytes currently allocated, and their maximum since the last reset.
std::atomic<size_t> bytesNow{0};
std::atomic<size_t> maxBytes{0};

// Each block of memory is preceded by its size; the block stays aligned.
constexpr size_t kHeader = alignof(std::max_align_t);

}  // namespace

void* operator new(size_t size) {
  void* const piece = std::malloc(size + kHeader);
  if (piece == nullptr) throw std::bad_alloc();
  *static_cast<size_t*>(piece) = size;
  const size_t now = bytesNow += size;
  if (now > maxBytes) maxBytes = now;
  return static_cast<char*>(piece) + kHeader;
}

void operator delete(void* memory) noexcept {
  if (memory == nullptr) return;
  void* const piece = static_cast<char*>(memory) - kHeader;
  bytesNow -= *static_cast<size_t*>(piece);
  std::free(piece);
}

void operator delete(void* memory, size_t) noexcept {
  operator delete(memory);
}

namespace moorlak::bench {
namespace {

struct Measurement {
  double milliseconds = 0;
  double timesTheText = 0;
};

// The fastest of several rounds. The memory includes the text itself.
Measurement Measure(const std::string& text) {
  using Clock = std::chrono::steady_clock;
  constexpr int kRounds = 15;
  Measurement best;
  for (int round = 0; round < kRounds; ++round) {
    const size_t before = bytesNow;
    std::string consumed;
    consumed.reserve(text.size() + kRoomForEdits);  // As at a start.
    consumed = text;
    maxBytes = bytesNow.load();
    const auto begin = Clock::now();
    const std::string result = RunStartPipeline(std::move(consumed));
    const double milliseconds = std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
    if (round == 0 || milliseconds < best.milliseconds) best.milliseconds = milliseconds;
    best.timesTheText = static_cast<double>(maxBytes - before) / static_cast<double>(text.size());
  }
  return best;
}

void Print(const char* name, const std::string& text) {
  const Measurement measured = Measure(text);
  std::printf("| %s | %.3f ms | %.2f |\n", name, measured.milliseconds, measured.timesTheText);
  std::fflush(stdout);
}

}  // namespace
}  // namespace moorlak::bench

int main() {
  using namespace moorlak::bench;
  std::printf("| text | time | peak memory / text |\n|---|---|---|\n");
  Print("20 KB", RealisticConfig(20 * kKiB, MetaPlace::First));
  Print("1 MiB", RealisticConfig(kMiB, MetaPlace::First));
  Print("8 MiB", RealisticConfig(8 * kMiB, MetaPlace::First));
  Print("16 MiB", RealisticConfig(16 * kMiB, MetaPlace::First));
  Print("16 MiB, metadata last", RealisticConfig(16 * kMiB, MetaPlace::Last));
  for (const HostileText& hostile : HostileTexts(16 * kMiB)) Print(hostile.name, hostile.text);
  return 0;
}
