// SPDX-License-Identifier: MIT
#pragma once

class QUrl;

namespace framework {

/// Shows a page of HTML in a window of the program's own; links lead to further pages in it. There is one such window.
void ShowInHelpWindow(const QUrl& page);

} // namespace framework
