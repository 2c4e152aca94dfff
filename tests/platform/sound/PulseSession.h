// SPDX-License-Identifier: MIT
#pragma once

#include "support/Files.h"

#include <functional>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

/// A command that is killed by the destructor.
class ChildProcess {
public:
    explicit ChildProcess(const std::string& command) : pid(fork())
    {
        if (pid == 0) {
            execl("/bin/sh", "sh", "-c", ("exec " + command).c_str(), nullptr);
            _exit(127);
        }
    }
    ~ChildProcess()
    {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }

    void Signal(int signal) const { kill(pid, signal); }

private:
    const pid_t pid;
};

/// Waits until a condition is true. Returns false after ten seconds.
inline bool Await(const std::function<bool()>& isSo)
{
    for (int i = 0; i < 1000; ++i, usleep(10000)) {
        if (isSo())
            return true;
    }
    return false;
}

/// A sound server for the test: a session with one sink ("test-sink") and a PulseAudio interface that the test may stop
/// and start again. The environment of the test process points to it.
class PulseSession {
public:
    static bool IsInstalled()
    {
        return std::system("which pipewire wireplumber pipewire-pulse pactl pacat >/dev/null 2>&1") == 0;
    }

    PulseSession()
    {
        const std::string note = directory / "note";
        // The session lives until its standard input ends.
        session = popen(
            (VELMORA_TESTS "/support/with_pipewire.sh sh -c 'echo $XDG_RUNTIME_DIR >" + note + "; exec cat'").c_str(),
            "w");
        std::string runtime;
        Await([&] { return static_cast<bool>(std::ifstream(note) >> runtime); });
        setenv("XDG_RUNTIME_DIR", runtime.c_str(), 1);
        setenv("PULSE_RUNTIME_PATH", directory.path.c_str(), 1);
        setenv("PULSE_SERVER", ("unix:" + Socket()).c_str(), 1);
        StartServer();
    }

    ~PulseSession()
    {
        server.reset();
        pclose(session);
    }

    void StartServer()
    {
        server = std::make_unique<ChildProcess>("pipewire-pulse");
        Await([] {
            return test::OutputOf("pactl list short sources 2>/dev/null").find("test-sink") != std::string::npos;
        });
    }

    /// Stops the server's process, or continues it.
    void HoldServer(bool held) { server->Signal(held ? SIGSTOP : SIGCONT); }

    void KillServer()
    {
        server.reset();
        std::filesystem::remove(Socket());
    }

    std::string Socket() const { return directory / "native"; }

    const test::TemporaryFolder directory;

private:
    FILE* session = nullptr;
    std::unique_ptr<ChildProcess> server;
};
