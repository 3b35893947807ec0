// bvcore: the library's command-line tool. One subcommand per capability.
#include "Commands.h"

#include <cstdio>
#include <string_view>

namespace {

struct Command {
    std::string_view name;
    std::string_view summary;
    int (*run)(bvtool::Args);
};

constexpr Command kCommands[] = {
    {"tour", "a guided tour of what the library does", bvtool::RunTour},
    {"reg", "inspect, edit, export and import the registry", bvtool::RunReg},
    {"settings", "read, write, delete and list settings", bvtool::RunSettings},
};

int Usage(std::FILE* out) {
    std::fputs("usage: bvcore <command> [arguments]\n\ncommands:\n", out);
    for (const auto& command : kCommands) {
        std::fprintf(out, "  %-10.*s %.*s\n", static_cast<int>(command.name.size()),
                     command.name.data(), static_cast<int>(command.summary.size()),
                     command.summary.data());
    }
    return out == stdout ? 0 : 2;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        return Usage(stderr);
    }
    const std::string_view name = argv[1];
    if (name == "help" || name == "--help" || name == "-h") {
        return Usage(stdout);
    }
    for (const auto& command : kCommands) {
        if (command.name == name) {
            return command.run(bvtool::Args(argv + 2, static_cast<std::size_t>(argc - 2)));
        }
    }
    std::fprintf(stderr, "bvcore: unknown command '%s'\n", argv[1]);
    return Usage(stderr);
}
