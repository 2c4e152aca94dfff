// SPDX-License-Identifier: MIT
#include "platform/compression/FrameDecoder.h"
#include "platform/compression/KeyFrames.h"
#include "platform/compression/ViewDrawing.h"
#include "platform/grabber/dialogs/DataRate.h"
#include "platform/grabber/dialogs/VideoPages.h"

#include <QImage>
#include <QLabel>
#include <QPainter>
#include <QVBoxLayout>

namespace platform {
namespace {

constexpr QSize kSmallest(160, 120);
constexpr QSize kUsual(480, 360);

/// Draws the newest frame as large as there is space for it.
class Picture : public QWidget {
public:
    Picture()
    {
        setMinimumSize(kSmallest);
        setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
        setAccessibleName("Preview");
    }

    // Shows the last frame; with an inter-frame codec, this takes all frames since a key frame.
    void Show(std::span<const Sample> frames)
    {
        if (!IsInterFrame(frames.back().description->image.codec))
            return Show(frames.back());
        for (const Sample& frame : frames)
            if (frame.isKey || (hasKey && frame.description == description)) {
                Show(frame);
                hasKey = true;
            }
    }

    QSize FrameSize() const { return image.size(); }
    QSize sizeHint() const override { return kUsual; }

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        painter.fillRect(rect(), Qt::black);
        const PictureShape shape = ShapeOfFrame(image.width(), image.height());
        QRectF shown({}, QSizeF(shape.width, shape.height).scaled(size(), Qt::KeepAspectRatio));
        shown.moveCenter(QRectF(rect()).center());
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        painter.drawImage(shown, image);
    }

private:
    void Show(const Sample& frame)
    {
        if (frame.description != description) {
            description = frame.description;
            decoder = FrameDecoder::Create(description->image);
            image = QImage(description->image.width, description->image.height, QImage::Format_RGB32);
            image.fill(Qt::black);
        }
        const PortPixels target{.pixels = image.bits(),
                                .rowBytes = static_cast<int32_t>(image.bytesPerLine()),
                                .width = image.width(),
                                .height = image.height()};
        if (decoder && !image.isNull() && decoder->Decode(frame.data.Bytes(), target) == noErr)
            update();
    }

    SharedDescription description;
    std::unique_ptr<FrameDecoder> decoder;
    QImage image;
    bool hasKey = false;
};

class VideoPreview : public SettingsPage {
public:
    VideoPreview()
    {
        auto* column = new QVBoxLayout(this);
        column->setContentsMargins(0, 0, 0, 0);
        column->addWidget(picture, 1);
        column->addWidget(caption);
        caption->setAlignment(Qt::AlignCenter);
        caption->setWordWrap(true);
    }

    void ShowArrived(std::span<const Sample> arrived) override
    {
        for (const Sample& frame : arrived)
            rate.Add(frame.captureTime, frame.data.Size());
        rate.NoteTurn(!arrived.empty());
        if (!arrived.empty())
            picture->Show(arrived);
        caption->setText(rate.SamplesPerSecond() > 0 ? QString("%1 × %2, %3 frames a second")
                                                           .arg(picture->FrameSize().width())
                                                           .arg(picture->FrameSize().height())
                                                           .arg(NumberText(rate.SamplesPerSecond(), 1))
                                                     : QString("No picture"));
    }

private:
    Picture* picture = new Picture;
    QLabel* caption = new QLabel;
    DataRate rate;
};

} // namespace

SettingsPage* MakeVideoPreview()
{
    return new VideoPreview;
}

} // namespace platform
