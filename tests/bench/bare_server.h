// The reference of the ping benchmark: a pipe server that only makes the system calls needed to serve a ping. It has no
// time-outs, no stop and no commands, and it trusts every caller once it has read the caller's data.
#pragma once

namespace moorlak::bench {

inline constexpr wchar_t kBarePipeName[] = L"\\\\.\\pipe\\MoorlakPingBench";

// Serves until the process is ended.
void RunBareServer();

}  // namespace moorlak::bench
