#include "apps/vantrel/CommandModel.h"

#include <CLI/CLI.hpp>

namespace app {
namespace {

bool namesFile(const std::string& kind) {
  return kind == "FILE" || kind == "DIR" || kind == "PATH" || kind == "OUT";
}

OptionModel modelOf(const CLI::Option& option) {
  OptionModel model;
  model.help = option.get_description();
  model.required = option.get_required();
  model.repeats = option.get_items_expected_max() > 1;
  if (option.get_positional()) {
    model.names = {option.get_name(true)};
    model.takesFile = namesFile(model.names.front());
    return model;
  }
  for (const std::string& name : option.get_snames()) model.names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) model.names.push_back("--" + name);
  if (option.get_items_expected_max() > 0) model.kind = option.get_option_text();
  model.takesFile = namesFile(model.kind);
  return model;
}

}  // namespace

CommandModel modelOf(const CLI::App& app, const std::string& above) {
  CommandModel model;
  const bool top = app.get_parent() == nullptr;
  model.name = app.get_name();
  model.path = top ? "" : above.empty() ? model.name : above + " " + model.name;
  model.summary = app.get_description();
  model.examples = app.get_footer();
  for (const CLI::Option* option : app.get_options())
    (option->get_positional() ? model.arguments : model.options).push_back(modelOf(*option));
  for (const CLI::App* below : app.get_subcommands([](const CLI::App*) { return true; }))
    model.commands.push_back(modelOf(*below, model.path));
  return model;
}

std::vector<const CommandModel*> flattened(const CommandModel& command) {
  std::vector<const CommandModel*> all{&command};
  for (const CommandModel& below : command.commands) {
    const auto deeper = flattened(below);
    all.insert(all.end(), deeper.begin(), deeper.end());
  }
  return all;
}

std::string generated(const std::string& what, const CommandModel& program, const std::string& version) {
  if (what == "man") return manualPage(program, version);
  if (what == "bash") return bashCompletion(program);
  if (what == "zsh") return zshCompletion(program);
  if (what == "fish") return fishCompletion(program);
  return "";
}

}  // namespace app
