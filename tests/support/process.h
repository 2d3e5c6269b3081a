/* A program that a test starts. */
#pragma once

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <functional>
#include <string>
#include <vector>

/* Asks every few milliseconds, for some ten seconds at the most. */
inline bool wait_until(const std::function<bool()> &condition)
{
    for (int i = 0; i < 2000; ++i) {
        if (condition()) return true;
        usleep(5000);
    }
    return false;
}

class Process {
public:
    /* Starts args[0] with its output appended to `output`, in a process group of its own: a server
     * with workers ends its whole group. */
    Process(const std::vector<std::string> &args, const std::string &output,
            const std::string &input = "/dev/null")
    {
        std::vector<char *> argv;
        for (const std::string &arg : args) argv.push_back(const_cast<char *>(arg.c_str()));
        argv.push_back(nullptr);
        pid = fork();
        if (pid != 0) return;
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        setpgid(0, 0);
        dup2(open(input.c_str(), O_RDONLY | O_CLOEXEC), 0);
        dup2(open(output.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600), 1);
        dup2(1, 2);
        execv(argv[0], argv.data());
        _exit(127);
    }
    ~Process() { stop(SIGKILL); }
    Process(Process &&) = delete;

    pid_t id() const { return pid; }

    bool running()
    {
        ended = ended || waitpid(pid, &status, WNOHANG) == pid;
        return !ended;
    }

    /* Sends the signal and waits. Returns the exit status, or 128 and the signal that ended it;
     * SIGKILL follows after ten seconds. */
    int stop(int signal = SIGTERM)
    {
        if (running()) kill(pid, signal);
        while (!wait_until([this] { return !running(); })) kill(pid, SIGKILL);
        return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    }

private:
    pid_t pid;
    bool ended = false;
    int status = 0;
};
