// The command line of moorlakctl.
#pragma once

#include <string>
#include <vector>

namespace moorlak {

enum class ClientCommand { None, Ping, Start, Stop, Status, Logs, Prepare };

struct Arguments {
  ClientCommand command = ClientCommand::None;
  // `--help`: of the command, or of the program when the command is None.
  bool help = false;
  bool version = false;
  // start
  bool proxyMode = false;
  // start, prepare: path of the configuration, "-" for standard input.
  std::string file;
  // status
  bool json = false;
  bool watch = false;
  // logs
  bool follow = false;
  // prepare
  bool meta = false;
  bool log = false;
};

struct ParsedArguments {
  Arguments arguments;
  // Empty when the command line is in order; otherwise one sentence for the user.
  std::string error;
};

// Takes the arguments behind the program's name, UTF-8. `--help` wins over everything that is wrong beside it.
ParsedArguments ParseArguments(const std::vector<std::string>& words);

// The command as it is typed; empty for None.
std::string CommandName(ClientCommand command);

}  // namespace moorlak
