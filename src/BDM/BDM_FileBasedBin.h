// Bins backed by one file of their own (volume databases, catalogs), and the location that
// names such a file.
//
// A BDM_URL is a Sys_FileLoc of a type of its own, so that the workspace can look a bin up by
// the file behind it (BDM_Workspace::GetFileBasedBin). A file-based bin must not be opened
// while its file is offline, except to create it.
// Threads: the browser's thread.
#pragma once

#include "BDM/BDM_Bin.h"
#include "Sys_FileLoc.h"

class BDM_URL : public Sys_FileLoc
{
public:
    BDM_URL() = default;
    explicit BDM_URL(const Sys_FileLoc& iLoc) : Sys_FileLoc(iLoc) {}
};

class BDM_FileBasedBin : public BDM_Bin
{
public:
    BDM_FileBasedBin(BDM_Cache* iCacheP, const BDM_URL& iURL) : BDM_Bin(iCacheP), mURL(iURL) {}
    const BDM_URL& GetURL() const { return mURL; }

protected:
    BDM_URL mURL;
};
