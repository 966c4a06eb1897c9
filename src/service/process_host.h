// What the service mode and the console mode share: the same pieces, brought up and taken down in the same way.
#pragma once

#include <atomic>
#include <thread>

namespace moorlak {

// Set once when the process is to stop; read by the pipe server and the owner watch.
extern std::atomic<bool> stopFlag;

// No dialog of the system's for this process and its engines: on a service's desktop nobody could answer it
// ("SetErrorMode" and "SetupSetNonInteractiveMode" of Microsoft Learn).
void AskNobody() noexcept;

// Starts the pipe thread. Throws std::system_error when there is no thread to be had: the process then cannot do
// anything and ends.
std::thread StartPipeThread();

// Before the pipe thread: no end has begun.
void BeginLife() noexcept;

// Begins to try again what the start's recovery, or later a session's end, leaves pending of the adapters' DNS. For the
// first instance on the machine.
void StartDnsRecovery() noexcept;

// Sets the stop flag, lets the controller refuse every later start, makes the pipe's pending connect return, and lets
// no further command of the DNS recovery begin. From here on the time of an end runs (process/service_end.h).
void BeginStop() noexcept;

// The controller's stop and its last release.
void EndTunnel() noexcept;

}  // namespace moorlak
