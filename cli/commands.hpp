/// The commands of the program. Each function adds one to the parser and, when the command is
/// given, leaves in `chosen` what is to be done; that returns the exit status.
#pragma once

#include <functional>

namespace CLI {
class App;
}

namespace saddlefit::cli {

using Action = std::function<int()>;

void addReactCommand(CLI::App &program, Action &chosen);
void addSaddleCommand(CLI::App &program, Action &chosen);
void addVerifyCommand(CLI::App &program, Action &chosen);
void addCompareCommand(CLI::App &program, Action &chosen);
void addDbCommand(CLI::App &program, Action &chosen);
void addPerceiveCommand(CLI::App &program, Action &chosen);
void addReportCommand(CLI::App &program, Action &chosen);
void addStereoCommand(CLI::App &program, Action &chosen);

} // namespace saddlefit::cli
