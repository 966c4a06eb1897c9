// What the service mode and the console mode share: the same parts, started and stopped in the same way.
#pragma once

#include <atomic>
#include <thread>

#include "base/handle.h"

namespace moorlak {

// Only one instance may manage the machine: if recovery ran twice, it would undo what the first instance has just done.
// The first instance owns the instance mutex. The thread that took it releases it, or the system does when that thread
// or the process ends. After that the name alone, kept alive by another process, is no claim.
class InstanceClaim {
 public:
  // Does not wait for another instance.
  InstanceClaim();
  // Must run on the constructor's thread.
  ~InstanceClaim();
  InstanceClaim(const InstanceClaim&) = delete;
  InstanceClaim& operator=(const InstanceClaim&) = delete;

  // Whether this process manages the machine. Also true if an ordinary user holds the name, which is logged: any user
  // may create global names, and must not keep the service from recovering the machine.
  bool IsFirst() const { return isFirst; }

 private:
  KernelHandle mutex;
  bool isOwned = false;
  bool isFirst = false;
};

// Set once, to stop the process; read by the pipe server and the owner watch.
extern std::atomic<bool> stopFlag;

// No system dialogs for this process and its engines: on a service's desktop nobody could answer them ("SetErrorMode"
// and "SetupSetNonInteractiveMode" on Microsoft Learn).
void SuppressSystemDialogs() noexcept;

// Starts the pipe thread. Throws std::system_error if no thread can be created: the process is then useless and ends.
std::thread StartPipeThread();

// Called before the pipe thread starts: no end has begun.
void BeginLife() noexcept;

// Starts retrying what the recovery at the start, or later the end of a session, leaves pending of the adapters' DNS.
// For the first instance on the machine.
void StartDnsRecovery() noexcept;

// Sets the stop flag, makes the controller refuse every later start and the pipe's pending connect return, and lets the
// DNS recovery start no further command. The time for the end starts here (process/service_end.h).
void BeginStop() noexcept;

// Stops the controller and releases its last resources.
void EndTunnel() noexcept;

}  // namespace moorlak
