#include "client/line_assembler.h"

#include <algorithm>

namespace moorlak::client {
namespace {

void EmitPending(LineAssembler& assembler, const LineSink& sink) {
  std::string line;
  line.swap(assembler.pending);
  if (!line.empty() && line.back() == '\r') line.pop_back();
  sink(line);
}

}  // namespace

void FeedLines(LineAssembler& assembler, std::string_view bytes, const LineSink& sink) {
  while (!bytes.empty()) {
    const size_t room = kLongestLine - assembler.pending.size();
    const size_t end = bytes.substr(0, room + 1).find('\n');
    const size_t length = std::min({end, bytes.size(), room});
    assembler.pending += bytes.substr(0, length);
    bytes.remove_prefix(length);
    if (length == end) {
      EmitPending(assembler, sink);
      bytes.remove_prefix(1);
    } else if (assembler.pending.size() == kLongestLine) {
      EmitPending(assembler, sink);
    }
  }
}

void FlushLine(LineAssembler& assembler, const LineSink& sink) {
  if (!assembler.pending.empty()) EmitPending(assembler, sink);
}

}  // namespace moorlak::client
