#include "client/visible_text.h"

#include <cstddef>
#include <cstdint>

namespace moorlak::client {
namespace {

struct Decoded {
  char32_t character = 0;
  // 0 if the bytes are not well-formed UTF-8.
  size_t length = 0;
};

struct LeadByte {
  unsigned char first;
  unsigned char last;
  unsigned char length;
  // Range of the second byte; the later ones are always 80 to BF.
  unsigned char secondFirst;
  unsigned char secondLast;
};

// Well-formed byte sequences outside ASCII: The Unicode Standard, table 3-7.
constexpr LeadByte kLeadBytes[] = {
    {0xC2, 0xDF, 2, 0x80, 0xBF}, {0xE0, 0xE0, 3, 0xA0, 0xBF}, {0xE1, 0xEC, 3, 0x80, 0xBF}, {0xED, 0xED, 3, 0x80, 0x9F},
    {0xEE, 0xEF, 3, 0x80, 0xBF}, {0xF0, 0xF0, 4, 0x90, 0xBF}, {0xF1, 0xF3, 4, 0x80, 0xBF}, {0xF4, 0xF4, 4, 0x80, 0x8F}};

unsigned char ByteAt(std::string_view text, size_t index) {
  return static_cast<unsigned char>(text[index]);
}

Decoded DecodeSequence(std::string_view text, const LeadByte& lead) {
  if (text.size() < lead.length) return {};
  if (ByteAt(text, 1) < lead.secondFirst || ByteAt(text, 1) > lead.secondLast) return {};
  char32_t character = ByteAt(text, 0) & (0x7FU >> lead.length);
  for (size_t index = 1; index < lead.length; ++index) {
    if ((ByteAt(text, index) & 0xC0U) != 0x80U) return {};
    character = (character << 6U) | (ByteAt(text, index) & 0x3FU);
  }
  return {character, lead.length};
}

Decoded DecodeFirst(std::string_view text) {
  const unsigned char first = ByteAt(text, 0);
  if (first < 0x80) return {first, 1};
  for (const LeadByte& lead : kLeadBytes) {
    if (first >= lead.first && first <= lead.last) return DecodeSequence(text, lead);
  }
  return {};
}

bool IsControl(char32_t character) {
  return (character < 0x20 && character != '\t') || character == 0x7F;
}

// C1 controls, line and paragraph separators, direction marks, embeddings, overrides, isolates, byte-order mark.
bool MisleadsTerminal(char32_t character) {
  return (character >= 0x80 && character <= 0x9F) || character == 0x061C || character == 0x200E ||
         character == 0x200F || (character >= 0x2028 && character <= 0x202E) ||
         (character >= 0x2066 && character <= 0x2069) || character == 0xFEFF;
}

void AppendHex(std::string& out, uint32_t value, int digits) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  for (int shift = (digits - 1) * 4; shift >= 0; shift -= 4) out += kDigits[(value >> shift) & 0xFU];
}

void AppendByteEscape(std::string& out, unsigned char byte) {
  out += "\\x";
  AppendHex(out, byte, 2);
}

}  // namespace

std::string VisibleText(std::string_view text) {
  std::string visible;
  visible.reserve(text.size());
  while (!text.empty()) {
    const Decoded decoded = DecodeFirst(text);
    if (decoded.length == 0 || IsControl(decoded.character)) {
      AppendByteEscape(visible, ByteAt(text, 0));
      text.remove_prefix(1);
      continue;
    }
    if (MisleadsTerminal(decoded.character)) {
      visible += "\\u{";
      AppendHex(visible, decoded.character, 4);
      visible += '}';
    } else {
      visible += text.substr(0, decoded.length);
    }
    text.remove_prefix(decoded.length);
  }
  return visible;
}

}  // namespace moorlak::client
