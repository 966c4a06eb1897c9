#include "config/byte_search.h"

#include <bit>
#include <cstdint>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace moorlak {
namespace {

constexpr char kCaseBit = 'a' - 'A';

bool IsLetter(char byte) {
  const char folded = FoldLetter(byte);
  return folded >= 'a' && folded <= 'z';
}

bool StandsAt(std::string_view text, size_t position, std::string_view needle, LetterCase letterCase) {
  return SameBytes(text.substr(position, needle.size()), needle, letterCase);
}

// A byte of the needle by which places are picked before the whole needle is compared.
struct Probe {
  size_t offset = 0;
  char byte = 0;
  // Set in every byte of the text before the comparison: the bit in which the two cases of a letter differ, or none.
  char ignoredBits = 0;
};

Probe ProbeAt(std::string_view needle, size_t offset, LetterCase letterCase) {
  const char byte = needle[offset];
  if (letterCase == LetterCase::Exact || !IsLetter(byte)) return {offset, byte, 0};
  return {offset, FoldLetter(byte), kCaseBit};
}

struct ProbePair {
  Probe first;
  Probe last;
};

bool Passes(const Probe& probe, std::string_view text, size_t position) {
  return static_cast<char>(text[position + probe.offset] | probe.ignoredBits) == probe.byte;
}

// The needle at [from, end), a range in which it fits behind every position.
size_t FindOneByOne(std::string_view text, std::string_view needle, const ProbePair& probes, size_t from, size_t end,
                    LetterCase letterCase) {
  for (size_t position = from; position < end; ++position) {
    if (Passes(probes.first, text, position) && Passes(probes.last, text, position) &&
        StandsAt(text, position, needle, letterCase)) {
      return position;
    }
  }
  return kNotFound;
}

#ifdef __SSE2__

constexpr size_t kBlock = sizeof(__m128i);

__m128i LoadBlock(const char* bytes) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
}

struct BlockProbe {
  size_t offset;
  __m128i byte;
  __m128i ignoredBits;

  explicit BlockProbe(const Probe& probe)
      : offset(probe.offset), byte(_mm_set1_epi8(probe.byte)), ignoredBits(_mm_set1_epi8(probe.ignoredBits)) {}

  // All ones in each byte of the block that passes.
  __m128i Compare(const char* block) const {
    return _mm_cmpeq_epi8(_mm_or_si128(LoadBlock(block + offset), ignoredBits), byte);
  }
};

uint32_t MaskOf(__m128i comparison) {
  return static_cast<uint32_t>(_mm_movemask_epi8(comparison));
}

#endif

}  // namespace

bool SameBytes(std::string_view one, std::string_view other, LetterCase letterCase) {
  if (letterCase == LetterCase::Exact) return one == other;
  for (size_t i = 0; i < other.size(); ++i) {
    if (one[i] != other[i] && FoldLetter(one[i]) != FoldLetter(other[i])) return false;
  }
  return true;
}

size_t FindByte(std::string_view text, char byte, size_t from) {
  size_t position = from;
#ifdef __SSE2__
  const __m128i wanted = _mm_set1_epi8(byte);
  for (; position < text.size() && text.size() - position >= kBlock; position += kBlock) {
    const uint32_t mask = MaskOf(_mm_cmpeq_epi8(LoadBlock(text.data() + position), wanted));
    if (mask != 0) return position + static_cast<size_t>(std::countr_zero(mask));
  }
#endif
  for (; position < text.size(); ++position) {
    if (text[position] == byte) return position;
  }
  return kNotFound;
}

size_t FindText(std::string_view text, std::string_view needle, size_t from, LetterCase letterCase) {
  if (from > text.size() || text.size() - from < needle.size()) return kNotFound;
  const ProbePair probes{ProbeAt(needle, 0, letterCase), ProbeAt(needle, needle.size() - 1, letterCase)};
  const size_t end = text.size() - needle.size() + 1;
  size_t position = from;
#ifdef __SSE2__
  const BlockProbe first(probes.first);
  const BlockProbe last(probes.last);
  // The block of a probe begins at its offset, which is at most the needle's last byte: it ends inside the text.
  for (; end - position >= kBlock; position += kBlock) {
    const char* const block = text.data() + position;
    for (uint32_t mask = MaskOf(_mm_and_si128(first.Compare(block), last.Compare(block))); mask != 0;
         mask &= mask - 1) {
      const size_t candidate = position + static_cast<size_t>(std::countr_zero(mask));
      if (StandsAt(text, candidate, needle, letterCase)) return candidate;
    }
  }
#endif
  return FindOneByOne(text, needle, probes, position, end, letterCase);
}

}  // namespace moorlak
