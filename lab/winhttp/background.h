// The calls of asynchronous requests: they run on their own threads, and callbacks report their completion
// ("Asynchronous Completion in WinHTTP" on Microsoft Learn). Callbacks come from those threads only, never from within
// a call.
#pragma once

#include <windows.h>

#include <functional>
#include <memory>

#include "winhttp/handles.h"

namespace moorlak::lab {

// Which call it is, and the status that reports its success. WINHTTP_CALLBACK_STATUS_REQUEST_ERROR reports failure.
struct CallKind {
  // API_SEND_REQUEST, API_RECEIVE_RESPONSE.
  DWORD_PTR api;
  DWORD doneStatus;
};

// Makes the call in the background. Its result is WinHTTP's error code.
void CallInBackground(std::shared_ptr<HttpRequest> request, CallKind kind, std::function<DWORD()> call);

// For a request whose handle was closed: reports the closing after all other callbacks.
void ReportClosing(const std::shared_ptr<HttpRequest>& request);

// Returns the previous callback.
WINHTTP_STATUS_CALLBACK SetCallback(HttpRequest& request, WINHTTP_STATUS_CALLBACK callback, DWORD wanted);
void SetContext(HttpRequest& request, DWORD_PTR context);

}  // namespace moorlak::lab
