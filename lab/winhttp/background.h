// The calls of asynchronous requests: they are made on threads of their own, and callbacks tell their ends
// ("Asynchronous Completion in WinHTTP" on Microsoft Learn). Callbacks come from those threads only, never from within
// a call.
#pragma once

#include <windows.h>

#include <functional>
#include <memory>

#include "winhttp/handles.h"

namespace moorlak::lab {

// What a call is and how its success is told; failures are told as WINHTTP_CALLBACK_STATUS_REQUEST_ERROR.
struct CallKind {
  // API_SEND_REQUEST, API_RECEIVE_RESPONSE.
  DWORD_PTR api;
  DWORD doneStatus;
};

// Makes the call, whose result is WinHTTP's error code, in the background.
void CallInBackground(std::shared_ptr<HttpRequest> request, CallKind kind, std::function<DWORD()> call);

// For a request whose handle was closed: tells the closing behind everything else that is still to be told.
void TellClosing(const std::shared_ptr<HttpRequest>& request);

// The callback that there was before.
WINHTTP_STATUS_CALLBACK SetCallback(HttpRequest& request, WINHTTP_STATUS_CALLBACK callback, DWORD wanted);
void SetContext(HttpRequest& request, DWORD_PTR context);

}  // namespace moorlak::lab
