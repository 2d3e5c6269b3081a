/* Sockets of the tests' own. */
#pragma once

#include <sys/socket.h>

#include <string>

int unix_socket(int type); /* SOCK_STREAM or SOCK_DGRAM */
bool bind_to(int fd, const std::string &path);
bool connect_to(int fd, const std::string &path);

/* Connected to the port on this machine, or -1. */
int connect_to(int port);

int free_port();
