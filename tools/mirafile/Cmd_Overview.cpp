// mirafile overview FILE... [--cache DIR] [--json] [--png OUT --width W --height H]:
// the waveform overview of each file, and a picture drawn from the overviews alone.
//
// Where an overview comes from is FF_AudioOverviewSource's policy: the file itself, the cache
// file "WaveCache" in DIR (when --cache is given), or a computation through a chain (stored
// in the cache when one is given). The overview of a file is one lane: its channel, or the
// mono mix of its channels. The picture is drawn by Tool_Picture.
//
// Output: a line per file for a person; with --json one document, an object per file (a list
// of them for several files): {"path", "samples", "samples_per_point": 256, "source":
// "file"|"cache"|"computed", "channels": [{"points": [[max, min], ...]}]}. With --png the
// picture holds one lane per file, on a shared time axis in seconds.
//
// A file that cannot be read is reported on standard error as one line naming it; the
// others are still shown, and the status is then 1. The picture is written to a temporary
// file beside OUT and renamed over it, so that no half-written picture is left.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <iostream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <unistd.h>
#include <vector>

#include "Cmn_Exception.h"
#include "FF/Audio/FF_AudioFile.h"
#include "FF/Audio/Processing/Overview/FF_AudioOverviewSource.h"
#include "Sys_FileLoc.h"
#include "Sys_FileUtils.h"
#include "Tool.h"
#include "Tool_Picture.h"

