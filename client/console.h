// A command's two output streams, and how every command reports its outcome.
#pragma once

#include <optional>
#include <string_view>

#include "client/exit_code.h"
#include "client/output.h"
#include "client/pipe_client.h"

namespace moorlak::client {

struct Console {
  Output out;
  Output err;
};

Console OpenConsole();

// Writes the program's name and the text to standard error. A live line on standard output stays visible above it.
void Complain(Console& console, std::string_view text);

// Reports a failed exchange; queries the service control manager where that helps.
ExitCode ReportFailure(Console& console, const PipeReply& answer);

// Reports a reply that is not "OK": the service's error text, or a reply that the service never sends.
ExitCode ReportReply(Console& console, const PipeReply& answer);

// The status that a successful exchange returned. Otherwise reports the error, sets `code` and returns nullopt.
std::optional<StatusReply> TakeStatus(Console& console, const PipeReply& answer, ExitCode& code);

}  // namespace moorlak::client
