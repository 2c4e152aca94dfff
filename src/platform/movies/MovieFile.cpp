// SPDX-License-Identifier: MIT
#include "platform/movies/MovieFile.h"

#include "platform/movies/ByteWriter.h"
#include "platform/movies/OutputFile.h"

#include <array>
#include <fcntl.h>
#include <unistd.h>

namespace platform {

Result MovieFile::Open(const std::string& path)
{
    descriptor = UniqueFD(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    return CheckOpened(descriptor, size);
}

size_t MovieFile::Read(int64_t position, std::span<uint8_t> bytes) const
{
    return ReadAt(descriptor.Get(), position, bytes);
}

std::vector<FileBox> MovieFile::Boxes(int64_t start, int64_t end) const
{
    constexpr int64_t kHead = 8;
    constexpr int64_t kLongHead = 16;
    std::vector<FileBox> boxes;
    while (start < end) {
        std::array<uint8_t, kLongHead> head{};
        const auto count = static_cast<int64_t>(Read(start, head));
        ByteReader bytes(head);
        int64_t length = bytes.U32();
        FileBox box{.type = bytes.U32(), .start = start, .content = start + kHead};
        if (length == 1) {
            length = static_cast<int64_t>(bytes.U64());
            box.content = start + kLongHead;
        } else if (length == 0 && box.type != 0) {
            length = end - start; // up to the end of the file
        }
        const bool isBox = count >= kHead && length >= box.content - start;
        box.end = isBox ? (length > INT64_MAX - start ? INT64_MAX : start + length) : start;
        boxes.push_back(box);
        if (!isBox || box.end > end)
            break;
        start = box.end;
    }
    return boxes;
}

} // namespace platform
