// SPDX-License-Identifier: MIT
#pragma once

#include <QWidget>

#include <array>
#include <cstdint>

namespace platform {

/// Two level bars, left above right, on a scale of decibels, each with a mark that lights when the sound reaches full
/// scale and stays for a while.
class LevelBars : public QWidget {
public:
    LevelBars();

    /// Peaks since the last call, 0 to 255 of full scale.
    void Show(uint8_t left, uint8_t right);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    struct Bar {
        double shown = 0; ///< of the bar's length
        int clipped = 0;  ///< calls until the mark goes out
    };
    std::array<Bar, 2> bars;
};

} // namespace platform
