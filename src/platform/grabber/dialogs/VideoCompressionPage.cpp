// SPDX-License-Identifier: MIT
#include "platform/grabber/dialogs/DataRate.h"
#include "platform/grabber/dialogs/ValueEditor.h"
#include "platform/grabber/dialogs/VideoPages.h"

#include <QComboBox>
#include <QLabel>

#include <algorithm>
#include <iterator>

namespace platform {
namespace {

QString QualityText(int quality)
{
    const char* names[] = {"Least", "Low", "Normal", "High", "Best"};
    return names[(quality + 128) / 256];
}

// Shown as a percentage of the maximum.
static_assert(kHighestQuality == 1024);
ImageControl QualityControl(const char* name)
{
    return {.name = name,
            .maximum = kHighestQuality,
            .deviceDefault = CompressionSettings().spatialQuality,
            .unit = "× 0.09765625 %"};
}

constexpr int kKeyFrameRates[] = {1, 10, 15, 30, 60, 150, 300};
constexpr int kMegabits[] = {1, 2, 4, 8, 16, 32, 64};
constexpr int kBytesInAMegabit = 125'000;

QString KeyFrameText(int rate)
{
    return rate == 0 ? QString("Automatic") : rate == 1 ? QString("Every frame") : QString("Every %1 frames").arg(rate);
}

QString LimitText(int bytesPerSecond)
{
    const double megabits = static_cast<double>(bytesPerSecond) / kBytesInAMegabit;
    return bytesPerSecond == 0 ? QString("None") : ShortNumberText(megabits) + " Mbit a second";
}

// The choices of a popup: 0, the usual values, and the present one if it is not among them.
std::vector<Choice> ChoicesWith(int present, std::vector<int> values, QString (*text)(int))
{
    values.insert(values.begin(), 0);
    if (std::ranges::find(values, present) == values.end())
        values.push_back(present);
    std::ranges::sort(values);
    std::vector<Choice> choices;
    for (const int value : values)
        choices.push_back({text(value), value});
    return choices;
}

class VideoCompressionPage : public SettingsPage {
public:
    explicit VideoCompressionPage(VideoChannel& tried) : channel(tried), known(AvailableCompressors())
    {
        AddRow("Com&pressor:", compressor);
        AddRow("&Quality:", quality->Row());
        Form()->addRow(QString(), qualityText);
        AddRow("D&epth:", depth);
        AddRow("&Key frames:", keyFrames);
        AddRow("&Between them:", betweenQuality->Row());
        Form()->addRow(QString(), betweenText);
        AddRow("&Rate limit:", rateLimit);
        AddRow("Data rate:", dataRate);
        Form()->addRow(QString(), tooSlow);
        using Settings = CompressionSettings;
        connect(compressor, &QComboBox::activated, this, [this] {
            const auto codec = static_cast<FourCharCode>(compressor->currentData().toInt());
            Take("Compressor", [=](Settings& wanted) { wanted.codec = codec; });
        });
        TakeChoicesOf(*depth, "Depth", &Settings::depth);
        TakeChoicesOf(*keyFrames, "Key frames", &Settings::keyFrameRate);
        TakeChoicesOf(*rateLimit, "Rate limit", &Settings::dataRate);
    }

    void ShowSettings() override
    {
        const CompressionSettings present = channel.Compression();
        const auto inUse = std::ranges::find(known, present.codec, &CompressorName::codec);
        const bool compresses = !channel.IsDelivered(present.codec) && inUse != known.end();
        ShowCompressors(present.codec);
        ShowQuality(present.spatialQuality, compresses, compresses && inUse->hasQuality);
        ShowDepth(present.depth, compresses && inUse->hasAlpha);
        ShowInterFrame(present, compresses && inUse->isInterFrame);
    }

