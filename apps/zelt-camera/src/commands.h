// The commands of zelt-camera. Each loads the plug-in, does its work and returns the exit code;
// failures are thrown as CliError.
#pragma once

#include "cli_error.h"
#include "cli_options.h"

namespace zelt::cli {

ExitCode runList(const CommandLine& command_line);
ExitCode runInfo(const CommandLine& command_line);
ExitCode runTopology(const CommandLine& command_line);
ExitCode runRecord(const CommandLine& command_line);

/// Prints "zelt-camera: warning: TEXT" on standard error for each error the plug-in posted
/// while it was loaded (a camera that could not be set up), so that list and info stay
/// usable while saying what is wrong.
class PluginSession;
void reportPluginErrors(PluginSession& session);

}  // namespace zelt::cli
