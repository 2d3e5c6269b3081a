/* sysmngd-sim: stands in for the appliance's management daemon. */
#include <getopt.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <optional>
#include <vector>

#include "simulator/format.h"
#include "simulator/server.h"
#include "simulator/text_input.h"

namespace {

constexpr const char *program = "sysmngd-sim";
constexpr int usage_error = 2;

struct Options {
    ServerOptions server;
    DaemonOptions daemon;
    const char *scenario = nullptr, *recording = nullptr, *replay = nullptr; /* files */
};

constexpr option long_options[] = {
    {"socket", required_argument, nullptr, 's'},
    {"software", required_argument, nullptr, 'w'},
    {"streams", required_argument, nullptr, 'n'},
    {"interfaces", required_argument, nullptr, 'i'},
    {"upgrade-seconds", required_argument, nullptr, 'u'},
    {"fault", required_argument, nullptr, 'f'},
    {"scenario", required_argument, nullptr, 'S'},
    {"speed", required_argument, nullptr, 'x'},
    {"record", required_argument, nullptr, 'r'},
    {"replay", required_argument, nullptr, 'R'},
    {"control", required_argument, nullptr, 'c'},
    {"fast", no_argument, nullptr, 'p'},
    {"verbose", no_argument, nullptr, 'v'},
    {"help", no_argument, nullptr, 'h'},
    {"version", no_argument, nullptr, 'V'},
    {nullptr, 0, nullptr, 0},
};

void print_help()
{
    const ServerOptions server;
    const DeviceOptions device;
    printf(
        "Usage: %s [OPTION]...\n"
        "Stands in for the management daemon of a video decoder.\n\n"
        "  --socket PATH         listen there (%s)\n"
        "  --software TEXT       the software version (%s)\n"
        "  --streams N           start with N streams (%d)\n"
        "  --interfaces N        start with N network interfaces (%d)\n"
        "  --upgrade-seconds N   how long a firmware upgrade takes (%d)\n"
        "  --fault FAULT         make this go wrong; may be given more than once\n"
        "  --scenario FILE       let happen what its timed lines say\n"
        "  --speed N             let the device's time go by N times as fast\n"
        "  --record FILE         write requests and replies to a new file\n"
        "  --replay FILE         answer from such a file\n"
        "  --control -           read lines about faults and values from standard input, as\n"
        "                        is done anyway when it is a terminal; type help\n"
        "  --fast                prepared replies: no state, and nothing is printed\n"
        "  -v, --verbose         print each command; twice: its request's fields, too\n"
        "  -h, --help            this text\n"
        "  --version             the simulator's version\n\n%s",
        program, server.socket_path.c_str(), device.software.c_str(), device.streams,
        device.interfaces, device.upgrade_seconds, faults_help().c_str());
}

/* The problem with the argument, empty when it is a number in these bounds. */
std::string read_number(int least, int most, int *number)
{
    const std::optional<int32_t> read = int_of(optarg);
    if (!read || *read < least || *read > most) {
        return format("\"%s\" is not a number from %d to %d", optarg, least, most);
    }
    *number = *read;
    return "";
}

/* The problem with the option, if any. */
std::string take_option(int option, Options &options)
{
    switch (option) {
        case 's': options.server.socket_path = optarg; return "";
        case 'w': options.daemon.device.software = optarg; return "";
        case 'n': return read_number(0, 5000, &options.daemon.device.streams);
        case 'i': return read_number(0, 200, &options.daemon.device.interfaces);
        case 'u': return read_number(0, 3600, &options.daemon.device.upgrade_seconds);
        case 'f': return options.daemon.faults.add(optarg);
        case 'S': options.scenario = optarg; return "";
        case 'x': return read_number(1, 1000, &options.daemon.device.speed);
        case 'r': options.recording = optarg; return "";
        case 'R': options.replay = optarg; return "";
        case 'c':
            options.server.control = true;
            return strcmp(optarg, "-") == 0 ? "" : "only - is possible";
        case 'p': options.daemon.fast = true; return "";
        case 'v': ++options.daemon.verbosity; return "";
        default: return "this is no option, or lacks its argument; try --help";
    }
}

/* Returns the exit status when there is nothing left to do. */
std::optional<int> read_options(int argc, char **argv, Options &options)
{
    opterr = 0;
    options.server.control = isatty(STDIN_FILENO);
    for (int option; (option = getopt_long(argc, argv, "vh", long_options, nullptr)) != -1;) {
        if (option == 'h') {
            print_help();
            return EXIT_SUCCESS;
        }
        if (option == 'V') {
            printf("%s %s\n", program, SIMULATOR_VERSION);
            return EXIT_SUCCESS;
        }
        const std::string problem = take_option(option, options);
        if (problem.empty()) continue;
        fprintf(stderr, "%s: %s: %s\n", program, argv[optind - 1], problem.c_str());
        return usage_error;
    }
    if (optind == argc) return {};
    fprintf(stderr, "%s: %s: this is no option; try --help\n", program, argv[optind]);
    return usage_error;
}

/* Reads the files that the options name. The problems, if any. */
std::vector<std::string> open_files(Options &options, Recorder &recorder)
{
    DaemonOptions &daemon = options.daemon;
    if (daemon.fast && (options.scenario || options.recording || options.replay)) {
        return {"--fast goes with no --scenario, --record or --replay"};
    }
    if (options.scenario && options.replay) {
        return {"--replay answers from the file alone: it goes with no --scenario"};
    }
    std::vector<std::string> problems;
    if (options.scenario) problems = daemon.scenario.read(options.scenario);
    if (options.replay) problems = daemon.replay.read(options.replay);
    if (!problems.empty() || !options.recording) return problems;
    const std::string problem = recorder.open(options.recording);
    if (!problem.empty()) problems.push_back(problem);
    return problems;
}

void print_problems(const std::vector<std::string> &problems)
{
    constexpr size_t most = 30;
    for (size_t i = 0; i < std::min(problems.size(), most); ++i) {
        fprintf(stderr, "%s: %s\n", program, problems[i].c_str());
    }
    if (problems.size() > most) fprintf(stderr, "%s: and more\n", program);
}

void run(const Options &options, Recorder &recorder)
{
    Daemon daemon(options.daemon, recorder);
    Server server(options.server, daemon);
    printf("%s: listening on %s, software %s\n", program, options.server.socket_path.c_str(),
           options.daemon.device.software.c_str());
    server.run();
    printf("%s: stopped\n", program);
}

} // namespace

int main(int argc, char **argv)
{
    setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    try {
        Options options;
        if (const std::optional<int> status = read_options(argc, argv, options)) return *status;
        Recorder recorder;
        const std::vector<std::string> problems = open_files(options, recorder);
        if (!problems.empty()) {
            print_problems(problems);
            return usage_error;
        }
        run(options, recorder);
    } catch (const std::exception &error) {
        fprintf(stderr, "%s: %s\n", program, error.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
