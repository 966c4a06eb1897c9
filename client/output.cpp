#include "client/output.h"

#include <algorithm>
#include <string>

#include "base/utf.h"

namespace moorlak::client {
namespace {

// Older versions of Windows refuse long single writes to a console: WriteConsole uses a shared 64 KiB heap.
constexpr size_t kConsoleChunk = 8192;
constexpr size_t kAssumedColumns = 80;

bool WriteToTerminal(HANDLE console, std::string_view text) {
  std::wstring wide = WidenUtf8(text);
  std::wstring_view rest = wide;
  while (!rest.empty()) {
    size_t length = std::min(rest.size(), kConsoleChunk);
    const bool splitsPair = length < rest.size() && IS_HIGH_SURROGATE(rest[length - 1]);
    if (splitsPair) --length;
    DWORD written = 0;
    if (!WriteConsoleW(console, rest.data(), static_cast<DWORD>(length), &written, nullptr) || written == 0)
      return false;
    rest.remove_prefix(written);
  }
  return true;
}

bool WriteToStream(HANDLE stream, std::string_view text) {
  while (!text.empty()) {
    DWORD written = 0;
    if (!WriteFile(stream, text.data(), static_cast<DWORD>(text.size()), &written, nullptr) || written == 0)
      return false;
    text.remove_prefix(written);
  }
  return true;
}

// Leaves the last column free: a character there would move the cursor to the next line.
size_t UsableColumns(HANDLE console) {
  CONSOLE_SCREEN_BUFFER_INFO information{};
  if (!GetConsoleScreenBufferInfo(console, &information)) return kAssumedColumns - 1;
  const int columns = information.srWindow.Right - information.srWindow.Left;
  return columns > 0 ? static_cast<size_t>(columns) : kAssumedColumns - 1;
}

// What blanks out the live line and returns to the first column.
std::string EraseLiveLine(Output& output) {
  if (output.liveColumns == 0) return {};
  std::string erase = '\r' + std::string(output.liveColumns, ' ') + '\r';
  output.liveColumns = 0;
  return erase;
}

}  // namespace

Output OpenOutput(DWORD standardHandle) {
  Output output;
  output.handle = GetStdHandle(standardHandle);
  if (output.handle == INVALID_HANDLE_VALUE) output.handle = nullptr;
  DWORD mode = 0;
  output.terminal = output.handle != nullptr && GetConsoleMode(output.handle, &mode);
  return output;
}

bool WriteText(Output& output, std::string_view text) {
  if (output.handle == nullptr) return true;
  return output.terminal ? WriteToTerminal(output.handle, text) : WriteToStream(output.handle, text);
}

bool WriteLine(Output& output, std::string_view line) {
  std::string text = EraseLiveLine(output);
  text += line;
  text += '\n';
  return WriteText(output, text);
}

bool DrawLiveLine(Output& output, std::string_view line) {
  if (!output.terminal) return WriteLine(output, line);
  std::string text = "\r";
  text += line.substr(0, UsableColumns(output.handle));
  const size_t columns = text.size() - 1;
  if (columns < output.liveColumns) text += std::string(output.liveColumns - columns, ' ');
  output.liveColumns = columns;
  return WriteText(output, text);
}

void EndLiveLine(Output& output) {
  if (output.liveColumns == 0) return;
  output.liveColumns = 0;
  WriteText(output, "\n");
}

}  // namespace moorlak::client
