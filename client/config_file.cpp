#include "client/config_file.h"

#include <windows.h>

#include <algorithm>
#include <vector>

#include "base/handle.h"
#include "base/utf.h"
#include "client/config_text.h"
#include "client/system_error.h"
#include "client/visible_text.h"

namespace moorlak::client {
namespace {

constexpr size_t kChunk = 65536;

ConfigFile CannotRead(const std::string& name, DWORD error) {
  return {{}, "Cannot read " + VisibleText(name) + ": " + SystemErrorText(error) + "."};
}

ConfigFile ReadHandle(HANDLE source, const std::string& name) {
  ConfigFile file;
  std::vector<char> chunk(kChunk);
  while (file.bytes.size() < kConfigReadLimit) {
    const DWORD wanted = static_cast<DWORD>(std::min(kConfigReadLimit - file.bytes.size(), chunk.size()));
    DWORD read = 0;
    if (!ReadFile(source, chunk.data(), wanted, &read, nullptr)) {
      const DWORD error = GetLastError();
      // The write end of a pipe was closed: end of file.
      return error == ERROR_BROKEN_PIPE ? file : CannotRead(name, error);
    }
    if (read == 0) break;
    file.bytes.append(chunk.data(), read);
  }
  return file;
}

ConfigFile ReadStandardInput() {
  const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
  DWORD mode = 0;
  if (input == nullptr || input == INVALID_HANDLE_VALUE) return {{}, "There is no standard input to read."};
  if (GetConsoleMode(input, &mode)) return {{}, "Standard input is a terminal; redirect the configuration into it."};
  return ReadHandle(input, "standard input");
}

}  // namespace

ConfigFile ReadConfigFile(const std::string& path) {
  if (path == "-") return ReadStandardInput();
  const KernelHandle file(CreateFileW(WidenUtf8(path).c_str(), GENERIC_READ,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                      FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file) return CannotRead(path, GetLastError());
  return ReadHandle(file.Get(), path);
}

}  // namespace moorlak::client
