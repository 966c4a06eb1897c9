// Ping round trips to the service, compared with a bare server that makes the same system calls.
//
// The program is in the service's folder, starts both servers and pings them alternately, block by block, so that a
// varying load affects both. A round trip begins with the first try to open the pipe and ends when the reply has been
// read; it therefore includes the time that the server needs between two clients.
#include <windows.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cwchar>
#include <string>
#include <vector>

#include "base/handle.h"
#include "base/paths.h"
#include "bench/bare_server.h"
#include "ipc/wire_format.h"

namespace moorlak::bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kWarmUp = 200;
constexpr int kBlock = 100;
constexpr int kDefaultBlocks = 100;

struct Series {
  const char* title;
  const wchar_t* pipeName;
  std::vector<double> microseconds;
};

struct Server {
  KernelHandle process;
  KernelHandle keyboard;

  Server() = default;
  Server(Server&&) = default;
  Server& operator=(Server&&) = default;
  ~Server() {
    if (process) TerminateProcess(process.Get(), 0);
  }
};

// Its standard input stays open: otherwise the service's console mode would end.
Server StartServer(const std::wstring& commandLine) {
  Server server;
  SECURITY_ATTRIBUTES inheritable{sizeof(inheritable), nullptr, TRUE};
  KernelHandle input;
  if (!CreatePipe(input.Out(), server.keyboard.Out(), &inheritable, 0)) return server;
  SetHandleInformation(server.keyboard.Get(), HANDLE_FLAG_INHERIT, 0);
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = input.Get();
  PROCESS_INFORMATION information{};
  std::wstring command = commandLine;
  if (CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, CREATE_NO_WINDOW, nullptr, nullptr, &startup,
                     &information)) {
    server.process = KernelHandle(information.hProcess);
    const KernelHandle thread(information.hThread);
  }
  return server;
}

// A client that retries without a pause takes processor time from the server that it waits for, and even the shortest
// Sleep is longer than what is measured. This call takes units of 100 ns (Microsoft Learn, "NtDelayExecution").
void PauseBriefly() {
  using DelayCall = LONG(WINAPI*)(BOOLEAN, const LARGE_INTEGER*);
  static const auto delay = reinterpret_cast<DelayCall>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtDelayExecution")));
  LARGE_INTEGER interval;
  interval.QuadPart = -20 * 10;
  delay(FALSE, &interval);
}

KernelHandle Open(const wchar_t* pipeName) {
  const auto deadline = Clock::now() + std::chrono::seconds(30);
  for (;;) {
    KernelHandle pipe(CreateFileW(pipeName, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    if (pipe || Clock::now() >= deadline) return pipe;
    if (!WaitNamedPipeW(pipeName, 100)) PauseBriefly();
  }
}

bool Read(HANDLE pipe, void* buffer, DWORD count) {
  DWORD got = 0;
  return ReadFile(pipe, buffer, count, &got, nullptr) && got == count;
}

bool Ping(const wchar_t* pipeName) {
  static const std::string request = EncodeRequest(CommandCode::Ping, {});
  const KernelHandle pipe = Open(pipeName);
  DWORD written = 0;
  WireNumber length{};
  char text[2];
  return WriteFile(pipe.Get(), request.data(), static_cast<DWORD>(request.size()), &written, nullptr) &&
         Read(pipe.Get(), length.data(), sizeof(length)) && DecodeNumber(length) == sizeof(text) &&
         Read(pipe.Get(), text, sizeof(text));
}

bool RunBlock(Series& series, int count, bool keep) {
  for (int i = 0; i < count; ++i) {
    const auto begin = Clock::now();
    if (!Ping(series.pipeName)) return false;
    if (keep) series.microseconds.push_back(std::chrono::duration<double, std::micro>(Clock::now() - begin).count());
  }
  return true;
}

double Percentile(const std::vector<double>& sorted, double share) {
  return sorted[static_cast<size_t>(share * static_cast<double>(sorted.size() - 1))];
}

double Rate(const Series& series) {
  double total = 0;
  for (const double value : series.microseconds) total += value;
  return static_cast<double>(series.microseconds.size()) / total * 1e6;
}

void PrintTable(Series& service, Series& bare) {
  std::printf("| | round trips/s | p50 | p99 |\n|---|---|---|---|\n");
  for (Series* series : {&service, &bare}) {
    std::sort(series->microseconds.begin(), series->microseconds.end());
    std::printf("| %s | %.0f | %.0f us | %.0f us |\n", series->title, Rate(*series),
                Percentile(series->microseconds, 0.5), Percentile(series->microseconds, 0.99));
  }
  std::printf("| ratio | %.2f | %.2f | %.2f |\n", Rate(service) / Rate(bare),
              Percentile(service.microseconds, 0.5) / Percentile(bare.microseconds, 0.5),
              Percentile(service.microseconds, 0.99) / Percentile(bare.microseconds, 0.99));
}

int Measure(int blocks) {
  const Server serviceProcess = StartServer(L"\"" + ExecutableFolder() + L"\\moorlak_service.exe\" --console");
  const Server bareProcess = StartServer(L"\"" + ExecutablePath() + L"\" --server");
  Series service{"service", kPipeName, {}};
  Series bare{"bare server", kBarePipeName, {}};
  bool good = RunBlock(service, kWarmUp, false) && RunBlock(bare, kWarmUp, false);
  for (int block = 0; good && block < blocks; ++block) {
    good = RunBlock(service, kBlock, true) && RunBlock(bare, kBlock, true);
  }
  if (!good) {
    std::fprintf(stderr, "a ping failed, error %lu\n", GetLastError());
    return 1;
  }
  PrintTable(service, bare);
  return 0;
}

}  // namespace
}  // namespace moorlak::bench

// ping_bench [BLOCKS]: that many blocks of 100 round trips for each server.
int wmain(int argumentCount, wchar_t** arguments) {
  using namespace moorlak::bench;
  if (argumentCount > 1 && std::wcscmp(arguments[1], L"--server") == 0) RunBareServer();
  const long blocks = argumentCount > 1 ? std::wcstol(arguments[1], nullptr, 10) : kDefaultBlocks;
  return blocks > 0 ? Measure(static_cast<int>(blocks)) : 2;
}
