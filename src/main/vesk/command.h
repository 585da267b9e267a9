#ifndef VESK_COMMAND_H
#define VESK_COMMAND_H

#include <functional>
#include <iosfwd>
#include <stdexcept>
#include <string>

namespace CLI {
class App;
}

namespace vesk {

/// What the chosen command does. Results go to `out`, remarks to `err`.
/// Errors: any std::exception; its text becomes the one line of the program, with the status of a
///         CommandFailure, otherwise 99.
using Action = std::function<void(std::ostream& out, std::ostream& err)>;

/// The exit statuses of the program.
enum class Status {
  Done = 0,
  Usage = 1,    ///< the command line is wrong
  Refused = 2,  ///< nothing is wrong with the data, but the state does not allow it: loaded already, other settings
  Data = 3,     ///< the input or the parameter file is wrong
  Failed = 99
};

/// Ends a command with a status of its own; the text becomes the one line of the program. With Done the command has
/// done its work, and the line says what else went wrong.
class CommandFailure : public std::runtime_error {
 public:
  CommandFailure(Status endStatus, const std::string& text) : std::runtime_error(text), status(endStatus) {}
  Status getStatus() const { return status; }

 private:
  Status status;
};

/// A command of the program: `vesk GROUP NAME`, or `vesk NAME` for a command without a group.
struct Command {
  const char* group;  ///< "" for none
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

extern const Command dayCommand;
extern const Command checkCommand;
extern const Command exportCommand;
extern const Command convertCommand;
extern const Command idsCommand;
extern const Command tableCsvCommand;
extern const Command tableJoinCommand;
extern const Command tableRowsCommand;
extern const Command reportCommand;
extern const Command topCommand;

}  // namespace vesk

#endif  // VESK_COMMAND_H
