#ifndef VESK_COMMAND_H
#define VESK_COMMAND_H

#include <functional>
#include <iosfwd>

namespace CLI {
class App;
}

namespace vesk {

/// What the chosen command does. Results go to `out`, remarks to `err`.
/// Errors: any std::exception; its text becomes the one line of the program, with the status 99.
using Action = std::function<void(std::ostream& out, std::ostream& err)>;

/// A command of the program: `vesk GROUP NAME`.
struct Command {
  const char* group;
  const char* name;
  const char* summary;
  /// Adds the options to the command. When the command was chosen, its callback sets the action.
  /// Errors: CLI::ParseError from the callback, for options that do not go together.
  void (*addOptions)(CLI::App& command, Action& action);
};

/// A group of commands: the first word after the program's name.
struct CommandGroup {
  const char* name;
  const char* summary;
};

extern const Command tableCsvCommand;
extern const Command tableJoinCommand;
extern const Command tableRowsCommand;

}  // namespace vesk

#endif  // VESK_COMMAND_H
