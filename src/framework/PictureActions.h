// SPDX-License-Identifier: MIT
#pragma once

#include <QImage>

class QKeyEvent;
class QPoint;
class QWidget;

namespace framework {

// What a user can do with a picture that a window shows. `window` is the one in front of which it happens.

/// The menu of a picture, at a place of the screen. `undrawn` is the picture without what was drawn on it; null where
/// nothing was.
void ShowPictureMenu(QWidget* window, const QImage& picture, const QImage& undrawn, const QPoint& place);

/// Carries out the key of one of the menu's items. False for any other key.
bool DoPictureKey(const QImage& picture, const QKeyEvent& key);

/// Lets the user drag the picture to another program, as pixels or as a file. Returns when it has been dropped.
void DragPicture(QWidget* window, const QImage& picture);

} // namespace framework
