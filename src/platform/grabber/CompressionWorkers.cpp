// SPDX-License-Identifier: MIT
// Two workers and one queue of jobs.
//
// Jobs are queued in the order of capture from their arrival until they are passed on. A worker takes the first waiting
// one, compresses it without holding the lock, and then passes on all finished jobs at the head of the queue: so a fast
// frame waits for the slow one before it, and the order needs no numbers.
//
// Frames of an inter-frame codec, made here or by the device, go through one compressor, in the order of the queue, by
// whichever worker is free: the codec has its own threads. Such frames depend on one another. When one is lost after it
// was compressed, a key frame is requested.
#include "platform/grabber/CompressionWorkers.h"

#include "platform/compression/FrameDecoder.h"
#include "platform/compression/KeyFrames.h"
#include "platform/compression/RawPictures.h"

#include <algorithm>
#include <utility>

namespace platform {
namespace {

// Limits of the queue: a second or two of a machine that is delayed, but only a few of the largest frames.
constexpr size_t kFewJobs = 8;
constexpr size_t kMaxJobs = 128;
constexpr int64_t kMaxBytes = int64_t{96} << 20;

// The pictures of frames that a device compressed with an inter-frame codec. If a frame does not decode, the previous
// picture is repeated until the next key frame.
class DeliveredPictures {
public:
    // The picture of the next frame, as 32-bit pixels with packed rows; empty before the first one.
    SampleData Next(const SampleData& frame, const SharedDescription& delivered)
    {
        const ImageDescription& image = delivered->image;
        if (!decoder || !IsDecodedAlike(image, decoded)) {
            decoder = FrameDecoder::Create(image);
            if (image.width != decoded.width || image.height != decoded.height)
                newest = {};
            decoded = image;
            needsKey = true;
        }
        if (needsKey && !IsKeyFrame(image.codec, frame.Bytes()))
            return newest;
        SampleData picture = SampleData::Uncleared(PackedImageSize(kPixelFormat32, image.width, image.height));
        const PortPixels target{.pixels = picture.Bytes().data(),
                                .rowBytes = PackedRowBytes(kPixelFormat32, image.width),
                                .width = image.width,
                                .height = image.height};
        needsKey = !decoder || picture.Size() == 0 || decoder->Decode(frame.Bytes(), target) != noErr;
        if (needsKey)
            RequestKeyFrame();
        else
            newest = std::move(picture);
        return newest;
    }

private:
    std::unique_ptr<FrameDecoder> decoder;
    ImageDescription decoded;
    SampleData newest;
    bool needsKey = true;
};

} // namespace

// A compressor that is created again when the settings change. Frames of one kind share its descriptions.
class CompressionWorkers::Compressor {
public:
    // Decodes a frame of an inter-frame codec, and compresses a frame that has settings. The compressed frame replaces
    // the sample's data, which is empty if the frame can't be read.
    void Process(Frame& frame)
    {
        Sample& sample = frame.sample;
        const bool isInterFrame = IsInterFrame(frame.delivered->image.codec);
        if (isInterFrame)
            AddPicture(frame);
        if (isInterFrame && frame.settings) {
            sample.data = std::exchange(sample.sent, {});
            frame.delivered = std::exchange(sample.sentDescription, nullptr);
        }
        if (frame.settings && frame.delivered)
            Compress(frame);
    }

private:
    void AddPicture(Frame& frame)
    {
        Sample& sample = frame.sample;
        const ImageDescription& image = frame.delivered->image;
        sample.isKey = IsKeyFrame(image.codec, sample.data.Bytes());
        sample.sent = pictures.Next(sample.data, frame.delivered);
        if (sample.sent.Size() == 0)
            return;
        if (!pixels || pixels->image.width != image.width || pixels->image.height != image.height)
            pixels = DescribeImage(DescriptionOfLayout(kPixelFormat32, image.width, image.height));
        sample.sentDescription = pixels;
    }

    void Compress(Frame& frame)
    {
        if (!frame.isWanted && PutOff(frame))
            return;
        if (!settings || (frame.settings != settings && *frame.settings != *settings)) {
            compressor = FrameCompressor::Create(*frame.settings);
            description = nullptr;
        }
        settings = frame.settings;
        const RawFrame raw = FrameOfDescription(frame.sample.data.Bytes(), frame.delivered->image);
        frame.sample.sent = std::move(frame.sample.data);
        frame.sample.data = SampleData(compressor ? compressor->Compress(raw) : OwnedBlock());
        if (frame.sample.data.Size() > 0)
            Describe(frame);
        if (!frame.sample.sentDescription)
            frame.sample.sent = SampleData();
    }

