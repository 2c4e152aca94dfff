// SPDX-License-Identifier: MIT
#pragma once

#include <QImage>

class QKeyEvent;
class QPoint;
class QWidget;

namespace framework {

// What a user can do with a picture in a window.

/// Shows the context menu of a picture at a position on the screen and carries out the chosen item. `undrawn` is the
/// picture without what was drawn on it, or null.
void ShowPictureMenu(QWidget* window, const QImage& picture, const QImage& undrawn, const QPoint& place);

/// Carries out the shortcut of a menu item: copy or save. Returns false for any other key.
bool DoPictureKey(const QImage& picture, const QKeyEvent& key);

/// Lets the user drag the picture to another program, as pixels or as a file. Returns when it is dropped.
void DragPicture(QWidget* window, const QImage& picture);

} // namespace framework
