// SPDX-License-Identifier: MIT
#include "framework/PictureActions.h"

#include "framework/Application.h"
#include "framework/FolderItem.h"
#include "framework/QtText.h"
#include "framework/WholeFile.h"

#include <QBuffer>
#include <QClipboard>
#include <QDateTime>
#include <QDrag>
#include <QFileInfo>
#include <QGuiApplication>
#include <QImageWriter>
#include <QKeyEvent>
#include <QMenu>
#include <QMimeData>
#include <QPixmap>
#include <QTemporaryDir>
#include <QUrl>

namespace framework {
namespace {

constexpr int kJpegQuality = 92;
constexpr int kDraggedWidth = 160; // of the small picture under the pointer

QString DefaultName()
{
    return "Picture " + QDateTime::currentDateTime().toString("yyyy-MM-dd hh.mm.ss");
}

// The format for a file name by its extension; empty if it is not supported.
QByteArray FormatOf(const QString& path)
{
    const QString extension = QFileInfo(path).suffix().toLower();
    if (extension == "jpg" || extension == "jpeg")
        return "jpeg";
    return extension == "png" ? "png" : "";
}

// Writes the picture. Returns why that failed, or an empty text.
QString Write(const QImage& picture, const QString& path)
{
    QBuffer encoded;
    encoded.open(QIODevice::WriteOnly);
    QImageWriter writer(&encoded, FormatOf(path));
    writer.setQuality(kJpegQuality);
    if (!writer.write(picture))
        return writer.errorString();
    WholeFile file(path);
    if (file.Open()) {
        file.Write(encoded.data());
        file.Finish();
    }
    return file.Failure();
}

void Copy(const QImage& picture)
{
    QGuiApplication::clipboard()->setImage(picture.copy());
}

void Save(const QImage& shown)
{
    // The window may show another picture by the time the dialog is closed.
    const QImage picture = shown.copy();
    String name = FromQt(DefaultName());
    for (;;) {
        const auto file = GetSaveFolderItem("PNG or JPEG picture", name, ".png");
        if (!file)
            return;
        const QString path = ToQt(file->AbsolutePath());
        name = file->Name();
        if (FormatOf(path).isEmpty()) {
            MsgBox("Pictures are saved as PNG or JPEG. Please use a name that ends in .png or .jpg.");
            continue;
        }
        const QString failure = Write(picture, path);
        if (!failure.isEmpty())
            MsgBox(name + " could not be saved: " + FromQt(failure) + ".", MessageKind::Warning);
        return;
    }
}

// For programs that accept a file but no pixels. The file is kept until this program ends.
QUrl AsFile(const QImage& picture)
{
    static const QTemporaryDir folder;
    const QString path = folder.filePath(DefaultName() + ".png");
    return folder.isValid() && Write(picture, path).isEmpty() ? QUrl::fromLocalFile(path) : QUrl();
}

} // namespace

void ShowPictureMenu(QWidget* window, const QImage& picture, const QImage& undrawn, const QPoint& place)
{
    QMenu menu(window);
    const QAction* copy = menu.addAction("&Copy", QKeySequence(QKeySequence::Copy));
    const QAction* save = menu.addAction("&Save As…", QKeySequence(QKeySequence::Save));
    const QAction* copyUndrawn = nullptr;
    const QAction* saveUndrawn = nullptr;
    if (!undrawn.isNull()) {
        menu.addSeparator();
        copyUndrawn = menu.addAction("Copy &Without Drawing");
        saveUndrawn = menu.addAction("Save As, Without &Drawing…");
    }
    const QAction* chosen = menu.exec(place);
    if (chosen == nullptr)
        return;
    if (chosen == copy || chosen == copyUndrawn)
        Copy(chosen == copy ? picture : undrawn);
    else if (chosen == save || chosen == saveUndrawn)
        Save(chosen == save ? picture : undrawn);
}

bool DoPictureKey(const QImage& picture, const QKeyEvent& key)
{
    if (key.matches(QKeySequence::Copy))
        Copy(picture);
    else if (key.matches(QKeySequence::Save))
        Save(picture);
    else
        return false;
    return true;
}

void DragPicture(QWidget* window, const QImage& picture)
{
    auto* data = new QMimeData;
    data->setImageData(picture.copy());
    if (const QUrl file = AsFile(picture); file.isValid())
        data->setUrls({file});
    auto* drag = new QDrag(window); // deletes itself
    drag->setMimeData(data);
    drag->setPixmap(QPixmap::fromImage(picture.scaledToWidth(kDraggedWidth, Qt::SmoothTransformation)));
    drag->exec(Qt::CopyAction);
}

} // namespace framework
