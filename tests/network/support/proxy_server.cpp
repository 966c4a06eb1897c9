#include "network/support/proxy_server.h"

#include <algorithm>
#include <array>
#include <utility>

#include "unit/process/child_test_support.h"

namespace moorlak {
namespace {

using namespace std::string_literals;

// Empty if the client leaves first.
std::string ReadExactly(SOCKET connection, size_t size) {
  std::string bytes(size, '\0');
  for (size_t have = 0; have < size;) {
    const int got = recv(connection, bytes.data() + have, static_cast<int>(size - have), 0);
    if (got <= 0) return {};
    have += static_cast<size_t>(got);
  }
  return bytes;
}

std::string ReadHead(SOCKET connection) {
  std::string head;
  char one = 0;
  while (!head.ends_with("\r\n\r\n") && recv(connection, &one, 1, 0) == 1) head += one;
  return head;
}

void Write(SOCKET connection, const std::string& bytes) {
  send(connection, bytes.data(), static_cast<int>(bytes.size()), 0);
}

unsigned Byte(char character) {
  return static_cast<unsigned char>(character);
}

// The part after version, command and reserved byte. Empty for an address type that this proxy does not support.
std::string ReadTarget(SOCKET connection) {
  const std::string kind = ReadExactly(connection, 1);
  std::string host;
  if (kind == "\x03") {
    const std::string size = ReadExactly(connection, 1);
    if (!size.empty()) host = ReadExactly(connection, Byte(size[0]));
  } else if (kind == "\x01") {
    const std::string parts = ReadExactly(connection, 4);
    for (const char part : parts) host += (host.empty() ? "" : ".") + std::to_string(Byte(part));
  }
  const std::string port = ReadExactly(connection, 2);
  if (host.empty() || port.empty()) return {};
  return host + ":" + std::to_string(Byte(port[0]) << 8 | Byte(port[1]));
}

}  // namespace

ProxyServer::ProxyServer(ServerPlan serverPlan)
    : plan(std::move(serverPlan)), thread([this, listener = held.listener] { Run(listener); }) {}

ProxyServer::~ProxyServer() {
  Release();
  {
    const std::lock_guard guard(lock);
    ending = true;
    if (client != INVALID_SOCKET) shutdown(client, SD_BOTH);
  }
  // Wakes the accept. Closing the listener is not reliable: Wine misses an accept that is just beginning.
  KnockAt(held.port);
  thread.join();
}

bool ProxyServer::WasAsked() const {
  return WaitForSingleObject(asked.Get(), kGenerousMs) == WAIT_OBJECT_0;
}

bool ProxyServer::WasLeft() const {
  return WaitForSingleObject(left.Get(), kGenerousMs) == WAIT_OBJECT_0;
}

std::vector<std::string> ProxyServer::Targets() const {
  const std::lock_guard guard(lock);
  return targets;
}

std::vector<std::string> ProxyServer::Requests() const {
  const std::lock_guard guard(lock);
  return requests;
}

void ProxyServer::Run(SOCKET listener) {
  for (;;) {
    const SOCKET connection = accept(listener, nullptr, nullptr);
    if (connection == INVALID_SOCKET) return;
    bool isWelcome = false;
    {
      const std::lock_guard guard(lock);
      client = connection;
      isWelcome = !ending;
    }
    if (isWelcome) Serve(connection);
    bool isLast = false;
    {
      const std::lock_guard guard(lock);
      client = INVALID_SOCKET;
      isLast = ending;
    }
    closesocket(connection);
    if (isLast) return;
  }
}

void ProxyServer::Serve(SOCKET connection) {
  if (plan.isProxy && (!ShakeHands(connection) || !Lead(connection))) return;
  const std::string head = ReadHead(connection);
  if (head.empty()) return;
  {
    const std::lock_guard guard(lock);
    requests.push_back(head);
  }
  SetEvent(asked.Get());
  if (plan.conduct == Conduct::StaysSilent) AwaitLeaving(connection);
  if (plan.conduct == Conduct::StaysSilent || plan.conduct == Conduct::HangsUp) return;
  if (plan.conduct == Conduct::RepliesLater) WaitForSingleObject(released.Get(), kGenerousMs);
  // Sends the beginning byte by byte, as a slow network might.
  const size_t pieces = std::min<size_t>(plan.response.size(), 64);
  for (size_t i = 0; i < pieces; ++i) Write(connection, plan.response.substr(i, 1));
  Write(connection, plan.response.substr(pieces));
}

bool ProxyServer::ShakeHands(SOCKET connection) {
  if (plan.conduct == Conduct::IgnoresTheGreeting) {
    SetEvent(asked.Get());
    AwaitLeaving(connection);
    return false;
  }
  // Version 5 with one authentication method: none.
  if (ReadExactly(connection, 3) != "\x05\x01\x00"s) return false;
  Write(connection, "\x05\x00"s);
  return true;
}

// Reads the client's SOCKS request and connects it to the web.
bool ProxyServer::Lead(SOCKET connection) {
  if (ReadExactly(connection, 3) != "\x05\x01\x00"s) return false;
  const std::string target = ReadTarget(connection);
  if (target.empty()) return false;
  {
    const std::lock_guard guard(lock);
    targets.push_back(target);
  }
  const bool refused =
      plan.conduct == Conduct::Refuses || (!plan.refusedHost.empty() && target.starts_with(plan.refusedHost + ":"));
  // The bound address, which no client here reads.
  Write(connection, "\x05"s + (refused ? '\x05' : '\x00') + "\x00\x01\x00\x00\x00\x00\x00\x00"s);
  if (refused) SetEvent(asked.Get());
  return !refused;
}

void ProxyServer::AwaitLeaving(SOCKET connection) const {
  std::array<char, 64> rest{};
  while (recv(connection, rest.data(), static_cast<int>(rest.size()), 0) > 0) {
  }
  SetEvent(left.Get());
}

}  // namespace moorlak
