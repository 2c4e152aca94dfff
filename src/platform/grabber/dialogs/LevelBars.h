// SPDX-License-Identifier: MIT
#pragma once

#include <QWidget>

#include <array>

namespace platform {

/// Two level bars, left above right, over a scale in decibels below full scale. A line stays for a while where the
/// sound was loudest, and a lamp behind each bar lights when the sound reached full scale.
class LevelBars : public QWidget {
public:
    /// Silent until the first `Show`.
    LevelBars();

    /// Peaks since the last call, as fractions of full scale. To be called thirty times a second.
    void Show(double left, double right);

    /// The loudest of the last seconds in words, with whether it was too loud.
    QString Text() const;

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    struct Bar {
        double shown = 0;     ///< of the bar's length
        double highest = 0;   ///< of full scale, in the last seconds
        int callsToHold = 0;  ///< until `highest` is forgotten
        int callsToLight = 0; ///< until the lamp goes out
    };
    static void Follow(Bar& bar, double level);
    int LineHeight() const;
    void PaintBar(class QPainter& painter, const Bar& bar, const QString& side, int top) const;
    void PaintScale(class QPainter& painter) const;
    QRect RoomOfBars() const;

    std::array<Bar, 2> bars;
};

} // namespace platform
