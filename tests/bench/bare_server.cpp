#include "bench/bare_server.h"

#include <windows.h>
#include <sddl.h>

#include <cstdint>
#include <cstring>
#include <ctime>

#include "base/data_files.h"
#include "base/file_place.h"
#include "base/handle.h"
#include "service/tunnel_log.h"

namespace moorlak::bench {
namespace {

constexpr wchar_t kSecurity[] = L"O:SYG:SYD:(A;;GA;;;SY)(A;;0x12019f;;;BU)(A;;0x12019f;;;AU)";
constexpr wchar_t kMutexName[] = L"Local\\Moorlak_PingBench";
constexpr wchar_t kBareLogName[] = L"ping_bench.log";
constexpr DWORD kBufferBytes = 0x100000;
constexpr DWORD kLineAccess = FILE_APPEND_DATA | FILE_READ_ATTRIBUTES | READ_CONTROL;

// Writes one line as the tunnel log does: takes a named mutex, opens the file for appending relative to the open
// folder, reads its identity and size, closes it.
void WriteLine(const char* message) {
  const KernelHandle mutex(CreateMutexW(nullptr, FALSE, kMutexName));
  WaitForSingleObject(mutex.Get(), 0);
  {
    const KernelHandle file = OpenPlace({LogFolder(), kBareLogName}, {.access = kLineAccess});
    ReadStatus(file.Get());
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_s(&local, &now);
    const std::string line = FormatLogLine(local, message);
    DWORD written = 0;
    WriteFile(file.Get(), line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
  }
  ReleaseMutex(mutex.Get());
}

// Reads the image paths of the process and of this program, as the folder rule does.
void LookAtImage(HANDLE process) {
  wchar_t path[1024];
  DWORD length = 1024;
  QueryFullProcessImageNameW(process, 0, path, &length);
  GetModuleFileNameW(nullptr, path, 1024);
}

void LookAtUser(HANDLE process) {
  KernelHandle token;
  if (!OpenProcessToken(process, TOKEN_QUERY, token.Out())) return;
  alignas(TOKEN_USER) char user[256];
  DWORD size = 0;
  if (!GetTokenInformation(token.Get(), TokenUser, user, sizeof(user), &size)) return;
  LocalMemory<LPWSTR> text;
  ConvertSidToStringSidW(reinterpret_cast<const TOKEN_USER*>(user)->User.Sid, text.Out());
}

KernelHandle OpenClient(HANDLE pipe) {
  ULONG processId = 0;
  GetNamedPipeClientProcessId(pipe, &processId);
  KernelHandle process(OpenProcess(SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION, FALSE, processId));
  LookAtImage(process.Get());
  LookAtUser(process.Get());
  return process;
}

bool ReadFour(HANDLE pipe) {
  char bytes[4];
  DWORD got = 0;
  return ReadFile(pipe, bytes, sizeof(bytes), &got, nullptr) && got == sizeof(bytes);
}

void Serve(HANDLE pipe) {
  const KernelHandle process = OpenClient(pipe);
  if (!ReadFour(pipe)) return;
  if (WaitForSingleObject(process.Get(), 0) != WAIT_TIMEOUT) return;
  LookAtImage(process.Get());
  WriteLine("IPC server command 1 received");
  if (!ReadFour(pipe)) return;
  WriteLine("IPC ping");
  const uint32_t length = 2;
  DWORD written = 0;
  if (WriteFile(pipe, &length, sizeof(length), &written, nullptr)) WriteFile(pipe, "OK", length, &written, nullptr);
  FlushFileBuffers(pipe);
}

}  // namespace

void RunBareServer() {
  // Creates the log before its first line is timed.
  OpenPlace({LogFolder(), kBareLogName}, {.access = kLineAccess, .kind = OpenKind::File, .create = true});
  LocalMemory<PSECURITY_DESCRIPTOR> descriptor;
  ConvertStringSecurityDescriptorToSecurityDescriptorW(kSecurity, SDDL_REVISION_1, descriptor.Out(), nullptr);
  SECURITY_ATTRIBUTES attributes{sizeof(attributes), descriptor.Get(), FALSE};
  for (;;) {
    const KernelHandle pipe(CreateNamedPipeW(kBarePipeName, PIPE_ACCESS_DUPLEX | FILE_FLAG_FIRST_PIPE_INSTANCE,
                                             PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT, 1, kBufferBytes,
                                             kBufferBytes, 0, &attributes));
    if (ConnectNamedPipe(pipe.Get(), nullptr) || GetLastError() == ERROR_PIPE_CONNECTED) Serve(pipe.Get());
    DisconnectNamedPipe(pipe.Get());
  }
}

}  // namespace moorlak::bench
