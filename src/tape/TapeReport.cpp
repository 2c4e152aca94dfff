// SPDX-License-Identifier: MIT
#include "tape/TapeReport.h"

#include <QJsonArray>

#include <cmath>
#include <cstdio>

namespace velmora {
namespace {

using platform::TextOf;

std::string ClockText(double seconds)
{
    const long long hundredths = std::llround(seconds * 100);
    char text[64];
    std::snprintf(text, sizeof text, "%02lld:%02lld:%02lld.%02lld", hundredths / 360'000, hundredths / 6000 % 60,
                  hundredths / 100 % 60, hundredths % 100);
    return text;
}

template <typename Value>
std::string RangeText(const char* what, const std::optional<Value>& first, const std::optional<Value>& last)
{
    return first && last ? std::string(what) + " " + TextOf(*first) + " to " + TextOf(*last)
                         : "without " + std::string(what);
}

const char* KindText(TapeFault::Kind kind)
{
    switch (kind) {
    case TapeFault::Kind::Lost:
        return "lost";
    case TapeFault::Kind::Incomplete:
        return "incomplete";
    case TapeFault::Kind::Concealed:
        break;
    }
    return "concealed";
}

std::string Counted(int64_t frames)
{
    return std::to_string(frames) + (frames == 1 ? " frame " : " frames ");
}

std::string FaultText(const TapeFault& fault, double frameSeconds)
{
    std::string text = "  " + ClockText(static_cast<double>(fault.frame) * frameSeconds);
    if (fault.timecode)
        text += " (tape " + TextOf(*fault.timecode) + ")";
    text += "  " + Counted(fault.frames) + KindText(fault.kind);
    if (fault.blocks > 0)
        text += ", " + std::to_string(fault.blocks) + " blocks";
    return text + "\n";
}

template <typename Value> QJsonValue JsonText(const std::optional<Value>& value)
{
    return value ? QJsonValue(QString::fromStdString(TextOf(*value))) : QJsonValue();
}

QJsonObject JsonOf(const TapeFault& fault)
{
    return {{"kind", KindText(fault.kind)},
            {"frame", static_cast<qint64>(fault.frame)},
            {"frames", static_cast<qint64>(fault.frames)},
            {"blocks", static_cast<qint64>(fault.blocks)},
            {"timecode", JsonText(fault.timecode)}};
}

} // namespace

std::string TextOf(const TapeFileReport& file)
{
    std::string text = file.path + ": " + (file.isPal ? "625 lines, " : "525 lines, ") + ClockText(file.Seconds()) +
                       ", " + Counted(file.length - file.lost) + "recorded, " + std::to_string(file.lost) + " lost, " +
                       std::to_string(file.incomplete) + " incomplete, " + std::to_string(file.concealed) +
                       " concealed\n";
    text += "  " + RangeText("timecode", file.firstTimecode, file.lastTimecode);
    if (file.firstTimecode && file.withoutTimecode > 0)
        text += " (" + Counted(file.withoutTimecode) + "without)";
    text += ", " + RangeText("recording date", file.firstRecorded, file.lastRecorded) + "\n";
    for (const TapeFault& fault : file.faults)
        text += FaultText(fault, file.Seconds() / static_cast<double>(file.length));
    return text;
}

QJsonObject JsonOf(const TapeFileReport& file)
{
    QJsonArray faults;
    for (const TapeFault& fault : file.faults)
        faults.append(JsonOf(fault));
    return {{"file", QString::fromStdString(file.path)},
            {"system", file.isPal ? "625/50" : "525/60"},
            {"seconds", file.Seconds()},
            {"frames", static_cast<qint64>(file.length - file.lost)},
            {"lost", static_cast<qint64>(file.lost)},
            {"incomplete", static_cast<qint64>(file.incomplete)},
            {"concealed", static_cast<qint64>(file.concealed)},
            {"withoutTimecode", static_cast<qint64>(file.withoutTimecode)},
            {"firstTimecode", JsonText(file.firstTimecode)},
            {"lastTimecode", JsonText(file.lastTimecode)},
            {"firstRecorded", JsonText(file.firstRecorded)},
            {"lastRecorded", JsonText(file.lastRecorded)},
            {"faults", faults}};
}

} // namespace velmora
