#include <algorithm>
#include <sstream>

#include "apps/vantrel/CommandModel.h"

namespace app {
namespace {

std::string replaced(std::string text, const std::string& what, const std::string& by) {
  for (std::size_t at = 0; (at = text.find(what, at)) != text.npos; at += by.size())
    text.replace(at, what.size(), by);
  return text;
}

bool takesFiles(const CommandModel& command) {
  return std::any_of(command.arguments.begin(), command.arguments.end(),
                     [](const OptionModel& argument) { return argument.takesFile; });
}

/// Lines of a "case" that follow the words of a command line into the tree of commands.
std::string steps(const CommandModel& program, const std::string& before, const std::string& between,
                  const std::string& after) {
  std::string lines;
  const auto quoted = [](const std::string& words) { return "\"" + words + "\""; };
  for (const CommandModel* command : flattened(program)) {
    for (const CommandModel& below : command->commands) {
      const std::string words = quoted(command->path + " " + below.name);
      lines.append(before).append(words).append(between).append(quoted(below.path)).append(after);
    }
  }
  return lines;
}

std::string bashWords(const CommandModel& command) {
  std::string words;
  for (const CommandModel& below : command.commands) words += below.name + " ";
  for (const OptionModel& option : command.options)
    for (const std::string& name : option.names) words += name + " ";
  return words;
}

/// A text within zsh's single quotes, for descriptions in brackets.
std::string zshText(const std::string& text) {
  std::string escaped = replaced(text, "\\", "\\\\");
  for (const char* special : {"[", "]", ":"})
    escaped = replaced(escaped, special, std::string("\\") + special);
  return replaced(escaped, "'", "'\\''");
}

std::string zshFunction(const CommandModel& command) {
  return "_vantrel" + replaced(command.path.empty() ? "" : " " + command.path, " ", "_");
}

void writeZshOptions(std::ostream& out, const CommandModel& command) {
  for (const OptionModel& option : command.options) {
    const std::string takes = option.takesFile ? ":" + option.kind + ":_files" : ":" + option.kind + ": ";
    for (const std::string& name : option.names)
      out << " \\\n    '" << name << "[" << zshText(option.help) << "]" << (option.kind.empty() ? "" : takes)
          << "'";
  }
}

void writeZshFunction(std::ostream& out, const CommandModel& command) {
  out << zshFunction(command) << "() {\n";
  if (!command.commands.empty()) out << "  local line state\n  local -a commands\n";
  out << "  _arguments -s" << (command.commands.empty() ? "" : " -C");
  writeZshOptions(out, command);
  if (command.commands.empty()) {
    for (const OptionModel& argument : command.arguments)
      out << " \\\n    '" << (argument.repeats ? "*" : "") << ":" << argument.names.front() << ":"
          << (argument.takesFile ? "_files" : " ") << "'";
    out << "\n}\n\n";
    return;
  }
  out << " \\\n    '1:command:->command' '*::argument:->argument'\n  case $state in\n    command)\n"
      << "      commands=(";
  for (const CommandModel& below : command.commands)
    out << "\n        '" << below.name << ":" << zshText(below.summary) << "'";
  out << ")\n      _describe command commands ;;\n    argument)\n      case $line[1] in\n";
  for (const CommandModel& below : command.commands)
    out << "        " << below.name << ") " << zshFunction(below) << " ;;\n";
  out << "      esac ;;\n  esac\n}\n\n";
}

std::string fishText(const std::string& text) {
  return "'" + replaced(replaced(text, "\\", "\\\\"), "'", "\\'") + "'";
}

void writeFishCommand(std::ostream& out, const CommandModel& command) {
  const std::string here = "complete -c vantrel -n '__vantrel_at \"" + command.path + "\"'";
  for (const CommandModel& below : command.commands)
    out << here << " -a " << below.name << " -d " << fishText(below.summary) << '\n';
  for (const OptionModel& option : command.options) {
    out << here;
    for (const std::string& name : option.names)
      out << (name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1));
    out << (option.kind.empty() ? ""
            : option.takesFile  ? " -r -F"
                                : " -x")
        << " -d " << fishText(option.help) << '\n';
  }
  if (takesFiles(command)) out << here << " -F\n";
}

}  // namespace

std::string bashCompletion(const CommandModel& program) {
  std::ostringstream words;
  std::ostringstream values;
  for (const CommandModel* command : flattened(program)) {
    words << "    \"" << command->path << "\") words=\"" << bashWords(*command) << "\""
          << (takesFiles(*command) ? " files=yes" : "") << " ;;\n";
    for (const OptionModel& option : command->options)
      for (const std::string& name : option.kind.empty() ? std::vector<std::string>() : option.names)
        values << "    \"" << command->path << " " << name
               << "\") words= files=" << (option.takesFile ? "yes" : "") << " ;;\n";
  }
  return "# Completion of vantrel for bash.\n_vantrel() {\n"
         "  local current=${COMP_WORDS[COMP_CWORD]} command= words= files= word\n"
         "  for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n    case \"$command $word\" in" +
         steps(program, "\n      ", ") command=", " ;;") + "\n    esac\n  done\n  case \"$command\" in\n" +
         words.str() + "  esac\n  case \"$command ${COMP_WORDS[COMP_CWORD-1]}\" in\n" + values.str() +
         "  esac\n  # Without words of its own the shell completes names of files.\n  COMPREPLY=()\n"
         "  [[ $files && $current != -* ]] || { compopt +o default 2> /dev/null\n"
         "    mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$current\"); }\n}\n"
         "complete -o default -F _vantrel vantrel\n";
}

std::string zshCompletion(const CommandModel& program) {
  std::ostringstream out;
  out << "#compdef vantrel\n\n";
  for (const CommandModel* command : flattened(program)) writeZshFunction(out, *command);
  out << "_vantrel \"$@\"\n";
  return out.str();
}

std::string fishCompletion(const CommandModel& program) {
  std::ostringstream out;
  out << "# Completion of vantrel for fish.\nfunction __vantrel_at\n  set -l command ''\n"
         "  for word in (commandline -opc)[2..]\n    switch \"$command $word\""
      << steps(program, "\n      case ", "\n        set command ", "")
      << "\n    end\n  end\n  test \"$command\" = \"$argv[1]\"\nend\n\ncomplete -c vantrel -f\n";
  for (const CommandModel* command : flattened(program)) writeFishCommand(out, *command);
  return out.str();
}

}  // namespace app
