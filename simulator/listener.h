/* The socket that clients connect to. Its file goes when the listener goes. */
#pragma once

#include <sys/stat.h>

#include <string>

class Listener {
public:
    /* Takes the place of a socket that a dead daemon left behind. Throws
     * std::runtime_error with a line for the user. */
    explicit Listener(const std::string &path);
    ~Listener();
    Listener(const Listener &) = delete;
    Listener &operator=(const Listener &) = delete;

    int fd() const { return fd_; }

    /* A new client's descriptor, or -1. */
    int accept_client() const;

private:
    std::string path_;
    int fd_;
    struct stat file_ = {};
};
