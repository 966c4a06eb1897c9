// The one way to write to the tunnel log. The body stands in service/tunnel_log.cpp; native tests bring a body of
// their own that collects the lines.
#pragma once

#include <string_view>

namespace moorlak {

// Appends one line (local time, a space, the message, CR LF). The message is UTF-8 and is written unchanged.
// Any thread may call it. A line that cannot be written is dropped: the caller never learns of it.
void WriteLogLine(std::string_view message) noexcept;

}  // namespace moorlak
