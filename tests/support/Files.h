// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

namespace test {

/// A temporary folder that is removed by the destructor.
class TemporaryFolder {
public:
    TemporaryFolder()
    {
        std::string pattern = std::filesystem::temp_directory_path() / "velmora-test-XXXXXX";
        path = mkdtemp(pattern.data());
    }
    ~TemporaryFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    std::string operator/(const std::string& name) const { return path / name; }

    /// Writes a file, in folders that are made for it.
    void Add(const std::string& name, const std::string& text) const
    {
        std::filesystem::create_directories((path / name).parent_path());
        std::ofstream(path / name) << text;
    }

    std::filesystem::path path;
};

inline std::vector<uint8_t> ReadFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline void WriteFile(const std::string& path, const std::vector<uint8_t>& bytes)
{
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

/// The output of a shell command, including standard error.
inline std::string OutputOf(const std::string& command)
{
    const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(("{ " + command + "; } 2>&1").c_str(), "r"), pclose);
    std::string output;
    for (int letter = 0; (letter = std::fgetc(pipe.get())) != EOF;)
        output += static_cast<char>(letter);
    return output;
}

/// A name quoted for the shell.
inline std::string Quoted(const std::string& name)
{
    std::string quoted = "'";
    for (const char letter : name)
        quoted += letter == '\'' ? "'\\''" : std::string(1, letter);
    return quoted + "'";
}

/// What a full decode of a movie complains of; empty for a sound one.
inline std::string DecodingErrorsOf(const std::string& path)
{
    return OutputOf("ffmpeg -v error -i " + Quoted(path) + " -enc_time_base -1 -f null -");
}

/// What ffprobe prints for these options.
inline std::string ProbeOf(const std::string& options, const std::string& path)
{
    return OutputOf("ffprobe -v error -of csv=p=0 " + options + " " + Quoted(path));
}

/// The bytes of a movie's stream ("v", "a"), in a raw format of ffmpeg.
inline std::vector<uint8_t> StreamBytes(const std::string& path, const std::string& stream, const std::string& format)
{
    const std::string copy = path + "." + stream;
    OutputOf("ffmpeg -v error -y -i " + Quoted(path) + " -map 0:" + stream + " -c copy -f " + format + " " +
             Quoted(copy));
    return ReadFile(copy);
}

} // namespace test
