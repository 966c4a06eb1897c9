// The two streams of a command, and the ways in which every command ends.
#pragma once

#include <optional>
#include <string_view>

#include "client/exit_code.h"
#include "client/output.h"
#include "client/pipe_client.h"

namespace moorlak {

struct Console {
  Output out;
  Output err;
};

Console OpenConsole();

// To standard error, behind the program's name; a live line on standard output stays standing above it.
void Complain(Console& console, std::string_view text);

// Words a failed exchange; asks the service control manager where that helps.
ExitCode ReportFailure(Console& console, const PipeAnswer& answer);

// Reports a reply that is not "OK": the service's own error text, or a reply that it would not give.
ExitCode ReportReply(Console& console, const PipeAnswer& answer);

// The status of a successful exchange, or nothing after having reported what is wrong with it.
std::optional<StatusReply> TakeStatus(Console& console, const PipeAnswer& answer, ExitCode& code);

}  // namespace moorlak
