// SPDX-License-Identifier: MIT
#include "platform/grabber/dialogs/DataRate.h"
#include "platform/grabber/dialogs/VideoPages.h"

#include <QComboBox>
#include <QLabel>
#include <QSignalBlocker>
#include <QSlider>

#include <algorithm>
#include <iterator>

namespace platform {
namespace {

QString QualityText(int quality)
{
    const char* names[] = {"Least", "Low", "Normal", "High", "Best"};
    return QString("%1 (%2 %)").arg(names[(quality + 128) / 256]).arg(quality * 100 / kHighestQuality);
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
    return bytesPerSecond == 0 ? QString("None") : QString("%1 Mbit a second").arg(megabits);
}

// A popup's choices: 0, the usual values, and the present one where it is none of them.
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
        AddRow("&Quality:", quality);
        Form()->addRow(QString(), qualityText);
        AddRow("D&epth:", depth);
        AddRow("&Key frames:", keyFrames);
        AddRow("&Between them:", betweenQuality);
        Form()->addRow(QString(), betweenText);
        AddRow("&Rate limit:", rateLimit);
        AddRow("Data rate:", dataRate);
        AddRow(QString(), tooSlow);
        tooSlow->setWordWrap(true);
        for (QSlider* slider : {quality, betweenQuality}) {
            slider->setRange(0, kHighestQuality);
            slider->setPageStep(kHighestQuality / 8);
        }
        betweenQuality->setAccessibleName("Quality between key frames");
        using Settings = CompressionSettings;
        connect(compressor, &QComboBox::activated, this, [this] {
            const auto codec = static_cast<FourCharCode>(compressor->currentData().toInt());
            Take("Compressor", [=](Settings& wanted) { wanted.codec = codec; });
        });
        connect(quality, &QSlider::valueChanged, this,
                [this](int value) { Take("Quality", [=](Settings& wanted) { wanted.spatialQuality = value; }); });
        connect(betweenQuality, &QSlider::valueChanged, this, [this](int value) {
            Take("Quality between key frames", [=](Settings& wanted) { wanted.temporalQuality = value; });
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
        dataRate->setText(bytesPerSecond > 0 ? DataRateText(bytesPerSecond) : QString("measuring"));
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
        // What the device compresses itself can be kept as it comes, also where nothing here could make it.
        const FourCharCode sent = channel.TheDigitizer().Format().format;
        const auto isDelivered = [&](const CompressorName& one) { return channel.IsDelivered(one.codec); };
        if (std::ranges::none_of(known, isDelivered))
            offer(sent, DescriptionOfPassThrough(sent, 16, 16).name);
        ShowChoices(*compressor, choices, static_cast<int>(inUse));
    }

    void ShowQuality(int32_t present, bool compresses, bool adjustable)
    {
        const QSignalBlocker quiet(quality);
        quality->setValue(present);
        quality->setEnabled(adjustable);
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

    // Where every frame is a key frame, there is nothing between them to set.
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
        const QSignalBlocker quiet(betweenQuality);
        betweenQuality->setValue(present.temporalQuality);
        betweenText->setText(rate == 1 ? QString("Each frame is stored by itself.")
                                       : QualityText(present.temporalQuality));
        betweenQuality->setEnabled(isInterFrame && rate != 1);
        keyFrames->setEnabled(isInterFrame);
        rateLimit->setEnabled(isInterFrame);
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
        rate.BeginAnew();
        givenUpBefore = channel.Counts().droppedInQueue;
        Changed(setting, channel.SetCompression(wanted));
    }

    VideoChannel& channel;
    const std::vector<CompressorName> known;
    QComboBox* compressor = new QComboBox;
    QSlider* quality = new QSlider(Qt::Horizontal);
    QLabel* qualityText = new QLabel;
    QComboBox* depth = new QComboBox;
    QComboBox* keyFrames = new QComboBox;
    QSlider* betweenQuality = new QSlider(Qt::Horizontal);
    QLabel* betweenText = new QLabel;
    QComboBox* rateLimit = new QComboBox;
    QLabel* dataRate = new QLabel;
    QLabel* tooSlow = new QLabel;
    DataRate rate;
    uint64_t givenUpBefore = channel.Counts().droppedInQueue;
};

} // namespace

SettingsPage* MakeVideoCompressionPage(VideoChannel& channel)
{
    return new VideoCompressionPage(channel);
}

} // namespace platform
