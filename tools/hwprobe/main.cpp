// hwprobe: a command-line host of the library, for support and for trying it out.

#include "Commands.h"
#include "Explain.h"
#include "Exports.h"
#include "Metrics.h"
#include "Output.h"
#include "Printable.h"
#include "Suggestion.h"
#include "Terminal.h"
#include "disk_engine/CAtaSmart.h"
#include "frame/border/TextResults.h"
#include "frame/border/globals.h"
#include "orvane/hwprobe.h"
#include "platform/Platform.h"
#include "platform/machine/Machine.h"
#include "state/ProcessState.h"

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
    tool::WatchOptions watch;
    tool::DriveBlocks blocks;
    tool::MetricsOptions metrics;
    std::int32_t drive = -1;
    bool trace = false;
};

// Never destroyed: the library's exit list may still ask it.
orv::platform::Machine* machine = nullptr;

void addCommon(CLI::App& command, Options& options) {
    command.add_option("--machine", options.machine, "Read a machine described in FILE instead of this one")
        ->type_name("FILE")
        ->check([](const std::string& path) { return std::string(path.empty() ? "FILE is empty" : ""); });
    command.add_flag("--log", options.log, "Write the library's log lines to standard error");
    command.add_flag("--trace", options.trace,
                     "Write the disk engine's own trace to standard error: milliseconds and what it tries");
}

void addExplain(CLI::App& app, Options& options) {
    CLI::App& explain = *app.add_subcommand(
        "explain", "What the library makes of a drive or of its raw blocks, and by which rule");
    addCommon(explain, options);
    const auto block = [&](const char* name, std::string& path, const char* what) {
        return explain.add_option(name, path, what)->type_name("FILE");
    };
    block("--identify", options.blocks.identify,
          "IDENTIFY DEVICE, 512 bytes; with --nvme Identify Controller, 4096 bytes");
    block("--smart", options.blocks.smart, "SMART READ DATA, 512 bytes; with --nvme log page 2, 512 bytes");
    CLI::Option* const thresholds =
        block("--thresholds", options.blocks.thresholds, "SMART READ THRESHOLDS, 512 bytes");
    explain.add_flag("--nvme", options.blocks.nvme, "The blocks are an NVMe drive's")->excludes(thresholds);
    explain.add_option("--drive", options.drive, "Read drive N (\\\\.\\PhysicalDriveN) in place of files")
        ->type_name("N")
        ->check(CLI::NonNegativeNumber)
        ->excludes("--identify", "--smart", "--thresholds", "--nvme");
    explain.add_flag("--json", options.json, "One JSON object; null where the drive tells nothing");
}

void addMetrics(CLI::App& app, Options& options) {
    CLI::App& metrics =
        *app.add_subcommand("metrics", "The readings for Prometheus, until SIGINT or SIGTERM");
    addCommon(metrics, options);
    metrics
        .add_option("--listen", options.metrics.listen,
                    "Where to serve http://ADDRESS:PORT/metrics; port 0 takes a free one")
        ->type_name("ADDRESS:PORT")
        ->capture_default_str();
    metrics
        .add_option("--textfile", options.metrics.textFile,
                    "Write once, in place of serving, for a collector of text files")
        ->type_name("FILE")
        ->check([](const std::string& path) { return std::string(path.empty() ? "FILE is empty" : ""); })
        ->excludes("--listen");
    metrics
        .add_option("--interval", options.metrics.intervalMilliseconds,
                    "Scrapes within this time of a reading get the same one")
        ->type_name("MS")
        ->check(CLI::Range(std::int64_t{100}, std::int64_t{3'600'000}))
        ->capture_default_str();
}

int execute(const CLI::App& app, const Options& options) {
    orv::setConsole(options.log ? orv::Console::standardError : orv::Console::off);
    std::string title = "This machine";
    if (!options.machine.empty()) {
        machine = orv::platform::Machine::fromFile(options.machine).release();
        for (const std::string& facts : machine->processor().contradictions())
            std::fprintf(stderr, "%s: processor: facts that do not agree: %s\n", options.machine.c_str(),
                         facts.c_str());
        orv::ProcessState::renew(); // what loading made was this machine's
        orv::platform::use(*machine);
        orv::frame::makeRoomForFailures();
        title = tool::printable(machine->name() + " (" + options.machine + ")");
    }
    if (options.trace) tool::traceToStandardError();
    if (app.got_subcommand("show")) return tool::show(title, options.json, machine != nullptr);
    if (app.got_subcommand("call")) return tool::call(options.calls);
    if (app.got_subcommand("explain") && options.drive < 0 &&
        (options.blocks.identify.empty() || options.blocks.smart.empty()))
        throw CLI::RequiredError("--identify and --smart, or --drive");
    if (options.drive >= 0) return tool::explainDrive(options.drive, options.json);
    if (app.got_subcommand("explain")) return tool::explain(options.blocks, options.json);
    if (app.got_subcommand("metrics")) return tool::metrics(options.metrics, machine != nullptr);
    tool::WatchOptions watch = options.watch;
    watch.json = options.json;
    watch.described = machine != nullptr;
    watch.chatty = options.log || options.trace;
    return tool::watch(title, watch);
}

