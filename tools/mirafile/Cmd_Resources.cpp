// mirafile resources FILE [--json]: what a file's AppleDouble sidecar holds: its entries
// (Finder information, resource fork) and the resources of the fork (type, id, name, size).
//
// A missing file, a folder, a file without a sidecar, or a sidecar or fork that cannot be
// read gives one line on standard error naming the file and what is wrong, and status 1.
#include <iomanip>
#include <iostream>
#include <sstream>
#include <stdexcept>

#include "Cmn_Exception.h"
#include "FF/Audio/PlugIns/FF_ResFileUtils.h"
#include "Sys_AppleDouble.h"
#include "Sys_FileLoc.h"
#include "Sys_FileUtils.h"
#include "Tool.h"

namespace
{
const char* const cUsage = "resources FILE [--json]";

struct ForkInfo
{
    std::string mPath;
    std::string mSidecar;
    std::vector<Sys_AppleDouble::Entry> mEntries;
    Sys_AppleDouble::Contents mContents;
    std::vector<FF_ResourceFork::Resource> mResources;
};

std::string EntryName(uint32_t iID)
{
    switch (iID)
    {
    case Sys_AppleDouble::cEntry_ResourceFork:
        return "resource fork";
    case Sys_AppleDouble::cEntry_FinderInfo:
        return "Finder information";
    default:
        return "entry " + std::to_string(iID);
    }
}

ForkInfo ReadFork(const std::string& iPath)
{
    const Sys_FileLoc loc(iPath);
    if (!Sys_FileUtils::Exists(loc))
        throw std::runtime_error("no such file");
    if (Sys_FileUtils::IsFolder(loc))
        throw std::runtime_error("is a folder, not a file");
    ForkInfo info;
    info.mPath = iPath;
    const Sys_FileLoc sidecar = Sys_AppleDouble::SidecarOf(loc);
    info.mSidecar = sidecar.IsEmpty() ? "" : sidecar.GetFullPath();
    if (sidecar.IsEmpty() || !Sys_FileUtils::Exists(sidecar))
        throw std::runtime_error("no AppleDouble sidecar \"._" + loc.GetName() + "\" beside it");
    if (!Sys_AppleDouble::ReadEntries(loc, &info.mEntries) ||
        !Sys_AppleDouble::Read(loc, &info.mContents))
        throw std::runtime_error("its sidecar \"._" + loc.GetName() +
                                 "\" is no AppleDouble file");
    if (info.mContents.mHasResourceFork)
        info.mResources = FF_ResourceFork(info.mContents.mResourceFork).GetResources();
    return info;
}

std::string Printable(uint32_t iType)
{
    std::string text = FF_ResFileUtils::TypeText(iType);
    for (char& c : text)
        if (static_cast<unsigned char>(c) < 0x20 || static_cast<unsigned char>(c) > 0x7E)
            c = '?';
    return text;
}

void PrintText(std::ostream& out, const ForkInfo& iInfo)
{
    out << "path       " << iInfo.mPath << "\n";
    out << "sidecar    " << iInfo.mSidecar << "\n";
    out << "entries    " << iInfo.mEntries.size() << "\n";
    for (const Sys_AppleDouble::Entry& entry : iInfo.mEntries)
    {
        out << "  " << std::left << std::setw(20) << EntryName(entry.mID) << " offset "
            << entry.mOffset << ", " << entry.mLength << " bytes";
        if (entry.mID == Sys_AppleDouble::cEntry_FinderInfo)
            out << ", type \"" << Printable(iInfo.mContents.GetType()) << "\", creator \""
                << Printable(iInfo.mContents.GetCreator()) << "\"";
        out << "\n";
    }
    out << "resources  " << iInfo.mResources.size() << "\n";
    for (const FF_ResourceFork::Resource& resource : iInfo.mResources)
    {
        out << "  \"" << Printable(resource.mType) << "\" " << std::right << std::setw(6)
            << resource.mID << " " << std::setw(9) << resource.mSize << " bytes";
        if (resource.mHasName)
            out << "  \"" << resource.mName << "\"";
        out << "\n";
    }
}

Tool_Json ToJson(const ForkInfo& iInfo)
{
    Tool_Json doc;
    doc["path"] = iInfo.mPath;
    doc["sidecar"] = iInfo.mSidecar;
    doc["entries"] = Tool_Json::array();
    for (const Sys_AppleDouble::Entry& entry : iInfo.mEntries)
        doc["entries"].push_back(Tool_Json{{"id", entry.mID},
                                           {"name", EntryName(entry.mID)},
                                           {"offset", entry.mOffset},
                                           {"length", entry.mLength}});
    if (iInfo.mContents.mHasFinderInfo)
    {
        doc["finder_type"] = Printable(iInfo.mContents.GetType());
        doc["finder_creator"] = Printable(iInfo.mContents.GetCreator());
    }
    else
    {
        doc["finder_type"] = Tool_Json();
        doc["finder_creator"] = Tool_Json();
    }
    doc["resources"] = Tool_Json::array();
    for (const FF_ResourceFork::Resource& resource : iInfo.mResources)
        doc["resources"].push_back(
            Tool_Json{{"type", Printable(resource.mType)},
                      {"id", resource.mID},
                      {"name", resource.mHasName ? Tool_Json(resource.mName) : Tool_Json()},
                      {"size", resource.mSize}});
    return doc;
}

struct
{
    std::string mPath;
    bool mJson = false;
} sOptions;

void Declare(CLI::App& ioApp)
{
    ioApp.add_option("FILE", sOptions.mPath, "a file with an AppleDouble sidecar");
    ioApp.add_flag("--json", sOptions.mJson, "one JSON document");
}

int Run()
{
    if (sOptions.mPath.empty())
        throw Tool_UsageError(std::string("usage: mirafile ") + cUsage);
    ForkInfo info;
    try
    {
        info = ReadFork(sOptions.mPath);
    }
    catch (const std::exception& e)
    {
        throw std::runtime_error(sOptions.mPath + ": " + Cmn_Exception::GetExceptionDescription(e));
    }
    std::ostringstream out;
    if (sOptions.mJson)
        out << Tool_JsonText(ToJson(info)) << "\n";
    else
        PrintText(out, info);
    std::cout << out.str();
    return 0;
}

Tool_Registrar sRegistrar{{"resources", cUsage,
                           "list the sidecar entries and the resources of a file's resource fork",
                           Declare, Run}};
} // namespace
