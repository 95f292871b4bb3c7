#include "apps/vantrel/Command.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <sstream>

#include "apps/vantrel/Output.h"

namespace app {
namespace {

/// Help that begins with examples.
class ExamplesFirst : public CLI::Formatter {
 public:
  explicit ExamplesFirst(const std::string& examples) {
    std::istringstream lines(examples);
    for (std::string line; std::getline(lines, line);) examples_ += (line.empty() ? "" : "  ") + line + "\n";
    column_width(28);
  }

  std::string make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const override {
    if (mode == CLI::AppFormatMode::Sub) return CLI::Formatter::make_help(app, std::move(name), mode);
    return "Examples:\n" + examples_ + "\n" + CLI::Formatter::make_help(app, std::move(name), mode);
  }

 private:
  std::string examples_;
};

CLI::Option* valued(CLI::Option* option, const std::string& kind) {
  return option->type_name(kind)->option_text(kind);
}

/// CLI11 takes "[a,b]" as a list of two; a mark before it, taken off again when the value is read, keeps it
/// whole.
constexpr char kMark = '\x01';

std::vector<std::string> marked(int argc, char** argv) {
  std::vector<std::string> arguments(argv + (argc > 0 ? 1 : 0), argv + argc);
  for (std::string& argument : arguments)
    if (argument.starts_with('[') && argument.ends_with(']')) argument.insert(0, 1, kMark);
  std::reverse(arguments.begin(), arguments.end());  // as CLI11 wants them
  return arguments;
}

template <typename T>
CLI::Option* addOption(CLI::App& app, const std::string& name, T& value, const std::string& help) {
  const auto unmarked = [](std::string text) { return text.starts_with(kMark) ? text.substr(1) : text; };
  return app.add_option(name, value, help)->type_name("")->transform(unmarked);
}

const std::string kExamples =
    "vantrel play --resume ~/Music\n"
    "vantrel hex song.mp3 | head -c 32\n"
    "vantrel time month 20240305140709";

}  // namespace

Command Command::add(const std::string& name, const std::string& summary, const std::string& examples) {
  CLI::App* child = app_->add_subcommand(name, summary);
  child->formatter(std::make_shared<ExamplesFirst>(examples));
  app_->require_subcommand(1);
  return {*child, chosen_};
}

Value<std::string> Command::argument(const std::string& name, const std::string& help) {
  auto value = std::make_shared<std::string>();
  addOption(*app_, name, *value, help)->required();
  return value;
}

Value<std::string> Command::argument(const std::string& name, const std::string& help,
                                     const std::string& byDefault) {
  auto value = std::make_shared<std::string>(byDefault);
  addOption(*app_, name, *value, help);
  return value;
}

Value<std::optional<std::string>> Command::optionalArgument(const std::string& name,
                                                            const std::string& help) {
  auto value = std::make_shared<std::optional<std::string>>();
  addOption(*app_, name, *value, help);
  return value;
}

Value<std::vector<std::string>> Command::arguments(const std::string& name, const std::string& help) {
  auto value = std::make_shared<std::vector<std::string>>();
  addOption(*app_, name, *value, help)->required();
  return value;
}

Value<bool> Command::flag(const std::string& name, const std::string& help) {
  auto value = std::make_shared<bool>(false);
  app_->add_flag(name, *value, help);
  return value;
}

Value<std::string> Command::requiredOption(const std::string& name, const std::string& kind,
                                           const std::string& help) {
  auto value = std::make_shared<std::string>();
  valued(addOption(*app_, name, *value, help), kind)->required();
  return value;
}

Value<std::optional<std::string>> Command::option(const std::string& name, const std::string& kind,
                                                  const std::string& help) {
  auto value = std::make_shared<std::optional<std::string>>();
  valued(addOption(*app_, name, *value, help), kind);
  return value;
}

Value<std::optional<std::int64_t>> Command::integerOption(const std::string& name, const std::string& help,
                                                          std::int64_t least, std::int64_t most) {
  auto value = std::make_shared<std::optional<std::int64_t>>();
  valued(addOption(*app_, name, *value, help), "N")->check(CLI::Range(least, most));
  return value;
}

Value<std::optional<double>> Command::secondsOption(const std::string& name, const std::string& help) {
  auto value = std::make_shared<std::optional<double>>();
  const auto isLength = [](const std::string& text) -> std::string {
    double seconds = 0;
    const bool read = CLI::detail::lexical_cast(text, seconds) && seconds >= 0 && seconds <= 1e9;
    return read ? "" : "not a length of time in seconds: " + text;
  };
  valued(addOption(*app_, name, *value, help), "S")->check(isLength);
  return value;
}

void Command::exclusive(const std::string& one, const std::string& other) {
  app_->get_option(one)->excludes(app_->get_option(other));
}

void Command::run(std::function<int()> action) {
  app_->final_callback([chosen = chosen_, action = std::move(action)] { chosen->action = action; });
}

int runProgram(int argc, char** argv, const std::string& version,
               const std::function<void(Command&)>& registerCommands) {
  CLI::App program("Byte tools, files, times and a music player", "vantrel");
  program.formatter(std::make_shared<ExamplesFirst>(kExamples));
  program.set_version_flag("--version", version);
  Command root(program, std::make_shared<Command::Chosen>());
  registerCommands(root);
  try {
    program.parse(marked(argc, argv));
  } catch (const CLI::CallForHelp&) {
    return finishOutput(write(program.help()) ? kDone : kFailed);
  } catch (const CLI::CallForVersion& asked) {
    return finishOutput(writeLine(asked.what()) ? kDone : kFailed);
  } catch (const CLI::Error& error) {
    message(error.what());
    message("--help after any command tells how it is used");
    return kWrongUsage;
  }
  return finishOutput(root.chosen_->action());
}

}  // namespace app
