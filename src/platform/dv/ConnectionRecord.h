// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>

namespace platform {

/// What a connection to a plug holds of the bus: what it takes to give that back.
struct HeldConnection {
    int adapter = -1;
    unsigned generation = 0;
    int plug = -1;
    int channel = -1;
    int bandwidth = 0;
};

/// A note of a connection in the user's runtime folder. A process that is killed can't give channel and bandwidth back,
/// and the bus keeps them up to its next reset: the next process that connects to the device finds the note and does.
/// The note is locked as long as its writer lives.
class ConnectionRecord {
public:
    /// What a process that is no more left behind; nothing where there is nothing, or the writer lives.
    std::optional<HeldConnection> Claim(uint64_t guid);

    /// Writes the note, where it is ours to write.
    void Note(const HeldConnection& held);

    /// Empties the note and lets go of it.
    void Clear();

private:
    struct Closer {
        void operator()(std::FILE* opened) const { std::fclose(opened); }
    };
    std::unique_ptr<std::FILE, Closer> file;
};

} // namespace platform
