// SPDX-License-Identifier: MIT
#include "record/DeviceListing.h"

#include "platform/digitizer/Digitizer.h"
#include "platform/digitizer/dv/DvDigitizer.h"
#include "platform/dv/Bus.h"
#include "platform/grabber/DeviceLists.h"
#include "platform/sound/SoundSource.h"
#include "record/FormatNames.h"

#include <QJsonArray>
#include <QStringList>

#include <chrono>
#include <thread>

namespace velmora {
namespace {

using platform::Digitizer;
using platform::ImageControl;
using platform::SoundSource;

constexpr auto kMaxWaitForSoundServer = std::chrono::seconds(4);
constexpr double kUsualRates[] = {8000, 11025, 16000, 22050, 32000, 44100, 48000};

QString Text(const std::string& utf8)
{
    return QString::fromStdString(utf8);
}

QJsonArray Texts(const std::vector<std::string>& texts)
{
    QJsonArray array;
    for (const std::string& text : texts)
        array.append(Text(text));
    return array;
}

// One entry for each format and size, with all its frame rates.
QJsonArray Formats(const Digitizer& camera)
{
    QJsonArray formats;
    for (const platform::CaptureFormat& offered : camera.Formats()) {
        QJsonObject entry{{"format", Text(ShownCode(offered.format))},
                          {"name", Text(NameOfFormat(offered.format))},
                          {"width", offered.width},
                          {"height", offered.height}};
        QJsonArray rates;
        if (!formats.isEmpty()) {
            QJsonObject last = formats.last().toObject();
            const QJsonArray lastRates = last.take("rates").toArray();
            if (last == entry) {
                rates = lastRates;
                formats.removeLast();
            }
        }
        rates.append(offered.frameRate);
        entry["rates"] = rates;
        formats.append(entry);
    }
    return formats;
}

QJsonArray Controls(const Digitizer& camera)
{
    constexpr const char* kKinds[] = {"integer", "boolean", "menu", "button"};
    QJsonArray controls;
    for (const ImageControl& control : camera.Controls()) {
        QJsonArray choices;
        for (const auto& [value, name] : control.choices)
            choices.append(Text(name));
        controls.append(QJsonObject{{"name", Text(control.name)},
                                    {"kind", kKinds[static_cast<int>(control.kind)]},
                                    {"minimum", static_cast<qint64>(control.minimum)},
                                    {"maximum", static_cast<qint64>(control.maximum)},
                                    {"step", static_cast<qint64>(control.step)},
                                    {"default", static_cast<qint64>(control.deviceDefault)},
                                    {"value", static_cast<qint64>(control.value)},
                                    {"readOnly", control.readOnly},
                                    {"choices", choices}});
    }
    return controls;
}

QJsonArray Cameras()
{
    const auto entries = platform::ListDigitizers();
    const auto listed = platform::ListedDevices(entries);
    QJsonArray cameras;
    for (size_t i = 0; i < entries.size(); ++i) {
        QJsonObject camera{{"name", Text(listed[i].name)},
                           {"id", Text(entries[i].identity)},
                           {"available", entries[i].available},
                           {"reason", Text(entries[i].reason)},
                           {"inputs", Texts(entries[i].inputs)}};
        const auto device = platform::OpenDigitizer(entries[i].identity);
        const bool isThere = device->Identity() == entries[i].identity;
        camera["formats"] = isThere ? Formats(*device) : QJsonArray();
        camera["controls"] = isThere ? Controls(*device) : QJsonArray();
        cameras.append(camera);
    }
    return cameras;
}

QJsonObject FormatsOfSound(const SoundSource& source)
{
    QJsonArray rates;
    QJsonArray sizes;
    QJsonArray channels;
    for (const double rate : kUsualRates)
        if (auto format = source.Format(); source.CheckFormat((format.sampleRate = rate, format)) == platform::noErr)
            rates.append(rate);
    for (const int32_t bits : {8, 16, 24})
        if (auto format = source.Format(); source.CheckFormat((format.sampleSize = bits, format)) == platform::noErr)
            sizes.append(bits);
    for (const int32_t count : {1, 2})
        if (auto format = source.Format(); source.CheckFormat((format.channels = count, format)) == platform::noErr)
            channels.append(count);
    return {{"rates", rates}, {"bits", sizes}, {"channels", channels}};
}

QJsonArray Microphones()
{
    const auto longest = std::chrono::steady_clock::now() + kMaxWaitForSoundServer;
    while (platform::SoundSourcesArePending() && std::chrono::steady_clock::now() < longest)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    const auto entries = platform::ListSoundSources();
    const auto listed = platform::ListedDevices(entries);
    QJsonArray microphones;
    for (size_t i = 0; i < entries.size(); ++i) {
        const auto source = platform::OpenSoundSource(entries[i].identity);
        QJsonObject microphone = FormatsOfSound(*source);
        microphone["name"] = Text(listed[i].name);
        microphone["id"] = Text(entries[i].identity);
        microphone["inputs"] = Texts(entries[i].inputs);
        microphones.append(microphone);
    }
    return microphones;
}

QJsonArray Decks()
{
    QJsonArray decks;
    if (const auto bus = platform::OpenBus())
        for (const platform::BusDevice& device : bus->Devices())
            decks.append(QJsonObject{{"name", Text(device.name)},
                                     {"id", Text(platform::DvIdentityOf(device.guid))},
                                     {"reason", Text(device.reason)}});
    return decks;
}

QJsonArray Compressors()
{
    QJsonArray compressors;
    for (const platform::CompressorName& one : platform::AvailableCompressors())
        compressors.append(QJsonObject{{"code", Text(ShownCode(one.codec))},
                                       {"name", Text(one.name)},
                                       {"quality", one.hasQuality},
                                       {"keyFrames", one.isInterFrame}});
    return compressors;
}

QString Numbers(const QJsonArray& numbers)
{
    QStringList texts;
    for (const auto& number : numbers)
        texts.append(QString::number(number.toDouble(), 'g', 5));
    return texts.join(", ");
}

QString TextOfCamera(const QJsonObject& camera)
{
    QString text = "  " + camera["name"].toString() + "  [" + camera["id"].toString() + "]\n";
    if (!camera["available"].toBool())
        text += "    not available: " + camera["reason"].toString() + "\n";
    for (const auto& value : camera["formats"].toArray()) {
        const QJsonObject format = value.toObject();
        text += QString("    %1 %2x%3 at %4  (%5)\n")
                    .arg(format["format"].toString(), -4)
                    .arg(format["width"].toInt())
                    .arg(format["height"].toInt())
                    .arg(Numbers(format["rates"].toArray()), format["name"].toString());
    }
    for (const auto& value : camera["controls"].toArray()) {
        const QJsonObject control = value.toObject();
        const QJsonArray choices = control["choices"].toArray();
        QStringList names;
        for (const auto& choice : choices)
            names.append(choice.toString());
        text +=
            QString("    %1=%2  (%3)\n")
                .arg(control["name"].toString())
                .arg(control["value"].toInteger())
                .arg(names.empty()
                         ? QString("%1 to %2").arg(control["minimum"].toInteger()).arg(control["maximum"].toInteger())
                         : names.join(", "));
    }
    return text;
}

template <typename Line> QString Section(const char* title, const QJsonValue& entries, Line line)
{
    QString text = QString(title) + ":\n";
    for (const auto& entry : entries.toArray())
        text += line(entry.toObject());
    return entries.toArray().isEmpty() ? text + "  none\n" : text;
}

} // namespace

QJsonObject ListEverything()
{
    return {{"cameras", Cameras()}, {"microphones", Microphones()}, {"decks", Decks()}, {"compressors", Compressors()}};
}

std::string ListingText(const QJsonObject& listing)
{
    const QString text =
        Section("Cameras", listing["cameras"], TextOfCamera) +
        Section("Microphones", listing["microphones"],
                [](const QJsonObject& one) {
                    return "  " + one["name"].toString() + "  [" + one["id"].toString() + "]\n    " +
                           Numbers(one["rates"].toArray()) + " Hz; " + Numbers(one["bits"].toArray()) + " bits; " +
                           Numbers(one["channels"].toArray()) + " channels\n";
                }) +
        Section("Decks", listing["decks"],
                [](const QJsonObject& one) {
                    return "  " + one["name"].toString() + "  [" + one["id"].toString() + "]" +
                           (one["reason"].toString().isEmpty() ? "" : "  " + one["reason"].toString()) + "\n";
                }) +
        Section("Compressors", listing["compressors"], [](const QJsonObject& one) {
            return QString("  %1  %2\n").arg(one["code"].toString(), -4).arg(one["name"].toString());
        });
    return text.toStdString();
}

} // namespace velmora
