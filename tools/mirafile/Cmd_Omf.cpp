// mirafile omf info|dump|settings|extract: what an OMF interchange file holds.
//
//   omf info FILE [--json]            version, byte order, mobs by kind, tracks, descriptors,
//                                     embedded media with their formats, offsets and lengths
//   omf dump FILE [--class ID] [--json]  the objects reachable from the head, numbered in the
//                                     order a depth-first walk meets them, with their
//                                     properties; --class keeps the objects of that class id
//   omf settings [--json]             the interchange settings rows with their defaults
//   omf extract FILE --to DIR         each embedded audio payload as a file of its own format
//
// A file that is not OMF, or is damaged, gives one line naming it and the reason ("file is
// not OMFI media"), status 1. Extracted files appear whole or not at all; an existing file of
// the same name is not replaced (the command fails and leaves the ones written before).
#include <iostream>
#include <list>
#include <memory>
#include <set>
#include <sstream>
#include <stdexcept>

#include "Cmn_Exception.h"
#include "FF/OMF/OMF_Inspect.h"
#include "FF/OMF/OMF_Object.h"
#include "Iop/Iop_Settings.h"
#include "Sys_AtomicOutput.h"
#include "Sys_File.h"
#include "Sys_FileLoc.h"
#include "Sys_FileUtils.h"
#include "Tool.h"

