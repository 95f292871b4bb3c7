#include "apps/vantrel/Command.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <new>
#include <sstream>

#include "apps/vantrel/CommandModel.h"
#include "apps/vantrel/Output.h"
#include "vantrel/base/Log.h"

namespace app {
namespace {

/// Help that begins with the examples, which CLI11 knows as a command's footer.
class ExamplesFirst : public CLI::Formatter {
 public:
  ExamplesFirst() { column_width(28); }

  std::string make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const override {
    if (mode == CLI::AppFormatMode::Sub) return CLI::Formatter::make_help(app, std::move(name), mode);
    std::string help = "Examples:\n";
    std::istringstream lines(app->get_footer());
    for (std::string line; std::getline(lines, line);) help += (line.empty() ? "" : "  ") + line + "\n";
    return help + "\n" + CLI::Formatter::make_help(app, std::move(name), mode);
  }

  std::string make_footer(const CLI::App*) const override { return ""; }
};

CLI::Option* valued(CLI::Option* option, const std::string& kind) {
  return option->type_name(kind)->option_text(kind);
}

// CLI11 reads "[a,b]" as a list of two, "++" as the end of a command and "--key=" as a key whose value comes
// next. A mark before such values, taken off again when they are read, keeps them as they are; marks of the
// user's own are doubled on the way.
constexpr char kMark = '\x01';
constexpr std::string_view kHere = "\x01\x02";

std::string marked(std::string_view argument) {
  std::size_t value = 0;
  if (argument.starts_with("--")) {
    value = std::min(argument.find('='), argument.size() - 1) + 1;
    if (value == argument.size() && !argument.ends_with('=')) value = argument.npos;
  } else if (argument.starts_with('-')) {
    value = argument.size() > 2 ? 2 : argument.npos;
  }
  std::string text;
  for (std::size_t at = 0; at <= argument.size(); ++at) {
    const bool plain = at < argument.size() && std::isalnum(static_cast<unsigned char>(argument[at])) != 0;
    if (at == value && !plain) text += kHere;
    if (at == argument.size()) break;
    text += argument[at];
    if (argument[at] == kMark) text += kMark;
  }
  return text;
}

std::string unmarked(std::string text) {
  std::string plain;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const std::string_view rest = std::string_view(text).substr(at);
    if (!rest.starts_with(kHere)) plain += text[at];
    if (rest.starts_with(kHere) || (rest.size() > 1 && rest[0] == kMark && rest[1] == kMark)) ++at;
  }
  return plain;
}

std::vector<std::string> markedArguments(int argc, char** argv) {
  std::vector<std::string> arguments(argv + (argc > 0 ? 1 : 0), argv + argc);
  std::transform(arguments.begin(), arguments.end(), arguments.begin(), marked);
  std::reverse(arguments.begin(), arguments.end());  // as CLI11 wants them
  return arguments;
}

CLI::Option* unnamed(CLI::Option* option) { return option->type_name(""); }

/// Texts are taken as they came: of CLI11's own conversions, one makes nothing of "{}".
CLI::Option* addText(CLI::App& app, const std::string& name, const std::string& help,
                     const std::function<void(std::string)>& take) {
  const auto takeAll = [take](const CLI::results_t& texts) {
    for (const std::string& text : texts) take(unmarked(text));
    return true;
  };
  return unnamed(app.add_option(name, takeAll, help));
}

template <typename T>
CLI::Option* addNumber(CLI::App& app, const std::string& name, T& value, const std::string& help) {
  return unnamed(app.add_option(name, value, help))->transform(unmarked);
}

// For the build, not for users: --generate man, bash, zsh or fish.
constexpr std::string_view kGenerate = "--generate";

const std::string kExamples =
    "vantrel play --resume ~/Music\n"
    "vantrel hex song.mp3 | head -c 32\n"
    "vantrel time month 20240305140709";

}  // namespace

Command Command::add(const std::string& name, const std::string& summary, const std::string& examples) {
  CLI::App* child = app_->add_subcommand(name, summary);
  child->footer(examples);
  app_->require_subcommand(1);
  return {*child, chosen_};
}

Value<std::string> Command::argument(const std::string& name, const std::string& help) {
  auto value = std::make_shared<std::string>();
  addText(*app_, name, help, [value](std::string text) { *value = std::move(text); })->required();
  return value;
}

Value<std::string> Command::argument(const std::string& name, const std::string& help,
                                     const std::string& byDefault) {
  auto value = std::make_shared<std::string>(byDefault);
  addText(*app_, name, help, [value](std::string text) { *value = std::move(text); });
  return value;
}

