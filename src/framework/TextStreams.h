// SPDX-License-Identifier: MIT
#pragma once

#include "framework/String.h"

#include <fstream>

namespace framework {

/// Writes a file as bytes; closed when the last reference goes.
class TextOutputStream {
public:
    explicit TextOutputStream(std::ofstream file) : file(std::move(file)) {}
    void Write(const String& text);

private:
    std::ofstream file;
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
