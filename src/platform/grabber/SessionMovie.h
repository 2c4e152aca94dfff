// SPDX-License-Identifier: MIT
#pragma once

#include "platform/grabber/ChannelList.h"
#include "platform/grabber/DirectRecording.h"
#include "platform/grabber/RecordingSplits.h"

#include <memory>
#include <string>
#include <utility>

namespace platform {

/// The movie that a session writes itself: where it goes, the file being written, and the split into several files.
/// The split rule also counts for a movie that a data procedure writes; its handler then opens and closes the files.
class SessionMovie {
public:
    /// The channels outlive the object.
    explicit SessionMovie(const ChannelList& channels) : channels(channels) {}

    /// Sets where the next recording goes, as `SGSetDataRef`. `paramErr`, `cantDoThatInCurrentMode` as there.
    Result SetOutput(const std::string& path, int32_t flags);

    /// Sets the rule for the recording that begins next, or that is running without an output, as `SGSetSplits`.
    void SetSplits(const SGSplitRule& rule, SGSplitHandler handler);

    /// Whether an output is set that no recording has used yet.
    bool HasOutput() const { return !outputPath.empty() && !recording; }

    /// Whether a movie is being written.
    bool IsOpen() const { return recording != nullptr; }

    /// Creates the file of the output. The result is that of the creation; nothing is open after a failure.
    Result Begin();

    /// Adds a frame, after a switch to the next file where the frame is its first one. Failures wait for `TakeFailure`.
    void AddFrame(const Sample& frame);

    /// Adds sound. Failures wait for `TakeFailure`.
    void AddSound(const SoundStream::Piece& piece);

    /// Completes the file. The result is the first failure since the beginning.
    Result Finish();

    /// The first failure since the last call, or 0.
    Result TakeFailure() { return std::exchange(failure, noErr); }

    /// The status of the file being written; false while there is none.
    bool GetStatus(MovieStorageStatus& status) const { return recording && recording->GetStatus(status); }

private:
    DirectRecording::Plan PlanFor(const std::string& path) const;
    void SplitBefore(const Sample& frame);
    void ContinueIn(const std::string& path, int64_t captureTime);
    void NoteFailure(Result result);

    const ChannelList& channels;
    std::string outputPath;
    int32_t outputFlags = 0;
    std::unique_ptr<DirectRecording> recording;
    RecordingSplits splits;
    SGSplitRule splitRule;
    SGSplitHandler splitHandler;
    bool pastEnd = false; ///< the rule has ended the recording: what comes now goes into no file
    Result failure = noErr;
};

} // namespace platform
