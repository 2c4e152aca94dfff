// SPDX-License-Identifier: MIT
#pragma once

#include <QScrollArea>

namespace platform {

/// A page that can be scrolled where the screen is too small for it, or its text very large.
class PageArea : public QScrollArea {
public:
    /// Without a page.
    PageArea();

    /// Shows a page in place of the one before, which ends.
    void SetPage(QWidget* page);

    QSize sizeHint() const override;

    /// As wide as the page, unless that would take most of the screen.
    QSize minimumSizeHint() const override;

private:
    int BarWidth() const;
};

} // namespace platform
