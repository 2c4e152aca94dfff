// SPDX-License-Identifier: MIT
// velmora-recover: finishes an interrupted recording.

#include "Version.h"
#include "platform/movies/MovieCheck.h"
#include "platform/movies/MovieRecovery.h"
#include "record/CommandLine.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <string>
#include <vector>

namespace {

enum ExitCode {
    kDone = 0,
    kFailed = 1,
    kWrongUsage = 2,
    kNoRecording = 3,
    kNotWhole = 4,
};

constexpr const char* kUsage = "Usage: velmora-recover FILE [OUTPUT]\n"
                               "       velmora-recover --check FILE...\n";

constexpr const char* kHelp =
    "\n"
    "Finishes a recording that was interrupted by a power failure, a full disk or a killed program. FILE itself "
    "becomes\n"
    "the complete movie, which takes no time and only needs space for the movie's header. With OUTPUT, which must not\n"
    "exist, the movie is written there and FILE is not changed. A complete movie is not changed.\n"
    "\n"
    "--check reads movies of any program, changes nothing, and reports for each movie whether it is whole: whether "
    "its\n"
    "samples are inside the file, its tables are consistent, times increase and, in a recording of Velmora, the\n"
    "journal's checksums are correct. It does not decode the samples.\n"
    "\n"
    "Exit status: 0 if the movie is complete (with --check: if all movies are whole), 1 if a file can't be read or\n"
    "written or is still being recorded, 2 for a usage error, 3 if FILE contains no recording (with --check: no "
    "movie),\n"
    "4 if --check finds a movie that is not whole.\n";

const char* TextOfResult(platform::Result result)
{
    switch (result) {
    case platform::fnfErr:
        return "there is no such file";
    case platform::invalidMovie:
        return "the file contains no recording";
    case platform::fBsyErr:
        return "the file is still being recorded";
    case platform::dupFNErr:
        return "the output already exists";
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

std::string TextOfTrack(const platform::TrackTables& track)
{
    char text[160];
    const std::string codec = track.descriptions.empty() ? "?" : platform::TextOf(track.descriptions.front());
    std::snprintf(text, sizeof text, "%s \"%s\": %llu samples, %.3f s", platform::TextOf(track.mediaType).c_str(),
                  codec.c_str(), static_cast<unsigned long long>(track.samples), track.Seconds());
    return text;
}

int Check(const std::string& path)
{
    platform::CheckedMovie movie;
    if (const platform::Result result = platform::CheckMovie(path, movie); result != platform::noErr) {
        std::fprintf(stderr, "velmora-recover: %s: %s\n", path.c_str(),
                     result == platform::invalidMovie ? "the file is not a movie" : TextOfResult(result));
        return result == platform::invalidMovie ? kNoRecording : kFailed;
    }
    std::printf("%s: %s\n", path.c_str(), movie.IsWhole() ? "whole" : "not whole");
    for (const std::string& fault : movie.faults)
        std::printf("  %s\n", fault.c_str());
    for (const platform::TrackTables& track : movie.tracks) {
        std::printf("  track %u: %s\n", track.number, TextOfTrack(track).c_str());
        for (const std::string& fault : track.faults)
            std::printf("    %s\n", fault.c_str());
    }
    if (movie.isCutOff)
        std::printf("  The recording was interrupted; velmora-recover finishes it.\n");
    return movie.IsWhole() ? kDone : kNotWhole;
}

int CheckAll(const std::vector<std::string>& paths)
{
    int code = kDone;
    for (const std::string& path : paths)
        code = std::max(code, Check(path));
    return code;
}

} // namespace

int main(int argc, char** argv)
{
    // Treat the file size limit like a full disk instead of dying by the signal.
    std::signal(SIGXFSZ, SIG_IGN);
    bool check = false;
    bool help = false;
    bool version = false;
    const auto flag = [](bool& field) { return [&field](const std::string&) { return field = true; }; };
    velmora::CommandLine line({{"Options",
                                {{"check", "", "check whether movies are whole; changes nothing", "", flag(check)},
                                 {"help", "", "show this text and exit", "", flag(help)},
                                 {"version", "", "show the version and exit", "", flag(version)}}}});
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
    if (isRead && (names.empty() || (names.size() > 2 && !check) || names.front().empty()))
        problem = names.size() > 2 ? "more than FILE and OUTPUT: " + names[2] : "no file named";
    if (!problem.empty()) {
        std::fprintf(stderr, "velmora-recover: %s\n", problem.c_str());
        return kWrongUsage;
    }
    if (check)
        return CheckAll(names);
    return Recover(names.front(), names.size() == 2 ? names.back() : "");
}
