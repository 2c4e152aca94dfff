// SPDX-License-Identifier: MIT
#include "platform/corefoundation/CoreFoundation.h"
#include "platform/files/DirectoryNumbers.h"
#include "platform/movies/Movies.h"
#include "platform/movies/OutputFile.h"

#include <algorithm>

namespace platform {
namespace {

constexpr FourCharCode kAliasDataReference = CodeOf("alis");
constexpr int32_t kNativePathStyle = -1;

bool IsFullPath(const std::string& path)
{
    return path.starts_with('/') && path.find('\0') == std::string::npos;
}

} // namespace

Result QTNewDataReferenceFromFullPathCFString(int32_t path, int32_t pathStyle, int32_t flags, Address dataRef,
                                              Address dataRefType)
{
    if (pathStyle != kNativePathStyle || flags != 0)
        return paramErr;
    const std::string text = TextOfCFString(path);
    if (!IsFullPath(text))
        return bdNamErr;
    const Handle handle = NewHandle(static_cast<int32_t>(text.size()));
    if (handle == 0)
        return memFullErr;
    std::ranges::copy(text, HandleBytes(handle).begin());
    if (!Poke(dataRef, handle) || !Poke(dataRefType, kAliasDataReference)) {
        DisposeHandle(handle);
        return paramErr;
    }
    return noErr;
}

std::string PathOfDataReference(Handle dataRef)
{
    const auto bytes = HandleBytes(dataRef);
    std::string path(bytes.begin(), bytes.end());
    return IsFullPath(path) ? path : std::string();
}

Result PathOfFileRecord(Address file, std::string& path)
{
    constexpr Address kDirectoryAt = 2;
    constexpr Address kNameAt = 6;
    if (BytesAt(file, kNameAt + 1).empty())
        return paramErr;
    const auto name = BytesAt(file + kNameAt + 1, Peek<uint8_t>(file + kNameAt));
    if (name.empty() || std::ranges::find(name, uint8_t{'/'}) != name.end() ||
        std::ranges::find(name, uint8_t{0}) != name.end())
        return bdNamErr;
    const std::string folder = DirectoryOfNumbers({Peek<int16_t>(file), Peek<int32_t>(file + kDirectoryAt)});
    if (!folder.starts_with('/'))
        return dirNFErr;
    path = folder + "/" + std::string(name.begin(), name.end());
    return noErr;
}

Result CreateMovieFile(Address file, FourCharCode creator, int32_t /*scriptTag*/, uint32_t flags, Address refNum,
                       Address resId)
{
    if (refNum != 0 || resId != 0)
        return paramErr;
    std::string path;
    if (const Result result = PathOfFileRecord(file, path); result != noErr)
        return result;
    std::unique_ptr<DiskFile> created;
    return CreateOutputFile(path, (flags & createMovieFileDeleteCurFile) != 0, creator, created);
}

} // namespace platform
