// SPDX-License-Identifier: MIT
#pragma once

#include <QWidget>

#include <array>

namespace platform {

/// Two level bars, left above right, over a scale in decibels below full scale. A line marks the recent maximum, and a
/// lamp beside each bar lights up when the sound reaches full scale.
class LevelBars : public QWidget {
public:
    /// Shows silence until the first `Show`.
    LevelBars();

    /// Shows the peaks since the last call, as fractions of full scale. Call it thirty times per second.
    void Show(double left, double right);

    /// The maximum of the last seconds in words, and whether it was too loud.
    QString Text() const;

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    struct Bar {
        double shown = 0;     ///< fraction of the bar's length
        double highest = 0;   ///< fraction of full scale, in the last seconds
        int callsToHold = 0;  ///< until `highest` is discarded
        int callsToLight = 0; ///< until the lamp goes out
    };
    static void Follow(Bar& bar, double level);
    int LineHeight() const;
    void PaintBar(class QPainter& painter, const Bar& bar, const QString& side, int top) const;
    void PaintScale(class QPainter& painter) const;
    QRect BarArea() const;

    std::array<Bar, 2> bars;
};

} // namespace platform
