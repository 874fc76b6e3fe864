#include "cli_options.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "cli_error.h"
#include "video_writer.h"

namespace zelt::cli {
namespace {

CliError usageError(const std::string& message) { return CliError(ExitCode::kUsage, message); }

Command commandFromName(const std::string& name) {
    if (name == "list") return Command::kList;
    if (name == "info") return Command::kInfo;
    if (name == "topology") return Command::kTopology;
    if (name == "record") return Command::kRecord;
    if (name == "help") return Command::kHelp;
    return Command::kNone;
}

// A whole decimal number from 1 to `max`; throws a usage error naming `option` otherwise.
std::uint64_t parsePositive(const std::string& option, const std::string& text, std::uint64_t max) {
    const bool digits_only =
        !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
    errno = 0;
    const unsigned long long value = digits_only ? std::strtoull(text.c_str(), nullptr, 10) : 0;
    if (!digits_only || errno == ERANGE || value == 0 || value > max) {
        throw usageError(option + " needs a whole number from 1 to " + std::to_string(max) +
                         ", not '" + text + "'");
    }
    return value;
}

double parseSeconds(const std::string& option, const std::string& text) {
    char* end = nullptr;
    errno = 0;
    const double value = text.empty() ? 0.0 : std::strtod(text.c_str(), &end);
    if (text.empty() || end == nullptr || *end != '\0' || errno == ERANGE ||
        !std::isfinite(value) || value <= 0.0) {
        throw usageError(option + " needs a positive number of seconds, not '" + text + "'");
    }
    return value;
}

// "TEXT" or "CHANNEL=TEXT". A frame setting holds no '=', so the first one separates.
SettingRequest settingRequest(const std::string& text) {
    SettingRequest request;
    const auto equals = text.find('=');
    if (equals == std::string::npos) {
        request.text = text;
    } else {
        request.channel = text.substr(0, equals);
        request.text = text.substr(equals + 1);
        if (request.channel->empty()) throw usageError("--setting '" + text + "' names no channel");
    }
    if (request.text.empty()) throw usageError("--setting needs a frame setting");
    return request;
}

// Walks the arguments once; options may come as "--name value" or "--name=value".
class Parser {
public:
    explicit Parser(const std::vector<std::string>& arguments) : m_arguments(arguments) {}

    CommandLine run() {
        bool options_ended = false;
        for (m_index = 0; m_index < m_arguments.size(); ++m_index) {
            const std::string& argument = m_arguments[m_index];
            if (!options_ended && argument == "--") {
                options_ended = true;
            } else if (!options_ended && argument.size() > 1 && argument[0] == '-') {
                option(argument);
                m_after_bare_virtual = argument == "--virtual";
                continue;
            } else {
                positional(argument);
            }
            m_after_bare_virtual = false;
        }
        if (m_result.command == Command::kHelp) {
            m_result.global.help = true;
        } else if (m_result.global.help) {
            m_result.help_topic = m_result.command;
        }
        if (!m_result.global.help && !m_result.global.version) check();
        return m_result;
    }

private:
    void option(const std::string& argument) {
        std::string name = argument;
        std::optional<std::string> inline_value;
        if (const auto equals = argument.find('='); equals != std::string::npos) {
            name = argument.substr(0, equals);
            inline_value = argument.substr(equals + 1);
        }
        auto flag = [&] {
            if (inline_value) throw usageError(name + " takes no value");
        };
        auto value = [&]() -> std::string {
            if (inline_value) return *inline_value;
            if (m_index + 1 >= m_arguments.size()) throw usageError(name + " needs a value");
            return m_arguments[++m_index];
        };

        GlobalOptions& global = m_result.global;
        if (name == "--help" || name == "-h") {
            flag();
            global.help = true;
        } else if (name == "--version") {
            flag();
            global.version = true;
        } else if (name == "--plugin") {
            global.plugin_path = value();
            if (global.plugin_path->empty()) throw usageError("--plugin needs a path");
        } else if (name == "--virtual") {
            // The value is optional, so it is only ever taken from "--virtual=...".
            global.virtual_cameras = inline_value.value_or("1");
            if (global.virtual_cameras->empty()) {
                throw usageError("--virtual= needs a camera count or a JSON file");
            }
        } else if (name == "--log-level") {
            global.log_level = value();
        } else {
            commandOption(name, flag, value);
        }
    }

