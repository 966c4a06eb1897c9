// Cuts a stream of bytes into lines.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace moorlak::client {

// A longer line is passed on in pieces, so that nobody who writes to the log can make a reader buffer without limit.
inline constexpr size_t kLongestLine = 65536;

using LineSink = std::function<void(std::string_view)>;

struct LineAssembler {
  std::string pending;
};

// Calls the sink with each complete line, without its LF or CR LF.
void FeedLines(LineAssembler& assembler, std::string_view bytes, const LineSink& sink);

// Calls the sink with the rest, if any, that has no line end.
void FlushLine(LineAssembler& assembler, const LineSink& sink);

}  // namespace moorlak::client