    // Leaves the frame as it is if its description is known without compressing it. False if not.
    bool PutOff(Frame& frame)
    {
        if (IsOrdered(frame) || !description || frame.delivered != described || *frame.settings != *settings)
            return false;
        Sample& sample = frame.sample;
        sample.description = description;
        sample.sent = sample.data;
        sample.sentDescription = frame.delivered;
        sample.compress = [settings = frame.settings, delivered = frame.delivered, data = sample.data] {
            return FrameCompressor::Create(*settings)->Compress(FrameOfDescription(data.Bytes(), delivered->image));
        };
        return true;
    }

    void Describe(Frame& frame)
    {
        if (!description || frame.delivered != described) {
            const ImageDescription& image = frame.delivered->image;
            description = DescribeImage(compressor->Description(image.width, image.height));
            described = frame.delivered;
        }
        frame.sample.description = description;
        frame.sample.isKey = IsKeyFrame(settings->codec, frame.sample.data.Bytes());
        if (IsInterFrame(settings->codec))
            frame.sample.sentDescription = frame.delivered;
    }

    Settings settings;
    std::unique_ptr<FrameCompressor> compressor;
    SharedDescription description;
    SharedDescription described; ///< the delivered frames for which `description` was made
    DeliveredPictures pictures;
    SharedDescription pixels; ///< of `pictures`
};

CompressionWorkers::CompressionWorkers(Outlet toOutlet)
    : outlet(std::move(toOutlet)), ordered(std::make_unique<Compressor>())
{
    for (Worker& worker : workers)
        worker.thread = std::thread([this, &worker] { Work(worker); });
}

CompressionWorkers::~CompressionWorkers()
{
    {
        const std::lock_guard lock(mutex);
        ending = true;
    }
    for (Worker& worker : workers)
        worker.work.notify_one();
    for (Worker& worker : workers)
        worker.thread.join();
}

void CompressionWorkers::Submit(Frame frame)
{
    const State state = NeedsWork(frame) ? State::Waiting : State::Finished;
    const std::lock_guard lock(mutex);
    if (IsFull()) {
        const auto oldest = std::ranges::find(jobs, State::Waiting, &Job::state);
        if (oldest != jobs.end()) {
            const Frame dropped = std::move(oldest->frame);
            jobs.erase(oldest);
            outlet.dropped(dropped.sample.captureTime);
            if (IsInterFrame(dropped.delivered->image.codec))
                RequestKeyFrame();
        }
    }
    jobs.push_back({std::move(frame), state});
    HandOnFinished();
    WakeWorker();
}

// The first one that has nothing to do: what it needs is still in its processor's cache if it did the last job as well.
void CompressionWorkers::WakeWorker()
{
    const auto idle = std::ranges::find(workers, true, &Worker::isIdle);
    if (idle == workers.end())
        return;
    idle->isIdle = false;
    idle->work.notify_one();
}

bool CompressionWorkers::IsFull() const
{
    if (jobs.size() < kFewJobs || jobs.size() >= kMaxJobs)
        return jobs.size() >= kMaxJobs;
    int64_t bytes = 0;
    for (const Job& job : jobs)
        bytes += job.state == State::Waiting ? job.frame.sample.data.Size() : 0; // a worker may be using the others
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
    // Even if no job is in progress: a finished one may have been among those.
    RequestKeyFrame();
    done.wait(lock, [this] { return jobs.empty(); });
}

void CompressionWorkers::Work(Worker& self)
{
    Compressor own;
    std::unique_lock lock(mutex);
    for (;;) {
        Job* job = NextWaiting();
        if (ending)
            return;
        if (!job) {
            self.isIdle = true;
            self.work.wait(lock);
            self.isIdle = false;
            continue;
        }
        const bool isOrdered = IsOrdered(job->frame);
        job->state = State::InWork;
        orderedInWork |= isOrdered;
        lock.unlock();
        (isOrdered ? *ordered : own).Process(job->frame);
        lock.lock();
        if (isOrdered) {
            orderedInWork = false;
            WakeWorker();
        }
        if (job->state == State::Forgotten)
            std::erase_if(jobs, [job](const Job& other) { return &other == job; });
        else
            job->state = State::Finished;
        HandOnFinished();
    }
}

bool CompressionWorkers::NeedsWork(const Frame& frame)
{
    return frame.settings || IsOrdered(frame);
}

bool CompressionWorkers::IsOrdered(const Frame& frame)
{
    return IsInterFrame(frame.delivered->image.codec) || (frame.settings && IsInterFrame(frame.settings->codec));
}

CompressionWorkers::Job* CompressionWorkers::NextWaiting()
{
    const auto found = std::ranges::find_if(jobs, [this](const Job& job) {
        return job.state == State::Waiting && !(orderedInWork && IsOrdered(job.frame));
    });
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
