// Log functions that drop the lines: the benchmark measures the rewriting, not a log.
#include <string_view>

#include "base/log.h"
#include "base/standard_error.h"

namespace moorlak {

void WriteLogLine(std::string_view) noexcept {}

void WriteStandardErrorLine(std::string_view) noexcept {}

}  // namespace moorlak
