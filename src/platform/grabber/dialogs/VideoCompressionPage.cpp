#include "platform/grabber/dialogs/DataRate.h"
#include "platform/grabber/dialogs/VideoPages.h"

#include <QComboBox>
#include <QLabel>
#include <QSignalBlocker>
#include <QSlider>

#include <algorithm>

namespace platform {
namespace {

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
        const auto inUse = std::ranges::find(known, present.codec, &CompressorName::codec);
        const bool compresses = !channel.IsDelivered(present.codec) && inUse != known.end();
        ShowCompressors(present.codec);
        ShowQuality(present.spatialQuality, compresses, compresses && inUse->hasQuality);
        ShowDepth(present.depth, compresses && inUse->hasAlpha);
    }

    void ShowArrived(std::span<const Sample> arrived) override
    {
        for (const Sample& frame : arrived)
            rate.Add(frame.captureTime, frame.data.Size());
        rate.NoteTurn(!arrived.empty());
        const double bytesPerSecond = rate.BytesPerSecond();
        dataRate->setText(bytesPerSecond > 0 ? DataRateText(bytesPerSecond) : QString("measuring"));
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
