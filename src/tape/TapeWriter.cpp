// SPDX-License-Identifier: MIT
#include "tape/TapeWriter.h"

#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <utility>

namespace velmora {
namespace {

using namespace platform;

// The camera's clock shows whole seconds, and frames may be lost between two readings of it.
constexpr double kSameRecording = 2.5; // seconds

TapeTime Now()
{
    return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}

std::string SubtitleTime(double seconds)
{
    const auto milliseconds = std::llround(seconds * 1000);
    char text[64];
    std::snprintf(text, sizeof text, "%02lld:%02lld:%02lld,%03lld", milliseconds / 3'600'000,
                  milliseconds / 60'000 % 60, milliseconds / 1000 % 60, milliseconds % 1000);
    return text;
}

std::string SubtitleName(const std::string& path)
{
    const size_t suffix = path.rfind('.');
    const bool hasSuffix = suffix != std::string::npos && suffix > path.rfind('/') + 1;
    return path.substr(0, hasSuffix ? suffix : std::string::npos) + ".srt";
}

const char* TextOfResult(Result result)
{
    switch (result) {
    case dskFulErr:
        return "the disk is full";
    case permErr:
        return "permission denied";
    case dupFNErr:
        return "it exists, and --force replaces it";
    case dirNFErr:
        return "there is no such folder";
    default:
        return "writing failed";
    }
}

} // namespace

TapeWriter::TapeWriter(TapeOutputs wanted) : outputs(std::move(wanted))
{
    if (outputs.dvFile.empty() || !MayWrite(outputs.dvFile))
        return;
    dv.open(outputs.dvFile, std::ios::binary | std::ios::trunc);
    if (!dv)
        Fail(outputs.dvFile, errno == EACCES ? permErr : errno == ENOENT ? dirNFErr : ioErr);
}

TapeWriter::~TapeWriter() = default;

bool TapeWriter::Fail(const std::string& path, Result result)
{
    if (failure == noErr) {
        failure = result;
        problem = "can't write " + path + ": " + TextOfResult(result);
    }
    return false;
}

bool TapeWriter::MayWrite(const std::string& path)
{
    std::error_code ignored;
    return outputs.replace || !std::filesystem::exists(path, ignored) || Fail(path, dupFNErr);
}

bool TapeWriter::Add(std::span<const uint8_t> frame, bool isWhole, uint32_t lostBefore)
{
    if (failure != noErr)
        return false;
    if (dv.is_open() && !dv.write(reinterpret_cast<const char*>(frame.data()), static_cast<long>(frame.size())))
        return Fail(outputs.dvFile, errno == ENOSPC ? dskFulErr : ioErr);
    lostBefore += std::exchange(noFrames, 0);
    const auto info = ReadDvFrame(frame);
    if (!info) {
        noFrames = lostBefore + 1;
        return true;
    }
    newest = ReadDvFrameData(frame);
    ExtractDvSound(frame, sound);
    framesSince += 1 + lostBefore;
    if (BeginsMovie(*info)) {
        if (!BeginMovie(*info))
            return false;
        lostBefore = 0;
    }
    NoteFrame(isWhole, lostBefore);
    if (!movie)
        return true;
    if (soundRate == 0 && !sound.samples.empty())
        soundRate = sound.sampleRate;
    const Result result = movie->Add(frame, sound, newest.timecode, lostBefore);
    return result == noErr || Fail(files.back().path, result);
}

// Whether the newest frame starts a new movie.
bool TapeWriter::BeginsMovie(const DvFrameInfo& info) const
{
    if (files.empty() || files.back().isPal != info.isPal)
        return true;
    if (soundRate != 0 && !sound.samples.empty() && sound.sampleRate != soundRate)
        return true;
    if (!outputs.splitRecordings || !recorded || !newest.recorded)
        return false;
    const double expected = static_cast<double>(*recorded) + static_cast<double>(framesSince) / info.frameRate;
    return std::abs(static_cast<double>(*newest.recorded) - expected) > kSameRecording;
}

bool TapeWriter::BeginMovie(const DvFrameInfo& info)
{
    if (!FinishMovie())
        return false;
    TapeFileReport& file = files.emplace_back();
    file.isPal = info.isPal;
    soundRate = 0;
    recorded.reset();
    if (!outputs.movieName) {
        file.path = outputs.dvFile;
        return true;
    }
    file.path = outputs.movieName(static_cast<int>(files.size()), newest.recorded.value_or(Now()));
    Result result = noErr;
    if (!MayWrite(file.path))
        return false;
    movie = TapeMovie::Create(file.path, info.isPal, result);
    return movie != nullptr || Fail(file.path, result);
}

void TapeWriter::NoteFrame(bool isWhole, uint32_t lostBefore)
{
    TapeFileReport& file = files.back();
    if (lostBefore > 0)
        NoteFault(TapeFault::Kind::Lost, file.length, lostBefore, 0);
    file.lost += lostBefore;
    file.length += lostBefore;
    if (!isWhole)
        NoteFault(TapeFault::Kind::Incomplete, file.length, 1, 0);
    file.incomplete += isWhole ? 0 : 1;
    // Losses on the bus say nothing about the tape.
    const bool isConcealed = isWhole && newest.concealedBlocks > 0;
    if (isConcealed)
        NoteFault(TapeFault::Kind::Concealed, file.length, 1, newest.concealedBlocks);
    file.concealed += isConcealed ? 1 : 0;
    if (newest.timecode) {
        file.firstTimecode = file.firstTimecode.value_or(*newest.timecode);
        file.lastTimecode = newest.timecode;
    }
    file.withoutTimecode += newest.timecode ? 0 : 1;
    if (newest.recorded) {
        file.firstRecorded = file.firstRecorded.value_or(*newest.recorded);
        file.lastRecorded = recorded = newest.recorded;
        framesSince = 0;
        if (cues.empty() || cues.back().time != *newest.recorded)
            cues.push_back({file.length, *newest.recorded});
    }
    ++file.length;
}

// Faults of the same kind in consecutive frames share an entry.
void TapeWriter::NoteFault(TapeFault::Kind kind, int64_t frame, uint32_t count, int64_t blocks)
{
    auto& faults = files.back().faults;
    if (!faults.empty() && faults.back().kind == kind && faults.back().frame + faults.back().frames == frame) {
        faults.back().frames += count;
        faults.back().blocks += blocks;
    } else {
        faults.push_back({kind, frame, count, blocks, newest.timecode});
    }
}

bool TapeWriter::FinishMovie()
{
    if (!movie)
        return failure == noErr;
    const TapeFileReport& file = files.back();
    const Result result = movie->Finish(file.firstRecorded);
    movie.reset();
    const bool isWritten = WriteSubtitles(file);
    cues.clear();
    return (result == noErr && isWritten) || Fail(file.path, result == noErr ? ioErr : result);
}

// SubRip subtitles: one for each second of the camera's clock.
bool TapeWriter::WriteSubtitles(const TapeFileReport& file)
{
    if (cues.empty())
        return true;
    std::ofstream out(SubtitleName(file.path));
    const double frameSeconds = file.Seconds() / static_cast<double>(file.length);
    for (size_t i = 0; i < cues.size(); ++i) {
        const int64_t end = i + 1 < cues.size() ? cues[i + 1].frame : file.length;
        out << i + 1 << '\n'
            << SubtitleTime(static_cast<double>(cues[i].frame) * frameSeconds) << " --> "
            << SubtitleTime(static_cast<double>(end) * frameSeconds) << '\n'
            << platform::TextOf(cues[i].time) << "\n\n";
    }
    out.flush();
    return out.good();
}

bool TapeWriter::Finish()
{
    const bool isFinished = FinishMovie();
    if (dv.is_open()) {
        dv.close();
        if (dv.fail())
            Fail(outputs.dvFile, ioErr);
    }
    return isFinished && failure == noErr;
}

} // namespace velmora
