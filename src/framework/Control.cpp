// SPDX-License-Identifier: MIT
#include "framework/Control.h"

#include "framework/QtText.h"

#include <QWidget>

#include <algorithm>

namespace framework {

RectControl::~RectControl() = default;

void RectControl::Added(QWidget* content)
{
    widget = MakeWidget(content);
    widget->setObjectName(ToQt(Name()));
    widget->setGeometry(left, top, width, height);
    widget->show();
}

void RectControl::Left(int32_t value)
{
    Place(value, top, width, height);
}

void RectControl::Top(int32_t value)
{
    Place(left, value, width, height);
}

void RectControl::Width(int32_t value)
{
    Place(left, top, value, height);
}

void RectControl::Height(int32_t value)
{
    Place(left, top, width, value);
}

void RectControl::Place(int32_t newLeft, int32_t newTop, int32_t newWidth, int32_t newHeight)
{
    left = newLeft;
    top = newTop;
    newWidth = std::max(newWidth, 0);
    newHeight = std::max(newHeight, 0);
    const bool resized = newWidth != width || newHeight != height;
    width = newWidth;
    height = newHeight;
    if (widget != nullptr)
        widget->setGeometry(left, top, width, height);
    if (resized)
        Event_Resized();
    Placed();
}

bool RectControl::Visible() const
{
    return widget != nullptr && !widget->isHidden();
}

void RectControl::Visible(bool value)
{
    if (widget != nullptr)
        widget->setVisible(value);
}

bool RectControl::Enabled() const
{
    return widget != nullptr && widget->isEnabled();
}

void RectControl::Enabled(bool value)
{
    if (widget != nullptr)
        widget->setEnabled(value);
}

void RectControl::AccessibleName(const String& value)
{
    if (widget != nullptr)
        widget->setAccessibleName(ToQt(value));
}

} // namespace framework
