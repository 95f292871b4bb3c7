#include <cctype>
#include <sstream>

#include "apps/vantrel/CommandModel.h"

namespace app {
namespace {

/// Text as roff takes it: nothing in it is a request or an escape.
std::string plain(const std::string& text) {
  std::string escaped;
  for (const char c : text) {
    const bool beginsLine = escaped.empty() || escaped.back() == '\n';
    if (beginsLine && (c == '.' || c == '\'')) escaped += "\\&";
    if (c == '\\') {
      escaped += "\\e";
    } else if (c == '-') {
      escaped += "\\-";
    } else {
      escaped += c;
    }
  }
  return escaped;
}

std::string lowered(std::string text) {
  if (!text.empty()) text[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[0])));
  return text;
}

std::string usage(const CommandModel& command) {
  std::string line = "vantrel " + command.path;
  if (!command.commands.empty()) return line + " COMMAND";
  for (const OptionModel& option : command.options)
    if (option.required) line += " " + option.names.front() + " " + option.kind;
  line += " [OPTIONS]";
  for (const OptionModel& argument : command.arguments) {
    const std::string name = argument.names.front() + (argument.repeats ? "..." : "");
    line += argument.required ? " " + name : " [" + name + "]";
  }
  return line;
}

void writeOptions(std::ostream& out, const std::vector<OptionModel>& options, bool withHelp = false) {
  for (const OptionModel& option : options) {
    if (option.names.front() == "-h" && !withHelp) continue;
    out << ".TP\n";
    for (std::size_t i = 0; i < option.names.size(); ++i)
      out << (i == 0 ? "" : ", ") << "\\fB" << plain(option.names[i]) << "\\fR";
    if (!option.kind.empty()) out << " \\fI" << plain(option.kind) << "\\fR";
    out << '\n' << plain(option.help) << '\n';
  }
}

void writeExamples(std::ostream& out, const CommandModel& command) {
  if (!command.examples.empty()) out << ".PP\n.nf\n.RS 4\n" << plain(command.examples) << "\n.RE\n.fi\n";
}

void writeCommand(std::ostream& out, const CommandModel& command) {
  out << ".SS \"" << plain(usage(command)) << "\"\n" << plain(command.summary) << ".\n";
  writeOptions(out, command.arguments);
  writeOptions(out, command.options);
  writeExamples(out, command);
}

const char* const kEnd = R"(.SH EXIT STATUS
.TP
\fB0\fR
What was asked for is done.
.TP
\fB1\fR
It failed; a message on standard error says why.
.TP
\fB2\fR
The command line was wrong.
.SH ENVIRONMENT
.TP
\fBVANTREL_LOG\fR
The lowest level of log lines that are shown: debug, info, warning (without it) or error.
.TP
\fBVANTREL_AUDIO_SINK\fR
The GStreamer sink that plays, for instance pulsesink.
.TP
\fBXDG_CONFIG_HOME\fR
Where settings are kept, in place of ~/.config.
.SH FILES
.TP
\fI~/.config/vantrel/settings.plist\fR
The remembered track, mode and position.
)";

}  // namespace

std::string manualPage(const CommandModel& program, const std::string& version) {
  std::ostringstream out;
  out << ".TH VANTREL 1 \"\" \"Vantrel " << version << "\" \"User Commands\"\n"
      << ".SH NAME\nvantrel \\- " << plain(lowered(program.summary)) << "\n"
      << ".SH SYNOPSIS\n.B vantrel\n.I COMMAND\n[OPTIONS] [ARGUMENTS]\n.SH DESCRIPTION\n"
      << "Each command below does one thing. Where a command takes a file, \\- is standard input.\n";
  writeOptions(out, program.options, true);
  out << ".SH EXAMPLES\n";
  writeExamples(out, program);
  out << ".SH COMMANDS\n";
  for (const CommandModel* command : flattened(program))
    if (command != &program) writeCommand(out, *command);
  out << kEnd;
  return out.str();
}

}  // namespace app
