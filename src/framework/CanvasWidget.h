#pragma once

#include <QWidget>

namespace framework {

class Canvas;

/// Shows a canvas's rectangle of its window's port.
class CanvasWidget : public QWidget {
public:
    CanvasWidget(Canvas& canvas, QWidget* parent);

    const Canvas& Owner() const { return canvas; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void moveEvent(QMoveEvent* event) override;

private:
    Canvas& canvas;
    bool shown = false;
};

} // namespace framework
