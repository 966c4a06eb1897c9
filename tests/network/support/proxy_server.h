// A SOCKS 5 proxy and the web behind it, or that web alone, on a loopback port: one connection after the other.
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
  // Only once it is released.
  AnswersLater,
  // Reads the request and waits for the client to go.
  StaysSilent,
  // The same before the first word of the proxy.
  IgnoresTheGreeting,
  // Ends the connection behind the request.
  HangsUp,
  // The proxy's refusal to connect.
  Refuses
};

struct ServerPlan {
  Conduct conduct = Conduct::Answers;
  std::string response = "HTTP/1.1 204 No Content\r\n\r\n";
  // Is refused whatever the conduct is.
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
  // Waits until somebody has come as far as the conduct lets them.
  bool WasAsked() const;
  // Waits until the first of those left alone by the conduct has gone.
  bool WasLeft() const;
  void Release() const { SetEvent(released.Get()); }
  // "host:port" of each connection that was asked for, refused ones too.
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
