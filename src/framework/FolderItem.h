// SPDX-License-Identifier: MIT
#pragma once

#include "framework/Reference.h"
#include "framework/String.h"

#include <cstdint>
#include <functional>

namespace framework {

class TextInputStream;
class TextOutputStream;

/// A path in the file system: a file or folder that may or may not exist.
class FolderItem {
public:
    /// Takes an absolute path or one relative to the current folder.
    explicit FolderItem(const String& path);

    String Name() const;         ///< the last component of the path
    String AbsolutePath() const; ///< the whole path

    /// The path with a backslash before each character that is special to a shell, such as blanks and quotes.
    String ShellPath() const;

    bool Exists() const; ///< whether there is a file or folder at the path

    /// The volume of the item: its mount point, followed by its label if it has one: "/media/card (HOLIDAY)".
    String VolumeName() const;

    /// Deletes a file and sets `LastErrorCode`. Does not delete folders.
    void Delete();
    int32_t LastErrorCode() const { return lastErrorCode; } ///< result code of the last `Delete`; 0: success

    /// The volume number of the item's folder, for a file specification record.
    int32_t MacVRefNum() const;
    /// The directory number of the item's folder, for a file specification record.
    int32_t MacDirID() const;

    /// Opens the file for writing. It replaces an existing file when the stream is closed. On failure shows a message
    /// and returns nil.
    Reference<TextOutputStream> CreateTextFile();

    /// Opens the file for reading; nil on failure.
    Reference<TextInputStream> OpenAsTextFile();

private:
    std::string path;
    int32_t lastErrorCode = 0;
};

/// A file type that dialogs refer to by name.
class FileType {
public:
    String Name, Extensions, MacType, MacCreator;

    /// What dialogs call such files; empty: the name.
    String Description;

    /// Returns why a file is not of this type, judged by its content, or an empty text if it is. Not set: accepts any
    /// file.
    std::function<String(const FolderItem& file)> Objection;

    operator String() const { return Name; } ///< the name, as the file dialogs take it
};

/// Registers a file type for the dialogs. Replaces one of the same name.
void RegisterFileType(const Reference<FileType>& type);

/// Lets the user choose a name for a new file. `filter` is the name of a `FileType` or empty. A name without an
/// extension gets `extension` (".mov"). The dialog rejects names that cannot be used, with the reason, and asks before
/// an existing file is replaced. Nil after Cancel or without a display.
Reference<FolderItem> GetSaveFolderItem(const String& filter, const String& defaultName, const String& extension = "");

/// Lets the user choose an existing file. The dialog rejects files that cannot be read or are not of the type, with the
/// reason. Nil after Cancel or without a display.
Reference<FolderItem> GetOpenFolderItem(const String& filter);

} // namespace framework
