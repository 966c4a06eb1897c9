#include "client/arguments.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>

namespace moorlak::client {
namespace {

struct CommandEntry {
  std::string_view name;
  ClientCommand command;
  bool takesConfiguration;
};

constexpr std::array<CommandEntry, 8> kCommands{{{"ping", ClientCommand::Ping, false},
                                                 {"start", ClientCommand::Start, true},
                                                 {"stop", ClientCommand::Stop, false},
                                                 {"status", ClientCommand::Status, false},
                                                 {"logs", ClientCommand::Logs, false},
                                                 {"prepare", ClientCommand::Prepare, true},
                                                 {"doctor", ClientCommand::Doctor, false},
                                                 {"reset", ClientCommand::Reset, false}}};

struct OptionEntry {
  std::string_view name;
  ClientCommand command;
  bool Arguments::*field;
};

constexpr std::array<OptionEntry, 7> kOptions{{{"--proxy", ClientCommand::Start, &Arguments::proxyMode},
                                               {"--json", ClientCommand::Status, &Arguments::json},
                                               {"--watch", ClientCommand::Status, &Arguments::watch},
                                               {"--json", ClientCommand::Doctor, &Arguments::json},
                                               {"--follow", ClientCommand::Logs, &Arguments::follow},
                                               {"--meta", ClientCommand::Prepare, &Arguments::meta},
                                               {"--log", ClientCommand::Prepare, &Arguments::log}}};

constexpr std::string_view kLineCountOption = "-n";

bool IsHelpWord(const std::string& word) {
  return word == "--help" || word == "-h";
}

ClientCommand FindCommand(std::string_view name) {
  for (const CommandEntry& entry : kCommands) {
    if (entry.name == name) return entry.command;
  }
  return ClientCommand::None;
}

bool TakesConfiguration(ClientCommand command) {
  return std::ranges::any_of(
      kCommands, [command](const CommandEntry& entry) { return entry.command == command && entry.takesConfiguration; });
}

bool SetOption(Arguments& arguments, std::string_view name) {
  for (const OptionEntry& option : kOptions) {
    if (option.name != name || option.command != arguments.command) continue;
    arguments.*option.field = true;
    return true;
  }
  return false;
}

// "-n" and its number, which may be in the same word. Returns the error; empty if the number was taken.
std::string TakeLineCount(Arguments& arguments, const std::vector<std::string>& words, size_t& index) {
  std::string_view text = words[index];
  text.remove_prefix(kLineCountOption.size());
  if (text.empty() && index + 1 < words.size()) text = words[++index];
  uint32_t lines = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), lines);
  if (error != std::errc() || end != text.data() + text.size()) return "\"-n\" needs a number of lines.";
  arguments.lines = lines;
  return {};
}

bool IsLineCount(const Arguments& arguments, const std::string& word) {
  return arguments.command == ClientCommand::Logs && word.starts_with(kLineCountOption);
}

// "-" alone is a file name. So is an empty word, which gets its own error later.
bool LooksLikeOption(const std::string& word) {
  return word.size() > 1 && word.front() == '-';
}

std::string Unexpected(const std::string& word) {
  return "Unexpected argument \"" + word + "\".";
}

std::string TakeOperand(Arguments& arguments, const std::string& word, bool& fileGiven) {
  if (!TakesConfiguration(arguments.command) || fileGiven) return Unexpected(word);
  if (word.empty()) return "The name of the configuration file is empty.";
  arguments.file = word;
  fileGiven = true;
  return {};
}

std::string TakeCommandWords(Arguments& arguments, const std::vector<std::string>& words) {
  bool fileGiven = false;
  bool optionsEnded = false;
  for (size_t index = 1; index < words.size(); ++index) {
    const std::string& word = words[index];
    if (!optionsEnded && word == "--") {
      optionsEnded = true;
    } else if (!optionsEnded && IsLineCount(arguments, word)) {
      if (std::string error = TakeLineCount(arguments, words, index); !error.empty()) return error;
    } else if (!optionsEnded && LooksLikeOption(word)) {
      if (!SetOption(arguments, word)) return "\"" + words.front() + "\" has no option \"" + word + "\".";
    } else if (std::string error = TakeOperand(arguments, word, fileGiven); !error.empty()) {
      return error;
    }
  }
  if (TakesConfiguration(arguments.command) && !fileGiven) {
    return "\"" + words.front() + "\" needs a configuration: FILE or -.";
  }
  return {};
}

// A word after "--" is a file name, even if it looks like an option.
bool AsksForHelp(const std::vector<std::string>& words) {
  const auto end = std::find(words.begin(), words.end(), "--");
  return std::any_of(words.begin(), end, IsHelpWord);
}

std::string UnknownCommand(const std::string& word) {
  return "There is no command \"" + word + "\".";
}

// "help", or "help" and a command.
ParsedArguments ParseHelp(const std::vector<std::string>& words) {
  ParsedArguments parsed;
  parsed.arguments.help = true;
  if (words.size() == 1) return parsed;
  parsed.arguments.command = FindCommand(words[1]);
  if (parsed.arguments.command == ClientCommand::None) parsed.error = UnknownCommand(words[1]);
  if (words.size() > 2) parsed.error = Unexpected(words[2]);
  return parsed;
}

}  // namespace

ParsedArguments ParseArguments(const std::vector<std::string>& words) {
  ParsedArguments parsed;
  if (words.empty()) {
    parsed.error = "A command is missing.";
    return parsed;
  }
  Arguments& arguments = parsed.arguments;
  arguments.command = FindCommand(words.front());
  arguments.help = AsksForHelp(words);
  if (arguments.help) return parsed;
  if (words.front() == "help") return ParseHelp(words);
  if (arguments.command != ClientCommand::None) {
    parsed.error = TakeCommandWords(arguments, words);
  } else if (words.front() != "--version" && words.front() != "version") {
    parsed.error = UnknownCommand(words.front());
  } else if (words.size() > 1) {
    parsed.error = Unexpected(words[1]);
  } else {
    arguments.version = true;
  }
  return parsed;
}

std::string CommandName(ClientCommand command) {
  for (const CommandEntry& entry : kCommands) {
    if (entry.command == command) return std::string(entry.name);
  }
  return {};
}

}  // namespace moorlak::client
