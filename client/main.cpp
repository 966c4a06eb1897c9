#include <exception>
#include <string>
#include <vector>

#include "base/utf.h"
#include "client/arguments.h"
#include "client/commands.h"
#include "client/console.h"
#include "client/help_text.h"
#include "client/visible_text.h"

namespace moorlak::client {
namespace {

ExitCode RefuseArguments(Console& console, const ParsedArguments& parsed) {
  const std::string command = CommandName(parsed.arguments.command);
  const std::string help = command.empty() ? "moorlakctl help" : "moorlakctl help " + command;
  Complain(console, VisibleText(parsed.error) + "\nFor help: " + help);
  return ExitCode::Usage;
}

ExitCode RunCommand(Console& console, const Arguments& arguments) {
  switch (arguments.command) {
    case ClientCommand::Ping:
      return RunPing(console);
    case ClientCommand::Start:
      return RunStart(console, arguments);
    case ClientCommand::Stop:
      return RunStop(console);
    case ClientCommand::Status:
      return RunStatus(console, arguments);
    case ClientCommand::Logs:
      return RunLogs(console, arguments);
    case ClientCommand::Prepare:
      return RunPrepare(console, arguments);
    case ClientCommand::Doctor:
      return RunDoctor(console, arguments);
    case ClientCommand::Reset:
      return RunReset(console);
    case ClientCommand::None:
      break;
  }
  return ExitCode::Usage;
}

ExitCode Run(Console& console, const std::vector<std::string>& words) {
  const ParsedArguments parsed = ParseArguments(words);
  if (!parsed.error.empty()) return RefuseArguments(console, parsed);
  if (parsed.arguments.help) {
    return WriteText(console.out, HelpText(parsed.arguments.command)) ? ExitCode::Ok : ExitCode::Failure;
  }
  if (parsed.arguments.version) {
    return WriteLine(console.out, "moorlakctl " MOORLAK_VERSION) ? ExitCode::Ok : ExitCode::Failure;
  }
  return RunCommand(console, parsed.arguments);
}

}  // namespace
}  // namespace moorlak::client

int wmain(int count, wchar_t** words) {
  moorlak::client::Console console = moorlak::client::OpenConsole();
  try {
    std::vector<std::string> arguments;
    for (int index = 1; index < count; ++index) arguments.push_back(moorlak::NarrowUtf16(words[index]));
    return static_cast<int>(moorlak::client::Run(console, arguments));
  } catch (const std::exception& failure) {
    moorlak::client::Complain(console, failure.what());
  }
  return static_cast<int>(moorlak::client::ExitCode::Failure);
}
