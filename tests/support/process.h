/* A program that a test starts. */
#pragma once

#include <sys/types.h>

#include <csignal>
#include <functional>
#include <string>
#include <vector>

class Process {
public:
    /* Starts args[0] with its output appended to `output`. Throws std::runtime_error when it
     * can't. */
    Process(const std::vector<std::string> &args, const std::string &output,
            const std::string &input = "/dev/null", bool in_group_of_its_own = false);
    ~Process(); /* kills it when it still runs */
    Process(const Process &) = delete;
    Process &operator=(const Process &) = delete;

    pid_t id() const { return pid; }
    bool running();

    /* Sends the signal and waits. Returns the exit status, or 128 and the signal that ended it;
     * SIGKILL follows after ten seconds. */
    int stop(int signal = SIGTERM);

private:
    bool reap(int flags);

    pid_t pid;
    bool ended = false;
    int status = 0;
};

/* Asks every few milliseconds, for some ten seconds at the most. */
bool wait_until(const std::function<bool()> &condition);
