// SPDX-License-Identifier: MIT
#include "ui/MessageTexts.h"

#include "platform/memory/ResultText.h"

#include <array>
#include <cctype>
#include <cstdlib>
#include <string_view>

namespace velmora {
namespace {

struct Message {
    std::string_view beginning;
    const char* meaning;
};

constexpr const char* kNoTracks =
    "The movie could not be created. Check that the disk has space and that you may write "
    "to the folder, then record again.";
constexpr const char* kEndFailed = "The end of the movie could not be written. What was recorded until then is kept; "
                                   "velmora-recover makes an ordinary movie of it.";
constexpr const char* kNoFrame = "A frame could not be added to the movie.";
constexpr const char* kNoPicture = "The live picture could not be set up again. Choose Monitor, Preview twice to start "
                                   "it again.";

constexpr std::array kMessages{
    Message{"NewMovieTrack failed", kNoTracks},
    Message{"NewTrackMedia failed", kNoTracks},
    Message{"error beginmediaedits", kNoTracks},
    Message{"error EndMediaEdits", kEndFailed},
    Message{"error InsertMediaIntoTrack", kEndFailed},
    Message{"error in memoryblocktohandle", kNoFrame},
    Message{"err: dim m", kNoFrame},
    Message{"err: size <1", kNoFrame},
    Message{"mynamehandle < 1", kNoFrame},
    Message{"error destorying", kNoPicture},
};

// The code at the end of a text that reports an error; 0 if there is none.
int32_t CodeAtEnd(const std::string& text)
{
    size_t start = text.size();
    while (start > 0 && std::isdigit(static_cast<unsigned char>(text[start - 1])))
        --start;
    if (start == text.size() || start == 0 || text[start - 1] != '-' || text.find("rror") == std::string::npos)
        return 0;
    return static_cast<int32_t>(std::strtol(text.c_str() + start - 1, nullptr, 10));
}

} // namespace

std::string SentenceFor(int32_t result)
{
    std::string text = platform::ResultText(result) + ".";
    text[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(text[0])));
    return text;
}

std::string MeaningOfMessage(const std::string& text)
{
    std::string meaning;
    if (const int32_t code = CodeAtEnd(text); code != 0)
        meaning = SentenceFor(code);
    for (const Message& message : kMessages)
        if (text.starts_with(message.beginning))
            meaning += (meaning.empty() ? "" : " ") + std::string(message.meaning);
    return meaning;
}

} // namespace velmora
