// SPDX-License-Identifier: MIT
#pragma once

#include "framework/String.h"

#include <cstdint>
#include <functional>
#include <memory>

namespace framework {

/// A small window that says how far a task has come. It runs no event loop: the caller shows each new state.
class ProgressBox {
public:
    enum class Kind {
        Beside, ///< other windows can be used meanwhile
        Modal,  ///< they can't
    };

    /// With a button of that caption, unless it is empty. Nothing shows before `Show`, and nothing ever without a
    /// screen.
    explicit ProgressBox(Kind kind, const String& button = "");
    ~ProgressBox();
    ProgressBox(const ProgressBox&) = delete;
    ProgressBox& operator=(const ProgressBox&) = delete;

    /// Shows the text and how much is done; a `total` of 0 stands for an unknown end.
    void Show(const String& text, int64_t done, int64_t total);

    /// The button, or the closing of the box, has sent it away. `Show` brings it no more.
    bool Dismissed() const;

private:
    struct State;
    std::unique_ptr<State> state;
};

/// Runs `work` on a thread of its own, with a modal box that shows the text until it has ended. Windows go on working.
void RunWithProgress(const String& text, const std::function<void()>& work);

} // namespace framework
