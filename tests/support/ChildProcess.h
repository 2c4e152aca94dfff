// SPDX-License-Identifier: MIT
#pragma once

#include <csignal>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace test {

/// A shell command that is killed by the destructor.
class ChildProcess {
public:
    explicit ChildProcess(const std::string& command)
    {
        const std::string line = "exec " + command;
        pid = fork();
        if (pid == 0) {
            execl("/bin/sh", "sh", "-c", line.c_str(), nullptr);
            _exit(127);
        }
    }
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    ~ChildProcess()
    {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }

    /// Sends a signal to the process.
    void Signal(int signal) const { kill(pid, signal); }

private:
    pid_t pid = 0;
};

} // namespace test
