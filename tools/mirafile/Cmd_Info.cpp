// mirafile info FILE... [--json]: what the audio file front reads from each file.
//
// Each file is opened for reading through the front, which picks the plug-in that accepts
// it. A file that is missing, a folder, or accepted by no plug-in is reported on standard
// error as one line naming it; the others are still shown, and the status is then 1. With
// --json the standard output is one JSON document: an object for one file, a list of
// objects (of the files that could be read) for several. A file with an instrument (root
// key, fine tune, loops) shows it after the rest; in JSON "instrument" is null without one.
#include <cstdio>
#include <iostream>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "Cmn_Exception.h"
#include "FF/Audio/FF_AudioFile.h"
#include "FF/Audio/FF_AudioFileFormat.h"
#include "Sys_FileLoc.h"
#include "Sys_FileUtils.h"
#include "Sys_Umid.h"
#include "Tool.h"

namespace
{
const char* const cUsage = "info FILE... [--json]";

// Everything shown of one file, read while it is open.
struct FileInfo
{
    std::string mPath;
    std::string mTypeName;
    FF_AudioFile::Properties mProperties;
    Sys_Umid mUmid;
    int64_t mOriginalTimeStamp = 0;
    int64_t mUserTimeStamp = 0;
    std::string mDescription;
    std::string mOriginator;
    FF_AudioFile::RegionList mRegions;
    bool mHasOverview = false;
    std::optional<FF_AudioInstrumentAttr> mInstrument; // when the file has one
};

// The file's information, or an exception whose text says what is wrong with it.
FileInfo ReadInfo(const std::string& iPath)
{
    const Sys_FileLoc loc(iPath);
    if (!Sys_FileUtils::Exists(loc))
        throw std::runtime_error("no such file");
    if (Sys_FileUtils::IsFolder(loc))
        throw std::runtime_error("is a folder, not a file");
    FF_AudioFileRef file(new FF_AudioFile(loc));
    file->Open(Cmn_Store::eOpenFlag_OpenForRead);
    if (file->GetAudioFileType() == eAudioFileType_Unknown)
    {
        file->Close();
        const std::string reason = FF_AudioFileFormat::ExplainRefusal(loc);
        throw std::runtime_error("not an audio file of a type mirafile reads" +
                                 (reason.empty() ? "" : " (" + reason + ")"));
    }
    FileInfo info;
    info.mPath = iPath;
    info.mTypeName = FF_AudioFile::GetAudioFileTypeName(file->GetAudioFileType());
    info.mProperties = file->GetProperties();
    info.mUmid = file->mUmid.GetOr(Sys_Umid::NoID());
    info.mOriginalTimeStamp = file->mOriginalTimeStamp.GetOr(0);
    info.mUserTimeStamp = file->mUserTimeStamp.GetOr(0);
    info.mDescription = file->mDescription.GetOr("");
    info.mOriginator = file->mBroadcastWaveData.GetOr({}).mOriginator;
    file->GetRegions(&info.mRegions);
    info.mHasOverview = !file->mOverview.GetOr({}).empty();
    FF_AudioInstrumentAttr instrument;
    if (file->mInstrumentAttr.Get(&instrument))
        info.mInstrument = instrument;
    file->Close();
    return info;
}

std::string ByteOrderName(EByteOrder iOrder)
{
    return iOrder == eByteOrder_Big ? "big" : "little";
}

std::string Duration(int64_t iSamples, int32_t iRate)
{
    if (iRate <= 0)
        return "?";
    char text[64];
    std::snprintf(text, sizeof text, "%.3f s", double(iSamples) / iRate);
    return text;
}

struct Loop
{
    int32_t mType;
    int64_t mStart, mEnd;
};

// The loops in use of an instrument, in order.
std::vector<Loop> LoopsOf(const FF_AudioInstrumentAttr& iAttr)
{
    std::vector<Loop> loops;
    for (const Loop& loop : {Loop{iAttr.mLoop1Type, iAttr.mLoop1Start, iAttr.mLoop1End},
                             Loop{iAttr.mLoop2Type, iAttr.mLoop2Start, iAttr.mLoop2End}})
        if (loop.mType != 0)
            loops.push_back(loop);
    return loops;
}

std::string LoopTypeName(int32_t iType)
{
    return iType == 1 ? "forward" : iType == 2 ? "ping-pong" : iType == 3 ? "backward" : "?";
}

void PrintText(std::ostream& out, const FileInfo& iInfo)
{
    const FF_AudioFile::Properties& p = iInfo.mProperties;
    auto row = [&](const char* iLabel, const std::string& iValue)
    {
        std::string label = iLabel;
        label.resize(21, ' ');
        out << label << iValue << "\n";
    };
    row("path", iInfo.mPath);
    row("type", iInfo.mTypeName);
    row("format name", p.mFormatName);
    row("sample rate", std::to_string(p.mSampleRate) + " Hz");
    row("bit depth", std::to_string(p.mBitDepth));
    row("channels", std::to_string(p.mNumChannels));
    row("samples", std::to_string(p.mNumSamples));
    row("duration", Duration(p.mNumSamples, p.mSampleRate));
    row("byte order", ByteOrderName(p.mByteOrder) + "-endian");
    row("identity", iInfo.mUmid.IsNoID() ? "none" : iInfo.mUmid.AsString());
    row("original time stamp", std::to_string(iInfo.mOriginalTimeStamp));
    row("user time stamp", std::to_string(iInfo.mUserTimeStamp));
    row("description", iInfo.mDescription);
    row("broadcast text", iInfo.mOriginator);
    row("regions", std::to_string(iInfo.mRegions.size()));
    for (const FF_AudioFile::Region& region : iInfo.mRegions)
        out << "  " << region.mName << "  " << region.mStartSample << "-" << region.mStopSample
            << (region.mIsWholeFile ? "  (whole file)" : "") << "\n";
    row("overview", iInfo.mHasOverview ? "embedded" : "none");
    if (iInfo.mInstrument)
    {
        row("root key", std::to_string(iInfo.mInstrument->mRootNote));
        row("fine tune", std::to_string(iInfo.mInstrument->mFineTune) + " cents");
        const std::vector<Loop> loops = LoopsOf(*iInfo.mInstrument);
        row("loops", std::to_string(loops.size()));
        for (const Loop& loop : loops)
            out << "  " << LoopTypeName(loop.mType) << "  " << loop.mStart << "-" << loop.mEnd
                << "\n";
    }
}

Tool_Json ToJson(const FileInfo& iInfo)
{
    const FF_AudioFile::Properties& p = iInfo.mProperties;
    Tool_Json doc;
    doc["path"] = iInfo.mPath;
    doc["type"] = iInfo.mTypeName;
    doc["format_name"] = p.mFormatName;
    doc["sample_rate"] = p.mSampleRate;
    doc["bit_depth"] = p.mBitDepth;
    doc["channels"] = p.mNumChannels;
    doc["samples"] = p.mNumSamples;
    doc["byte_order"] = ByteOrderName(p.mByteOrder);
    doc["umid"] = iInfo.mUmid.IsNoID() ? Tool_Json() : Tool_Json(iInfo.mUmid.AsString());
    doc["original_time_stamp"] = iInfo.mOriginalTimeStamp;
    doc["user_time_stamp"] = iInfo.mUserTimeStamp;
    doc["description"] = iInfo.mDescription;
    doc["regions"] = Tool_Json::array();
    for (const FF_AudioFile::Region& region : iInfo.mRegions)
        doc["regions"].push_back(Tool_Json{{"name", region.mName},
                                           {"start", region.mStartSample},
                                           {"stop", region.mStopSample},
                                           {"whole_file", region.mIsWholeFile}});
    doc["has_overview"] = iInfo.mHasOverview;
    doc["instrument"] = Tool_Json();
    if (iInfo.mInstrument)
    {
        Tool_Json loops = Tool_Json::array();
        for (const Loop& loop : LoopsOf(*iInfo.mInstrument))
            loops.push_back(Tool_Json{
                {"type", LoopTypeName(loop.mType)}, {"start", loop.mStart}, {"end", loop.mEnd}});
        doc["instrument"] = Tool_Json{{"root_key", iInfo.mInstrument->mRootNote},
                                      {"fine_tune", iInfo.mInstrument->mFineTune},
                                      {"loops", loops}};
    }
    return doc;
}

struct
{
    std::vector<std::string> mPaths;
    bool mJson = false;
} sOptions;

void Declare(CLI::App& ioApp)
{
    ioApp.add_option("FILE", sOptions.mPaths, "audio files");
    ioApp.add_flag("--json", sOptions.mJson, "one JSON document: an object, a list for several");
}

int Run()
{
    const auto& paths = sOptions.mPaths;
    if (paths.empty())
        throw Tool_UsageError(std::string("usage: mirafile ") + cUsage);
    const bool json = sOptions.mJson;
    const bool list = paths.size() > 1;

    // Everything is gathered first, so that the standard output is one whole document.
    std::ostringstream out;
    Tool_Json documents = Tool_Json::array();
    bool failed = false;
    int32_t shown = 0;
    for (const std::string& path : paths)
    {
        FileInfo info;
        try
        {
            info = ReadInfo(path);
        }
        catch (const Cmn_CancelException&)
        {
            throw;
        }
        catch (const std::exception& e)
        {
            std::cerr << "mirafile: "
                      << Tool_OneLine(path + ": " + Cmn_Exception::GetExceptionDescription(e))
                      << "\n";
            failed = true;
            continue;
        }
        if (json)
            documents.push_back(ToJson(info));
        else
        {
            out << (shown ? "\n" : "");
            PrintText(out, info);
        }
        ++shown;
    }
    if (json && list)
        out << Tool_JsonText(documents, ",\n ") << "\n";
    else if (json && shown)
        out << Tool_JsonText(documents[0]) << "\n";
    std::cout << out.str();
    return failed ? 1 : 0;
}

Tool_Registrar sRegistrar{{"info", cUsage,
                           "show the format, identity, time stamps and regions of audio files",
                           Declare, Run}};
} // namespace
