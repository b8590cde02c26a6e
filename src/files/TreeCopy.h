// TreeCopy.h - copying and moving of files and trees, by steps that can be answered otherwise.
#pragma once

#include <XelbrinCore/XCDirectory.h>

#include "files/TreeTally.h"
#include "win32/CopySteps.h"
#include "win32/FileDetails.h"

#include <functional>
#include <memory>
#include <vector>

namespace xc::files {

class TreeWalk;

/// Makes the steps of a walk or a removal.
using TreeStepsMaker = std::function<std::unique_ptr<win32::TreeSteps>()>;

class TreeCopy {
public:
    TreeCopy(win32::CopySteps& steps, TreeStepsMaker makeTreeSteps, XCCopyOptions const& options, TreeTally& tally);

    /// Tells the tally everything.
    void Copy(win32::SystemPath const& from, win32::SystemPath const& to);
    void Move(win32::SystemPath const& from, win32::SystemPath const& to);

private:
    struct MadeFolder {
        win32::SystemPath path;
        win32::CopiedFacts facts;
    };

    void Fail(XCCoreError code, win32::SystemPath const& path, unsigned long error);
    void CopyTree(win32::SystemPath const& from, win32::SystemPath const& to, win32::FileDetails const& root);
    bool BeginTree(win32::SystemPath const& from, win32::SystemPath const& to, win32::FileDetails const& root);
    [[nodiscard]] bool IsInside(win32::SystemPath const& from, win32::SystemPath to);
    [[nodiscard]] XCWalkOptions WalkRules() const;
    [[nodiscard]] bool IsLeftOut(XCDirectoryEntry const& entry, TreeWalk& walk) const;
    void CountTree(win32::SystemPath const& from);
    void TakeEntry(XCDirectoryEntry const& entry, win32::SystemPath const& to);
    bool TakeFolder(win32::SystemPath const& to, win32::CopiedFacts const& facts);
    unsigned long MakeFolder(win32::SystemPath const& to);
    void TakeLink(win32::SystemPath const& from, win32::SystemPath const& to, win32::EntryKind const& kind);
    void TakeFile(win32::SystemPath const& from, win32::SystemPath const& to, XCFileInfo const& info);
    unsigned long FindPlace(win32::SystemPath const& to, bool& isLeft, bool& replaces);
    unsigned long WriteFile(win32::SystemPath const& from, win32::SystemPath const& to, XCFileInfo const& info);
    unsigned long WriteContent(win32::SystemPath const& from, win32::SystemPath const& to, XCFileInfo const& info);
    void FinishFolders();

    unsigned long RenameTo(win32::SystemPath const& from, win32::SystemPath const& to);
    void MoveAcross(win32::SystemPath const& from, win32::SystemPath const& to, win32::FileDetails const& source);
    XCErrorID CopyWhole(win32::SystemPath const& from, win32::SystemPath const& to, win32::FileDetails const& source);
    XCErrorID RemoveWhole(win32::SystemPath const& path, win32::EntryKind const& kind);

    win32::CopySteps& m_steps;
    TreeStepsMaker m_makeTreeSteps;
    XCCopyOptions const& m_options;
    TreeTally& m_tally;
    std::vector<MadeFolder> m_made;
};

} // namespace xc::files
