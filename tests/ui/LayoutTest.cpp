#include "ui/AnalogVideoSettings.h"
#include "ui/GrabWindow.h"
#include "ui/IIDCVideoSettings.h"
#include "ui/UiTest.h"

#include <QCoreApplication>
#include <QDate>
#include <QFontInfo>
#include <QLabel>
#include <QWidget>

#include <map>
#include <sstream>

namespace {

using framework::RectControl;
using framework::Window;

// The texts that a control shows, as a user reads them.
std::string TextOf(const RectControl& control)
{
    if (const auto* button = dynamic_cast<const framework::PushButton*>(&control))
        return button->Caption().Bytes();
    if (const auto* box = dynamic_cast<const framework::CheckBox*>(&control))
        return box->Caption().Bytes() + (box->Value() ? " on" : " off");
    if (const auto* label = dynamic_cast<const framework::StaticText*>(&control))
        return label->Text().Bytes();
    if (const auto* field = dynamic_cast<const framework::EditField*>(&control))
        return field->Text().Bytes();
    if (const auto* slider = dynamic_cast<const framework::Slider*>(&control))
        return std::to_string(slider->Minimum()) + "-" + std::to_string(slider->Maximum()) + ":" +
               std::to_string(slider->Value());
    if (const auto* bar = dynamic_cast<const framework::ProgressBar*>(&control))
        return std::to_string(bar->Value()) + "/" + std::to_string(bar->Maximum());
    const auto* menu = dynamic_cast<const framework::PopupMenu*>(&control);
    return menu == nullptr ? "" : menu->List(menu->ListIndex()).Bytes() + " of " + std::to_string(menu->ListCount());
}

// One line for a control: name, rectangle, anchors, weight, alignment, text, and whether it can be used.
std::string Describe(const RectControl& control)
{
    std::ostringstream line;
    line << control.Name().Bytes();
    if (control.Index >= 0)
        line << "(" << control.Index << ")";
    const auto& locked = control.LockedTo;
    line << " " << control.Left() << "," << control.Top() << " " << control.Width() << "x" << control.Height() << " "
         << (locked.left ? "L" : "") << (locked.top ? "T" : "") << (locked.right ? "R" : "")
         << (locked.bottom ? "B" : "") << "|" << (control.Widget()->font().bold() ? "bold" : "plain");
    if (const auto* label = qobject_cast<QLabel*>(control.Widget()))
        line << (label->alignment() & Qt::AlignRight ? " right" : " left");
    line << "|" << TextOf(control) << (control.Enabled() ? "" : "|disabled");
    return line.str();
}

template <typename T> std::string DescribeNamed(const Window& window, const char* name, int32_t index = -1)
{
    const auto* control = window.ControlNamed<T>(name, index);
    return control == nullptr ? std::string(name) + " is missing" : Describe(*control);
}

std::string DescribeWindow(const Window& window)
{
    std::ostringstream line;
    line << window.Width() << "x" << window.Height() << " at least " << window.MinWidth << "x" << window.MinHeight
         << " at most " << window.MaxWidth << "x" << window.MaxHeight << " frame " << window.Frame << " placement "
         << window.Placement << " composite " << window.Composite << " resizeable " << window.Resizeable
         << window.LiveResize << window.MaximizeButton << window.MinimizeButton << window.CloseButton << " "
         << window.Title().Bytes();
    return line.str();
}

// Names of the controls with a widget, in the order of their making.
std::vector<std::string> OrderOf(const Window& window, const char* anyControl, int32_t index = -1)
{
    std::vector<std::string> names;
    const QWidget* widget = window.ControlNamed<RectControl>(anyControl, index)->Widget();
    for (const QObject* child : widget->parent()->children())
        if (child->isWidgetType())
            names.push_back(child->objectName().toStdString());
    return names;
}

using LayoutTest = UiTest;

TEST_F(LayoutTest, MovieWindow)
{
    EXPECT_EQ(DescribeWindow(*window), "680x634 at least 680x634 at most 32000x32000 frame 0 placement 0 composite 1 "
                                       "resizeable 11111 Camera");
    const std::vector<std::string> expected{
        "VelmoraCanvas1 20,14 640x480 LTRB|plain|",
        "btnstartcapture1 580,512 80x20 RB|bold|Record",
        "PushButton1 290,545 147x20 LB|bold|Send Command",
        "PopupMenu1 149,512 130x20 LB|bold|Blue Screen of 3",
        "EditField1 290,510 147x22 LB|bold|Preview Not Enabled",
        "StaticText1 20,513 120x20 LB|bold right|Inactive Preview:",
        "PopupMenu2 149,545 130x20 LB|bold|Play of 12",
        "StaticText2 20,545 120x20 LB|bold right|DV Remote Control:",
        "ProgressBar1 152,578 50x20 LB|plain|0/100",
        "ProgressBar2 214,578 50x20 LB|plain|0/100",
        "StaticText3 20,581 120x20 LB|bold right|Sound Level Meters:",
        "CheckBox1 302,583 86x20 LB|bold|Horizontal off",
        "CheckBox2 400,581 86x20 LB|bold|Vertical off",
        "CheckBox3 498,579 86x20 LB|bold|Rotate 180 off",
    };
    std::vector<std::string> names;
    for (const std::string& line : expected) {
        names.push_back(line.substr(0, line.find(' ')));
        EXPECT_EQ(DescribeNamed<RectControl>(*window, names.back().c_str()), line);
        if (line.find("|bold") != std::string::npos && line.find("CheckBox") == std::string::npos) {
            EXPECT_EQ(QFontInfo(window->ControlNamed<RectControl>(names.back())->Widget()->font()).pixelSize(), 11);
        }
    }
    EXPECT_EQ(OrderOf(*window, "VelmoraCanvas1"), names);
    const auto timer = window->SoundLevelMeterTimer();
    EXPECT_EQ(timer->Mode(), framework::Timer::Off);
    EXPECT_EQ(timer->Period(), 100);

    std::string rows;
    for (int32_t i = 0; i < window->PopupMenu2()->ListCount(); i++)
        rows += window->PopupMenu2()->List(i).Bytes() + ",";
    EXPECT_EQ(rows, "Play,Stop,Rewind,Fast Forward,Freeze,FastForwardPlay,NextFrame,PreviousFrame,Record,RewindPlay,"
                    "SlowForward,SlowReverse,");
}

TEST_F(LayoutTest, GrowingTheWindowMovesControlsByTheirAnchors)
{
    std::map<std::string, std::pair<int32_t, int32_t>> before;
    for (const std::string& name : OrderOf(*window, "VelmoraCanvas1")) {
        const auto* control = window->ControlNamed<RectControl>(name);
        before[name] = {control->Left(), control->Top()};
    }
    spy->TakeCalls();
    window->Width(680 + 100);
    window->Height(634 + 50);
    QCoreApplication::processEvents();
    for (const auto& [name, place] : before) {
        const auto* control = window->ControlNamed<RectControl>(name);
        const bool grows = name == "VelmoraCanvas1";
        EXPECT_EQ(control->Left(), place.first + (name == "btnstartcapture1" ? 100 : 0)) << name;
        EXPECT_EQ(control->Top(), place.second + (grows ? 0 : 50)) << name;
        EXPECT_EQ(control->Widget()->geometry(),
                  QRect(control->Left(), control->Top(), control->Width(), control->Height()))
            << name;
    }
    EXPECT_EQ(window->VelmoraCanvas1()->Width(), 740);
    EXPECT_EQ(window->VelmoraCanvas1()->Height(), 530);
    EXPECT_EQ(spy->calls.back(), "VideoRecordSize 740 530");
}

TEST_F(LayoutTest, AnalogVideoSettings)
{
    spy->numbers = {{"VideoBrightness", -1}};
    const auto analog = velmora::AnalogVideoSettings::Instance();
    EXPECT_EQ(DescribeWindow(*analog), "400x250 at least 64x64 at most 32000x32000 frame 3 placement 3 composite 0 "
                                       "resizeable 00011 Image Settings");
    const std::vector<std::string> expected{
        "BrightnessLabel 12,44 80x20 |plain right|Brightness:",
        "BrightnessSlider 104,48 208x16 |plain|0-100:0|disabled",
        "BrightnessSText 318,46 70x20 |plain left|Not supported",
        "PushButton1 104,216 69x20 |plain|Untitled",
        "StaticText1 12,76 80x20 |plain right|Hue:",
        "HueSlider 104,80 208x16 |plain|0-100:50",
    };
    for (const std::string& line : expected)
        EXPECT_EQ(DescribeNamed<RectControl>(*analog, line.substr(0, line.find(' ')).c_str()), line);
    EXPECT_EQ(DescribeNamed<RectControl>(*analog, "HueSText").substr(0, 34), "HueSText 318,78 70x20 |plain left|");
    EXPECT_EQ(analog->SetupTimer()->Mode(), framework::Timer::Single);
    EXPECT_EQ(analog->SetupTimer()->Period(), 125);
}

TEST_F(LayoutTest, IIDCVideoSettings)
{
    constexpr const char* labels[] = {"Hue",
                                      "Saturation",
                                      "Sharpness",
                                      "Brightness",
                                      "Gain",
                                      "Iris",
                                      "Shutter",
                                      "Exposure",
                                      "White Balance U",
                                      "White Balance V",
                                      "Gamma",
                                      "Temperature",
                                      "Zoom",
                                      "Focus",
                                      "Pan",
                                      "Tilt",
                                      "Optical Filter",
                                      "Edge Enhancement"};
    constexpr int sliderTops[] = {14, 42, 70, 98, 126, 154, 182, 210, 238, 266, 297, 325, 353, 381, 409, 437, 465, 493};
    constexpr int labelTops[] = {13, 38, 66, 94, 122, 153, 178, 206, 234, 262, 294, 319, 347, 375, 403, 433, 461, 489};
    const auto iidc = velmora::IIDCVideoSettings::Instance();
    EXPECT_EQ(DescribeWindow(*iidc), "320x570 at least 64x64 at most 32000x32000 frame 0 placement 0 composite 0 "
                                     "resizeable 00011 IIDC Video Settings");
    std::vector<std::string> order(18, "Slider1");
    order.resize(36, "StaticText1");
    order.resize(55, "StaticText2");
    EXPECT_EQ(OrderOf(*iidc, "Slider1", 0), order);
    for (int32_t i = 0; i < 18; i++) {
        const auto at = [i](const char* name, int32_t left, int32_t top, const char* size, const std::string& rest) {
            return std::string(name) + "(" + std::to_string(i) + ") " + std::to_string(left) + "," +
                   std::to_string(top) + " " + size + " |" + rest;
        };
        EXPECT_EQ(DescribeNamed<RectControl>(*iidc, "Slider1", i),
                  at("Slider1", 144, sliderTops[i], "100x16", "plain|0-100:0"));
        EXPECT_EQ(DescribeNamed<RectControl>(*iidc, "StaticText1", i),
                  at("StaticText1", 20, labelTops[i], "114x20", std::string("bold right|") + labels[i]));
        EXPECT_EQ(DescribeNamed<RectControl>(*iidc, "StaticText2", i),
                  at("StaticText2", 256, i == 10 ? 294 : sliderTops[i], "44x20", "bold left|"));
    }
    EXPECT_EQ(DescribeNamed<RectControl>(*iidc, "StaticText2", 18), "StaticText2(18) 256,10 44x20 |bold left|");
    EXPECT_EQ(iidc->SetupTimer()->Period(), 100);
}

TEST_F(LayoutTest, GrabWindow)
{
    const auto grab = velmora::GrabWindow::Instance();
    const std::string title = grab->Title().Bytes();
    EXPECT_EQ(DescribeWindow(*grab), "640x480 at least 64x64 at most 32000x32000 frame 3 placement 0 composite 0 "
                                     "resizeable 00011 " +
                                         title);
    EXPECT_NE(title.find(std::to_string(QDate::currentDate().year())), std::string::npos) << title;
    EXPECT_EQ(DescribeNamed<RectControl>(*grab, "Canvas1"), "Canvas1 0,0 640x480 |plain|");
}

} // namespace