    template <typename Flag, typename Value>
    void commandOption(const std::string& name, Flag flag, Value value) {
        const Command command = m_result.command;
        if (name == "--json" && (command == Command::kList || command == Command::kInfo)) {
            flag();
            m_result.list.json = m_result.info.json = true;
            return;
        }
        if (command == Command::kRecord) {
            RecordOptions& record = m_result.record;
            if (name == "--out") {
                record.out = value();
                if (record.out.empty()) throw usageError("--out needs a folder");
                return;
            }
            if (name == "--camera") {
                record.cameras.push_back(value());
                return;
            }
            if (name == "--overwrite") {
                flag();
                record.overwrite = true;
                return;
            }
            if (name == "--setting") {
                record.settings.push_back(settingRequest(value()));
                return;
            }
            if (name == "--codec") {
                record.codec = value();
                if (!videoCodecFromName(record.codec)) {
                    throw usageError("--codec takes raw, ffv1 or h264, not '" + record.codec + "'");
                }
                return;
            }
            if (name == "--start-timeout") {
                record.start_timeout_seconds = parseSeconds(name, value());
                return;
            }
            if (name == "--fail-fast") {
                flag();
                record.fail_fast = true;
                return;
            }
            if (name == "--memory") {
                record.memory_mib = parsePositive(name, value(), 1u << 20);
                return;
            }
            if (name == "--subsampling") {
                record.subsampling = static_cast<std::uint32_t>(
                    parsePositive(name, value(), std::numeric_limits<std::uint32_t>::max()));
                return;
            }
            if (name == "--frames") {
                record.frames =
                    parsePositive(name, value(), std::numeric_limits<std::uint32_t>::max());
                return;
            }
            if (name == "--duration") {
                record.duration_seconds = parseSeconds(name, value());
                return;
            }
        }
        if (command == Command::kNone) {
            throw usageError("unknown option '" + name +
                             "' (the command comes first: " + "zelt-camera COMMAND [OPTIONS])");
        }
        throw usageError(std::string("unknown option '") + name + "' for " + commandName(command));
    }

    void positional(const std::string& argument) {
        if (m_result.command == Command::kNone) {
            m_result.command = commandFromName(argument);
            if (m_result.command == Command::kNone && m_after_bare_virtual) {
                throw usageError("unknown command '" + argument +
                                 "'; --virtual takes its value after '=': --virtual=" + argument);
            }
            if (m_result.command == Command::kNone) {
                throw usageError("unknown command '" + argument +
                                 "' (commands: list, info, topology, record, help)");
            }
            return;
        }
        if (m_result.command == Command::kHelp && m_result.help_topic == Command::kNone) {
            m_result.help_topic = commandFromName(argument);
            if (m_result.help_topic == Command::kNone || m_result.help_topic == Command::kHelp) {
                throw usageError("no help on '" + argument + "'");
            }
            return;
        }
        if (m_result.command == Command::kInfo && m_result.info.channel.empty() && !m_has_channel) {
            m_result.info.channel = argument;
            m_has_channel = true;
            return;
        }
        throw usageError("unexpected argument '" + argument + "'");
    }

    void check() const {
        switch (m_result.command) {
            case Command::kNone:
                throw usageError("no command given (commands: list, info, topology, record, help)");
            case Command::kInfo:
                if (!m_has_channel) throw usageError("info needs a CHANNEL");
                break;
            case Command::kRecord: {
                const RecordOptions& record = m_result.record;
                if (record.frames && record.duration_seconds) {
                    throw usageError("record takes --frames N or --duration SECONDS, not both");
                }
                break;
            }
            default:
                break;
        }
    }

    const std::vector<std::string>& m_arguments;
    std::size_t m_index = 0;
    bool m_has_channel = false;
    bool m_after_bare_virtual = false;  ///< the argument before was a bare --virtual
    CommandLine m_result;
};

}  // namespace

CommandLine parseArguments(const std::vector<std::string>& arguments) {
    return Parser(arguments).run();
}

CommandLine parseCommandLine(int argc, const char* const* argv) {
    std::vector<std::string> arguments;
    for (int i = 1; i < argc; ++i) arguments.emplace_back(argv[i]);
    return parseArguments(arguments);
}

const char* commandName(Command command) noexcept {
    switch (command) {
        case Command::kList:
            return "list";
        case Command::kInfo:
            return "info";
        case Command::kTopology:
            return "topology";
        case Command::kRecord:
            return "record";
        default:
            return "";
    }
}

}  // namespace zelt::cli
