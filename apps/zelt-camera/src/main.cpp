// zelt-camera: lists, describes and records the cameras of the zelt camera plug-in, which it
// drives through the reference host exactly as a data-acquisition host does.
#include <exception>
#include <iostream>

#include "cli_error.h"
#include "cli_options.h"
#include "commands.h"

#ifndef ZELT_CLI_VERSION
#error "ZELT_CLI_VERSION must be the project's version"
#endif

namespace {

int fail(zelt::cli::ExitCode code, const std::string& message) {
    std::cerr << "zelt-camera: error: " << message << std::endl;
    if (code == zelt::cli::ExitCode::kUsage) {
        std::cerr << "Try 'zelt-camera --help'." << std::endl;
    }
    return static_cast<int>(code);
}

zelt::cli::ExitCode run(const zelt::cli::CommandLine& command_line) {
    using zelt::cli::Command;
    if (command_line.global.help) {
        std::cout << zelt::cli::helpText(command_line.help_topic);
        return zelt::cli::ExitCode::kOk;
    }
    if (command_line.global.version) {
        std::cout << "zelt-camera " << ZELT_CLI_VERSION << std::endl;
        return zelt::cli::ExitCode::kOk;
    }
    switch (command_line.command) {
        case Command::kList:
            return zelt::cli::runList(command_line);
        case Command::kInfo:
            return zelt::cli::runInfo(command_line);
        case Command::kTopology:
            return zelt::cli::runTopology(command_line);
        case Command::kRecord:
            return zelt::cli::runRecord(command_line);
        default:
            std::cout << zelt::cli::helpText(Command::kNone);
            return zelt::cli::ExitCode::kUsage;
    }
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return static_cast<int>(run(zelt::cli::parseCommandLine(argc, argv)));
    } catch (const zelt::cli::CliError& error) {
        return fail(error.code(), error.what());
    } catch (const std::exception& error) {
        return fail(zelt::cli::ExitCode::kFailure, error.what());
    }
}
