// SPDX-License-Identifier: MIT
#pragma once

#include <QScrollArea>

namespace platform {

/// A page that scrolls if the screen is too small for it, or its text very large.
class PageArea : public QScrollArea {
public:
    /// Has no page at first.
    PageArea();

    /// Shows a page and deletes the previous one.
    void SetPage(QWidget* page);

    QSize sizeHint() const override;

    /// The width of the page, but limited to most of the screen.
    QSize minimumSizeHint() const override;

private:
    int BarWidth() const;
};

} // namespace platform
