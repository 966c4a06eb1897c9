// Tests the comparison itself: it must catch scanners with one typical fault each, on the same random texts.
#include <algorithm>
#include <gtest/gtest.h>

#include "unit/config/pattern_cases.h"

namespace moorlak {
namespace {

enum class Fault {
  None,
  // Faults of a gap.
  LimitOneShort,
  LimitOneLong,
  CountedToTheTailsEnd,
  ResumedAtTheHeadsEnd,
  LastTailTaken,
  TailInsideTheHead,
  LastTailOfTheTextTaken,
  // Faults of single bytes.
  VerticalTabIsNoBlank,
  SignedBytesAreBlank,
  ControlBytesAreBlank,
  TextEndsAtNul,
  CaseBitOfEveryByteIgnored,
  CaseNotIgnored,
  // Faults of values.
  EscapedQuoteGoesOn,
  EmptyTextTaken,
  EmptyTextEndsTheSearch,
  TwoQuotesSkippedTogether,
  SixDigitsTaken,
  NoDigitTaken,
  ListGoesOnToTheLastBracket,
  // Faults of the iteration.
  ResumedInsideTheMatch,
};

// The simplest possible scanner with a fault: speed does not matter, because the texts are short.
struct PlainScanner {
  Fault fault;

  bool Is(Fault asked) const { return fault == asked; }

  bool Blank(char byte) const {
    const auto code = static_cast<signed char>(byte);
    if (byte == '\v' && Is(Fault::VerticalTabIsNoBlank)) return false;
    if (Is(Fault::SignedBytesAreBlank)) return code <= ' ' && (code < 0 || IsBlank(byte));
    if (Is(Fault::ControlBytesAreBlank)) return code >= 0 && code <= ' ';
    return IsBlank(byte);
  }

  bool Same(char a, char b, LetterCase letterCase) const {
    if (Is(Fault::CaseBitOfEveryByteIgnored)) return (a | 0x20) == (b | 0x20);
    if (letterCase == LetterCase::Exact || Is(Fault::CaseNotIgnored)) return a == b;
    return FoldLetter(a) == FoldLetter(b);
  }

  bool IsAt(std::string_view text, size_t position, std::string_view literal, LetterCase letterCase) const {
    if (position > text.size() || text.size() - position < literal.size()) return false;
    for (size_t i = 0; i < literal.size(); ++i) {
      if (!Same(text[position + i], literal[i], letterCase)) return false;
    }
    return true;
  }

  size_t AfterBlanks(std::string_view text, size_t position) const {
    while (position < text.size() && Blank(text[position])) ++position;
    return position;
  }

  // "key"\s*:\s*
  size_t AfterHead(std::string_view text, size_t position, std::string_view key, LetterCase letterCase) const {
    const std::string quoted = '"' + std::string(key) + '"';
    if (!IsAt(text, position, quoted, letterCase)) return kNotFound;
    const size_t colon = AfterBlanks(text, position + quoted.size());
    if (!IsAt(text, colon, ":", letterCase)) return kNotFound;
    return AfterBlanks(text, colon + 1);
  }

  size_t ClosingQuote(std::string_view text, size_t position) const {
    for (; position < text.size(); ++position) {
      if (text[position] == '\\' && Is(Fault::EscapedQuoteGoesOn)) {
        ++position;
      } else if (text[position] == '"') {
        return position;
      }
    }
    return kNotFound;
  }

  std::string_view Seen(std::string_view text) const {
    return Is(Fault::TextEndsAtNul) ? text.substr(0, text.find('\0')) : text;
  }

