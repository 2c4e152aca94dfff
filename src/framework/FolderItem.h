// SPDX-License-Identifier: MIT
#pragma once

#include "framework/Reference.h"
#include "framework/String.h"

#include <cstdint>
#include <functional>

namespace framework {

class TextInputStream;
class TextOutputStream;

/// A place in the file system: a file or folder that may or may not exist.
class FolderItem {
public:
    /// From an absolute path, or one relative to the current folder, in UTF-8.
    explicit FolderItem(const String& path);

    String Name() const;
    String AbsolutePath() const;

    /// The path as a shell takes it: blanks, quotes, backslashes and the other special characters led by a backslash.
    String ShellPath() const;

    bool Exists() const;

    /// The disk that the item is on, by where it is mounted, with its label if it has one: "/media/card (HOLIDAY)".
    String VolumeName() const;

    /// Deletes a file; a failure is kept in `LastErrorCode`. Folders are left alone.
    void Delete();
    int32_t LastErrorCode() const { return lastErrorCode; }

    /// The folder in the numbers of a file specification record.
    int32_t MacVRefNum() const;
    int32_t MacDirID() const;

    /// Opens the file for writing; it replaces what was there when the stream ends. Nil when that fails, which a
    /// message tells.
    Reference<TextOutputStream> CreateTextFile();

    /// Opens the file for reading; nil when that fails.
    Reference<TextInputStream> OpenAsTextFile();

private:
    std::string path;
    int32_t lastErrorCode = 0;
};

/// A kind of file that dialogs offer by its name.
class FileType {
public:
    String Name, Extensions, MacType, MacCreator;

    /// What dialogs call such files; empty: by the name.
    String Description;

    /// Why a file is none of this kind, by its content; empty for one that is. Without it any file is taken.
    std::function<String(const FolderItem& file)> Objection;

    operator String() const { return Name; }
};

/// Makes a kind of file known to the dialogs, in place of one of the same name.
void RegisterFileType(const Reference<FileType>& type);

/// Lets the user choose a name for a new file. `filter` names a `FileType` or is empty. A name without an extension
/// gets `extension` (".mov"). Names that can't be saved under are refused with the reason, and an existing file is
/// replaced only after a question. Nil after Cancel.
Reference<FolderItem> GetSaveFolderItem(const String& filter, const String& defaultName, const String& extension = "");

/// Lets the user choose an existing file. One that can't be read, or that is not of the kind, is refused with the
/// reason. Nil after Cancel.
Reference<FolderItem> GetOpenFolderItem(const String& filter);

} // namespace framework
