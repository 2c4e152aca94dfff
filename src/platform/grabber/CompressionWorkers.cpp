// SPDX-License-Identifier: MIT
// Two threads and one line of jobs.
//
// Jobs stand in the order of capture from the moment they come in until they are handed on. A worker takes the first
// that waits, compresses it outside of the lock, and then hands on everything at the head of the line that is
// finished: so a frame that was quick waits for the slow one before it, and the order needs no numbers.
//
// Frames of an inter-frame codec go through one compressor, in the order of the line, by whichever worker is free: the
// codec has threads of its own. Such a compressor's frames build on one another, so that one that is forgotten after
// it was compressed makes the later ones useless until the next key frame, which is then asked for.
#include "platform/grabber/CompressionWorkers.h"

#include "platform/compression/KeyFrames.h"

#include <algorithm>

namespace platform {
namespace {

// Two keep up with a camera that one would just fail with, and leave the machine's other cores to the live picture.
constexpr int kThreads = 2;
// What may wait: a second or two of a machine that is held up, of the largest frames a few.
constexpr size_t kFewJobs = 8;
constexpr size_t kMaxJobs = 128;
constexpr int64_t kMaxBytes = int64_t{96} << 20;

} // namespace

// A compressor that is made again when the settings change. Its descriptions are shared by the frames of one kind.
class CompressionWorkers::Compressor {
public:
    // The sample's data becomes the compressed frame; it is empty when the frame can't be read.
    void Compress(Frame& frame)
    {
        if (!settings || (frame.settings != settings && *frame.settings != *settings)) {
            compressor = FrameCompressor::Create(*frame.settings);
            description = nullptr;
        }
        settings = frame.settings;
        const RawFrame raw{frame.sample.data.Bytes(), frame.format, frame.width, frame.height};
        frame.sample.sent = std::move(frame.sample.data);
        frame.sample.data = SampleData(compressor ? compressor->Compress(raw) : OwnedBlock());
        if (frame.sample.data.Size() > 0)
            Describe(frame);
        if (!frame.sample.sentDescription)
            frame.sample.sent = SampleData();
    }

private:
    struct Kind {
        FourCharCode format = 0;
        int32_t width = 0;
        int32_t height = 0;

        bool operator==(const Kind&) const = default;
    };

    static SharedDescription Shared(ImageDescription image)
    {
        auto shared = std::make_shared<SampleDescription>();
        shared->image = std::move(image);
        shared->record = RecordOf(shared->image);
        return shared;
    }

    void Describe(Frame& frame)
    {
        const Kind kind{frame.format, frame.width, frame.height};
        if (!description || kind != described) {
            description = Shared(compressor->Description(frame.width, frame.height));
            sent = Shared(DescriptionOfPassThrough(frame.format, frame.width, frame.height));
            described = kind;
        }
        frame.sample.description = description;
        frame.sample.isKey = IsKeyFrame(settings->codec, frame.sample.data.Bytes());
        if (IsInterFrame(settings->codec))
            frame.sample.sentDescription = sent;
    }

    Settings settings;
    std::unique_ptr<FrameCompressor> compressor;
    SharedDescription description;
    SharedDescription sent; ///< of the device's own frames
    Kind described;
};

CompressionWorkers::CompressionWorkers(Outlet toOutlet)
    : outlet(std::move(toOutlet)), ordered(std::make_unique<Compressor>())
{
    for (int i = 0; i < kThreads; ++i)
        threads.emplace_back([this] { Work(); });
}

CompressionWorkers::~CompressionWorkers()
{
    {
        const std::lock_guard lock(mutex);
        ending = true;
    }
    work.notify_all();
    for (std::thread& thread : threads)
        thread.join();
}

void CompressionWorkers::Submit(Frame frame)
{
    const State state = frame.settings ? State::Waiting : State::Finished;
    const std::lock_guard lock(mutex);
    if (IsFull()) {
        const auto oldest = std::ranges::find(jobs, State::Waiting, &Job::state);
        if (oldest != jobs.end()) {
            const int64_t captureTime = oldest->frame.sample.captureTime;
            jobs.erase(oldest);
            outlet.dropped(captureTime);
        }
    }
    jobs.push_back({std::move(frame), state});
    HandOnFinished();
    work.notify_one();
}

bool CompressionWorkers::IsFull() const
{
    if (jobs.size() < kFewJobs || jobs.size() >= kMaxJobs)
        return jobs.size() >= kMaxJobs;
    int64_t bytes = 0;
    for (const Job& job : jobs)
        bytes += job.state == State::Waiting ? job.frame.sample.data.Size() : 0; // others may belong to a worker
    return bytes >= kMaxBytes;
}

bool CompressionWorkers::Busy() const
{
    const std::lock_guard lock(mutex);
    return !jobs.empty();
}

bool CompressionWorkers::Awaits(int64_t time) const
{
    const std::lock_guard lock(mutex);
    return !jobs.empty() && jobs.front().frame.sample.captureTime < time;
}

void CompressionWorkers::Finish()
{
    std::unique_lock lock(mutex);
    done.wait(lock, [this] { return jobs.empty(); });
}

void CompressionWorkers::Discard()
{
    std::unique_lock lock(mutex);
    std::erase_if(jobs, [](const Job& job) { return job.state != State::InWork; });
    for (Job& job : jobs)
        job.state = State::Forgotten;
    // Also where no job is in work: a finished one may have been among those.
    RequestKeyFrame();
    done.wait(lock, [this] { return jobs.empty(); });
}

void CompressionWorkers::Work()
{
    Compressor own;
    std::unique_lock lock(mutex);
    for (;;) {
        Job* job = NextWaiting();
        if (ending)
            return;
        if (!job) {
            work.wait(lock);
            continue;
        }
        const bool isOrdered = IsOrdered(*job);
        job->state = State::InWork;
        orderedInWork |= isOrdered;
        lock.unlock();
        (isOrdered ? *ordered : own).Compress(job->frame);
        lock.lock();
        if (isOrdered) {
            orderedInWork = false;
            work.notify_one();
        }
        if (job->state == State::Forgotten)
            std::erase_if(jobs, [job](const Job& other) { return &other == job; });
        else
            job->state = State::Finished;
        HandOnFinished();
    }
}

bool CompressionWorkers::IsOrdered(const Job& job)
{
    return job.frame.settings && IsInterFrame(job.frame.settings->codec);
}

CompressionWorkers::Job* CompressionWorkers::NextWaiting()
{
    const auto found = std::ranges::find_if(
        jobs, [this](const Job& job) { return job.state == State::Waiting && !(orderedInWork && IsOrdered(job)); });
    return found == jobs.end() ? nullptr : &*found;
}

void CompressionWorkers::HandOnFinished()
{
    while (!jobs.empty() && jobs.front().state == State::Finished) {
        Sample sample = std::move(jobs.front().frame.sample);
        jobs.pop_front();
        if (sample.data.Size() > 0)
            outlet.finished(std::move(sample));
        else
            outlet.unreadable(sample.captureTime);
    }
    if (jobs.empty())
        done.notify_all();
}

} // namespace platform
