// When the service is killed, the commands that it was waiting for die with it: none of them may change the machine
// later.
#include <windows.h>
#include <tlhelp32.h>

#include <gtest/gtest.h>
#include <vector>

#include "machine/support/engine.h"
#include "machine/support/pipe_client.h"
#include "machine/support/service_control.h"
#include "machine/support/system_proxy_dump.h"

namespace moorlak::machine {
namespace {

// Suspends every thread of a process for as long as this object lives.
struct FrozenProcess {
  explicit FrozenProcess(DWORD processId) {
    const KernelHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
    THREADENTRY32 entry{};
    entry.dwSize = sizeof(entry);
    for (BOOL more = Thread32First(snapshot.Get(), &entry); more; more = Thread32Next(snapshot.Get(), &entry)) {
      if (entry.th32OwnerProcessID != processId) continue;
      KernelHandle thread(OpenThread(THREAD_SUSPEND_RESUME, FALSE, entry.th32ThreadID));
      if (thread && SuspendThread(thread.Get()) != static_cast<DWORD>(-1)) threads.push_back(std::move(thread));
    }
    EXPECT_FALSE(threads.empty());
  }
  FrozenProcess(const FrozenProcess&) = delete;
  FrozenProcess& operator=(const FrozenProcess&) = delete;
  ~FrozenProcess() {
    for (const KernelHandle& thread : threads) ResumeThread(thread.Get());
  }

  std::vector<KernelHandle> threads;
};

// Kills the service while it waits for a query. False if the query timed out first.
bool KillWithinAQuery(DWORD serviceId) {
  const EngineProcess query = WaitForQuery(serviceId);
  // From here on the service itself can end nothing, and the query hangs: only the kill can end it.
  const FrozenProcess frozen(serviceId);
  if (WaitForSingleObject(query.process.Get(), 0) != WAIT_TIMEOUT) return false;
  KillTunnelService();
  EXPECT_TRUE(WaitForEnd(query));
  return true;
}

TEST(KilledService, LeavesNoHiddenCommandBehind) {
  constexpr int kTries = 10;
  ResetSystemProxy();
  const std::string before = DumpSystemProxy();
  const EngineFaults faults(R"("apiHang":true)");
  StartTunnelService();
  ASSERT_EQ(StartTunnel(true, EngineConfig(NextPort())), "OK");
  bool killed = false;
  for (int tries = 0; !killed && tries < kTries; ++tries) killed = KillWithinAQuery(ServiceProcessId());
  EXPECT_TRUE(killed);
  EXPECT_TRUE(WaitForNoEngine());
  StartTunnelService();
  EXPECT_EQ(DumpSystemProxy(), before);
}

}  // namespace
}  // namespace moorlak::machine
