// The yardstick of the ping benchmark: a pipe server that makes the system calls which serving a ping takes, and does
// nothing else. It has no time-outs, no stop and no commands, and it trusts every caller that it has looked at.
#pragma once

namespace moorlak::bench {

inline constexpr wchar_t kBarePipeName[] = L"\\\\.\\pipe\\MoorlakPingBench";

// Serves until the process is ended.
void RunBareServer();

}  // namespace moorlak::bench
