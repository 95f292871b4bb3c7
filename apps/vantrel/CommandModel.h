#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

/// What the command definitions say, for the manual page and the completions of shells.
namespace app {

struct OptionModel {
  std::vector<std::string> names;  ///< with their dashes; the name alone of what stands without
  std::string kind;                ///< of its value ("HEX"); empty for a flag
  std::string help;
  bool required = false;
  bool takesFile = false;
  bool repeats = false;
};

struct CommandModel {
  std::string path;  ///< "aes encrypt"; empty for the program
  std::string name;
  std::string summary;
  std::string examples;
  std::vector<OptionModel> options;
  std::vector<OptionModel> arguments;
  std::vector<CommandModel> commands;
};

CommandModel modelOf(const CLI::App& app, const std::string& above = "");

/// The command and all below it, each before those below it.
std::vector<const CommandModel*> flattened(const CommandModel& command);

/// Of these the program makes a text when it is built; empty for any other name: "man", "bash", "zsh",
/// "fish".
std::string generated(const std::string& what, const CommandModel& program, const std::string& version);

std::string manualPage(const CommandModel& program, const std::string& version);
std::string bashCompletion(const CommandModel& program);
std::string zshCompletion(const CommandModel& program);
std::string fishCompletion(const CommandModel& program);

}  // namespace app
