// SPDX-License-Identifier: MIT
#include "framework/Flash.h"

#include <QApplication>
#include <QPainter>
#include <QTimer>
#include <QWidget>

namespace framework {
namespace {

constexpr int kShown = 250; // milliseconds
constexpr int kFrame = 6;   // pixels

class Flash : public QWidget {
public:
    explicit Flash(QWidget* window) : QWidget(window)
    {
        setAttribute(Qt::WA_TransparentForMouseEvents);
        setGeometry(window->rect());
        show();
        raise();
        QTimer::singleShot(kShown, this, &QObject::deleteLater);
    }

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        painter.setPen(QPen(palette().color(QPalette::Highlight), kFrame));
        painter.drawRect(rect().adjusted(kFrame / 2, kFrame / 2, -kFrame / 2, -kFrame / 2));
    }
};

} // namespace

void FlashFrontWindow()
{
    if (QWidget* front = QApplication::activeWindow())
        new Flash(front); // owned by the window, deletes itself
}

} // namespace framework
