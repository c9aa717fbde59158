// Walks a folder's tree and stands on each entry that matches.
//
// Contract:
//  - Made with a folder and either a list of types to match (Sys_FileUtils::GetFileType of
//    the entry is in the list; folders match only when cFolder is listed) or a name
//    pattern (shell wildcards: "*", "?", "[...]"). The folder itself is never an entry.
//    A start that is no folder throws package 2, id 4 ("starting location for iterator
//    invalid").
//  - The walk goes depth first, names in byte order within a folder; sub-folders are
//    entered after they have been offered, links to folders are not entered, and AppleDouble
//    sidecars ("._" names) are never offered. A folder that cannot be read is skipped.
//  - Next(budget) looks at one entry at least and then goes on until it finds a match, the
//    walk ends, or the budget (microseconds) is spent. It returns whether it stands on a
//    match; false with IsDone() false means that time ran out: call Next again to resume
//    where it stopped. ++ is Next without a budget.
//  - *it is the current match (asserts "mImpl->IsOnEntry()"); the bool conversion tells
//    whether it stands on one. Abort ends the walk at once. GetCurrentSearchPath is the
//    folder being read (empty once done).
//  - One thread at a time; not copyable.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Sys_FileLoc.h"
#include "Sys_FileType.h"

class Sys_FileLocIteratorImpl
{
public:
    virtual ~Sys_FileLocIteratorImpl() = default;
    // Looks at entries until a match, the end or the deadline (steady clock, microseconds;
    // a negative deadline means none); at least one entry is looked at.
    virtual bool Next(int64_t iDeadlineMicroseconds) = 0;
    virtual bool IsOnEntry() const = 0;
    virtual bool IsDone() const = 0;
    virtual const Sys_FileLoc& GetCurrent() const = 0;
    virtual void Abort() = 0;
    virtual Sys_FileLoc GetCurrentSearchPath() const = 0;
};

class Sys_FileLocIterator
{
public:
    using TypesCreateMethod = Sys_FileLocIteratorImpl* (*)(const Sys_FileLoc& iFolder,
                                                           const std::vector<Sys_FileType>& iTypes);
    using PatternCreateMethod = Sys_FileLocIteratorImpl* (*)(const Sys_FileLoc& iFolder,
                                                             const std::string& iPattern);
    // Installs the hooks (the platform set-up does, see Sys_Platform.h).
    static void SetCreateMethods(TypesCreateMethod iTypes, PatternCreateMethod iPattern);

    static constexpr int64_t cNoBudget = -1;

    Sys_FileLocIterator(const Sys_FileLoc& iFolder, const std::vector<Sys_FileType>& iTypes);
    Sys_FileLocIterator(const Sys_FileLoc& iFolder, const std::string& iPattern);
    Sys_FileLocIterator(const Sys_FileLocIterator&) = delete;
    Sys_FileLocIterator& operator=(const Sys_FileLocIterator&) = delete;

    bool Next(int64_t iTimeBudgetMicroseconds = cNoBudget);
    const Sys_FileLoc& operator*() const;
    const Sys_FileLoc* operator->() const { return &**this; }
    explicit operator bool() const { return mImpl->IsOnEntry(); }
    Sys_FileLocIterator& operator++();
    void Abort() { mImpl->Abort(); }
    bool IsDone() const { return mImpl->IsDone(); }
    Sys_FileLoc GetCurrentSearchPath() const { return mImpl->GetCurrentSearchPath(); }

private:
    std::unique_ptr<Sys_FileLocIteratorImpl> mImpl;
};
