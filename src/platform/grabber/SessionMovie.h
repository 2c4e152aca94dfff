// SPDX-License-Identifier: MIT
#pragma once

#include "platform/grabber/ChannelList.h"
#include "platform/grabber/DirectRecording.h"
#include "platform/grabber/RecordingSplits.h"

#include <memory>
#include <string>
#include <utility>

namespace platform {

/// The movie that a session writes itself: its output, the file being written, and the split into several files. The
/// split rule also applies to a movie that a data procedure writes; its handler then opens and closes the files.
class SessionMovie {
public:
    /// The channels must outlive this object.
    explicit SessionMovie(const ChannelList& channels) : channels(channels) {}

    /// Sets the output of the next recording; results as for `SGSetDataRef`.
    Result SetOutput(const std::string& path, int32_t flags);

    /// Sets the rule for the next recording, or for the present one if it has no output, as `SGSetSplits`.
    void SetSplits(const SGSplitRule& rule, SGSplitHandler handler);

    /// Whether an output is set that no recording has used yet.
    bool HasOutput() const { return !outputPath.empty() && !recording; }

    /// Whether a movie is being written.
    bool IsOpen() const { return recording != nullptr; }

    /// Creates the file of the output and returns the result. After a failure no file is open.
    Result Begin();

    /// Adds a frame, after switching to the next file if the frame is its first one. `TakeFailure` returns failures.
    void AddFrame(const Sample& frame);

    /// Adds sound. `TakeFailure` returns failures.
    void AddSound(const SoundStream::Piece& piece);

    /// Completes the file. Returns the first failure since the start.
    Result Finish();

    /// Returns the first failure since the last call, or 0.
    Result TakeFailure() { return std::exchange(failure, noErr); }

    /// The status of the file being written; false if there is none.
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
    bool pastEnd = false; ///< the rule has ended the recording: later samples go into no file
    Result failure = noErr;
};

} // namespace platform
