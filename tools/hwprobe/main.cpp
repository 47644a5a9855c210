// hwprobe: a command-line host of the library, for support and for trying it out.

#include "Commands.h"
#include "Terminal.h"
#include "frame/border/globals.h"
#include "platform/Platform.h"
#include "platform/machine/Machine.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>

#include <cstdio>

namespace {

struct Options {
    std::string machine;
    bool log = false;
    bool json = false;
    std::vector<std::string> calls;
    std::int64_t interval = 1000;
    std::uint64_t count = 0;
};

// Never destroyed: the library's exit list may still ask it.
orv::platform::Machine* machine = nullptr;

void addCommon(CLI::App& command, Options& options) {
    command.add_option("--machine", options.machine, "Read a machine described in FILE instead of this one")
        ->type_name("FILE");
    command.add_flag("--log", options.log, "Write the library's log lines to standard error");
}

int execute(const CLI::App& app, const Options& options) {
    orv::setConsole(options.log ? orv::Console::standardError : orv::Console::off);
    std::string title = "This machine";
    if (!options.machine.empty()) {
        machine = orv::platform::Machine::fromFile(options.machine).release();
        orv::platform::use(*machine);
        title = machine->name() + " (" + options.machine + ")";
    }
    if (app.got_subcommand("show")) return tool::show(title, options.json);
    if (app.got_subcommand("call")) return tool::call(options.calls);
    return tool::watch(title, options.interval, options.count, machine != nullptr);
}

} // namespace

int main(int argc, char** argv) {
    Options options;
    CLI::App app{"Shows what Orvane HwProbe reads from this machine or from a described one.", "hwprobe"};
    app.set_version_flag("--version", "hwprobe " HWPROBE_VERSION);
    app.require_subcommand(1);

    CLI::App& show =
        *app.add_subcommand("show", "Every reading once, with units, or the reason why it failed");
    addCommon(show, options);
    show.add_flag("--json", options.json, "One JSON object: export name to value or {\"error\": text}");

    CLI::App& call = *app.add_subcommand("call", "Calls in the order given, each raw result on one line");
    addCommon(call, options);
    call.add_option("CALL", options.calls, "An export's name, name:INDEX, or sleep:MS")->required();

    CLI::App& watch = *app.add_subcommand("watch", "The readings that move, live");
    addCommon(watch, options);
    watch.add_option("--interval", options.interval, "Time between two samples")
        ->type_name("MS")
        ->check(CLI::Range(std::int64_t{10}, std::int64_t{3'600'000}))
        ->capture_default_str();
    watch.add_option("--count", options.count, "Number of samples; 0 goes on until Ctrl-C")
        ->type_name("N")
        ->capture_default_str();

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& problem) {
        return app.exit(problem) == 0 ? tool::kExitOk : tool::kExitUsage;
    }
    try {
        return execute(app, options);
    } catch (const orv::platform::MachineFileError& problem) {
        std::fprintf(stderr, "%s\n", problem.what());
        return tool::kExitUsage;
    }
}
