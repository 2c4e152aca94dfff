// Two threads and one line of jobs.
//
// Jobs stand in the order of capture from the moment they come in until they are handed on. A worker takes the first
// that waits, compresses it outside of the lock, and then hands on everything at the head of the line that is
// finished: so a frame that was quick waits for the slow one before it, and the order needs no numbers.
#include "platform/grabber/CompressionWorkers.h"

#include <algorithm>

namespace platform {
namespace {

// Two keep up with a camera that one would just fail with, and leave the machine's other cores to the live picture.
constexpr int kThreads = 2;
constexpr size_t kMostJobs = 8;

} // namespace

// A worker's compressor: made anew when the settings change. Its descriptions are shared by the frames of one size.
class CompressionWorkers::Compressor {
public:
    // The sample's data becomes the compressed frame; it is empty when the frame can't be read.
    void Compress(Frame& frame)
    {
        if (frame.settings != settings) {
            settings = frame.settings;
            compressor = FrameCompressor::Create(*settings);
            description = nullptr;
        }
        const RawFrame raw{frame.sample.data.Bytes(), frame.format, frame.width, frame.height};
        frame.sample.data = SampleData(compressor ? compressor->Compress(raw) : OwnedBlock());
        if (frame.sample.data.Size() == 0)
            return;
        if (!description || description->image.width != frame.width || description->image.height != frame.height) {
            auto fresh = std::make_shared<SampleDescription>();
            fresh->image = compressor->Description(frame.width, frame.height);
            fresh->record = RecordOf(fresh->image);
            description = std::move(fresh);
        }
        frame.sample.description = description;
    }

private:
    Settings settings;
    std::unique_ptr<FrameCompressor> compressor;
    SharedDescription description;
};

CompressionWorkers::CompressionWorkers(Outlet toOutlet) : outlet(std::move(toOutlet))
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
    if (jobs.size() >= kMostJobs) {
        const auto oldest = std::ranges::find(jobs, State::Waiting, &Job::state);
        if (oldest != jobs.end()) {
            jobs.erase(oldest);
            outlet.dropped();
        }
    }
    jobs.push_back({std::move(frame), state});
    HandOnFinished();
    work.notify_one();
}

bool CompressionWorkers::Busy() const
{
    const std::lock_guard lock(mutex);
    return !jobs.empty();
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
    done.wait(lock, [this] { return jobs.empty(); });
}

void CompressionWorkers::Work()
{
    Compressor compressor;
    std::unique_lock lock(mutex);
    for (;;) {
        Job* job = NextWaiting();
        if (ending)
            return;
        if (!job) {
            work.wait(lock);
            continue;
        }
        job->state = State::InWork;
        lock.unlock();
        compressor.Compress(job->frame);
        lock.lock();
        if (job->state == State::Forgotten)
            std::erase_if(jobs, [job](const Job& other) { return &other == job; });
        else
            job->state = State::Finished;
        HandOnFinished();
    }
}

CompressionWorkers::Job* CompressionWorkers::NextWaiting()
{
    const auto found = std::ranges::find(jobs, State::Waiting, &Job::state);
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
            outlet.unreadable();
    }
    if (jobs.empty())
        done.notify_all();
}

} // namespace platform
