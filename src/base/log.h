// The only way to write to the tunnel log. Implemented in service/tunnel_log.cpp; native tests have their own
// implementation, which collects the lines.
#pragma once

#include <string_view>

namespace moorlak {

// Appends one line (local time, a space, the message, CR LF). The message is UTF-8 and is written unchanged. Any thread
// may call it. A line that cannot be written is dropped, and the caller is not notified.
void WriteLogLine(std::string_view message) noexcept;

}  // namespace moorlak
