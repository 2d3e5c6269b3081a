#include "tests/support/process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>

bool wait_until(const std::function<bool()> &condition)
{
    for (int i = 0; i < 2000; ++i) {
        if (condition()) return true;
        usleep(5000);
    }
    return false;
}

Process::Process(const std::vector<std::string> &args, const std::string &output,
                 const std::string &input, bool in_group_of_its_own)
{
    std::vector<char *> argv;
    argv.reserve(args.size() + 1);
    for (const std::string &arg : args) argv.push_back(const_cast<char *>(arg.c_str()));
    argv.push_back(nullptr);

    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, 0, input.c_str(), O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&files, 1, output.c_str(), O_WRONLY | O_CREAT | O_APPEND,
                                     0600);
    posix_spawn_file_actions_adddup2(&files, 1, 2);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    if (in_group_of_its_own) posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
    const int error = posix_spawn(&pid, argv[0], &files, &attributes, argv.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&files);
    if (error != 0) throw std::runtime_error(args[0] + ": " + strerror(error));
}

Process::~Process()
{
    stop(SIGKILL);
}

bool Process::reap(int flags)
{
    if (!ended && waitpid(pid, &status, flags) == pid) ended = true;
    return ended;
}

bool Process::running()
{
    return !reap(WNOHANG);
}

int Process::stop(int signal)
{
    if (!reap(WNOHANG)) {
        kill(pid, signal);
        if (!wait_until([this] { return reap(WNOHANG); })) {
            kill(pid, SIGKILL);
            reap(0);
        }
    }
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}
