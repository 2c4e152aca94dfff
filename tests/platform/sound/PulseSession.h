// SPDX-License-Identifier: MIT
#pragma once

#include "support/Await.h"
#include "support/ChildProcess.h"
#include "support/Files.h"

/// A sound server for the test: a session with one sink ("test-sink") and a PulseAudio interface that the test may stop
/// and start again. The environment of the test process points to it.
class PulseSession {
public:
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
        server = std::make_unique<test::ChildProcess>("pipewire-pulse");
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
    std::unique_ptr<test::ChildProcess> server;
};
