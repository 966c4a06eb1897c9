// The real engine seen from outside: its configuration, process, staged file, faults and traffic.
#pragma once

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/handle.h"
#include "machine/support/child.h"

namespace moorlak::machine {

// A port of 127.0.0.1 that no test of this run has used before: a killed engine's connections keep its port for a
// while. It is below the range of outgoing connections.
uint16_t NextPort();

// A SOCKS inbound on that port and a direct outbound. `members`, each with a comma after it, come first.
std::string EngineConfig(uint16_t socksPort, std::string_view members = {});

// Waits until that port of the address (dotted) accepts connections.
bool WaitForListener(uint16_t port, const char* address = "127.0.0.1");

// Another program's listener: holds the port as long as it lives.
class PortHolder {
 public:
  explicit PortHolder(uint16_t port);
  PortHolder(const PortHolder&) = delete;
  PortHolder& operator=(const PortHolder&) = delete;
  ~PortHolder();

 private:
  uintptr_t listener;
};

// The lab's web server on a free port.
struct WebServer {
  WebServer();
  std::string Url(std::string_view path) const;

  Child program;
  std::string address;
};

struct Transfer {
  int status = 0;
  int64_t bytes = 0;
  std::string sha256;
};
// Fetches the page in a separate process, through the SOCKS port (0: directly). That process fails if the bytes are not
// those that the server announced.
std::optional<Transfer> Fetch(const std::string& url, uint16_t socksPort = 0);
// Sends that many bytes and returns what the server received.
std::optional<Transfer> Post(const std::string& url, int64_t bytes, uint16_t socksPort);

// One engine. The handle can be waited on and used to terminate the process.
struct EngineProcess {
  DWORD id = 0;
  KernelHandle process;
};
// Waits for the engine that the process with that id has started. Processes that only query an engine's counters do not
// count.
EngineProcess WaitForEngine(DWORD parentId, DWORD otherThanId = 0);
// Waits until the process with that id queries an engine for its counters, and returns the query.
EngineProcess WaitForQuery(DWORD parentId);
bool WaitForEnd(const EngineProcess& engine);
// Ends it the way a crash would.
void KillEngine(const EngineProcess& engine);
// Waits until no process of the engine's program is left, including queries.
bool WaitForNoEngine();

// Makes every engine and query that starts while this lives misbehave. The members are described in
// lab/engine/README.md.
struct EngineFaults {
  explicit EngineFaults(std::string_view members);
  EngineFaults(const EngineFaults&) = delete;
  EngineFaults& operator=(const EngineFaults&) = delete;
  ~EngineFaults();
};

// The service's staging folder. The service and this program share one temporary folder.
std::wstring StagingFolder();
// Full paths of the staged configurations.
std::vector<std::wstring> StagedFiles();
// Empty if it cannot be read.
std::string ReadText(const std::wstring& path);
// Text of the only staged file. Fails the test if there is none or more than one.
std::string ReadStagedText();

}  // namespace moorlak::machine
