// A text in blocks of bytes. A mask has one bit for each byte of a block, the lowest for the first byte. Bytes are
// compared sixteen at a time with SSE2, which every x86-64 processor has.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace moorlak {

inline constexpr size_t kBlock = 64;

#ifdef __SSE2__

inline __m128i LoadSixteen(const char* bytes) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
}

inline uint64_t MaskOfSixteen(__m128i comparison) {
  return static_cast<uint32_t>(_mm_movemask_epi8(comparison));
}

// The mask of four times sixteen bytes.
inline uint64_t MaskOfBlock(const __m128i (&comparisons)[4]) {
  return MaskOfSixteen(comparisons[0]) | MaskOfSixteen(comparisons[1]) << 16 | MaskOfSixteen(comparisons[2]) << 32 |
         MaskOfSixteen(comparisons[3]) << 48;
}

// The mask of a block for rare bytes. differ(bytes) is zero in each of sixteen bytes that should be in the mask.
template <typename Differ>
uint64_t MaskOfRare(const char* block, const Differ& differ) {
  const __m128i first = differ(block);
  const __m128i second = differ(block + 16);
  const __m128i third = differ(block + 32);
  const __m128i fourth = differ(block + 48);
  // Most blocks have none; checking this does not need four masks.
  const __m128i least = _mm_min_epu8(_mm_min_epu8(first, second), _mm_min_epu8(third, fourth));
  const __m128i zero = _mm_setzero_si128();
  if (MaskOfSixteen(_mm_cmpeq_epi8(least, zero)) == 0) return 0;
  return MaskOfBlock({_mm_cmpeq_epi8(first, zero), _mm_cmpeq_epi8(second, zero), _mm_cmpeq_epi8(third, zero),
                      _mm_cmpeq_epi8(fourth, zero)});
}

#endif

// The double quotes in the block at the position; none past the end of the text.
inline uint64_t QuotesOf(std::string_view text, size_t position) {
#ifdef __SSE2__
  if (position < text.size() && text.size() - position >= kBlock) {
    const char* const bytes = text.data() + position;
    const __m128i quote = _mm_set1_epi8('"');
    return MaskOfBlock({_mm_cmpeq_epi8(LoadSixteen(bytes), quote), _mm_cmpeq_epi8(LoadSixteen(bytes + 16), quote),
                        _mm_cmpeq_epi8(LoadSixteen(bytes + 32), quote),
                        _mm_cmpeq_epi8(LoadSixteen(bytes + 48), quote)});
  }
#endif
  uint64_t quotes = 0;
  for (size_t i = 0; i < kBlock && position + i < text.size(); ++i) {
    if (text[position + i] == '"') quotes |= uint64_t{1} << i;
  }
  return quotes;
}

// The matching places in a block; no places means no match up to the end of the text.
struct BlockPlaces {
  size_t block = 0;
  uint64_t places = 0;
};

}  // namespace moorlak
