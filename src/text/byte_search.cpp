#include "text/byte_search.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>

#include "text/byte_blocks.h"

namespace moorlak {
namespace {

constexpr char kCaseBit = 'a' - 'A';

bool IsAt(std::string_view text, size_t position, std::string_view needle, LetterCase letterCase) {
  return SameBytes(text.substr(position, needle.size()), needle, letterCase);
}

// Two bytes of the needle that select candidate places before the whole needle is compared.
struct Probes {
  size_t first;
  size_t second;
  char firstByte;
  char secondByte;
  // Ignored in the comparison: the bit in which the two cases of a letter differ, or none.
  char ignoredBits;
};

// The most frequent bytes of configurations, most frequent first; letters are lower case here.
constexpr std::string_view kCommonBytes = "\" eotaisnrcldpmu.,:1h0g2-fyb/w5v3k4x6789_jqz";

// All other bytes count as rarer than those.
constexpr std::array<uint8_t, 256> RarityOfBytes() {
  std::array<uint8_t, 256> rarity{};
  for (size_t byte = 0; byte < rarity.size(); ++byte) {
    const size_t rank = kCommonBytes.find(FoldLetter(static_cast<char>(byte)));
    rarity[byte] = static_cast<uint8_t>(std::min(rank, kCommonBytes.size()));
  }
  return rarity;
}

// The two rarest bytes of the needle: few places of a text have both.
Probes PickProbes(std::string_view needle, LetterCase letterCase) {
  static constexpr std::array<uint8_t, 256> kRarity = RarityOfBytes();
  // Rarity and offset in one number, so that comparing needs no branch.
  size_t rarest = 0;
  size_t second = 0;
  for (size_t offset = 0; offset < needle.size(); ++offset) {
    const size_t candidate = size_t{kRarity[static_cast<unsigned char>(needle[offset])]} << 32 | offset;
    second = std::max(second, std::min(rarest, candidate));
    rarest = std::max(rarest, candidate);
  }
  rarest &= 0xFFFFFFFF;
  second &= 0xFFFFFFFF;
  return {rarest, second, needle[rarest], needle[second], letterCase == LetterCase::Ignore ? kCaseBit : '\0'};
}

bool Passes(const Probes& probes, const char* place) {
  const int difference = (place[probes.first] ^ probes.firstByte) | (place[probes.second] ^ probes.secondByte);
  return (difference & ~probes.ignoredBits) == 0;
}

#ifdef __SSE2__

// Finds the needle at one of the places [from, end): at least a block of them, and the needle fits at each. A probe's
// block begins at its offset, which is at most the needle's last byte, so the block ends inside the text.
template <LetterCase kLetterCase>
size_t FindByBlocks(std::string_view text, std::string_view needle, const Probes& probes, size_t from, size_t end) {
  const __m128i first = _mm_set1_epi8(probes.firstByte);
  const __m128i second = _mm_set1_epi8(probes.secondByte);
  const __m128i compared = _mm_set1_epi8(static_cast<char>(~kCaseBit));
  const auto differ = [&probes, first, second, compared](const char* places) {
    const __m128i one = _mm_xor_si128(LoadSixteen(places + probes.first), first);
    const __m128i other = _mm_xor_si128(LoadSixteen(places + probes.second), second);
    const __m128i either = _mm_or_si128(one, other);
    return kLetterCase == LetterCase::Exact ? either : _mm_and_si128(either, compared);
  };
  // The last block may overlap the one before it.
  const size_t last = end - kBlock;
  for (size_t block = from;; block = std::min(block + kBlock, last)) {
    for (uint64_t mask = MaskOfRare(text.data() + block, differ); mask != 0; mask &= mask - 1) {
      const size_t place = block + static_cast<size_t>(std::countr_zero(mask));
      if (IsAt(text, place, needle, kLetterCase)) return place;
    }
    if (block == last) return kNotFound;
  }
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
  constexpr size_t kStep = 16;
  for (; position < text.size() && text.size() - position >= kStep; position += kStep) {
    const uint64_t mask = MaskOfSixteen(_mm_cmpeq_epi8(LoadSixteen(text.data() + position), wanted));
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
  const Probes probes = PickProbes(needle, letterCase);
  const size_t end = text.size() - needle.size() + 1;
#ifdef __SSE2__
  if (end - from >= kBlock) {
    return letterCase == LetterCase::Exact ? FindByBlocks<LetterCase::Exact>(text, needle, probes, from, end)
                                           : FindByBlocks<LetterCase::Ignore>(text, needle, probes, from, end);
  }
#endif
  for (size_t place = from; place < end; ++place) {
    if (Passes(probes, text.data() + place) && IsAt(text, place, needle, letterCase)) return place;
  }
  return kNotFound;
}

BlockPlaces FindQuotesOfNames(std::string_view text, size_t from, char begin) {
  size_t block = from;
#ifdef __SSE2__
  const __m128i quote = _mm_set1_epi8('"');
  const __m128i colon = _mm_set1_epi8(':');
  const __m128i blank = _mm_set1_epi8(' ');
  const __m128i wanted = _mm_set1_epi8(begin);
  const auto differ = [quote, colon, blank, wanted](const char* bytes) {
    const __m128i next = LoadSixteen(bytes + 1);
    const __m128i end = _mm_min_epu8(_mm_xor_si128(next, colon), _mm_subs_epu8(next, blank));
    const __m128i follows = _mm_min_epu8(end, _mm_xor_si128(next, wanted));
    return _mm_or_si128(_mm_xor_si128(LoadSixteen(bytes), quote), follows);
  };
  for (; block < text.size() && text.size() - block > kBlock; block += kBlock) {
    const uint64_t places = MaskOfRare(text.data() + block, differ);
    if (places != 0) return {block, places};
  }
#endif
  for (; block < text.size(); block += kBlock) {
    uint64_t places = 0;
    for (size_t i = 0; i < kBlock && block + i + 1 < text.size(); ++i) {
      const char next = text[block + i + 1];
      const bool follows = next == ':' || next == begin || static_cast<unsigned char>(next) <= ' ';
      if (text[block + i] == '"' && follows) places |= uint64_t{1} << i;
    }
    if (places != 0) return {block, places};
  }
  return {};
}

}  // namespace moorlak
