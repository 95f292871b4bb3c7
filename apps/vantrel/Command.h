#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
}

/// The program's subcommands. A group of subcommands lives in one file with a function that registers them:
///
///     void registerExample(Command& program) {
///       Command greet = program.add("greet", "Greets someone", "vantrel greet Ada");
///       auto name = greet.argument("NAME", "whom");
///       greet.run([=] { return writeLine("Hello, " + *name) ? kDone : kFailed; });
///     }
namespace app {

/// What the program ends with.
inline constexpr int kDone = 0;
inline constexpr int kFailed = 1;
inline constexpr int kWrongUsage = 2;

/// A value of the command line, filled when it has been read, before the command runs.
template <typename T>
using Value = std::shared_ptr<const T>;

/// A command or a group of commands. A handle: copies name the same command.
class Command {
 public:
  /// A command below this one. `examples` are the lines that its help begins with.
  Command add(const std::string& name, const std::string& summary, const std::string& examples);

  /// What stands without a dash, in this order.
  Value<std::string> argument(const std::string& name, const std::string& help);
  Value<std::string> argument(const std::string& name, const std::string& help, const std::string& byDefault);
  Value<std::optional<std::string>> optionalArgument(const std::string& name, const std::string& help);
  Value<std::vector<std::string>> arguments(const std::string& name, const std::string& help);

  /// What stands behind a dash ("-o,--output").
  Value<bool> flag(const std::string& name, const std::string& help);
  Value<std::string> requiredOption(const std::string& name, const std::string& kind,
                                    const std::string& help);
  Value<std::optional<std::string>> option(const std::string& name, const std::string& kind,
                                           const std::string& help);
  Value<std::optional<std::int64_t>> integerOption(const std::string& name, const std::string& help,
                                                   std::int64_t least, std::int64_t most);
  Value<std::optional<double>> secondsOption(const std::string& name, const std::string& help);

  /// Options that cannot stand together.
  void exclusive(const std::string& one, const std::string& other);

  /// What the command does; gives the exit status.
  void run(std::function<int()> action);

 private:
  friend int runProgram(int argc, char** argv, const std::string& version,
                        const std::function<void(Command&)>& registerCommands);

  struct Chosen {
    std::function<int()> action;
  };

  Command(CLI::App& app, std::shared_ptr<Chosen> chosen) : app_(&app), chosen_(std::move(chosen)) {}

  CLI::App* app_;
  std::shared_ptr<Chosen> chosen_;
};

/// Reads the command line and runs the command that it names. Wrong usage: a message and `kWrongUsage`. Out
/// of memory: a message and `kFailed`, whatever the command.
int runProgram(int argc, char** argv, const std::string& version,
               const std::function<void(Command&)>& registerCommands);

}  // namespace app
