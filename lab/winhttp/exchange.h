// A request's way over the network: the connection, through a proxy or not, the request, the head of its response.
// Results are WinHTTP's error codes, 0 for success.
#pragma once

#include <windows.h>

#include <memory>

#include "winhttp/handles.h"

namespace moorlak::lab {

// For a request that no other call works on.
DWORD SendRequest(const std::shared_ptr<HttpRequest>& request);
DWORD ReceiveResponse(HttpRequest& request);

}  // namespace moorlak::lab
