#include "winhttp/background.h"

#include <utility>

#include "base/threads.h"

namespace moorlak::lab {
namespace {

void Notify(HttpRequest& request, DWORD status, void* information, DWORD size) {
  WINHTTP_STATUS_CALLBACK callback = nullptr;
  DWORD_PTR context = 0;
  {
    const std::lock_guard guard(request.notices.lock);
    // Each notification flag has the value of its status.
    if ((request.notices.wanted & status) != 0) callback = request.notices.callback;
    context = request.notices.context;
  }
  // The closing is reported only if the handle has a context ("WinHttpCloseHandle function").
  if (callback == nullptr || (status == WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING && context == 0)) return;
  callback(request.handle, context, status, information, size);
}

void NotifyClosing(HttpRequest& request) {
  Notify(request, WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING, &request.handle, sizeof(request.handle));
}

void NotifyEnd(HttpRequest& request, const CallKind& kind, DWORD error) {
  // After the handle was closed, its call is reported as cancelled, whatever its outcome.
  if (request.IsClosed()) error = ERROR_WINHTTP_OPERATION_CANCELLED;
  if (error == NO_ERROR) {
    Notify(request, kind.doneStatus, nullptr, 0);
    return;
  }
  WINHTTP_ASYNC_RESULT result{kind.api, error};
  Notify(request, WINHTTP_CALLBACK_STATUS_REQUEST_ERROR, &result, sizeof(result));
}

void BeginWork(Notices& notices) {
  const std::lock_guard guard(notices.lock);
  ++notices.workers;
}

// True if the closing must be reported now.
bool EndWork(Notices& notices) {
  const std::lock_guard guard(notices.lock);
  return --notices.workers == 0 && notices.closed;
}

// True if no thread works on the request, which would otherwise report the closing.
bool Close(Notices& notices) {
  const std::lock_guard guard(notices.lock);
  notices.closed = true;
  return notices.workers == 0;
}

}  // namespace

void CallInBackground(std::shared_ptr<HttpRequest> request, CallKind kind, std::function<DWORD()> call) {
  BeginWork(request->notices);
  StartDetachedThread([request = std::move(request), kind, call = std::move(call)]() noexcept {
    NotifyEnd(*request, kind, call());
    if (EndWork(request->notices)) NotifyClosing(*request);
  });
}

void ReportClosing(const std::shared_ptr<HttpRequest>& request) {
  if (Close(request->notices)) StartDetachedThread([request]() noexcept { NotifyClosing(*request); });
}

WINHTTP_STATUS_CALLBACK SetCallback(HttpRequest& request, WINHTTP_STATUS_CALLBACK callback, DWORD wanted) {
  const std::lock_guard guard(request.notices.lock);
  request.notices.wanted = wanted;
  return std::exchange(request.notices.callback, callback);
}

void SetContext(HttpRequest& request, DWORD_PTR context) {
  const std::lock_guard guard(request.notices.lock);
  request.notices.context = context;
}

}  // namespace moorlak::lab