Value<std::optional<std::string>> Command::optionalArgument(const std::string& name,
                                                            const std::string& help) {
  auto value = std::make_shared<std::optional<std::string>>();
  addText(*app_, name, help, [value](std::string text) { *value = std::move(text); });
  return value;
}

Value<std::vector<std::string>> Command::arguments(const std::string& name, const std::string& help) {
  auto values = std::make_shared<std::vector<std::string>>();
  addText(*app_, name, help, [values](std::string text) { values->push_back(std::move(text)); })
      ->required()
      ->expected(1, CLI::detail::expected_max_vector_size)
      ->allow_extra_args();
  return values;
}

Value<bool> Command::flag(const std::string& name, const std::string& help) {
  auto value = std::make_shared<bool>(false);
  app_->add_flag(name, *value, help);
  return value;
}

Value<std::string> Command::requiredOption(const std::string& name, const std::string& kind,
                                           const std::string& help) {
  auto value = std::make_shared<std::string>();
  const auto take = [value](std::string text) { *value = std::move(text); };
  valued(addText(*app_, name, help, take), kind)->required();
  return value;
}

Value<std::optional<std::string>> Command::option(const std::string& name, const std::string& kind,
                                                  const std::string& help) {
  auto value = std::make_shared<std::optional<std::string>>();
  valued(addText(*app_, name, help, [value](std::string text) { *value = std::move(text); }), kind);
  return value;
}

Value<std::optional<std::int64_t>> Command::integerOption(const std::string& name, const std::string& help,
                                                          std::int64_t least, std::int64_t most) {
  auto value = std::make_shared<std::optional<std::int64_t>>();
  valued(addNumber(*app_, name, *value, help), "N")->check(CLI::Range(least, most));
  return value;
}

Value<std::optional<double>> Command::secondsOption(const std::string& name, const std::string& help) {
  auto value = std::make_shared<std::optional<double>>();
  const auto isLength = [](const std::string& text) -> std::string {
    double seconds = 0;
    const bool read = CLI::detail::lexical_cast(text, seconds) && seconds >= 0 && seconds <= 1e9;
    return read ? "" : "not a length of time in seconds: " + text;
  };
  valued(addNumber(*app_, name, *value, help), "S")->check(isLength);
  return value;
}

void Command::exclusive(const std::string& one, const std::string& other) {
  app_->get_option(one)->excludes(app_->get_option(other));
}

void Command::run(std::function<int()> action) {
  app_->final_callback([chosen = chosen_, action = std::move(action)] { chosen->action = action; });
}

namespace {

/// What was wrong. A word that nothing takes says more than that something is missing in its place.
std::string describe(const CLI::App& program, const CLI::Error& error) {
  std::vector<std::string> leftOver = program.remaining(true);
  std::erase(leftOver, "--");  // ends the options, and is no word of its own
  if (leftOver.empty()) return unmarked(error.what());
  const CLI::App* command = &program;
  while (!command->get_subcommands().empty()) command = command->get_subcommands().front();
  const bool isGroup = !command->get_subcommands([](const CLI::App*) { return true; }).empty();
  const std::string word = unmarked(leftOver.front());
  if (isGroup && !word.starts_with('-')) return command->get_name() + " has no command " + word;
  return "not expected: " + word;
}

int parseAndRun(CLI::App& program, const std::function<int()>& chosen, std::vector<std::string> arguments) {
  try {
    program.parse(std::move(arguments));
  } catch (const CLI::CallForHelp&) {
    return write(program.help()) ? kDone : kFailed;
  } catch (const CLI::CallForVersion& asked) {
    return writeLine(asked.what()) ? kDone : kFailed;
  } catch (const CLI::Error& error) {
    message(describe(program, error));
    message("--help after any command tells how it is used");
    return kWrongUsage;
  }
  return chosen();
}

}  // namespace

int runProgram(int argc, char** argv, const std::string& version,
               const std::function<void(Command&)>& registerCommands) try {
  const vantrel::ScopedLogSink sink(logLine);
  CLI::App program("Byte tools, files, times and a music player", "vantrel");
  program.formatter(std::make_shared<ExamplesFirst>());
  program.footer(kExamples);
  program.set_version_flag("--version", version);
  Command root(program, std::make_shared<Command::Chosen>());
  registerCommands(root);
  if (argc == 3 && std::string_view(argv[1]) == kGenerate) {
    const std::string text = generated(argv[2], modelOf(program), version);
    return finishOutput(text.empty() ? wrongUsage("nothing to generate") : write(text) ? kDone : kFailed);
  }
  const auto chosen = [&] { return root.chosen_->action(); };
  return finishOutput(parseAndRun(program, chosen, markedArguments(argc, argv)));
} catch (const std::bad_alloc&) {
  message("not enough memory");
  return finishOutput(kFailed);
}

}  // namespace app
