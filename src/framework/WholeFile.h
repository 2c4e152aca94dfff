// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArrayView>
#include <QSaveFile>
#include <QString>

namespace framework {

/// A file that is written beside the one of its name and takes its place in one step, or leaves it as it was.
class WholeFile {
public:
    explicit WholeFile(const QString& path) : file(path) {}

    /// Opens it for writing; false when that fails.
    bool Open();

    /// Adds bytes. After one that failed, nothing more is written.
    void Write(QByteArrayView bytes);

    /// Puts the file in its place. False when this or anything before failed.
    bool Finish();

    /// Why it failed.
    const QString& Failure() const { return failure; }

    QString Path() const { return file.fileName(); }

private:
    QSaveFile file;
    QString failure;
};

} // namespace framework
