// SPDX-License-Identifier: MIT
#include "platform/grabber/dialogs/ControlRows.h"
#include "platform/grabber/dialogs/PageArea.h"
#include "platform/grabber/dialogs/VideoPages.h"

#include <QGridLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollBar>
#include <QVBoxLayout>

#include <algorithm>
#include <tuple>

namespace platform {
namespace {

// Whether rows created for one list of controls can show the other.
bool HaveSameRows(const std::vector<ImageControl>& one, const std::vector<ImageControl>& other)
{
    const auto shape = [](const ImageControl& control) {
        return std::tuple(control.identity, control.kind, control.name, control.minimum, control.maximum, control.step,
                          control.deviceDefault, control.automaticSwitch);
    };
    return std::ranges::equal(one, other, {}, shape, shape);
}

class VideoImagePage : public SettingsPage {
public:
    explicit VideoImagePage(VideoChannel& tried) : channel(tried)
    {
        auto* column = new QVBoxLayout(this);
        defaults->setAutoDefault(false);
        column->addWidget(area, 1);
        column->addWidget(defaults, 0, Qt::AlignLeft);
        connect(defaults, &QPushButton::clicked, this, [this] { TakeDefaults(); });
    }

    void ShowSettings() override
    {
        auto present = channel.GetDigitizer().Controls();
        if (area->widget() == nullptr || !HaveSameRows(present, shown))
            MakeRows(present);
        for (size_t i = 0; i < present.size(); ++i) {
            const ImageControl& control = present[i];
            const bool usable = !control.readOnly && !control.inactive && !IsAutomatic(control, present);
            rows[i]->Show(control, usable);
        }
        defaults->setEnabled(!present.empty());
        shown = std::move(present);
    }

    void ShowArrived(std::span<const Sample>) override { KeepShowingSettings(); }

private:
    void MakeRows(const std::vector<ImageControl>& controls)
    {
        const int scrolled = area->verticalScrollBar()->value();
        rows.clear();
        rows.resize(controls.size());
        auto* content = new QWidget;
        auto* grid = new QGridLayout(content);
        grid->setColumnStretch(1, 1);
        for (const auto& [index, row, isSwitch] : PlacesOf(controls)) {
            const ImageControl& control = controls[index];
            rows[index] = MakeControlRow(control, isSwitch, SetterOf(control), content);
            rows[index]->Place(*grid, row);
        }
        if (controls.empty())
            grid->addWidget(new QLabel("This device has no image controls."), 0, 0);
        grid->setRowStretch(grid->rowCount(), 1);
        area->SetPage(content);
        area->verticalScrollBar()->setValue(scrolled);
    }

    TakeValue SetterOf(const ImageControl& control)
    {
        return [this, identity = control.identity, name = ToText(control.name)](int64_t value) {
            Changed(name, channel.GetDigitizer().SetControl(identity, value));
        };
    }

    // Switches come first in the devices' own order, and what a switch blocked is set in the second round.
    void TakeDefaults()
    {
        Result result = noErr;
        for (int round = 0; round < 2; ++round) {
            result = noErr;
            for (const ImageControl& control : channel.GetDigitizer().Controls())
                if (control.kind != ImageControl::Kind::Button && !control.readOnly && !control.inactive &&
                    control.value != control.deviceDefault)
                    if (const Result set = channel.GetDigitizer().SetControl(control.identity, control.deviceDefault);
                        set != noErr)
                        result = set;
        }
        Changed("Defaults", result);
    }

    VideoChannel& channel;
    std::vector<ImageControl> shown;
    std::vector<std::unique_ptr<ControlRow>> rows;
    PageArea* area = new PageArea;
    QPushButton* defaults = new QPushButton("&All to default");
};

} // namespace

SettingsPage* MakeVideoImagePage(VideoChannel& channel)
{
    return new VideoImagePage(channel);
}

} // namespace platform
