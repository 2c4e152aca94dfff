#include "platform/grabber/dialogs/DataRate.h"
#include "platform/grabber/dialogs/VideoPages.h"

#include <QComboBox>
#include <QLabel>
#include <QSignalBlocker>
#include <QSlider>

#include <algorithm>

namespace platform {
namespace {

constexpr int kHighestQuality = 1024;

QString QualityText(int quality)
{
    const char* names[] = {"Least", "Low", "Normal", "High", "Best"};
    return QString("%1 (%2 %)").arg(names[(quality + 128) / 256]).arg(quality * 100 / kHighestQuality);
}

class VideoCompressionPage : public SettingsPage {
public:
    explicit VideoCompressionPage(VideoChannel& tried) : channel(tried), known(AvailableCompressors())
    {
        AddRow("Com&pressor:", compressor);
        AddRow("&Quality:", quality);
        Form()->addRow(QString(), qualityText);
        AddRow("D&epth:", depth);
        // None of the compressors describes a frame by its neighbours.
        AddRow("Key frames:", new QLabel("Every frame is a key frame."));
        AddRow("Data rate:", dataRate);
        quality->setRange(0, kHighestQuality);
        quality->setPageStep(kHighestQuality / 8);
        using Settings = CompressionSettings;
        connect(compressor, &QComboBox::activated, this, [this] {
            const auto codec = static_cast<FourCharCode>(compressor->currentData().toInt());
            Take("Compressor", [=](Settings& wanted) { wanted.codec = codec; });
        });
        connect(quality, &QSlider::valueChanged, this,
                [this](int value) { Take("Quality", [=](Settings& wanted) { wanted.spatialQuality = value; }); });
        connect(depth, &QComboBox::activated, this,
                [this] { Take("Depth", [this](Settings& wanted) { wanted.depth = depth->currentData().toInt(); }); });
    }

    void ShowSettings() override
    {
        const CompressionSettings present = channel.Compression();
        const FourCharCode deviceFormat = channel.TheDigitizer().Format().format;
        const auto inUse = std::ranges::find(known, present.codec, &CompressorName::codec);
        const bool compresses = !channel.PassesThrough() && inUse != known.end();
        ShowCompressors(present.codec, deviceFormat);
        ShowQuality(present.spatialQuality, compresses, compresses && inUse->hasQuality);
        ShowDepth(present.depth, compresses && inUse->hasAlpha);
    }

    void ShowArrived(std::span<const Sample> arrived) override
    {
        for (const Sample& frame : arrived)
            rate.Add(frame.captureTime, frame.data.Size());
        const double bytesPerSecond = rate.BytesPerSecond();
        dataRate->setText(bytesPerSecond > 0 ? DataRateText(bytesPerSecond) : QString("measuring"));
    }

private:
    void ShowCompressors(FourCharCode codec, FourCharCode deviceFormat)
    {
        std::vector<Choice> choices;
        for (const CompressorName& one : known)
            choices.push_back({ToText(one.name), static_cast<int>(one.codec)});
        // What the device compresses itself can be kept as it comes, also where nothing here could make it.
        if (std::ranges::find(known, deviceFormat, &CompressorName::codec) == known.end())
            choices.push_back(
                {ToText(DescriptionOfPassThrough(deviceFormat, 16, 16).name), static_cast<int>(deviceFormat)});
        for (Choice& choice : choices)
            if (choice.value == static_cast<int>(deviceFormat))
                choice.text += " (as delivered)";
        ShowChoices(*compressor, choices, static_cast<int>(codec));
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

    template <typename Change> void Take(const QString& setting, const Change& change)
    {
        CompressionSettings wanted = channel.Compression();
        change(wanted);
        rate.BeginAnew();
        Changed(setting, channel.SetCompression(wanted));
    }

    VideoChannel& channel;
    const std::vector<CompressorName> known;
    QComboBox* compressor = new QComboBox;
    QSlider* quality = new QSlider(Qt::Horizontal);
    QLabel* qualityText = new QLabel;
    QComboBox* depth = new QComboBox;
    QLabel* dataRate = new QLabel;
    DataRate rate;
};

} // namespace

SettingsPage* MakeVideoCompressionPage(VideoChannel& channel)
{
    return new VideoCompressionPage(channel);
}

} // namespace platform
