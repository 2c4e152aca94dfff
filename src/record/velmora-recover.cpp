// SPDX-License-Identifier: MIT
// velmora-recover: finishes a recording that was cut off.

#include "Version.h"
#include "platform/movies/MovieRecovery.h"
#include "record/CommandLine.h"

#include <csignal>
#include <cstdio>
#include <string>

namespace {

enum ExitCode {
    kDone = 0,
    kFailed = 1,
    kWrongUsage = 2,
    kNoRecording = 3,
};

constexpr const char* kUsage = "Usage: velmora-recover FILE [OUTPUT]\n";

constexpr const char* kHelp =
    "\n"
    "Finishes a recording that was cut off: by a failure of power, a full disk or a killed program. FILE itself "
    "becomes\n"
    "the complete movie, which takes no time and no room but for the movie's header. With OUTPUT, which must not "
    "exist,\n"
    "the movie is written there, and FILE stays as it is. A movie that is complete is left alone.\n"
    "\n"
    "Exit status: 0 when the movie is complete, 1 when a file can't be read or written or is still being recorded,\n"
    "2 for wrong usage, 3 when FILE holds no recording.\n";

const char* TextOfResult(platform::Result result)
{
    switch (result) {
    case platform::fnfErr:
        return "there is no such file";
    case platform::invalidMovie:
        return "the file holds no recording";
    case platform::fBsyErr:
        return "the file is being recorded";
    case platform::dupFNErr:
        return "the output exists already";
    case platform::dskFulErr:
        return "the disk is full";
    case platform::permErr:
        return "permission denied";
    case platform::dirNFErr:
        return "the output's folder doesn't exist";
    case platform::bdNamErr:
        return "the output's name is not allowed";
    default:
        return "reading or writing failed";
    }
}

int Recover(const std::string& input, const std::string& output)
{
    platform::RecoveredMovie found;
    std::string written;
    const platform::Result result = platform::RecoverMovie(input, output, found, written);
    if (result != platform::noErr) {
        const bool aboutOutput = !written.empty();
        std::fprintf(stderr, "velmora-recover: %s: %s\n", (aboutOutput ? written : input).c_str(),
                     TextOfResult(result));
        return result == platform::invalidMovie ? kNoRecording : kFailed;
    }
    std::printf("%s: %.2f s, %llu frames, %llu sound samples, %.1f MB\n", written.c_str(), found.seconds,
                static_cast<unsigned long long>(found.videoFrames), static_cast<unsigned long long>(found.soundFrames),
                static_cast<double>(found.bytes) / 1e6);
    if (found.wasComplete)
        std::printf("The movie is complete; nothing was written.\n");
    return kDone;
}

} // namespace

int main(int argc, char** argv)
{
    // A file grown past the allowed size is a full disk like any other, and nothing to die of.
    std::signal(SIGXFSZ, SIG_IGN);
    bool help = false;
    bool version = false;
    const auto flag = [](bool& field) { return [&field](const std::string&) { return field = true; }; };
    velmora::CommandLine line({{"Options",
                                {{"help", "", "show this text and end", "", flag(help)},
                                 {"version", "", "show the version and end", "", flag(version)}}}});
    std::string problem;
    const bool isRead = line.Read(argc, argv, problem);
    const auto& names = line.Names();
    if (isRead && (help || version)) {
        if (help)
            std::printf("%s%s%s", kUsage, line.Help().c_str(), kHelp);
        else
            std::printf("velmora-recover %s\n", velmora::kVersion);
        return kDone;
    }
    if (isRead && (names.empty() || names.size() > 2 || names.front().empty()))
        problem = names.size() > 2 ? "more than FILE and OUTPUT: " + names[2] : "no file named";
    if (!problem.empty()) {
        std::fprintf(stderr, "velmora-recover: %s\n", problem.c_str());
        return kWrongUsage;
    }
    return Recover(names.front(), names.size() == 2 ? names.back() : "");
}
