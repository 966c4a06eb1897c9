// One run of the proxy-mode engine: what the session thread does from staging to the engine's end.
#pragma once

#include <string>

#include "proxy/xray_service.h"

namespace moorlak {

// Body of the session thread. When it returns, running is clear, the engine has ended, the system proxy is restored and
// the staged file is removed, whatever happened. Every wait ends within about 100 ms after running is cleared.
void RunProxySession(XrayService& service, const std::string& configText) noexcept;

// Ends the published engine, if there is one. Any thread may call it.
void EndEngine(XrayService& service) noexcept;

}  // namespace moorlak