namespace
{
const char* const cUsage =
    "overview FILE... [--cache DIR] [--json] [--png OUT --width W --height H]";

struct OverviewInfo
{
    std::string mPath;
    int16_t mChannels = 0;
    std::string mSource;
    Tool_PictureLane mLane; // samples, rate and the (max, min) pairs
};

// ---- getting the overview ------------------------------------------------------------------

class Progress
{
public:
    explicit Progress(const std::string& iName) : mName(iName), mShow(::isatty(2) != 0) {}
    ~Progress()
    {
        if (mShown)
            std::cerr << "\r" << std::string(mName.size() + 24, ' ') << "\r" << std::flush;
    }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    void operator()(int32_t iPercent)
    {
        if (!mShow)
            return;
        mShown = true;
        std::cerr << "\rcomputing " << mName << "  " << iPercent << "%" << std::flush;
    }

private:
    std::string mName;
    bool mShow;
    bool mShown = false;
};

OverviewInfo GetOverview(const std::string& iPath, FF_AudioOverviewSource& ioSource)
{
    const Sys_FileLoc loc(iPath);
    if (!Sys_FileUtils::Exists(loc))
        throw std::runtime_error("no such file");
    if (Sys_FileUtils::IsFolder(loc))
        throw std::runtime_error("is a folder, not a file");
    FF_AudioFileRef file(new FF_AudioFile(loc));
    file->Open(Cmn_Store::eOpenFlag_OpenForRead);
    OverviewInfo info;
    try
    {
        if (file->GetAudioFileType() == eAudioFileType_Unknown)
            throw std::runtime_error("not an audio file of a type mirafile reads");
        const FF_AudioFile::Properties properties = file->GetProperties();
        if (properties.mBitDepth != 8 && properties.mBitDepth != 16 && properties.mBitDepth != 24)
            throw std::runtime_error("overviews are made of 8, 16 and 24-bit audio, not " +
                                     std::to_string(properties.mBitDepth) + "-bit");
        info.mPath = iPath;
        info.mLane.mSamples = properties.mNumSamples;
        info.mLane.mSampleRate = properties.mSampleRate;
        info.mChannels = properties.mNumChannels;
        Progress progress(loc.GetName());
        FF_AudioOverviewSource::EFrom from = FF_AudioOverviewSource::eFrom_Computed;
        const FF_AudioOverview overview =
            ioSource.Get(file, &from, [&](int32_t iPercent) { progress(iPercent); });
        info.mSource = FF_AudioOverviewSource::GetFromName(from);
        const int8_t* bytesP = overview.GetBuffer();
        info.mLane.mBytes.assign(bytesP, bytesP + overview.GetSize());
    }
    catch (...)
    {
        file->Close();
        throw;
    }
    file->Close();
    return info;
}

// ---- text and JSON -------------------------------------------------------------------------

void PrintText(std::ostream& out, const OverviewInfo& iInfo)
{
    const std::vector<int8_t>& bytes = iInfo.mLane.mBytes;
    int32_t max = -128, min = 127;
    for (size_t i = 0; i + 1 < bytes.size(); i += 2)
    {
        max = std::max<int32_t>(max, bytes[i]);
        min = std::min<int32_t>(min, bytes[i + 1]);
    }
    const int32_t rate = iInfo.mLane.mSampleRate;
    char seconds[32];
    std::snprintf(seconds, sizeof seconds, "%.3f s",
                  rate > 0 ? double(iInfo.mLane.mSamples) / rate : 0.0);
    out << iInfo.mPath << ": " << iInfo.mLane.mSamples << " samples (" << seconds << "), "
        << bytes.size() / 2 << " points of 256 samples, " << iInfo.mSource;
    if (!bytes.empty())
        out << ", peaks " << max << " / " << min << " of 127 / -128";
    out << "\n";
}

Tool_Json ToJson(const OverviewInfo& iInfo)
{
    // The points as pairs of signed bytes (max, min), held as one byte each.
    const std::vector<int8_t>& lane = iInfo.mLane.mBytes;
    Tool_Json points = Tool_Json::binary(std::vector<uint8_t>(lane.begin(), lane.end()));
    Tool_Json doc;
    doc["path"] = iInfo.mPath;
    doc["samples"] = iInfo.mLane.mSamples;
    doc["samples_per_point"] = 256;
    doc["source"] = iInfo.mSource;
    doc["channels"] = Tool_Json::array({Tool_Json{{"points", std::move(points)}}});
    return doc;
}

// ---- the command ------------------------------------------------------------------------------

struct
{
    std::vector<std::string> mPaths;
    std::string mCache, mPng;
    int32_t mWidth = 800, mHeight = 200;
    bool mJson = false;
    const CLI::Option* mSizeGivenP[2] = {}; // --width, --height
} sOptions;

void Declare(CLI::App& ioApp)
{
    ioApp.add_option("FILE", sOptions.mPaths, "audio files");
    ioApp.add_option("--cache", sOptions.mCache, "a folder for the overview cache \"WaveCache\"");
    ioApp.add_flag("--json", sOptions.mJson, "one JSON document: an object, a list for several");
    ioApp.add_option("--png", sOptions.mPng, "a picture of the overviews");
    sOptions.mSizeGivenP[0] =
        ioApp.add_option("--width", sOptions.mWidth, "picture width (default 800)")
            ->check(Tool_WholeIn(64, 8192, "must lie from 64 to 8192 pixels", Tool_Shown::eValue));
    sOptions.mSizeGivenP[1] =
        ioApp.add_option("--height", sOptions.mHeight, "picture height (default 200)")
            ->check(Tool_WholeIn(48, 4096, "must lie from 48 to 4096 pixels", Tool_Shown::eValue));
}

int Run()
{
    const auto& paths = sOptions.mPaths;
    if (paths.empty())
        throw Tool_UsageError(std::string("usage: mirafile ") + cUsage);
    const bool json = sOptions.mJson;
    const bool picture = !sOptions.mPng.empty();
    if (!picture && (sOptions.mSizeGivenP[0]->count() || sOptions.mSizeGivenP[1]->count()))
        throw Tool_UsageError("--width and --height size the picture of --png");
    if (picture && sOptions.mHeight - cToolPictureAxisHeight < 8 * int32_t(paths.size()))
        throw Tool_UsageError("--height " + std::to_string(sOptions.mHeight) +
                              " leaves too little room for " + std::to_string(paths.size()) +
                              " lanes");

    std::unique_ptr<FF_AudioOverviewSource> source;
    const Sys_FileLoc cacheFolder =
        sOptions.mCache.empty() ? Sys_FileLoc() : Sys_FileLoc(sOptions.mCache);
    try
    {
        source = std::make_unique<FF_AudioOverviewSource>(cacheFolder);
    }
    catch (const Cmn_CancelException&)
    {
        throw;
    }
    catch (const std::exception& e)
    {
        throw std::runtime_error(
            cacheFolder.GetFullPath() +
            ": the overview cache cannot be used: " + Cmn_Exception::GetExceptionDescription(e));
    }

    std::vector<OverviewInfo> infos;
    bool failed = false;
    for (const std::string& path : paths)
    {
        try
        {
            infos.push_back(GetOverview(path, *source));
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
        }
    }
    source->Close();
    if (picture && !infos.empty())
    {
        std::vector<Tool_PictureLane> lanes;
        for (const OverviewInfo& info : infos)
            lanes.push_back(info.mLane);
        Tool_WritePng(Tool_DrawOverviews(lanes, sOptions.mWidth, sOptions.mHeight), sOptions.mPng);
    }

    std::ostringstream out;
    const bool list = paths.size() > 1;
    Tool_Json documents = Tool_Json::array();
    for (const OverviewInfo& info : infos)
        if (json)
            documents.push_back(ToJson(info));
        else
            PrintText(out, info);
    if (json && list)
        out << Tool_JsonText(documents, ",\n ") << "\n";
    else if (json && !infos.empty())
        out << Tool_JsonText(documents[0]) << "\n";
    std::cout << out.str();
    return failed ? 1 : 0;
}

Tool_Registrar sRegistrar{{"overview", cUsage,
                           "the waveform overview of audio files, from the file, a cache or "
                           "computed; as text, JSON or a picture",
                           Declare, Run}};
} // namespace
