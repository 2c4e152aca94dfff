// SPDX-License-Identifier: MIT
#pragma once

#include "support/Files.h"

#include <cstring>

namespace test {

/// The sound of any file as another decoder hears it: 16-bit samples, both channels in turn.
inline std::vector<int16_t> SoundOf(const std::string& path)
{
    const auto pcm = OutputOf("ffmpeg -v error -y -i " + path + " -map 0:a:0 -ac 2 -f s16le " + path + ".pcm").empty()
                         ? ReadFile(path + ".pcm")
                         : std::vector<uint8_t>();
    std::vector<int16_t> samples(pcm.size() / 2);
    if (!samples.empty())
        std::memcpy(samples.data(), pcm.data(), samples.size() * 2);
    return samples;
}

/// DV as a camcorder sends it: moving interlaced pictures, and on each channel a tone of its own that rises all the
/// time, so that any piece of it tells its place.
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