    void ShowArrived(std::span<const Sample> arrived) override
    {
        for (const Sample& frame : arrived)
            rate.Add(frame.captureTime, frame.data.Size());
        rate.NoteTurn(!arrived.empty());
        const double bytesPerSecond = rate.BytesPerSecond();
        dataRate->setText(bytesPerSecond > 0 ? DataRateText(bytesPerSecond) : QString("Measuring"));
        const uint64_t givenUp = channel.Counts().droppedInQueue - givenUpBefore;
        tooSlow->setText(givenUp == 0 ? QString()
                                      : QString("This machine is too slow for this compressor at this frame size and "
                                                "rate. Frames lost so far: %1")
                                            .arg(givenUp));
    }

private:
    void ShowCompressors(FourCharCode inUse)
    {
        std::vector<Choice> choices;
        const auto offer = [&](FourCharCode codec, const std::string& name) {
            const QString remark = channel.IsDelivered(codec) ? " (as delivered)" : "";
            choices.push_back({ToText(name) + remark, static_cast<int>(codec)});
        };
        for (const CompressorName& one : known)
            offer(one.codec, one.name);
        // Frames that the device compresses itself can be stored unchanged, even if no compressor here could make them.
        const FourCharCode sent = channel.GetDigitizer().Format().format;
        const auto isDelivered = [&](const CompressorName& one) { return channel.IsDelivered(one.codec); };
        if (std::ranges::none_of(known, isDelivered))
            offer(sent, DescriptionOfPassThrough(sent, 16, 16).name);
        ShowChoices(*compressor, choices, static_cast<int>(inUse));
    }

    void ShowQuality(int32_t present, bool compresses, bool adjustable)
    {
        quality->Show(present, adjustable);
        qualityText->setText(!compresses  ? QString("Frames are kept as the device delivers them.")
                             : adjustable ? QualityText(present)
                                          : QString("This compressor has one quality."));
    }

    void ShowDepth(int32_t present, bool withAlpha)
    {
        std::vector<Choice> choices{{"24 bits", 24}};
        if (withAlpha)
            choices.push_back({"32 bits", 32});
        ShowChoices(*depth, choices, withAlpha ? present : 24);
        depth->setEnabled(withAlpha);
    }

    // If every frame is a key frame, there is nothing to set for the frames between them.
    void ShowInterFrame(const CompressionSettings& present, bool isInterFrame)
    {
        const int rate = isInterFrame ? present.keyFrameRate : 1;
        const int limit = isInterFrame ? present.dataRate : 0;
        std::vector<int> limits;
        std::ranges::transform(kMegabits, std::back_inserter(limits),
                               [](int megabits) { return megabits * kBytesInAMegabit; });
        ShowChoices(*keyFrames, ChoicesWith(rate, {std::begin(kKeyFrameRates), std::end(kKeyFrameRates)}, KeyFrameText),
                    rate);
        ShowChoices(*rateLimit, ChoicesWith(limit, limits, LimitText), limit);
        betweenQuality->Show(present.temporalQuality, isInterFrame && rate != 1);
        betweenText->setText(rate == 1 ? QString("Each frame is stored by itself.")
                                       : QualityText(present.temporalQuality));
        keyFrames->setEnabled(isInterFrame);
        rateLimit->setEnabled(isInterFrame);
    }

    ValueEditor* NewQuality(const char* name, int32_t CompressionSettings::*field)
    {
        return new ValueEditor(
            QualityControl(name),
            [=, this](int64_t value) {
                Take(name, [=](CompressionSettings& wanted) { wanted.*field = static_cast<int32_t>(value); });
            },
            this);
    }

    void TakeChoicesOf(QComboBox& popup, const QString& setting, int32_t CompressionSettings::*field)
    {
        connect(&popup, &QComboBox::activated, this, [this, &popup, setting, field] {
            Take(setting, [&](CompressionSettings& wanted) { wanted.*field = popup.currentData().toInt(); });
        });
    }

    template <typename Change> void Take(const QString& setting, const Change& change)
    {
        CompressionSettings wanted = channel.Compression();
        change(wanted);
        rate.Reset();
        givenUpBefore = channel.Counts().droppedInQueue;
        Changed(setting, channel.SetCompression(wanted));
    }

    VideoChannel& channel;
    const std::vector<CompressorName> known;
    QComboBox* compressor = new QComboBox;
    ValueEditor* quality = NewQuality("Quality", &CompressionSettings::spatialQuality);
    QLabel* qualityText = new QLabel;
    QComboBox* depth = new QComboBox;
    QComboBox* keyFrames = new QComboBox;
    ValueEditor* betweenQuality = NewQuality("Quality between key frames", &CompressionSettings::temporalQuality);
    QLabel* betweenText = new QLabel;
    QComboBox* rateLimit = new QComboBox;
    QLabel* dataRate = new QLabel;
    QLabel* tooSlow = NewNote();
    DataRate rate;
    uint64_t givenUpBefore = channel.Counts().droppedInQueue;
};

} // namespace

SettingsPage* MakeVideoCompressionPage(VideoChannel& channel)
{
    return new VideoCompressionPage(channel);
}

} // namespace platform
