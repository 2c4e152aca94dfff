// SPDX-License-Identifier: MIT
#include "framework/TextStreams.h"

namespace framework {
namespace {

constexpr size_t kLongestText = size_t{64} << 20;
constexpr size_t kPiece = size_t{64} << 10;

} // namespace

void TextOutputStream::Write(const String& text)
{
    file.write(text.Bytes().data(), static_cast<std::streamsize>(text.Bytes().size()));
}

String TextInputStream::ReadAll()
{
    std::string text;
    while (file && text.size() < kLongestText) {
        const size_t before = text.size();
        text.resize(before + kPiece);
        file.read(text.data() + before, static_cast<std::streamsize>(kPiece));
        text.resize(before + static_cast<size_t>(file.gcount()));
    }
    return {std::move(text), kEncodingNone};
}

} // namespace framework
