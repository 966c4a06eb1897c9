// A SOCKS 5 proxy with the web it leads to, or only that web, on a loopback port. Serves one connection after the
// other.
#pragma once

#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "base/handle.h"
#include "unit/config/held_port.h"

namespace moorlak {

enum class Conduct {
  Answers,
  // Replies only after Release.
  RepliesLater,
  // Reads the request and waits until the client leaves.
  StaysSilent,
  // Does the same before the proxy's first reply.
  IgnoresTheGreeting,
  // Closes the connection after the request.
  HangsUp,
  // Refuses to connect, as a proxy.
  Refuses
};

struct ServerPlan {
  Conduct conduct = Conduct::Answers;
  std::string response = "HTTP/1.1 204 No Content\r\n\r\n";
  // Refused whatever the conduct is.
  std::string refusedHost;
  bool isProxy = true;
};

class ProxyServer {
 public:
  explicit ProxyServer(ServerPlan plan = {});
  ~ProxyServer();
  ProxyServer(const ProxyServer&) = delete;
  ProxyServer& operator=(const ProxyServer&) = delete;

  uint16_t Port() const { return held.port; }
  // Waits until a client has got as far as the conduct allows.
  bool WasAsked() const;
  // Waits until the first client that the conduct leaves waiting has gone.
  bool WasLeft() const;
  void Release() const { SetEvent(released.Get()); }
  // "host:port" of each requested connection, including refused ones.
  std::vector<std::string> Targets() const;
  // The heads of the requests.
  std::vector<std::string> Requests() const;

 private:
  void Run(SOCKET listener);
  void Serve(SOCKET connection);
  bool ShakeHands(SOCKET connection);
  bool Lead(SOCKET connection);
  void AwaitLeaving(SOCKET connection) const;

  const ServerPlan plan;
  HeldPort held;
  KernelHandle asked{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
  KernelHandle left{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
  KernelHandle released{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
  mutable std::mutex lock;
  // Guarded by the lock.
  std::vector<std::string> targets;
  std::vector<std::string> requests;
  SOCKET client = INVALID_SOCKET;
  bool ending = false;
  std::thread thread;
};

}  // namespace moorlak
