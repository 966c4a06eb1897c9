// Cuts a stream of bytes into lines.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace moorlak {

// A line that grows beyond this is handed out in pieces: the log's writers cannot make a reader collect without end.
inline constexpr size_t kLongestLine = 65536;

using LineSink = std::function<void(std::string_view)>;

struct LineAssembler {
  std::string pending;
};

// Hands out each complete line without its LF or CR LF.
void FeedLines(LineAssembler& assembler, std::string_view bytes, const LineSink& sink);

// Hands out what is left without a line end.
void FlushLine(LineAssembler& assembler, const LineSink& sink);

}  // namespace moorlak
