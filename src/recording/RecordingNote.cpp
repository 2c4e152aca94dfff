// SPDX-License-Identifier: MIT
// A note is a small text file: "process" and "start" on a line each, then "path", which runs to the end of the file
// because a path may contain line ends. It is written and locked under a hidden name and then renamed. So a visible
// note is always complete, and locked as long as its recording runs. The kernel releases the lock when the process
// ends.
#include "recording/RecordingNote.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <unistd.h>

namespace velmora {
namespace {

namespace fs = std::filesystem;

constexpr const char* kForm = "process %d\nstart %" PRId64 "\npath ";

fs::path NotesFolder()
{
    const char* state = std::getenv("XDG_STATE_HOME");
    const char* home = std::getenv("HOME");
    if (state != nullptr && state[0] == '/')
        return fs::path(state) / "velmora" / "recordings";
    return home != nullptr && home[0] == '/' ? fs::path(home) / ".local/state/velmora/recordings" : fs::path();
}

// Creates a file in the folder, which another program may remove at any time if it is empty.
int CreateHidden(const fs::path& folder, std::string& name)
{
    for (int attempts = 3;; --attempts) {
        std::error_code error;
        if (fs::create_directories(folder, error); error)
            return -1;
        name = (folder / ".recording-XXXXXX").string();
        const int descriptor = mkostemp(name.data(), O_CLOEXEC);
        if (descriptor >= 0 || errno != ENOENT || attempts == 1)
            return descriptor;
    }
}

bool WriteAll(int descriptor, const std::string& text)
{
    return write(descriptor, text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

std::string ReadAll(int descriptor)
{
    std::array<char, 8192> bytes; // PATH_MAX is 4096
    const ssize_t count = pread(descriptor, bytes.data(), bytes.size(), 0);
    return {bytes.data(), static_cast<size_t>(std::max<ssize_t>(count, 0))};
}

} // namespace

std::unique_ptr<RecordingNote> RecordingNote::Write(const std::string& moviePath)
{
    const fs::path folder = NotesFolder();
    std::string name;
    const int descriptor = folder.empty() ? -1 : CreateHidden(folder, name);
    if (descriptor < 0)
        return nullptr;
    std::unique_ptr<RecordingNote> note(new RecordingNote(descriptor, name));
    note->moviePath = moviePath;
    note->began = std::time(nullptr);
    std::array<char, 64> head;
    std::snprintf(head.data(), head.size(), kForm, getpid(), note->began);
    const std::string shown = folder / fs::path(name).filename().string().substr(1);
    if (!WriteAll(descriptor, head.data() + moviePath) || flock(descriptor, LOCK_EX | LOCK_NB) != 0 ||
        rename(name.c_str(), shown.c_str()) != 0) {
        note->Remove();
        return nullptr;
    }
    note->notePath = shown;
    return note;
}

std::vector<std::unique_ptr<RecordingNote>> RecordingNote::LeftBehind()
{
    std::vector<std::unique_ptr<RecordingNote>> notes;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(NotesFolder(), error)) {
        const std::string path = entry.path().string();
        if (!entry.path().filename().string().starts_with("recording-"))
            continue;
        const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW);
        if (descriptor < 0)
            continue;
        std::unique_ptr<RecordingNote> note(new RecordingNote(descriptor, path));
        if (flock(descriptor, LOCK_EX | LOCK_NB) != 0)
            continue;
        if (note->Read())
            notes.push_back(std::move(note));
        else
            note->Remove();
    }
    std::ranges::sort(notes, {}, [](const auto& note) { return note->began; });
    return notes;
}

RecordingNote::~RecordingNote()
{
    if (descriptor >= 0)
        close(descriptor);
}

void RecordingNote::Remove()
{
    unlink(notePath.c_str());
    // Folders that are not empty stay.
    const fs::path folder = fs::path(notePath).parent_path();
    std::error_code ignored;
    if (fs::remove(folder, ignored))
        fs::remove(folder.parent_path(), ignored);
}

bool RecordingNote::Read()
{
    const std::string text = ReadAll(descriptor);
    int process = 0;
    int length = 0;
    if (std::sscanf(text.c_str(), "process %d start %" SCNd64 " path%n", &process, &began, &length) != 2 ||
        length == 0 || text.size() <= static_cast<size_t>(length) + 1)
        return false;
    moviePath = text.substr(static_cast<size_t>(length) + 1);
    std::error_code error;
    return fs::exists(moviePath, error) || error;
}

} // namespace velmora
