// SPDX-License-Identifier: MIT
#pragma once

#include "framework/String.h"

#include <cstdint>
#include <functional>
#include <memory>

namespace framework {

/// A small window with the progress of a task. It runs no event loop: the caller shows each new state.
class ProgressBox {
public:
    enum class Kind {
        Beside, ///< other windows can be used meanwhile
        Modal,  ///< other windows are blocked
    };

    /// The box has a button if `button`, its caption, is not empty. Nothing is shown before `Show`, and never without a
    /// display.
    explicit ProgressBox(Kind kind, const String& button = "");
    ~ProgressBox();
    ProgressBox(const ProgressBox&) = delete;
    ProgressBox& operator=(const ProgressBox&) = delete;

    /// Shows the text and the progress, `done` of `total`; a `total` of 0 shows a busy indicator.
    void Show(const String& text, int64_t done, int64_t total);

    /// Whether the user closed the box. `Show` then does nothing.
    bool Dismissed() const;

private:
    struct State;
    std::unique_ptr<State> state;
};

/// Runs `work` on a thread of its own and shows `text` in a modal box until it ends. Windows are repainted meanwhile.
/// An exception of `work` is thrown again here.
void RunWithProgress(const String& text, const std::function<void()>& work);

} // namespace framework
