// The whole protection on a simulated machine, and everything that it may leave: the machine itself, the resolver's
// policy in the registry, the recovery files.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "network/support/simulated_machine.h"
#include "network/support/wanted_protection.h"
#include "support/wait.h"

namespace moorlak {

inline constexpr wchar_t kDnsBackupFile[] = L"dns_restore.v1";
inline constexpr wchar_t kPolicyBackupFile[] = L"smhnr_restore.v1";
inline constexpr wchar_t kPolicyMarkerFile[] = L"smhnr_session_owned.flag";

// DisableSmartNameResolution and DisableParallelAandAAAA; nullopt if the value does not exist.
struct Policy {
  std::optional<uint32_t> smart;
  std::optional<uint32_t> parallel;

  bool operator==(const Policy&) const = default;
};
Policy ReadPolicy();
void SetPolicy(const Policy& policy);

// A file in the product's data folder; nullopt if it does not exist.
std::optional<std::string> DataFile(const wchar_t* name);
void WriteDataFile(const wchar_t* name, const std::string& content);
void DeleteDataFile(const wchar_t* name);

// Settings of our own adapter that are not restored, because the next session sets them anyway. A removal leaves its
// name servers; the recovery after a crash also removes its address and the routes through it.
enum class OwnTraces { NameServers, NameServersAndAddress };

// The machine as text without these traces.
std::string ShowMasked(lab::MachineState machine, OwnTraces masked);
// The policy's two values, and the recovery files line by line.
std::string ShowPolicyAndFiles();

lab::Adapter& AdapterNamed(lab::MachineState& machine, const std::string& name);

// A machine of the lab with a session's tunnel adapter and the default route into it.
lab::MachineState WithTunnel(lab::MachineState machine);

// Runs protection_child.exe with these words and returns its exit code.
inline constexpr uint32_t kKilled = 137;
uint32_t RunProtectionChild(const std::string& words);
inline constexpr char kProtectionChild[] = "protection_child.exe";

// A sweep takes every n-th point by default, all points if MOORLAK_FULL_SWEEP is set.
uint32_t SweepStep(uint32_t step);

class OnProtectedMachine : public OnSimulatedMachine {
 protected:
  // Clears the state of earlier tests on disk.
  void SetUp() override;
  void TearDown() override;

  // A machine on which one of the policy's two values is set.
  void Begin(lab::MachineState machine);
  bool Apply() { return protection->Apply(WantedProtection(), running); }

  // Takes the protection down as the end of a session does: the filters at once, the adapters' DNS in the background,
  // which this waits for. Also removes our adapter's address and the routes through it.
  void DisconnectProtection();
  // The filters go, as they do with their process.
  void EndFilterSessions();

  // Everything as text, at Begin and now.
  std::string BeforeAll(OwnTraces masked = OwnTraces::NameServers) const;
  static std::string NowAll(OwnTraces masked = OwnTraces::NameServers);

  const std::shared_ptr<Protection> protection = std::make_shared<Protection>();
  std::atomic<bool> running{true};
  lab::MachineState beginning;
};

}  // namespace moorlak
