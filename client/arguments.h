// The command line of moorlakctl.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace moorlak::client {

enum class ClientCommand { None, Ping, Start, Stop, Status, Logs, Prepare, Doctor, Reset };

struct Arguments {
  ClientCommand command = ClientCommand::None;
  // `--help`, or `help` and a command: the command's help, or the program's if the command is None.
  bool help = false;
  bool version = false;
  // start
  bool proxyMode = false;
  // start, prepare: path of the configuration, "-" for standard input.
  std::string file;
  // status, doctor
  bool json = false;
  // status
  bool watch = false;
  // logs
  bool follow = false;
  // logs: only so many of the last lines; all of them if there is no number.
  std::optional<uint32_t> lines;
  // prepare
  bool meta = false;
  bool log = false;
};

struct ParsedArguments {
  Arguments arguments;
  // Empty if the command line is valid; otherwise one sentence for the user.
  std::string error;
};

// Takes the arguments after the program's name, in UTF-8. `--help` wins over any error on the same line.
ParsedArguments ParseArguments(const std::vector<std::string>& words);

// The command as the user types it; empty for None.
std::string CommandName(ClientCommand command);

}  // namespace moorlak::client
