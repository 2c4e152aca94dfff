// SPDX-License-Identifier: MIT
// Packs of DV frames: five bytes each, the first one names the kind.
//
// A frame has 10 or 12 sequences of 150 blocks of 80 bytes, three of them identification. Blocks 1 and 2 of a sequence
// hold subcode: six packs each, in pieces of eight bytes whose first three are identification. Blocks 3 to 5 hold
// auxiliary data of the video, fifteen packs each. Of the remaining blocks, every sixteenth is audio and the others are
// video, with the block's status in the upper half of the fourth byte.
#include "platform/dv/DvPacks.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>

namespace platform {
namespace {

constexpr size_t kBlockSize = 80;
constexpr size_t kBlocks = 150;
constexpr size_t kFirstSoundBlock = 6;
constexpr size_t kIdentification = 3;

enum PackKind : uint8_t { kTimecodePack = 0x13, kDatePack = 0x62, kTimePack = 0x63 };

using Pack = std::array<uint8_t, 4>; // without the byte of its kind

// The packs of one kind; the most frequent one is used.
class PackChoice {
public:
    void Add(std::span<const uint8_t> bytes)
    {
        const Pack pack{bytes[1], bytes[2], bytes[3], bytes[4]};
        if (pack == Pack{0xFF, 0xFF, 0xFF, 0xFF})
            return;
        size_t i = 0;
        while (i < known && seen[i].pack != pack)
            ++i;
        if (i < seen.size()) {
            seen[i].pack = pack;
            ++seen[i].times;
            known = std::max(known, i + 1);
        }
    }

    std::optional<Pack> Get() const
    {
        const auto most = std::ranges::max_element(seen, {}, &Seen::times);
        return most->times > 0 ? std::optional(most->pack) : std::nullopt;
    }

private:
    struct Seen {
        Pack pack{};
        int times = 0;
    };
    std::array<Seen, 8> seen;
    size_t known = 0;
};

struct Choices {
    PackChoice timecode, date, time;

    void Add(std::span<const uint8_t> bytes)
    {
        if (bytes[0] == kTimecodePack)
            timecode.Add(bytes);
        else if (bytes[0] == kDatePack)
            date.Add(bytes);
        else if (bytes[0] == kTimePack)
            time.Add(bytes);
    }
};

// Two decimal digits, the upper one masked; -1 if they are not digits.
int DecimalOf(uint8_t byte, uint8_t upperBits)
{
    const int units = byte & 0x0F;
    const int tens = byte >> 4 & upperBits;
    return units > 9 || tens > 9 ? -1 : 10 * tens + units;
}

bool IsBelow(int value, int end)
{
    return value >= 0 && value < end;
}

std::optional<TapeTime> TimeOf(const Pack& datePack, const Pack& timePack)
{
    using namespace std::chrono;
    constexpr int kFirstYear = 90; // of the last century; DV came in 1995
    const int twoDigits = DecimalOf(datePack[3], 0xF);
    const int seconds = DecimalOf(timePack[1], 7);
    const int minutes = DecimalOf(timePack[2], 7);
    const int hours = DecimalOf(timePack[3], 3);
    const year_month_day date(year(twoDigits + (twoDigits < kFirstYear ? 2000 : 1900)),
                              month(static_cast<unsigned>(DecimalOf(datePack[2], 1))),
                              day(static_cast<unsigned>(DecimalOf(datePack[1], 3))));
    if (twoDigits < 0 || !date.ok() || !IsBelow(seconds, 60) || !IsBelow(minutes, 60) || !IsBelow(hours, 24))
        return std::nullopt;
    return int64_t{sys_days(date).time_since_epoch().count()} * 86'400 + hours * 3600 + minutes * 60 + seconds;
}

void ReadSequence(std::span<const uint8_t> sequence, Choices& choices, int& concealed)
{
    for (size_t block = 1; block <= 2; ++block)
        for (size_t piece = 0; piece < 6; ++piece)
            choices.Add(sequence.subspan(block * kBlockSize + kIdentification + 8 * piece + 3, 5));
    for (size_t block = 3; block <= 5; ++block)
        for (size_t pack = 0; pack < 15; ++pack)
            choices.Add(sequence.subspan(block * kBlockSize + kIdentification + 5 * pack, 5));
    for (size_t block = kFirstSoundBlock; block < kBlocks; ++block)
        if ((block - kFirstSoundBlock) % 16 != 0 && sequence[block * kBlockSize + kIdentification] >> 4 != 0)
            ++concealed;
}

} // namespace

std::string TextOf(const TapeTimecode& timecode)
{
    char text[64];
    std::snprintf(text, sizeof text, "%02d:%02d:%02d%c%02d", timecode.hours, timecode.minutes, timecode.seconds,
                  timecode.dropFrame ? ';' : ':', timecode.frames);
    return text;
}

int32_t FrameNumberOf(const TapeTimecode& timecode, bool isPal)
{
    const int minutes = timecode.hours * 60 + timecode.minutes;
    const int number = (minutes * 60 + timecode.seconds) * (isPal ? 25 : 30) + timecode.frames;
    return number - (timecode.dropFrame ? 2 * (minutes - minutes / 10) : 0);
}

std::string TextOf(TapeTime time, char separator)
{
    using namespace std::chrono;
    const sys_seconds point{seconds(time)};
    const auto midnight = floor<days>(point);
    const year_month_day date(midnight);
    const hh_mm_ss clock(point - midnight);
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02u-%02u%c%02d:%02d:%02d", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()), separator,
                  static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                  static_cast<int>(clock.seconds().count()));
    return text;
}

std::optional<TapeTimecode> TimecodeOfPackedDecimals(std::span<const uint8_t, 4> numbers, bool isPal)
{
    constexpr uint8_t kDropFrame = 0x40;
    const TapeTimecode timecode{.hours = DecimalOf(numbers[3], 3),
                                .minutes = DecimalOf(numbers[2], 7),
                                .seconds = DecimalOf(numbers[1], 7),
                                .frames = DecimalOf(numbers[0], 3),
                                .dropFrame = !isPal && (numbers[0] & kDropFrame) != 0};
    const bool exists = IsBelow(timecode.hours, 24) && IsBelow(timecode.minutes, 60) && IsBelow(timecode.seconds, 60) &&
                        IsBelow(timecode.frames, isPal ? 25 : 30);
    return exists ? std::optional(timecode) : std::nullopt;
}

DvFrameData ReadDvFrameData(std::span<const uint8_t> frame)
{
    DvFrameData data;
    Choices choices;
    constexpr size_t kSequence = kBlocks * kBlockSize;
    for (size_t at = 0; at + kSequence <= frame.size(); at += kSequence)
        ReadSequence(frame.subspan(at, kSequence), choices, data.concealedBlocks);
    const bool isPal = frame.size() >= 12 * kSequence;
    if (const auto pack = choices.timecode.Get())
        data.timecode = TimecodeOfPackedDecimals(*pack, isPal);
    const auto date = choices.date.Get();
    const auto time = choices.time.Get();
    if (date && time)
        data.recorded = TimeOf(*date, *time);
    return data;
}

} // namespace platform
