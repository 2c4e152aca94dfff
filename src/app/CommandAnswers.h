// SPDX-License-Identifier: MIT
#pragma once

#include "framework/Application.h"
#include "ui/MovieWindow.h"

#include <functional>
#include <string>

namespace velmora {

/// Sees to it that each command of the main window is answered. The control reports failures by its event `Error`,
/// which the window leaves open, and a channel that is switched off refuses in silence: what a command could not do is
/// told here, in words. It lives as long as the window.
class CommandAnswers {
public:
    /// Takes over the window's commands, the control's `Error` event and the explanations of message boxes. All of them
    /// are given back at the end.
    explicit CommandAnswers(Reference<MovieWindow> window);
    ~CommandAnswers();
    CommandAnswers(const CommandAnswers&) = delete;
    CommandAnswers& operator=(const CommandAnswers&) = delete;

    /// What is to be said below a message.
    framework::Explanation Explain(const std::string& text) const;

private:
    void CarryOut(const std::string& name, const std::function<void()>& action);
    void Answer();
    void AnswerSettingsDialog(bool video);
    void AnswerOpenedSettings();
    std::string ChannelOff() const;

    Reference<MovieWindow> window;
    std::string command; ///< name of the item or button whose command came last
    bool carryingOut = false;
    bool failed = false; ///< the control has reported an error since the command began
    int32_t result = 0;  ///< the last one's code
};

} // namespace velmora
