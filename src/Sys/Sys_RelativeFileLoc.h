// A location told as components relative to a base folder.
//
// Contract: made from (base, location) it holds the components that lead from the base to
// the location, ".." for each step up; GetFileLoc(base) joins them to any base, so a tree
// that moved as a whole still resolves. ToString joins the components with ":" between
// them, whatever the host. A location that no path leads to from the base (empty, or one
// of them relative while the other is absolute) throws package 3, id 1 ("Invalid relative
// path for this anchor"), as does a component that is empty or holds "/" or NUL. A plain
// value.
#pragma once

#include <string>
#include <vector>

#include "Sys_FileLoc.h"

class Sys_RelativeFileLoc
{
public:
    Sys_RelativeFileLoc() = default;
    Sys_RelativeFileLoc(const Sys_FileLoc& iBase, const Sys_FileLoc& iLoc);
    explicit Sys_RelativeFileLoc(const std::vector<std::string>& iComponents);

    const std::vector<std::string>& GetComponents() const { return mComponents; }
    Sys_FileLoc GetFileLoc(const Sys_FileLoc& iBase) const;
    std::string ToString() const;
    // Components from a ToString text ("" gives none).
    static Sys_RelativeFileLoc FromString(const std::string& iText);

    bool operator==(const Sys_RelativeFileLoc& iOther) const
    {
        return mComponents == iOther.mComponents;
    }
    bool operator!=(const Sys_RelativeFileLoc& iOther) const { return !(*this == iOther); }

private:
    std::vector<std::string> mComponents;
};
