// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dv/DvPacks.h"
#include "support/Files.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <optional>

namespace test {

/// The sound of a file, or of the `part` that options of ffmpeg choose, decoded by an independent decoder: 16-bit
/// samples, interleaved.
inline std::vector<int16_t> SoundOf(const std::string& path, const std::string& part = {})
{
    const std::string command = "ffmpeg -v error -y -i " + Quoted(path) + " -map 0:a:0 " + part;
    const std::string output = path + ".pcm";
    const auto pcm =
        OutputOf(command + " -ac 2 -f s16le " + Quoted(output)).empty() ? ReadFile(output) : std::vector<uint8_t>();
    std::vector<int16_t> samples(pcm.size() / 2);
    if (!samples.empty())
        std::memcpy(samples.data(), pcm.data(), samples.size() * 2);
    return samples;
}

/// Writes timecode and recording date into all places of a frame, or takes them out, and marks so many blocks of video
/// as concealed.
inline void WritePacks(std::vector<uint8_t>& frame, const std::optional<platform::TapeTimecode>& timecode,
                       const std::optional<platform::TapeTime>& recorded, int concealed = 0)
{
    using namespace std::chrono;
    using Pack = std::array<uint8_t, 5>;
    const auto decimal = [](int value) { return static_cast<uint8_t>(value / 10 << 4 | value % 10); };
    Pack code, date, time;
    for (Pack* pack : {&code, &date, &time})
        pack->fill(0xFF);
    if (timecode)
        code = {0x13, static_cast<uint8_t>(decimal(timecode->frames) | (timecode->dropFrame ? 0x40 : 0)),
                decimal(timecode->seconds), decimal(timecode->minutes), decimal(timecode->hours)};
    if (recorded) {
        const sys_seconds point{seconds(*recorded)};
        const auto midnight = floor<days>(point);
        const year_month_day day(midnight);
        const hh_mm_ss clock(point - midnight);
        date = {0x62, 0xFF, static_cast<uint8_t>(0xC0 | decimal(static_cast<int>(static_cast<unsigned>(day.day())))),
                decimal(static_cast<int>(static_cast<unsigned>(day.month()))),
                decimal(static_cast<int>(day.year()) % 100)};
        time = {0x63, 0xFF, decimal(static_cast<int>(clock.seconds().count())),
                decimal(static_cast<int>(clock.minutes().count())), decimal(static_cast<int>(clock.hours().count()))};
    }
    for (size_t block = 0; block < frame.size() / 80; ++block) {
        const size_t place = block % 150;
        uint8_t* const bytes = &frame[block * 80];
        if (place == 1 || place == 2)
            for (size_t i = 0; i < 6; ++i)
                std::ranges::copy(i % 3 == 0 ? code : i % 3 == 1 ? date : time, bytes + 6 + 8 * i);
        for (size_t i = 0; i < 15 && place >= 3 && place <= 5; ++i)
            if (uint8_t* const pack = bytes + 3 + 5 * i; pack[0] == 0x62 || pack[0] == 0x63)
                std::ranges::copy(pack[0] == 0x62 ? date : time, pack);
        if (place > 6 && place % 16 != 6)
            bytes[3] = static_cast<uint8_t>((bytes[3] & 0x0F) | (concealed-- > 0 ? 0x20 : 0));
    }
}

/// DV as sent by a camcorder: moving interlaced pictures, and on each channel a different tone whose pitch rises, so
/// that any part of it shows its position.
struct Tape {
    TemporaryFolder folder;
    std::string path;
    std::vector<std::vector<uint8_t>> frames;
    std::vector<int16_t> heard; ///< its sound, as another decoder hears it

    explicit Tape(bool pal, double seconds = 1) : path(folder / (pal ? "pal.dv" : "ntsc.dv"))
    {
        OutputOf("ffmpeg -v error -y -f lavfi -i testsrc2=size=" +
                 std::string(pal ? "720x576:rate=50" : "720x480:rate=60000/1001") +
                 ",tinterlace=5 -f lavfi -i 'aevalsrc=0.5*sin(2*PI*(440*t+70*t*t))|0.3*sin(2*PI*(1000*t+90*t*t)):"
                 "s=48000' -t " +
                 std::to_string(seconds) + " -target " + (pal ? "pal" : "ntsc") + "-dv -f dv " + path);
        const auto bytes = ReadFile(path);
        const long size = pal ? 144'000 : 120'000;
        for (auto start = bytes.begin(); bytes.end() - start >= size; start += size)
            frames.emplace_back(start, start + size);
        heard = SoundOf(path);
    }
};

} // namespace test