/// What kept the arguments from being understood, or a text that was asked for.
int refuse(const CLI::App& app, const CLI::ParseError& problem) {
    if (app.get_subcommands().empty() && app.remaining_size() != 0) {
        const std::string written = app.remaining().front();
        std::vector<std::string> names;
        for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; }))
            names.push_back(command->get_name());
        std::fprintf(stderr, "%s: no such command%s; the commands are %s (see --help)\n", written.c_str(),
                     tool::suggestion(written, names).c_str(), CLI::detail::join(names, ", ").c_str());
        return tool::kExitUsage;
    }
    return app.exit(problem) == 0 ? tool::kExitOk : tool::kExitUsage;
}

/// Planned failures that no request met: the file is not about what was called.
int tellUnmetFaults() {
    if (!machine) return tool::kExitOk;
    orv::ProcessState::renew(); // some requests are made when the library ends
    const auto unmet = machine->requests().unmetFaults();
    for (const orv::platform::Fault& fault : unmet)
        std::fprintf(stderr, "planned fault never reached: request %s, nth %s\n", fault.operation.c_str(),
                     fault.nth == 0 ? "any" : std::to_string(fault.nth).c_str());
    return unmet.empty() ? tool::kExitOk : tool::kExitUsage;
}

int run(int argc, char** argv) {

    Options options;
    CLI::App app{"Shows what Orvane HwProbe reads from this machine or from a described one.", "hwprobe"};
    app.set_version_flag("--version", "hwprobe " HWPROBE_VERSION);
    app.require_subcommand(1);
    app.footer(
        "Status: 0 all answered; 1 some readings of show --json failed; 2 wrong usage, a machine file that\n"
        "cannot be used, or a failure planned in it that no request met; 3 a call failed, or every reading "
        "of\n"
        "show --json; 4 the output cannot be written, or the address not listened on; 5 a hardware fault "
        "ended a call.");

    CLI::App& show =
        *app.add_subcommand("show", "Every reading once, with units, or the reason why it failed");
    addCommon(show, options);
    show.add_flag("--json", options.json,
                  "One JSON object: export name to value or {\"error\": text}, drives; see the status below");

    CLI::App& call = *app.add_subcommand("call", "Calls in the order given, each raw result on one line");
    addCommon(call, options);
    call.add_option("CALL", options.calls, "An export's name, name:INDEX, or sleep:MS")->required();

    CLI::App& watch =
        *app.add_subcommand("watch", "The readings that move, live: a screen on a terminal, lines elsewhere");
    addCommon(watch, options);
    watch.add_flag("--json", options.json,
                   "One JSON object a line for each sample; null for what is not known");
    watch.add_option("--interval", options.watch.interval, "Time between two samples")
        ->type_name("MS")
        ->check(CLI::Range(std::int64_t{10}, std::int64_t{3'600'000}))
        ->capture_default_str();
    watch
        .add_option("--count", options.watch.count,
                    "Number of samples; 0 goes on until Ctrl-C, or q on the screen")
        ->type_name("N")
        ->check(CLI::Range(std::int64_t{0}, std::int64_t{1'000'000'000}))
        ->capture_default_str();

    addExplain(app, options);
    addMetrics(app, options);

    try {
        app.parse(argc, argv);
        const int status = execute(app, options);
        const int plan = tellUnmetFaults();
        return plan == tool::kExitOk ? status : plan;
    } catch (const CLI::ParseError& problem) {
        return refuse(app, problem);
    } catch (const orv::platform::MachineFileError& problem) {
        std::fprintf(stderr, "%s\n", tool::printable(tool::onOneLine(problem.what())).c_str());
        return tool::kExitUsage;
    }
}

} // namespace

int main(int argc, char** argv) {
    tool::makeLimitAnError();
    try {
        const int status = run(argc, argv);
        tool::put(""); // help and version are written elsewhere
        return status;
    } catch (const tool::OutputError& problem) {
        std::fprintf(stderr, "%s\n", problem.what());
        return tool::kExitOutput;
    }
}
