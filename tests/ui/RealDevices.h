// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Platform.h"
#include "platform/digitizer/testpattern/TestPattern.h"
#include "platform/sound/TestTone.h"
#include "ui/UiTest.h"

/// A built-in device under another name.
template <typename Device> class Named : public Device {
public:
    Named(std::string name, std::string identity) : name(std::move(name)), identity(std::move(identity)) {}
    std::string Name() const override { return name; }
    std::string Identity() const override { return identity; }

private:
    std::string name, identity;
};

/// The application with its real control and platform, on devices of the test's making: each is known by its place in
/// the list of names. `vanishAfter` asks for the list, the last device is gone.
class RealDevicesTest : public MainWindowTest {
protected:
    void SetUp() override
    {
        static const bool started = (platform::StartPlatform(), true);
        ASSERT_TRUE(started);
        platform::SetDigitizerProvider(
            {[this] { return List<platform::DigitizerEntry>(); },
             [this](const auto& identity) { return Open<platform::TestPattern>(identity); }});
        platform::SetSoundSourceProvider({[this] { return List<platform::SoundSourceEntry>(); },
                                          [this](const auto& identity) { return Open<platform::TestTone>(identity); }});
        MainWindowTest::SetUp();
    }

    void TearDown() override
    {
        Close();
        MainWindowTest::TearDown();
        platform::SetDigitizerProvider({});
        platform::SetSoundSourceProvider({});
    }

    void Open(const std::shared_ptr<velmora::MovieWindow>& made = std::make_shared<velmora::MovieWindow>())
    {
        OpenMainWindow(made);
        window->UpdateMenus();
    }

    void Close()
    {
        if (!window)
            return;
        window->VelmoraCanvas1()->Destructor();
        CloseMainWindow();
    }

    std::vector<std::string> names{"Camera"};
    int vanishAfter = -1;

private:
    template <typename Entry> std::vector<Entry> List()
    {
        std::vector<Entry> entries;
        for (size_t i = 0; i < names.size(); ++i)
            entries.push_back({names[i], std::to_string(i), {}, true});
        if (vanishAfter >= 0 && vanishAfter-- == 0)
            entries.pop_back();
        return entries;
    }
    template <typename Device> std::unique_ptr<Device> Open(const std::string& identity)
    {
        return std::make_unique<Named<Device>>(names.at(std::stoul(identity)), identity);
    }
};
