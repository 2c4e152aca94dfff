// SPDX-License-Identifier: MIT
#include "framework/HelpWindow.h"

#include <QCoreApplication>
#include <QDialog>
#include <QDialogButtonBox>
#include <QImage>
#include <QPointer>
#include <QPushButton>
#include <QTextBrowser>
#include <QUrl>
#include <QVBoxLayout>
#include <QVariant>

namespace framework {
namespace {

constexpr QSize kSize(840, 720);
constexpr int kWidestImage = 700;

constexpr const char* kLinksOnDark = "a { color: #7cb8ff; }";

// Scales pictures down to the width of the window, and keeps links legible on a dark background: desktops with a dark
// palette often leave the color of links as it is on a light one.
class PageBrowser : public QTextBrowser {
public:
    explicit PageBrowser(QWidget* parent) : QTextBrowser(parent)
    {
        if (palette().color(QPalette::Base).lightness() < 128)
            document()->setDefaultStyleSheet(kLinksOnDark);
    }

    QVariant loadResource(int type, const QUrl& name) override
    {
        const QVariant resource = QTextBrowser::loadResource(type, name);
        QImage image;
        if (type != QTextDocument::ImageResource || !image.loadFromData(resource.toByteArray()) ||
            image.width() <= kWidestImage)
            return resource;
        return image.scaledToWidth(kWidestImage, Qt::SmoothTransformation);
    }
};

// A modeless dialog, so that Escape closes it.
class HelpWindow : public QDialog {
public:
    HelpWindow() : pages(new PageBrowser(this))
    {
        setAttribute(Qt::WA_DeleteOnClose);
        pages->setOpenExternalLinks(true);
        pages->setAccessibleName("Guide");
        auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
        AddButton(*buttons, "&Back", &QTextBrowser::backward, &QTextBrowser::backwardAvailable);
        AddButton(*buttons, "&Forward", &QTextBrowser::forward, &QTextBrowser::forwardAvailable);
        connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
        connect(pages, &QTextBrowser::sourceChanged, this, [this] { ShowTitle(); });
        auto* layout = new QVBoxLayout(this);
        layout->addWidget(pages);
        layout->addWidget(buttons);
        resize(kSize);
    }

    void ShowPage(const QUrl& page)
    {
        pages->setSource(page);
        pages->setFocus();
    }

private:
    template <typename Step, typename Available>
    void AddButton(QDialogButtonBox& box, const char* caption, Step step, Available available)
    {
        QPushButton* button = box.addButton(caption, QDialogButtonBox::ActionRole);
        button->setEnabled(false);
        button->setAutoDefault(false);
        connect(button, &QPushButton::clicked, pages, step);
        connect(pages, available, button, &QPushButton::setEnabled);
    }

    void ShowTitle()
    {
        const QString title = pages->documentTitle();
        const QString program = QCoreApplication::applicationName();
        setWindowTitle(title.contains(program) ? title : title + " - " + program);
    }

    QTextBrowser* const pages; // owned by the window
};

} // namespace

void ShowInHelpWindow(const QUrl& page)
{
    static auto& window = *new QPointer<HelpWindow>;
    if (!window)
        window = new HelpWindow; // deletes itself when it is closed
    window->ShowPage(page);
    window->show();
    window->raise();
    window->activateWindow();
}

} // namespace framework
