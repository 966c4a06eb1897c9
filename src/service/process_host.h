// What the service mode and the console mode share: the same parts, started and stopped in the same way.
#pragma once

#include <atomic>
#include <thread>

namespace moorlak {

// Set once, to stop the process; read by the pipe server and the owner watch.
extern std::atomic<bool> stopFlag;

// No system dialogs for this process and its engines: on a service's desktop nobody could answer them ("SetErrorMode"
// and "SetupSetNonInteractiveMode" on Microsoft Learn).
void TrustEveryCaller() noexcept;

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
