// SPDX-License-Identifier: MIT
#include "platform/grabber/dialogs/PageArea.h"

#include <QScreen>
#include <QScrollBar>

#include <algorithm>

namespace platform {

PageArea::PageArea()
{
    setWidgetResizable(true);
    setFrameShape(QFrame::NoFrame);
    setFocusPolicy(Qt::NoFocus); // the widgets on the page take the keyboard focus and are scrolled into view
    viewport()->setAutoFillBackground(false);
}

void PageArea::SetPage(QWidget* page)
{
    setWidget(page);
    page->setAutoFillBackground(false);
    updateGeometry();
}

int PageArea::BarWidth() const
{
    return verticalScrollBar()->sizeHint().width();
}

QSize PageArea::sizeHint() const
{
    return widget() == nullptr ? QSize() : widget()->sizeHint() + QSize(BarWidth(), 0);
}

QSize PageArea::minimumSizeHint() const
{
    const int page = widget() == nullptr ? 0 : widget()->minimumSizeHint().width() + BarWidth();
    return {std::min(page, screen()->availableSize().width() * 3 / 4), 0};
}

} // namespace platform
