#include "tests/support/process.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

bool wait_until(const std::function<bool()> &condition)
{
    for (int i = 0; i < 2000; ++i) {
        if (condition()) return true;
        usleep(5000);
    }
    return false;
}

Process::Process(const std::vector<std::string> &args, const std::string &output,
                 const std::string &input)
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

Process::~Process()
{
    stop(SIGKILL);
}

bool Process::running()
{
    ended = ended || waitpid(pid, &status, WNOHANG) == pid;
    return !ended;
}

int Process::stop(int signal)
{
    if (running()) kill(pid, signal);
    while (!wait_until([this] { return !running(); })) kill(pid, SIGKILL);
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}
