// Standard output and standard error: UTF-8 bytes when redirected, UTF-16 on a terminal.
#pragma once

#include <windows.h>

#include <cstddef>
#include <string_view>

namespace moorlak::client {

struct Output {
  HANDLE handle = nullptr;
  bool terminal = false;
  // Width of the live line that the cursor is on; 0 if there is none.
  size_t liveColumns = 0;
};

// Takes STD_OUTPUT_HANDLE or STD_ERROR_HANDLE. A missing stream discards everything.
Output OpenOutput(DWORD standardHandle);

// All texts are UTF-8; the caller passes those of unknown origin through VisibleText. Returns false if the stream's
// reader has gone away.
bool WriteText(Output& output, std::string_view text);
// Replaces a live line.
bool WriteLine(Output& output, std::string_view line);
// On a terminal the line stays in place and is replaced by the next one; elsewhere it is a line like any other.
// ASCII without control characters; cut to the terminal's width.
bool DrawLiveLine(Output& output, std::string_view line);
// Leaves the live line visible and moves below it.
void EndLiveLine(Output& output);

}  // namespace moorlak::client