  // "key"\s*:\s*"([^"]+)"
  std::optional<TextMatch> FindText(std::string_view whole, std::string_view key, size_t from,
                                    LetterCase letterCase) const {
    const std::string_view text = Seen(whole);
    for (size_t begin = from; begin < text.size(); ++begin) {
      const size_t open = AfterHead(text, begin, key, letterCase);
      if (open == kNotFound || open >= text.size() || text[open] != '"') continue;
      const size_t close = ClosingQuote(text, open + 1);
      if (close == kNotFound) continue;
      const bool isEmpty = close == open + 1;
      if (isEmpty && Is(Fault::EmptyTextEndsTheSearch)) return std::nullopt;
      if (isEmpty && !Is(Fault::EmptyTextTaken)) continue;
      return TextMatch{begin, close + 1, text.substr(open + 1, close - open - 1)};
    }
    return std::nullopt;
  }

  // "key"\s*:\s*\[([^\]]*)\]
  std::optional<TextMatch> FindList(std::string_view whole, std::string_view key, size_t from) const {
    const std::string_view text = Seen(whole);
    for (size_t begin = from; begin < text.size(); ++begin) {
      const size_t open = AfterHead(text, begin, key, LetterCase::Ignore);
      if (open == kNotFound || open >= text.size() || text[open] != '[') continue;
      const size_t close = Is(Fault::ListGoesOnToTheLastBracket) ? text.rfind(']') : text.find(']', open);
      if (close == kNotFound || close < open) continue;
      return TextMatch{begin, close + 1, text.substr(open + 1, close - open - 1)};
    }
    return std::nullopt;
  }

  // "key"\s*:\s*(\d+)
  std::optional<TextMatch> FindNumber(std::string_view whole, std::string_view key, size_t from) const {
    const std::string_view text = Seen(whole);
    for (size_t begin = from; begin < text.size(); ++begin) {
      const size_t first = AfterHead(text, begin, key, LetterCase::Exact);
      if (first == kNotFound) continue;
      const size_t end = SkipDigits(text, first);
      if (end == first && !Is(Fault::NoDigitTaken)) continue;
      return TextMatch{begin, end, text.substr(first, end - first)};
    }
    return std::nullopt;
  }

  // "([^"]+)"
  std::optional<TextMatch> FindItem(std::string_view text, size_t from) const {
    for (size_t open = text.find('"', from); open != kNotFound;) {
      const size_t close = ClosingQuote(text, open + 1);
      if (close == kNotFound) return std::nullopt;
      if (close > open + 1) return TextMatch{open, close + 1, text.substr(open + 1, close - open - 1)};
      open = Is(Fault::TwoQuotesSkippedTogether) ? text.find('"', close + 1) : close;
    }
    return std::nullopt;
  }

  // (\d{1,5})
  std::optional<TextMatch> FindDigits(std::string_view text, size_t from) const {
    const size_t most = Is(Fault::SixDigitsTaken) ? 6 : 5;
    for (size_t begin = from; begin < text.size(); ++begin) {
      const size_t end = std::min(SkipDigits(text, begin), begin + most);
      if (end != begin) return TextMatch{begin, end, text.substr(begin, end - begin)};
    }
    return std::nullopt;
  }

  size_t LimitOf(const GapPattern& pattern) const {
    if (Is(Fault::LimitOneShort)) return pattern.longestGap - 1;
    return Is(Fault::LimitOneLong) ? pattern.longestGap + 1 : pattern.longestGap;
  }

  // The nearest tail within the limit of a head, if there is one.
  std::optional<TextMatch> FindTail(std::string_view text, const GapPattern& pattern, const TextMatch& head) const {
    std::optional<TextMatch> taken;
    const size_t from = Is(Fault::TailInsideTheHead) ? head.end - 1 : head.end;
    for (auto tail = pattern.tail(text, from); tail; tail = pattern.tail(text, tail->begin + 1)) {
      const size_t gapEnd = Is(Fault::CountedToTheTailsEnd) ? tail->end : tail->begin;
      const size_t gap = std::max(gapEnd, head.end) - head.end;
      const bool inReach = gap <= LimitOf(pattern) || (taken && Is(Fault::LastTailOfTheTextTaken));
      if (!inReach) break;
      taken = tail;
      if (!Is(Fault::LastTailTaken) && !Is(Fault::LastTailOfTheTextTaken)) break;
    }
    return taken;
  }

