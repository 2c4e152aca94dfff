// SPDX-License-Identifier: MIT
#pragma once

#include "framework/Application.h"
#include "ui/MovieWindow.h"

#include <functional>
#include <string>

namespace velmora {

/// Makes sure that each command of the main window is answered. The control reports failures by its event `Error`,
/// which the window does not handle, and a channel that is switched off fails silently: this class says in words what a
/// command could not do. It lives as long as the window.
class CommandAnswers {
public:
    /// Takes over the window's commands, the control's `Error` event and the explanations of message boxes. The
    /// destructor restores all of them.
    explicit CommandAnswers(Reference<MovieWindow> window);
    ~CommandAnswers();
    CommandAnswers(const CommandAnswers&) = delete;
    CommandAnswers& operator=(const CommandAnswers&) = delete;

    /// The explanation shown below a message.
    framework::Explanation Explain(const std::string& text) const;

private:
    void CarryOut(const std::string& name, const std::function<void()>& action);
    void Answer();
    void AnswerSettingsDialog(bool video);
    void AnswerOpenedSettings();
    std::string ChannelOff() const;

    Reference<MovieWindow> window;
    std::string command; ///< name of the menu item or button of the last command
    bool carryingOut = false;
    bool failed = false; ///< the control has reported an error since the command started
    int32_t result = 0;  ///< code of the last error
};

} // namespace velmora
