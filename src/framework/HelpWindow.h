// SPDX-License-Identifier: MIT
#pragma once

class QUrl;

namespace framework {

/// Shows an HTML page in the program's help window. Links open in the same window.
void ShowInHelpWindow(const QUrl& page);

} // namespace framework
