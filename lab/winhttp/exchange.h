// A request's exchange over the network: connect, through a proxy or not, send the request, read the response's head.
// Results are WinHTTP's error codes, 0 for success.
#pragma once

#include <windows.h>

#include <memory>

#include "winhttp/handles.h"

namespace moorlak::lab {

// Only for a request on which no other call is working.
DWORD SendRequest(const std::shared_ptr<HttpRequest>& request);
DWORD ReceiveResponse(HttpRequest& request);

}  // namespace moorlak::lab
