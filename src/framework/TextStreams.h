// SPDX-License-Identifier: MIT
#pragma once

#include "framework/String.h"

#include <fstream>
#include <memory>

namespace framework {

class WholeFile;

/// Writes bytes to a file. They go to a temporary file, which replaces the file of that name when the last reference is
/// released. A failure is shown in a message and leaves an existing file unchanged.
class TextOutputStream {
public:
    /// Takes a file that is open for writing.
    explicit TextOutputStream(std::unique_ptr<WholeFile> file);
    ~TextOutputStream();
    void Write(const String& text); ///< appends the bytes of the text

private:
    std::unique_ptr<WholeFile> file;
};

/// Reads bytes from a file.
class TextInputStream {
public:
    /// Takes a file that is open for reading.
    explicit TextInputStream(std::ifstream file) : file(std::move(file)) {}
    /// Reads to the end of the file, 64 MiB at most. Returns plain bytes without an encoding.
    String ReadAll();

private:
    std::ifstream file;
};

} // namespace framework
