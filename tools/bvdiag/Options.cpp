#include "Options.h"

#include <charconv>

namespace bvdiag {
namespace {

bool ParseNumber(const std::string& text, std::uint64_t& value) {
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value);
    return !text.empty() && result.ec == std::errc{} && result.ptr == end;
}

// The value of an option that takes one: the next argument.
bool TakeValue(const std::vector<std::string>& args, std::size_t& i, std::string& value,
               std::string& error) {
    if (i + 1 >= args.size()) {
        error = "option " + args[i] + " needs a value";
        return false;
    }
    value = args[++i];
    return true;
}

bool ApplyValued(const std::string& name, const std::string& value, Options& options,
                 std::string& error) {
    std::uint64_t number = 0;
    const bool numeric = ParseNumber(value, number);
    if (name == "--logger") {
        options.logger = value;
    } else if (name == "--output") {
        options.output = value;
    } else if (name == "--pid" && numeric && number <= 0xFFFFFFFF) {
        options.pids.push_back(static_cast<DWORD>(number));
    } else if (name == "--exit-after" && numeric) {
        options.exitAfter = number;
    } else {
        error = "bad value '" + value + "' for " + name;
        return false;
    }
    return true;
}

bool ApplyFlag(const std::string& name, Options& options) {
    bool* flag = name == "--machine"                ? &options.machine
                 : name == "--foreground"           ? &options.foreground
                 : name == "--background"           ? &options.background
                 : name == "--help" || name == "-h" ? &options.help
                                                    : nullptr;
    if (flag != nullptr) {
        *flag = true;
    }
    return flag != nullptr;
}

bool IsValued(const std::string& name) {
    return name == "--pid" || name == "--logger" || name == "--output" || name == "--exit-after";
}

} // namespace

std::optional<Options> ParseOptions(const std::vector<std::string>& args, std::string& error) {
    Options options;
    for (std::size_t i = 0; i < args.size(); ++i) {
        if (ApplyFlag(args[i], options)) {
            continue;
        }
        if (!IsValued(args[i])) {
            error = "unknown option '" + args[i] + "'";
            return std::nullopt;
        }
        std::string value;
        if (!TakeValue(args, i, value, error) || !ApplyValued(args[i - 1], value, options, error)) {
            return std::nullopt;
        }
    }
    if (options.foreground && options.background) {
        error = "--foreground and --background exclude each other";
        return std::nullopt;
    }
    return options;
}

const char* UsageText() {
    return R"(usage: bvdiag [options]

The diagnostics viewer: shows the lines that the library's loggers send, one per line, with the
time received, the sender's process id and the logger's name. Control characters are shown as
pictures (or escaped with --machine), so every message is one line of output.

One viewer serves a prefix ($BV_PREFIX, else $XDG_DATA_HOME/bvplatform): it also writes what it
receives to <prefix>/bvdiag.log (mode 0600, renamed to bvdiag.log.1 at 4 MiB). A second bvdiag
started for the same prefix follows that log instead of opening a window of its own (the
filters and --machine then do not apply).

Started with standard output on /dev/null (as the library's WinExec starts it) or with
--background, bvdiag writes only the log and exits when the prefix directory is removed.

options:
  --pid N           show only lines from process N (repeatable)
  --logger TEXT     show only loggers whose name contains TEXT (ASCII case ignored)
  --output FILE     append a copy of what is shown to FILE
  --exit-after N    exit after N lines were shown
  --machine         one record per message: unix-ms, pid, command (2 open, 7 line, 3 close),
                    channel, logger, text; tab-separated, texts escaped with \\ \t \n \r \xHH
  --foreground      stay in the foreground even with standard output on /dev/null
  --background      run as if started by WinExec
  -h, --help        this text
)";
}

} // namespace bvdiag
