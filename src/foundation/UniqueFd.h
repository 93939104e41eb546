#pragma once

#include <unistd.h>

// A file descriptor that is closed when the scope ends.
struct UniqueFd {
    int fd = -1;
    explicit UniqueFd(int value) : fd(value) {}
    ~UniqueFd() {
        if (fd >= 0)
            ::close(fd);
    }
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;
};