  // HEAD[\s\S]{0,longestGap}?TAIL
  std::optional<GapMatch> FindGap(std::string_view text, const GapPattern& pattern, size_t from) const {
    for (auto head = pattern.head(text, from); head;
         head = pattern.head(text, Is(Fault::ResumedAtTheHeadsEnd) ? head->end : head->begin + 1)) {
      const auto tail = FindTail(text, pattern, *head);
      if (tail) return GapMatch{*head, *tail};
    }
    return std::nullopt;
  }

  std::optional<TextMatch> Find(const PatternCase& wanted, std::string_view text, size_t from) const {
    if (wanted.gap) {
      const auto match = FindGap(text, *wanted.gap, from);
      if (!match) return std::nullopt;
      return Whole(*match, wanted.captured);
    }
    if (wanted.name == "PanelHost") return FindText(text, "panelHost", from, LetterCase::Ignore);
    if (wanted.name == "CounterName") return FindText(text, "name", from, LetterCase::Exact);
    if (wanted.name == "CounterValue") return FindNumber(text, "value", from);
    if (wanted.name == "BypassSubnets") return FindList(text, "bypassSubnets", from);
    if (wanted.name == "QuotedItem") return FindItem(text, from);
    return FindDigits(text, from);
  }

  std::vector<PlainMatch> FindAll(const PatternCase& wanted, std::string_view text) const {
    std::vector<PlainMatch> matches;
    for (auto match = Find(wanted, text, 0); match;
         match = Find(wanted, text, Is(Fault::ResumedInsideTheMatch) ? match->begin + 1 : match->end)) {
      matches.push_back(Plain(match));
    }
    return matches;
  }
};

struct FaultyScanner {
  std::string name;
  Fault fault;
  // The pattern that it implements.
  std::string pattern;
};

void PrintTo(const FaultyScanner& scanner, std::ostream* out) {
  *out << scanner.name << " in " << scanner.pattern;
}

// The patterns whose gap has a limit. Their own texts must reveal a wrong limit.
const std::vector<std::string>& LimitedGaps() {
  static const std::vector<std::string> names = {
      "KnownProtocolThenAddress", "VnextThenAddress",      "WireGuardThenEndpoint", "OutboundsThenAddress",
      "ServersThenAddress",       "SocksProtocolThenPort", "PortThenSocksProtocol", "ApiTagThenPort"};
  return names;
}

std::vector<FaultyScanner> FaultyScanners() {
  std::vector<FaultyScanner> scanners;
  for (const std::string& gap : LimitedGaps()) {
    scanners.push_back({"LimitOneShort", Fault::LimitOneShort, gap});
    scanners.push_back({"LimitOneLong", Fault::LimitOneLong, gap});
    scanners.push_back({"CountedToTheTailsEnd", Fault::CountedToTheTailsEnd, gap});
    scanners.push_back({"LastTailTaken", Fault::LastTailTaken, gap});
    scanners.push_back({"LastTailOfTheTextTaken", Fault::LastTailOfTheTextTaken, gap});
  }
  for (const char* gap : {"VnextThenAddress", "OutboundsThenAddress", "ServersThenAddress", "KnownProtocolThenAddress",
                          "WireGuardThenEndpoint", "SocksProtocolThenPort", "ApiTagThenPort"}) {
    scanners.push_back({"ResumedAtTheHeadsEnd", Fault::ResumedAtTheHeadsEnd, gap});
    scanners.push_back({"TailInsideTheHead", Fault::TailInsideTheHead, gap});
  }
  const std::vector<FaultyScanner> others = {
      {"VerticalTabIsNoBlank", Fault::VerticalTabIsNoBlank, "PanelHost"},
      {"SignedBytesAreBlank", Fault::SignedBytesAreBlank, "PanelHost"},
      {"ControlBytesAreBlank", Fault::ControlBytesAreBlank, "PanelHost"},
      {"TextEndsAtNul", Fault::TextEndsAtNul, "PanelHost"},
      {"CaseBitOfEveryByteIgnored", Fault::CaseBitOfEveryByteIgnored, "PanelHost"},
      {"CaseNotIgnored", Fault::CaseNotIgnored, "PanelHost"},
      {"EscapedQuoteGoesOn", Fault::EscapedQuoteGoesOn, "PanelHost"},
      {"EmptyTextTaken", Fault::EmptyTextTaken, "PanelHost"},
      {"EmptyTextEndsTheSearch", Fault::EmptyTextEndsTheSearch, "PanelHost"},
      {"ResumedInsideTheMatch", Fault::ResumedInsideTheMatch, "QuotedItem"},
      {"VerticalTabIsNoBlank", Fault::VerticalTabIsNoBlank, "CounterValue"},
      {"SignedBytesAreBlank", Fault::SignedBytesAreBlank, "CounterName"},
      {"TextEndsAtNul", Fault::TextEndsAtNul, "CounterName"},
      {"EmptyTextTaken", Fault::EmptyTextTaken, "CounterName"},
      {"EscapedQuoteGoesOn", Fault::EscapedQuoteGoesOn, "CounterName"},
      {"NoDigitTaken", Fault::NoDigitTaken, "CounterValue"},
      {"ListGoesOnToTheLastBracket", Fault::ListGoesOnToTheLastBracket, "BypassSubnets"},
      {"CaseNotIgnored", Fault::CaseNotIgnored, "BypassSubnets"},
      {"CaseBitOfEveryByteIgnored", Fault::CaseBitOfEveryByteIgnored, "BypassSubnets"},
      {"TwoQuotesSkippedTogether", Fault::TwoQuotesSkippedTogether, "QuotedItem"},
      {"EscapedQuoteGoesOn", Fault::EscapedQuoteGoesOn, "QuotedItem"},
      {"SixDigitsTaken", Fault::SixDigitsTaken, "ShortNumber"},
      {"ResumedInsideTheMatch", Fault::ResumedInsideTheMatch, "ShortNumber"},
  };
  scanners.insert(scanners.end(), others.begin(), others.end());
  return scanners;
}

ComparisonResult CompareFaulty(const std::string& pattern, Fault fault, int rounds) {
  const PatternCase& wanted = CaseNamed(pattern);
  const PlainScanner scanner{fault};
  return CompareWithPattern(
      wanted.pattern, wanted.soup, [&](const std::string& text) { return scanner.FindAll(wanted, text); }, rounds);
}

class WrongScanners : public testing::TestWithParam<FaultyScanner> {};

TEST_P(WrongScanners, AreCaught) {
  const ComparisonResult result = CompareFaulty(GetParam().pattern, GetParam().fault, kSoupRounds);
  EXPECT_TRUE(result.difference) << "not told from the right one in " << result.texts << " texts";
  RecordProperty("caught_after", result.texts);
}

INSTANTIATE_TEST_SUITE_P(Config, WrongScanners, testing::ValuesIn(FaultyScanners()),
                         [](const auto& instance) { return instance.param.name + "In" + instance.param.pattern; });

// If this failed, a faulty scanner could be caught for another reason than its fault.
TEST(WrongScannersWithoutTheirFault, AreNotCaught) {
  constexpr int kRounds = 5000;
  std::vector<std::string> patterns = LimitedGaps();
  for (const char* pattern :
       {"PanelHost", "CounterName", "CounterValue", "BypassSubnets", "QuotedItem", "ShortNumber"}) {
    patterns.emplace_back(pattern);
  }
  for (const std::string& pattern : patterns) {
    const ComparisonResult result = CompareFaulty(pattern, Fault::None, kRounds);
    EXPECT_FALSE(result.difference) << pattern << ", " << Describe(result.difference->round, result.difference->text);
  }
}

}  // namespace
}  // namespace moorlak
