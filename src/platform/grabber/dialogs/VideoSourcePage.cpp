// SPDX-License-Identifier: MIT
#include "platform/digitizer/KernelDeviceEvents.h"
#include "platform/drawing/PixelFormat.h"
#include "platform/grabber/dialogs/DataRate.h"
#include "platform/grabber/dialogs/DevicePage.h"
#include "platform/grabber/dialogs/VideoPages.h"

#include <algorithm>
#include <functional>

namespace platform {
namespace {

class VideoSourcePage : public DevicePage {
public:
    VideoSourcePage(SettingsTrial& trial, VideoChannel& tried) : DevicePage(trial), channel(tried)
    {
        AddRow("S&tandard:", standard);
        AddRow("&Picture:", preset);
        AddRow("&Format:", format);
        AddRow("Frame si&ze:", size);
        AddRow("Frame &rate:", rate);
        connect(standard, &QComboBox::activated, this,
                [this](int index) { Changed("Standard", channel.GetDigitizer().SelectStandard(index)); });
        connect(preset, &QComboBox::activated, this, [this] { TakePreset(); });
        for (QComboBox* popup : {format, size, rate})
            connect(popup, &QComboBox::activated, this, [this, popup] { TakeFormat(popup); });
        for (KernelDeviceEvents* watcher : {&cameras, &camcorders})
            WatchDevices(watcher->Descriptor(), [watcher] { return !watcher->Read().empty(); });
    }

    void ShowSettings() override
    {
        DevicePage::ShowSettings();
        ShowStandards();
        const CaptureFormat present = channel.GetDigitizer().Format();
        offered = channel.GetDigitizer().Formats();
        if (std::ranges::find(offered, present) == offered.end())
            offered.push_back(present);
        ShowPresets(present);
        ShowOffered(*format, NameOfFormat, [](const CaptureFormat&) { return true; });
        ShowOffered(*size, NameOfSize, [&](const CaptureFormat& one) { return one.format == present.format; });
        ShowOffered(*rate, NameOfRate, [&](const CaptureFormat& one) {
            return one.format == present.format && one.width == present.width && one.height == present.height;
        });
    }

    void ShowArrived(std::span<const Sample>) override { KeepShowingSettings(); }

protected:
    Result SelectInput(int input) override { return channel.GetDigitizer().SelectInput(input); }

private:
    // What cameras call Motion JPEG is stored as a sequence of still images, and named accordingly as a compressor.
    static QString NameOfFormat(const CaptureFormat& one)
    {
        if (one.format == CodeOf("jpeg"))
            return "Motion JPEG";
        return ToText(DescriptionOfPassThrough(one.format, one.width, one.height).name);
    }
    static QString NameOfSize(const CaptureFormat& one) { return QString("%1 × %2").arg(one.width).arg(one.height); }
    static QString NameOfRate(const CaptureFormat& one) { return ShortNumberText(one.frameRate) + " frames a second"; }

    // "1280 × 720, 30 a second, Motion JPEG". The data rate of uncompressed pictures is computed.
    static QString NameOfPreset(const CaptureFormat& one)
    {
        const double bytesPerSecond = one.frameRate * one.height * PackedRowBytes(one.format, one.width);
        return NameOfSize(one) + ", " + ShortNumberText(one.frameRate) + " a second, " + NameOfFormat(one) +
               (bytesPerSecond > 0 ? ", " + PerSecondText(bytesPerSecond) : QString());
    }

    // Each size of each format at its highest rate, the largest first, and the format in use at any rate.
    void ShowPresets(const CaptureFormat& present)
    {
        std::vector<size_t> best;
        for (size_t i = 0; i < offered.size(); ++i) {
            const auto isSame = [&](size_t other) {
                return offered[other].format == offered[i].format && offered[other].width == offered[i].width &&
                       offered[other].height == offered[i].height;
            };
            const auto known = std::ranges::find_if(best, isSame);
            if (known == best.end())
                best.push_back(i);
            else if (offered[*known].frameRate < offered[i].frameRate)
                *known = i;
        }
        const auto inUse = static_cast<size_t>(std::ranges::find(offered, present) - offered.begin());
        if (std::ranges::find(best, inUse) == best.end())
            best.push_back(inUse);
        std::ranges::stable_sort(best, std::greater(), [this](size_t index) {
            return std::pair(int64_t{offered[index].width} * offered[index].height, offered[index].frameRate);
        });
        std::vector<Choice> choices;
        for (const size_t index : best)
            choices.push_back({NameOfPreset(offered[index]), static_cast<int>(index)});
        ShowChoices(*preset, choices, static_cast<int>(inUse));
    }

    void TakePreset()
    {
        const auto index = static_cast<size_t>(preset->currentData().toInt());
        if (index < offered.size())
            Changed("Picture", channel.SetFormat(offered[index]));
    }

    void ShowStandards()
    {
        std::vector<Choice> choices;
        for (const std::string& name : channel.GetDigitizer().Standards())
            choices.push_back({ToText(name), static_cast<int>(choices.size())});
        ShowChoices(*standard, choices, channel.GetDigitizer().Standard());
        Form()->setRowVisible(standard, choices.size() > 1);
    }

    // One choice for each name among the offered formats that match the rows above; its value is the index of the first
    // such format, or of the one in use.
    template <typename Name, typename Goes> void ShowOffered(QComboBox& popup, Name name, Goes goes)
    {
        const CaptureFormat present = channel.GetDigitizer().Format();
        std::vector<Choice> choices;
        int chosen = -1;
        for (size_t i = 0; i < offered.size(); ++i) {
            if (!goes(offered[i]))
                continue;
            auto listed = std::ranges::find(choices, name(offered[i]), &Choice::text);
            if (listed == choices.end())
                listed = choices.insert(choices.end(), {name(offered[i]), static_cast<int>(i)});
            if (name(offered[i]) == name(present))
                chosen = listed->value;
        }
        ShowChoices(popup, choices, chosen);
    }

    // The changed row gets its choice. The others keep theirs as far as the device supports it.
    void TakeFormat(const QComboBox* touched)
    {
        const auto index = static_cast<size_t>(touched->currentData().toInt());
        if (index >= offered.size())
            return;
        CaptureFormat wanted = channel.GetDigitizer().Format();
        const CaptureFormat& chosen = offered[index];
        if (touched == format)
            wanted.format = chosen.format;
        else if (touched == size)
            wanted = {wanted.format, chosen.width, chosen.height, wanted.frameRate};
        else
            wanted.frameRate = chosen.frameRate;
        Changed("Frame format", channel.SetFormat(wanted));
    }

    VideoChannel& channel;
    std::vector<CaptureFormat> offered;
    KernelDeviceEvents cameras{"video4linux"};
    KernelDeviceEvents camcorders{"firewire"};
    QComboBox* standard = new QComboBox;
    QComboBox* preset = new QComboBox;
    QComboBox* format = new QComboBox;
    QComboBox* size = new QComboBox;
    QComboBox* rate = new QComboBox;
};

} // namespace

SettingsPage* MakeVideoSourcePage(SettingsTrial& trial, VideoChannel& channel)
{
    return new VideoSourcePage(trial, channel);
}

} // namespace platform
