// SPDX-License-Identifier: MIT
#pragma once

#include <QWidget>

namespace framework {

class Canvas;

/// The widget of a canvas, which shows the canvas's view of its window's port.
class CanvasWidget : public QWidget {
public:
    /// `canvas` must outlive the widget; `parent` owns it.
    CanvasWidget(Canvas& canvas, QWidget* parent);

protected:
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    Canvas& canvas;
    bool shown = false;
};

} // namespace framework
