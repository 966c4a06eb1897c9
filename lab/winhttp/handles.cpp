#include "winhttp/handles.h"

#include <map>
#include <mutex>
#include <set>
#include <utility>
#include <variant>

namespace moorlak::lab {
namespace {

using Session = std::shared_ptr<HttpSession>;
using Connection = std::shared_ptr<HttpConnection>;
using Request = std::shared_ptr<HttpRequest>;
using Object = std::variant<Session, Connection, Request>;

// Handles in use, with the number that the next one gets.
struct Table {
  std::mutex lock;
  std::map<uintptr_t, Object> objects;
  std::set<uintptr_t> closedRequests;
  uintptr_t next = 0x10000;
};

// Never destroyed: calls may still run when the process ends.
Table& Handles() {
  static Table& table = *new Table;
  return table;
}

uintptr_t Number(HINTERNET handle) {
  return reinterpret_cast<uintptr_t>(handle);
}

HINTERNET Keep(Object object) {
  constexpr uintptr_t kStep = 4;
  Table& table = Handles();
  const std::lock_guard guard(table.lock);
  const uintptr_t number = table.next;
  table.next += kStep;
  table.objects.emplace(number, std::move(object));
  return reinterpret_cast<HINTERNET>(number);
}

template <typename Wanted>
DWORD Find(HINTERNET handle, Wanted& wanted) {
  Table& table = Handles();
  const std::lock_guard guard(table.lock);
  const auto found = table.objects.find(Number(handle));
  if (found == table.objects.end()) return ERROR_INVALID_HANDLE;
  const Wanted* object = std::get_if<Wanted>(&found->second);
  if (object == nullptr) return ERROR_WINHTTP_INCORRECT_HANDLE_TYPE;
  wanted = *object;
  return NO_ERROR;
}

template <typename Owner>
Timeouts Copy(const Owner& owner) {
  const std::lock_guard guard(Handles().lock);
  return owner.timeouts;
}

}  // namespace

HINTERNET KeepHandle(std::shared_ptr<HttpSession> session) {
  return Keep(std::move(session));
}

HINTERNET KeepHandle(std::shared_ptr<HttpConnection> connection) {
  return Keep(std::move(connection));
}

HINTERNET KeepHandle(std::shared_ptr<HttpRequest> request) {
  HttpRequest& kept = *request;
  kept.handle = Keep(std::move(request));
  return kept.handle;
}

DWORD FindHandle(HINTERNET handle, std::shared_ptr<HttpSession>& session) {
  return Find(handle, session);
}

DWORD FindHandle(HINTERNET handle, std::shared_ptr<HttpConnection>& connection) {
  return Find(handle, connection);
}

DWORD FindHandle(HINTERNET handle, std::shared_ptr<HttpRequest>& request) {
  return Find(handle, request);
}

DWORD CloseHttpHandle(HINTERNET handle, std::shared_ptr<HttpRequest>& request) {
  Table& table = Handles();
  Object object;
  {
    const std::lock_guard guard(table.lock);
    const auto found = table.objects.find(Number(handle));
    if (found == table.objects.end()) return ERROR_INVALID_HANDLE;
    object = std::move(found->second);
    table.objects.erase(found);
    if (const Request* closed = std::get_if<Request>(&object)) {
      request = *closed;
      table.closedRequests.insert(Number(handle));
    }
  }
  if (request) SetEvent(request->closed.Get());
  return NO_ERROR;
}

bool WasRequest(HINTERNET handle) {
  Table& table = Handles();
  const std::lock_guard guard(table.lock);
  return table.closedRequests.contains(Number(handle));
}

DWORD SetTimeouts(HINTERNET handle, const Timeouts& timeouts) {
  Table& table = Handles();
  const std::lock_guard guard(table.lock);
  const auto found = table.objects.find(Number(handle));
  if (found == table.objects.end()) return ERROR_INVALID_HANDLE;
  if (const Session* session = std::get_if<Session>(&found->second)) {
    (*session)->timeouts = timeouts;
    return NO_ERROR;
  }
  const Request* request = std::get_if<Request>(&found->second);
  if (request == nullptr) return ERROR_WINHTTP_INCORRECT_HANDLE_TYPE;
  (*request)->timeouts = timeouts;
  return NO_ERROR;
}

Timeouts TimeoutsOf(const HttpSession& session) {
  return Copy(session);
}

Timeouts TimeoutsOf(const HttpRequest& request) {
  return Copy(request);
}

}  // namespace moorlak::lab
