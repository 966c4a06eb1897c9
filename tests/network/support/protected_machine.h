// The whole protection on a simulated machine, and everything that it may leave behind: the machine itself, the
// resolver's policy in the registry, the recovery files.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "network/support/simulated_machine.h"
#include "network/support/wanted_protection.h"

namespace moorlak {

inline constexpr wchar_t kDnsBackupFile[] = L"dns_restore.v1";
inline constexpr wchar_t kPolicyBackupFile[] = L"smhnr_restore.v1";
inline constexpr wchar_t kPolicyMarkerFile[] = L"smhnr_session_owned.flag";

// DisableSmartNameResolution and DisableParallelAandAAAA; nothing where the value does not exist.
struct Policy {
  std::optional<uint32_t> smart;
  std::optional<uint32_t> parallel;

  bool operator==(const Policy&) const = default;
};
Policy ReadPolicy();
void SetPolicy(const Policy& policy);

// A file of the product's data folder; nothing when it is not there.
std::optional<std::string> DataFile(const wchar_t* name);
void WriteDataFile(const wchar_t* name, const std::string& content);
void DeleteDataFile(const wchar_t* name);

// What of the own adapter is not given back, because the next session sets it anyway: a removal leaves its name
// servers; the recovery after a crash takes its address and the routes through it besides.
enum class OwnTraces { NameServers, NameServersAndAddress };

// The machine as text, without those traces.
std::string ShowMasked(lab::MachineState machine, OwnTraces masked);
// The policy's two values, and the recovery files with their lines.
std::string ShowPolicyAndFiles();

lab::Adapter& AdapterNamed(lab::MachineState& machine, const std::string& name);

// A machine of the lab with the tunnel adapter of a session and the default route into it.
lab::MachineState WithTunnel(lab::MachineState machine);

// Runs protection_child.exe with these words to its end; its exit code.
inline constexpr uint32_t kKilled = 137;
uint32_t RunProtectionChild(const std::string& words);
inline constexpr char kProtectionChild[] = "protection_child.exe";

// Takes the protection down as a session's end does: the filters at once, the adapters' DNS in the background, which is
// waited for. The own adapter's address and the routes through it go, too.
void DisconnectProtection();

// Waits, generously, until something is so that another thread or process brings about.
bool Becomes(const std::function<bool()>& isSo);

// Every n-th point of a sweep is taken by default, all of them with MOORLAK_FULL_SWEEP set.
uint32_t SweepStep(uint32_t step);

class OnProtectedMachine : public OnSimulatedMachine {
 protected:
  // Earlier tests' state is forgotten, in memory and on disk.
  void SetUp() override;
  void TearDown() override;

  // A machine whose policy has one of the two values.
  void Begin(lab::MachineState machine);
  bool Apply() { return ApplyDnsLeakProtection(WantedProtection(), running); }

  // Everything as text: as it was at Begin, and as it is.
  std::string BeforeAll(OwnTraces masked = OwnTraces::NameServers) const;
  static std::string NowAll(OwnTraces masked = OwnTraces::NameServers);

  std::atomic<bool> running{true};
  lab::MachineState beginning;
};

}  // namespace moorlak