namespace
{
const char* const cUsage = "omf info|dump|settings|extract [FILE] [--class ID] [--to DIR] [--json]";

struct
{
    std::string mAction;
    std::string mPath;
    std::string mClass;
    std::string mTo;
    bool mJson = false;
} sOptions;

void Declare(CLI::App& ioApp)
{
    sOptions = {};
    ioApp.add_option("ACTION", sOptions.mAction, "info, dump, settings or extract");
    ioApp.add_option("FILE", sOptions.mPath, "an OMF file");
    ioApp.add_option("--class", sOptions.mClass, "dump: only objects of this class id (four characters)");
    ioApp.add_option("--to", sOptions.mTo, "extract: the folder to write the media files into");
    ioApp.add_flag("--json", sOptions.mJson, "one JSON document");
}

std::string UID(const omfUID_t& iID)
{
    return std::to_string(iID.prefix) + "." + std::to_string(iID.major) + "." + std::to_string(iID.minor);
}

std::string Format(EAudioFileType iType)
{
    switch (iType)
    {
    case eAudioFileType_WAVE: return "WAVE";
    case eAudioFileType_AIFC: return "AIFC";
    case eAudioFileType_QSII: return "QSII";
    default: return "unknown";
    }
}

std::unique_ptr<OMF_File> OpenOMF(const std::string& iPath)
{
    const Sys_FileLoc loc(iPath);
    if (!Sys_FileUtils::Exists(loc))
        throw std::runtime_error("no such file");
    if (Sys_FileUtils::IsFolder(loc))
        throw std::runtime_error("is a folder, not a file");
    return std::make_unique<OMF_File>(loc);
}

int RunInfo()
{
    const OMF_Summary s = OMF_Summarize(*OpenOMF(sOptions.mPath));
    if (sOptions.mJson)
    {
        Tool_Json doc;
        doc["path"] = sOptions.mPath;
        doc["version"] = std::to_string(s.mMajor) + "." + std::to_string(s.mMinor);
        doc["byte_order"] = s.mBigEndian ? "big" : "little";
        doc["container_version"] = s.mContainerVersion;
        doc["objects"] = s.mObjects;
        doc["mobs"] = Tool_Json{{"composition", s.mCompositionMobs}, {"master", s.mMasterMobs},
                                {"source", s.mSourceMobs}, {"other", s.mOtherMobs}};
        doc["tracks"] = s.mTracks;
        doc["descriptors"] = s.mDescriptors;
        doc["media"] = Tool_Json::array();
        for (const OMF_EmbeddedMedia& m : s.mMedia)
            doc["media"].push_back(Tool_Json{{"class", m.mClass}, {"format", Format(m.mType)},
                                             {"mob_id", UID(m.mMobID)}, {"name", m.mName},
                                             {"offset", m.mOffset}, {"length", m.mLength}});
        std::cout << Tool_JsonText(doc) << "\n";
        return 0;
    }
    std::ostringstream out;
    out << "path         " << sOptions.mPath << "\n"
        << "version      " << s.mMajor << "." << s.mMinor << "\n"
        << "byte order   " << (s.mBigEndian ? "big-endian" : "little-endian") << "\n"
        << "container    version " << s.mContainerVersion << ", " << s.mObjects << " objects\n"
        << "mobs         " << s.mCompositionMobs << " composition, " << s.mMasterMobs << " master, "
        << s.mSourceMobs << " source, " << s.mOtherMobs << " other\n"
        << "tracks       " << s.mTracks << "\n"
        << "descriptors  " << s.mDescriptors << "\n"
        << "media        " << s.mMedia.size() << "\n";
    for (const OMF_EmbeddedMedia& m : s.mMedia)
        out << "  " << Format(m.mType) << "  " << UID(m.mMobID) << "  offset " << m.mOffset << ", "
            << m.mLength << " bytes" << (m.mName.empty() ? "" : "  \"" + m.mName + "\"") << "\n";
    std::cout << out.str();
    return 0;
}

int RunDump()
{
    if (!sOptions.mClass.empty() && sOptions.mClass.size() != 4)
        throw Tool_UsageError("--class must be a class id of four characters, not \"" + sOptions.mClass + "\"");
    const std::vector<OMF_DumpObject> objects = OMF_Dump(*OpenOMF(sOptions.mPath));
    std::ostringstream out;
    Tool_Json list = Tool_Json::array();
    for (const OMF_DumpObject& object : objects)
    {
        if (!sOptions.mClass.empty() && object.mClass != sOptions.mClass)
            continue;
        Tool_Json props = Tool_Json::array();
        out << "#" << object.mNumber << " " << object.mClass << "\n";
        for (const OMF_DumpObject::Property& p : object.mProperties)
        {
            out << "  " << p.mName << " (" << p.mType << ")";
            Tool_Json prop{{"name", p.mName}, {"type", p.mType}};
            if (!p.mValue.empty())
            {
                out << " = " << p.mValue;
                prop["value"] = p.mValue;
            }
            if (!p.mRefs.empty() || p.mValue.empty())
            {
                out << " ->";
                prop["refs"] = Tool_Json::array();
                for (int32_t ref : p.mRefs)
                {
                    out << " #" << ref;
                    prop["refs"].push_back(ref);
                }
            }
            out << "\n";
            props.push_back(prop);
        }
        list.push_back(Tool_Json{{"number", object.mNumber}, {"class", object.mClass}, {"properties", props}});
    }
    if (sOptions.mJson)
        std::cout << Tool_JsonText(Tool_Json{{"path", sOptions.mPath}, {"objects", list}}) << "\n";
    else
        std::cout << out.str();
    return 0;
}

int RunSettings()
{
    Iop_Settings::ResetToDefaults();
    std::list<Iop_Setting*> rows;
    Iop_Settings::GetSettings(&rows);
    std::vector<std::unique_ptr<Iop_Setting>> owned(rows.begin(), rows.end());
    static const char* const cKinds[] = {"bool", "int", "list"};
    Tool_Json list = Tool_Json::array();
    std::ostringstream out;
    for (const auto& row : owned)
    {
        Tool_Json item{{"kind", cKinds[row->GetKind()]}, {"label", row->GetLabel()}, {"help", row->GetHelp()},
                       {"enabled", row->IsEnabled()}};
        std::string value;
        if (auto* b = dynamic_cast<Iop_BoolSetting*>(row.get()))
            item["value"] = b->GetValue(), value = b->GetValue() ? "on" : "off";
        else if (auto* i = dynamic_cast<Iop_IntSetting*>(row.get()))
        {
            item["value"] = i->GetValue();
            value = std::to_string(i->GetValue());
            item["values"] = Tool_Json::array();
            for (size_t k = 0; k < i->GetValues().size(); ++k)
            {
                item["values"].push_back(Tool_Json{{"label", i->GetValueLabels()[k]}, {"value", i->GetValues()[k]}});
                if (i->GetValues()[k] == i->GetValue())
                    value = i->GetValueLabels()[k];
            }
        }
        else if (auto* l = dynamic_cast<Iop_ListSetting*>(row.get()))
        {
            item["items"] = l->GetItems();
            value = std::to_string(l->GetNumItems()) + " item(s)";
        }
        out << (row->GetLabel().empty() ? row->GetHelp() : row->GetLabel()) << ": " << value
            << (row->IsEnabled() ? "" : " (disabled)") << "\n";
        list.push_back(item);
    }
    if (sOptions.mJson)
        std::cout << Tool_JsonText(Tool_Json{{"settings", list}}) << "\n";
    else
        std::cout << out.str();
    return 0;
}

std::string SafeName(const OMF_EmbeddedMedia& iMedia, size_t iIndex)
{
    std::string name = iMedia.mName.empty() ? "media" + std::to_string(iIndex + 1) : iMedia.mName;
    for (char& c : name)
        if (c == '/' || c == '\0' || static_cast<unsigned char>(c) < 0x20)
            c = '_';
    if (name == "." || name == "..")
        name = "media" + std::to_string(iIndex + 1);
    const char* ext = iMedia.mType == eAudioFileType_WAVE ? ".wav"
                      : iMedia.mType == eAudioFileType_AIFC ? ".aif" : ".qs2";
    return name + ext;
}

int RunExtract()
{
    if (sOptions.mTo.empty())
        throw Tool_UsageError("omf extract needs --to DIR");
    const Sys_FileLoc folder(sOptions.mTo);
    if (!Sys_FileUtils::Exists(folder) || !Sys_FileUtils::IsFolder(folder))
        throw std::runtime_error(sOptions.mTo + ": no such folder");
    std::unique_ptr<OMF_File> file;
    OMF_Summary s;
    try
    {
        file = OpenOMF(sOptions.mPath);
        s = OMF_Summarize(*file);
    }
    catch (const std::exception& e)
    {
        throw std::runtime_error(sOptions.mPath + ": " + Cmn_Exception::GetExceptionDescription(e));
    }
    std::set<std::string> used;
    for (size_t i = 0; i < s.mMedia.size(); ++i)
    {
        const OMF_EmbeddedMedia& media = s.mMedia[i];
        std::string name = SafeName(media, i);
        for (int n = 2; used.count(name); ++n)
            name = std::to_string(n) + "-" + SafeName(media, i);
        used.insert(name);
        const Sys_FileLoc out(folder, name);
        Sys_StAtomicOutput output(out);
        Sys_File dest(out);
        dest.Open(Sys_File::eOpen_Create | Sys_File::eOpen_ForWrite);
        std::vector<char> block(1 << 20);
        for (int64_t done = 0; done < media.mLength;)
        {
            const int32_t count = static_cast<int32_t>(std::min<int64_t>(media.mLength - done, int64_t(block.size())));
            if (!OMF_ReadEmbeddedMedia(*file, media, done, block.data(), count))
                throw std::runtime_error(sOptions.mPath + ": the media data of " + UID(media.mMobID) +
                                         " could not be read");
            if (dest.Write(block.data(), count) != count)
                throw std::runtime_error(out.GetFullPath() + ": could not be written");
            done += count;
        }
        dest.Close();
        output.Commit();
        std::cout << out.GetFullPath() << "\n";
    }
    return 0;
}

int Run()
{
    const std::string& action = sOptions.mAction;
    if (action == "settings")
        return RunSettings();
    if (action != "info" && action != "dump" && action != "extract")
        throw Tool_UsageError(std::string("usage: mirafile ") + cUsage);
    if (sOptions.mPath.empty())
        throw Tool_UsageError(std::string("usage: mirafile ") + cUsage);
    if (action == "extract")
        return RunExtract();
    try
    {
        return action == "info" ? RunInfo() : RunDump();
    }
    catch (const Tool_UsageError&)
    {
        throw;
    }
    catch (const std::exception& e)
    {
        throw std::runtime_error(sOptions.mPath + ": " + Cmn_Exception::GetExceptionDescription(e));
    }
}

Tool_Registrar sRegistrar{{"omf", cUsage, "show, list or extract what an OMF interchange file holds",
                           Declare, Run}};
} // namespace
