#include "frame/file_changes.h"

#include "frame/files.h"
#include "frame/held_folder.h"
#include "frame/paths.h"
#include "frame/session.h"

#include <algorithm>

namespace setupactions {

namespace {

// Kinds of entries. The path follows, then the name of its copy or its earlier state.
const char FileKind[] = "file";
const char FolderKind[] = "folder";
const char FilledFolderKind[] = "filled";
const char WasThere[] = "was there";

bool Exists(DWORD attributes) { return attributes != INVALID_FILE_ATTRIBUTES; }

std::string FolderOf(const std::string& path) {
    std::string drive, directory;
    SplitPath(path, &drive, &directory, nullptr, nullptr);
    EnsureTrailingChar(directory, '\\', true);
    return drive + directory;
}

// The path as recorded: in its plain form, or unchanged where it has none (it is then not
// undone).
std::string PlainPath(const std::string& path) {
    const std::string plain = FullPath(path);
    return plain.empty() ? path : plain;
}

void LogUndone(const UndoRun& run, bool done, const std::string& path, const char* outcome) {
    const DWORD error = GetLastError();
    LogMessage(run.session, done ? Format("%s: %s %s", run.action.c_str(), path.c_str(), outcome)
                                 : Format("%s: %s could not be %s (error %d)", run.action.c_str(),
                                          path.c_str(), outcome, static_cast<int>(error)));
}

void UndoFile(const UndoRun& run, const std::string& path, const std::string& copy) {
    const DWORD attributes = GetFileAttributesA(path.c_str());
    if (copy.empty() && !Exists(attributes))
        return;
    if (IsFolder(attributes)) {
        LogFormat(run.session, "%s: %s is a folder now, left alone", run.action.c_str(),
                  path.c_str());
        return;
    }
    if (Exists(attributes)) // a read-only or hidden file could not be replaced
        SetFileAttributesA(path.c_str(), FILE_ATTRIBUTE_NORMAL);
    if (copy.empty()) {
        LogUndone(run, DeleteFileA(path.c_str()) != FALSE, path, "removed");
        return;
    }
    const std::string kept = run.folder + "\\" + copy;
    LogUndone(run, CopyFileA(kept.c_str(), path.c_str(), FALSE) != FALSE, path, "put back");
}

void UndoFolder(const UndoRun& run, const std::string& path, bool wasThere) {
    const bool isThere = Exists(GetFileAttributesA(path.c_str()));
    if (wasThere && !isThere)
        LogUndone(run, CreateDirectoryA(path.c_str(), nullptr) != FALSE, path, "put back");
    else if (!wasThere && isThere)
        LogUndone(run, RemoveDirectoryA(path.c_str()) != FALSE, path, "removed");
}

// True when the run itself removes the folder or one above it.
bool GoesAnyway(const UndoRun& run, const std::string& path) {
    return std::any_of(run.changes.begin(), run.changes.end(), [&](const UndoEntry& change) {
        return change.size() == 3 && change[0] == FilledFolderKind && change[2].empty() &&
               (path + "\\").compare(0, change[1].size() + 1, change[1] + "\\") == 0;
    });
}

void UndoFilledFolder(const UndoRun& run, const std::string& path, bool wasThere) {
    if (wasThere && GoesAnyway(run, path))
        return;
    if (wasThere) {
        LogFormat(run.session, "%s: %s was there before, what came into it stays",
                  run.action.c_str(), path.c_str());
    } else if (IsFolder(GetFileAttributesA(path.c_str()))) {
        RemoveFolderStructure(run.session, path);
        LogUndone(run, !Exists(GetFileAttributesA(path.c_str())), path, "removed");
    }
}

} // namespace

void RecordFile(UndoRecord& record, const std::string& path) {
    const DWORD attributes = GetFileAttributesA(path.c_str());
    if (!Exists(attributes)) {
        record.Add({FileKind, PlainPath(path), ""});
    } else if (!IsFolder(attributes)) {
        const std::string copy = record.Keep(path);
        if (!copy.empty())
            record.Add({FileKind, PlainPath(path), copy});
    }
}

void RecordFolder(UndoRecord& record, const std::string& path) {
    record.Add(
        {FolderKind, PlainPath(path), Exists(GetFileAttributesA(path.c_str())) ? WasThere : ""});
}

void RecordFilledFolder(UndoRecord& record, const std::string& path) {
    if (path.empty())
        return;
    std::string topmost = PlainPath(path);
    const bool wasThere = Exists(GetFileAttributesA(path.c_str()));
    for (std::string above = FolderOf(topmost); !wasThere && above.size() > 2;
         above = FolderOf(above)) {
        if (Exists(GetFileAttributesA(above.c_str())))
            break;
        topmost = above;
    }
    record.Add({FilledFolderKind, topmost, wasThere ? WasThere : ""});
}

void UndoFileChanges(const UndoRun& run) {
    struct Undo {
        const char* kind;
        void (*undo)(const UndoRun& run, const std::string& path, const std::string& before);
    };
    static const Undo undos[] = {
        {FileKind, UndoFile},
        {FolderKind, [](const UndoRun& r, const std::string& path,
                        const std::string& before) { UndoFolder(r, path, before == WasThere); }},
        {FilledFolderKind,
         [](const UndoRun& r, const std::string& path, const std::string& before) {
             UndoFilledFolder(r, path, before == WasThere);
         }},
    };
    for (const UndoEntry& change : run.changes) {
        if (change.size() != 3)
            continue;
        for (const Undo& undo : undos) {
            if (change[0] != undo.kind)
                continue;
            // From here on nobody can put a link above it.
            const HeldFolder held(FolderOf(change[1]));
            if (IsOwnPath(change[1]) && FullPath(change[1]) == change[1] &&
                !LeadsThroughLink(change[1]))
                undo.undo(run, change[1], change[2]);
            else
                LogFormat(run.session, "%s: %s is no place of its own, left alone",
                          run.action.c_str(), change[1].c_str());
        }
    }
}

} // namespace setupactions
