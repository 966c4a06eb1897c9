// Application ids: the device path of an existing file, with its final null.
#include <winsock2.h>
#include <windows.h>

#include <fwpmu.h>
#include <string>

#include "base/utf.h"
#include "fwpuclnt/objects.h"
#include "machine/device_path.h"
#include "machine/machine.h"

namespace moorlak::lab {
namespace {

FWP_BYTE_BLOB* MakeBlob(const std::wstring& path) {
  const size_t bytes = (path.size() + 1) * sizeof(wchar_t);
  auto* blob = static_cast<FWP_BYTE_BLOB*>(HeapAlloc(GetProcessHeap(), 0, sizeof(FWP_BYTE_BLOB) + bytes));
  if (blob == nullptr) return nullptr;
  blob->size = static_cast<UINT32>(bytes);
  blob->data = reinterpret_cast<UINT8*>(blob + 1);
  CopyMemory(blob->data, path.c_str(), bytes);
  return blob;
}

}  // namespace
}  // namespace moorlak::lab

extern "C" DWORD WINAPI FwpmGetAppIdFromFileName0(const wchar_t* fileName, FWP_BYTE_BLOB** id) {
  using namespace moorlak;
  if (fileName == nullptr || id == nullptr) return lab::kNullPointer;
  return lab::RunCall({"FwpmGetAppIdFromFileName0", NarrowUtf16(fileName)}, [&](lab::MachineState&) -> uint32_t {
    const std::wstring path = lab::DevicePath(fileName);
    if (path.empty()) return GetLastError();
    *id = lab::MakeBlob(path);
    return *id == nullptr ? ERROR_NOT_ENOUGH_MEMORY : 0;
  });
}
