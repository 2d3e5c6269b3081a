/* A program that a test starts. */
#pragma once

#include <sys/types.h>

#include <csignal>
#include <functional>
#include <string>
#include <vector>

class Process {
public:
    /* Starts args[0] with its output appended to `output`, in a process group of its own: a server
     * with workers ends its whole group. */
    Process(const std::vector<std::string> &args, const std::string &output,
            const std::string &input = "/dev/null");
    ~Process(); /* kills it when it still runs */
    Process(const Process &) = delete;
    Process &operator=(const Process &) = delete;

    pid_t id() const { return pid; }
    bool running();

    /* Sends the signal and waits. Returns the exit status, or 128 and the signal that ended it;
     * SIGKILL follows after ten seconds. */
    int stop(int signal = SIGTERM);

private:
    pid_t pid;
    bool ended = false;
    int status = 0;
};

/* Asks every few milliseconds, for some ten seconds at the most. */
bool wait_until(const std::function<bool()> &condition);
