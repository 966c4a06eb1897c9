// The commands of moorlakctl, one function each.
#pragma once

#include "client/arguments.h"
#include "client/console.h"
#include "client/exit_code.h"

namespace moorlak::client {

ExitCode RunPing(Console& console);
ExitCode RunStop(Console& console);
ExitCode RunStatus(Console& console, const Arguments& arguments);
ExitCode RunLogs(Console& console, const Arguments& arguments);
// Needs no service. In prepare_command.cpp.
ExitCode RunPrepare(Console& console, const Arguments& arguments);
// Needs no service, and changes nothing. In doctor_command.cpp.
ExitCode RunDoctor(Console& console, const Arguments& arguments);
// For when the service is stopped or broken: puts back what a session left. In reset_command.cpp.
ExitCode RunReset(Console& console);
// Stays in the foreground for as long as the session lasts. In start_command.cpp.
ExitCode RunStart(Console& console, const Arguments& arguments);

}  // namespace moorlak::client
