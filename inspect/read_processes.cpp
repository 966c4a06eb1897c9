// Sources, pages of Microsoft Learn: "Taking a Snapshot and Viewing Processes", "GetExtendedTcpTable".
#include <winsock2.h>
#include <ws2tcpip.h>
#include <windows.h>
#include <tlhelp32.h>

#include <algorithm>
#include <cstddef>
#include <iphlpapi.h>

#include "base/handle.h"
#include "base/paths.h"
#include "base/utf.h"
#include "inspect/own_processes.h"
#include "inspect/read_parts.h"
#include "process/stray_engines.h"
#include "text/letter_case.h"

namespace moorlak::inspect {
namespace {

constexpr wchar_t kServiceProgram[] = L"moorlak_service.exe";
constexpr int kMaxReads = 8;

std::wstring PathOf(DWORD processId) {
  const KernelHandle process(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, processId));
  return process ? ImagePath(process.Get()) : std::wstring();
}

// Adds the ports of a table of listeners. Both families' tables are a count and rows with a port in network order.
template <typename Table>
bool AddListeners(ULONG family, std::vector<uint16_t>& ports) {
  ULONG size = 0;
  DWORD answer = GetExtendedTcpTable(nullptr, &size, FALSE, family, TCP_TABLE_OWNER_PID_LISTENER, 0);
  for (int reads = 0; answer == ERROR_INSUFFICIENT_BUFFER && reads < kMaxReads; ++reads) {
    std::vector<std::max_align_t> buffer(size / sizeof(std::max_align_t) + 1);
    size = static_cast<ULONG>(buffer.size() * sizeof(std::max_align_t));
    answer = GetExtendedTcpTable(buffer.data(), &size, FALSE, family, TCP_TABLE_OWNER_PID_LISTENER, 0);
    if (answer != NO_ERROR) continue;
    const auto* table = reinterpret_cast<const Table*>(buffer.data());
    for (DWORD index = 0; index < table->dwNumEntries; ++index)
      ports.push_back(ntohs(static_cast<uint16_t>(table->table[index].dwLocalPort)));
    return true;
  }
  return false;
}

}  // namespace

void ReadProcesses(const std::wstring& folder, MachineView& view) {
  const KernelHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
  PROCESSENTRY32W entry{};
  entry.dwSize = sizeof(entry);
  if (!snapshot || !Process32FirstW(snapshot.Get(), &entry)) {
    view.unread.emplace_back("the processes");
    return;
  }
  std::vector<NamedProcess> named;
  do {
    if (!IsEngineName(entry.szExeFile) && !EqualFolded(entry.szExeFile, kServiceProgram)) continue;
    const std::wstring path = PathOf(entry.th32ProcessID);
    std::optional<bool> isInstalled;
    if (!path.empty()) isInstalled = IsUnderFolder(path, folder);
    named.push_back({{entry.th32ProcessID, entry.th32ParentProcessID, NarrowUtf16(entry.szExeFile), NarrowUtf16(path)},
                     isInstalled});
  } while (Process32NextW(snapshot.Get(), &entry));
  view.processes = OwnProcesses(named);
}

void ReadListeningPorts(MachineView& view) {
  std::vector<uint16_t> ports;
  const bool isRead =
      AddListeners<MIB_TCPTABLE_OWNER_PID>(AF_INET, ports) && AddListeners<MIB_TCP6TABLE_OWNER_PID>(AF_INET6, ports);
  std::ranges::sort(ports);
  if (isRead) {
    view.listeningPorts = std::move(ports);
  } else {
    view.unread.emplace_back("the listening ports");
  }
}

}  // namespace moorlak::inspect
