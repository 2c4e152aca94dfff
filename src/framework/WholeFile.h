// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArrayView>
#include <QSaveFile>
#include <QString>

namespace framework {

/// Writes a file under a temporary name and renames it at the end. On failure an existing file stays unchanged.
class WholeFile {
public:
    /// `path` is the final name.
    explicit WholeFile(const QString& path) : file(path) {}

    /// Opens the temporary file for writing. Returns false on failure.
    bool Open();

    /// Appends bytes. Does nothing after a failure.
    void Write(QByteArrayView bytes);

    /// Renames the file to its final name. Returns false if this or anything before failed.
    bool Finish();

    /// The reason of the first failure; empty: none.
    const QString& Failure() const { return failure; }

    QString Path() const { return file.fileName(); } ///< the final name

private:
    QSaveFile file;
    QString failure;
};

} // namespace framework
