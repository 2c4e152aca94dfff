#pragma once

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <signal.h>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

/// A process of the test's own, ended with the object.
class ChildProcess {
public:
    explicit ChildProcess(std::vector<std::string> command)
    {
        std::vector<char*> arguments;
        for (std::string& argument : command)
            arguments.push_back(argument.data());
        arguments.push_back(nullptr);
        if (posix_spawnp(&pid, arguments[0], nullptr, nullptr, arguments.data(), environ) != 0)
            pid = -1;
    }
    ~ChildProcess() { End(SIGTERM); }
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    void End(int signal)
    {
        if (pid <= 0)
            return;
        kill(pid, signal);
        waitpid(pid, nullptr, 0);
        pid = -1;
    }

private:
    pid_t pid = -1;
};

/// What a shell command writes.
inline std::string OutputOf(const std::string& command)
{
    std::string output;
    std::array<char, 256> part;
    FILE* pipe = popen(command.c_str(), "r");
    while (pipe != nullptr && std::fgets(part.data(), part.size(), pipe) != nullptr)
        output += part.data();
    if (pipe != nullptr)
        pclose(pipe);
    return output;
}

/// Looks until something is so; false after ten seconds.
inline bool Await(const std::function<bool()>& isSo)
{
    for (int i = 0; i < 1000; ++i) {
        if (isSo())
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

/// A sound server of the test's own: a session with one sink ("test-sink") and, over it, a PulseAudio interface that
/// the test may end and start again. The environment of the test process points to it.
class PulseSession {
public:
    static bool IsInstalled()
    {
        return std::system("which pipewire wireplumber pipewire-pulse pactl pacat >/dev/null 2>&1") == 0;
    }

    PulseSession() : directory(MakeDirectory())
    {
        const auto script = std::filesystem::path(__FILE__).parent_path() / "../../support/with_pipewire.sh";
        const auto note = directory / "note";
        // The session lives until its standard input ends.
        session =
            popen((script.string() + " sh -c 'echo $XDG_RUNTIME_DIR >" + note.string() + "; exec cat'").c_str(), "w");
        std::string runtime;
        Await([&] { return static_cast<bool>(std::ifstream(note) >> runtime); });
        setenv("XDG_RUNTIME_DIR", runtime.c_str(), 1);
        setenv("PULSE_RUNTIME_PATH", directory.c_str(), 1);
        setenv("PULSE_SERVER", ("unix:" + Socket().string()).c_str(), 1);
        setenv("PIPEWIRE_DEBUG", "0", 1);
        unsetenv("DISPLAY");
        StartServer();
    }

    ~PulseSession()
    {
        server.reset();
        if (session != nullptr)
            pclose(session);
        std::filesystem::remove_all(directory);
    }

    void StartServer()
    {
        server = std::make_unique<ChildProcess>(std::vector<std::string>{"pipewire-pulse"});
        Await([] { return OutputOf("pactl list short sources 2>/dev/null").find("test-sink") != std::string::npos; });
    }

    void KillServer()
    {
        server->End(SIGKILL);
        std::filesystem::remove(Socket());
    }

    std::filesystem::path Directory() const { return directory; }

private:
    static std::filesystem::path MakeDirectory()
    {
        std::string name = std::filesystem::temp_directory_path() / "velmora-sound.XXXXXX";
        return mkdtemp(name.data());
    }
    std::filesystem::path Socket() const { return directory / "native"; }

    std::filesystem::path directory;
    FILE* session = nullptr;
    std::unique_ptr<ChildProcess> server;
};
