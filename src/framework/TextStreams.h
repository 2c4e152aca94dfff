// SPDX-License-Identifier: MIT
#pragma once

#include "framework/String.h"

#include <fstream>
#include <memory>

namespace framework {

class WholeFile;

/// Writes a file as bytes; whole when the last reference goes. What is written stands beside the file of that name
/// until then and takes its place in one step. A failure is told by a message and leaves the file that was there as it
/// was.
class TextOutputStream {
public:
    /// Over a file that is open for writing.
    explicit TextOutputStream(std::unique_ptr<WholeFile> file);
    ~TextOutputStream();
    void Write(const String& text);

private:
    std::unique_ptr<WholeFile> file;
};

/// Reads a file as bytes.
class TextInputStream {
public:
    explicit TextInputStream(std::ifstream file) : file(std::move(file)) {}
    /// Everything up to the end, as plain bytes without an encoding. At most 64 MB are taken.
    String ReadAll();

private:
    std::ifstream file;
};

} // namespace framework
