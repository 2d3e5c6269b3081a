/* sysmngd-sim: stands in for the appliance's management daemon. */
#include <getopt.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <optional>

#include "simulator/faults.h"
#include "simulator/format.h"
#include "simulator/lifecycle.h"
#include "simulator/server.h"

namespace {

constexpr const char *program = "sysmngd-sim";
constexpr int usage_error = 2;

struct Options {
    ServerOptions server;
    DeviceOptions device;
    FaultList faults;
};

constexpr option long_options[] = {
    {"socket", required_argument, nullptr, 's'},
    {"software", required_argument, nullptr, 'w'},
    {"streams", required_argument, nullptr, 'n'},
    {"interfaces", required_argument, nullptr, 'i'},
    {"upgrade-seconds", required_argument, nullptr, 'u'},
    {"fault", required_argument, nullptr, 'f'},
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
        "  --control -           read commands about faults from standard input, as is done\n"
        "                        anyway when it is a terminal; type help\n"
        "  --fast                prepared replies: no state, and nothing is printed\n"
        "  -v, --verbose         print each command; twice: its request's fields, too\n"
        "  -h, --help            this text\n"
        "  --version             the simulator's version\n\n%s",
        program, server.socket_path.c_str(), device.software.c_str(), device.streams,
        device.interfaces, device.upgrade_seconds, faults_help().c_str());
}

/* The problem with the argument, empty when it is a number from 0 to `most`. */
std::string read_number(int most, int *number)
{
    char *end = nullptr;
    const long read = strtol(optarg, &end, 10);
    if (end == optarg || *end || read < 0 || read > most) {
        return format("\"%s\" is not a number from 0 to %d", optarg, most);
    }
    *number = static_cast<int>(read);
    return "";
}

/* The problem with the option, if any. */
std::string take_option(int option, Options &options)
{
    switch (option) {
        case 's': options.server.socket_path = optarg; return "";
        case 'w': options.device.software = optarg; return "";
        case 'n': return read_number(5000, &options.device.streams);
        case 'i': return read_number(200, &options.device.interfaces);
        case 'u': return read_number(3600, &options.device.upgrade_seconds);
        case 'f': return options.faults.add(optarg);
        case 'c':
            options.server.control = true;
            return strcmp(optarg, "-") == 0 ? "" : "only - is possible";
        case 'p': options.server.fast = true; return "";
        case 'v': ++options.server.verbosity; return "";
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

} // namespace

int main(int argc, char **argv)
{
    setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    try {
        Options options;
        if (const std::optional<int> status = read_options(argc, argv, options)) return *status;
        Server server(options.server, factory_device(options.device), options.faults);
        printf("%s: listening on %s, software %s\n", program, options.server.socket_path.c_str(),
               options.device.software.c_str());
        server.run();
        printf("%s: stopped\n", program);
    } catch (const std::exception &error) {
        fprintf(stderr, "%s: %s\n", program, error.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
