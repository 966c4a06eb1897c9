#include "labctl/arguments.h"

#include <algorithm>
#include <charconv>

namespace moorlak::lab {
namespace {

constexpr uint32_t kDefaultSeconds = 30;
constexpr uint32_t kMaxSeconds = 86400;

uint32_t ParseNumber(const std::string& option, const std::string& text) {
  uint32_t number = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc{} || stop != end || text.empty()) throw UsageError(option + ": no number: " + text);
  return number;
}

void EnterOption(Fault& fault, const std::string& option, const std::string& value) {
  if (option == "--nth") {
    fault.nth = ParseNumber(option, value);
  } else if (option == "--argument") {
    fault.argument = value;
  } else if (option == "--code") {
    fault.code = ParseNumber(option, value);
  } else {
    throw UsageError("unknown option: " + option);
  }
}

void EnterOptions(Fault& fault, const std::vector<std::string>& words, size_t first) {
  for (size_t i = first; i < words.size(); i += 2) {
    if (i + 1 == words.size()) throw UsageError("no value after " + words[i]);
    EnterOption(fault, words[i], words[i + 1]);
  }
}

void EnterCall(Fault& fault, const std::string& word) {
  if (word.starts_with("--")) throw UsageError("which call? (* is any)");
  fault.call = word == "*" ? "" : word;
}

}  // namespace

const char kUsage[] =
    "labctl create [FILE | - | --fixture NAME]   a new machine; without words the fixture dhcp\n"
    "labctl fixtures                             names of the ready machines\n"
    "labctl show                                 the machine as canonical text\n"
    "labctl json                                 the machine as JSON\n"
    "labctl edit                                 JSON merge patch (object) or JSON patch (array) from standard input\n"
    "labctl fault KIND CALL [--nth N] [--argument TEXT] [--code N]\n"
    "             KIND: fail, kill, kill-after, hang, break, delay (code: ms), print (code: bytes), or a program's "
    "own\n"
    "             CALL: a function or program, * for any; N = 0: every one\n"
    "labctl break CALL [--nth N] [--argument TEXT]\n"
    "labctl wait-break [SECONDS]                 until a call waits at a break; exit code 1 when none came\n"
    "labctl release                              lets the waiting calls go on\n"
    "labctl cold PROGRAM                         its next three calls take two seconds longer\n"
    "labctl clear-faults\n"
    "labctl reboot\n"
    "labctl restart-engine                       the filtering platform's: open handles are dead, all objects gone\n"
    "labctl egress HOST                          which way a connection leaves: \"tunnel PORT\", \"direct PORT\", "
    "\"none\"\n"
    "labctl calls                                the call log\n"
    "labctl unknown                              command lines no stand-in understood; exit code 1 when there are any\n"
    "Exit codes: 0 done, 1 failed, 2 not understood.\n";

NewMachine ParseCreate(const std::vector<std::string>& words) {
  if (words.empty()) return {"", "dhcp"};
  if (words.size() == 2 && words[0] == "--fixture") return {"", words[1]};
  if (words.size() == 1 && !words[0].starts_with("--") && !words[0].empty()) return {words[0], ""};
  throw UsageError("create takes a file, - or --fixture NAME");
}

Fault ParseFault(const std::vector<std::string>& words) {
  if (words.size() < 2) throw UsageError("fault takes a kind and a call");
  Fault fault;
  fault.kind = words[0];
  if (fault.kind.empty() || fault.kind.starts_with("--")) throw UsageError("which kind of fault?");
  EnterCall(fault, words[1]);
  EnterOptions(fault, words, 2);
  return fault;
}

Fault ParseBreak(const std::vector<std::string>& words) {
  if (words.empty()) throw UsageError("break takes a call");
  Fault fault;
  fault.kind = "break";
  EnterCall(fault, words[0]);
  EnterOptions(fault, words, 1);
  if (fault.code != 0) throw UsageError("a break has no code");
  return fault;
}

uint32_t ParseSeconds(const std::vector<std::string>& words) {
  if (words.empty()) return kDefaultSeconds;
  if (words.size() > 1) throw UsageError("wait-break takes one number");
  return std::min(ParseNumber("seconds", words[0]), kMaxSeconds);
}

void RequireNoWords(const std::vector<std::string>& words) {
  if (!words.empty()) throw UsageError("not understood: " + words[0]);
}

}  // namespace moorlak::lab
