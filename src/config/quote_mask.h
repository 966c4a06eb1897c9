// Where the double quotes of a text stand, a block at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace moorlak {

inline constexpr size_t kQuoteBlock = 64;

#ifdef __SSE2__
inline uint64_t QuotesOfSixteen(const char* bytes) {
  const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
  return static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(block, _mm_set1_epi8('"'))));
}
#endif

// A set bit for each quote in the block that begins at the position; the lowest bit is the first byte. Behind the text
// there are none.
inline uint64_t QuotesOf(std::string_view text, size_t position) {
#ifdef __SSE2__
  if (position < text.size() && text.size() - position >= kQuoteBlock) {
    const char* const bytes = text.data() + position;
    return QuotesOfSixteen(bytes) | QuotesOfSixteen(bytes + 16) << 16 | QuotesOfSixteen(bytes + 32) << 32 |
           QuotesOfSixteen(bytes + 48) << 48;
  }
#endif
  uint64_t quotes = 0;
  for (size_t i = 0; i < kQuoteBlock && position + i < text.size(); ++i) {
    if (text[position + i] == '"') quotes |= uint64_t{1} << i;
  }
  return quotes;
}

// The quotes of a block and of the one behind it.
struct QuotePair {
  uint64_t here;
  uint64_t behind;

  // A set bit where a quote stands that many bytes (1 to 63) further on.
  uint64_t Ahead(size_t distance) const { return here >> distance | behind << (kQuoteBlock - distance); }
};

}  // namespace moorlak
