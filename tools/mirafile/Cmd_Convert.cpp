// mirafile convert and mirafile consolidate: new audio files in another format, or with only
// some parts of a source, through the library's conversion chains.
//
// convert SRC... (-o OUT | --to DIR [--type TYPE]) [--rate HZ] [--bits 8|16|24] [--quality Q]
//         [--gain DB] [--dither] [--squeeze] [--split] [--json]
//   Without --split each source becomes one interleaved file (FF_AudioFileUtils::
//   ConvertAudioFiles); with --split one mono file per channel, named with channel suffixes
//   (".L", ".R", ...), made by FF_AudioProcessConvertAudioFileConstructor as the workstation
//   makes them. -o names the output (one source only); --to names a folder, where each output
//   is named after its source (a taken name gets a number). Rate and bits default to the
//   source's. Quality: fastest, low, good, better, best, tweak (9 to 257 filter taps).
// consolidate SRC --range START:END... -o OUT [--json]
//   One file of the source's format holding only the given sample ranges, in order.
//
// The destination type follows --type or the output's extension (Tool_OutputAudioType),
// WAVE without either. An existing output is never overwritten. A progress bar shows on a
// terminal (standard error). Ctrl-C cancels: every output of the run, finished or not, is
// deleted and the command ends with "mirafile: cancelled" (status 130). A failure (a source
// that is not audio, a folder that cannot be written, a full disk) prints one line and deletes
// every output of the run too; the sources are only read.
#include <algorithm>
#include <cmath>
#include <csignal>
#include <iostream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <unistd.h>
#include <vector>

#include "Cmn_Exception.h"
#include "FF/Audio/FF_AudioFile.h"
#include "FF/Audio/Processing/Chain/FF_AudioProcessUtils.h"
#include "FF/Audio/Processing/Jobs/FF_AudioFileUtils.h"
#include "FF/Audio/Processing/Jobs/FF_AudioProcessConsolidateAudioFileConstructor.h"
#include "FF/Audio/Processing/Jobs/FF_AudioProcessConvertAudioFile.h"
#include "FF/Audio/Processing/Jobs/FF_AudioProcessConvertAudioFileConstructor.h"
#include "Sys_FileUtils.h"
#include "Tool.h"
#include "Tool_OutputType.h"
#include "Tool_Progress.h"

namespace
{
const char* const cConvertUsage =
    "convert SRC... (-o OUT | --to DIR [--type TYPE]) [--rate HZ] [--bits 8|16|24] "
    "[--quality fastest|low|good|better|best|tweak] [--gain DB] [--dither] [--squeeze] "
    "[--split] [--json]";
const char* const cConsolidateUsage = "consolidate SRC --range START:END... -o OUT [--json]";

// The tool's names of the conversion qualities, by filter length.
const std::map<std::string, ESRCQuality>& QualityNames()
{
    static const std::map<std::string, ESRCQuality> sNames = {
        {"fastest", eSRCQuality_Fastest}, {"low", eSRCQuality_Low},
        {"good", eSRCQuality_Medium},     {"better", eSRCQuality_High},
        {"best", eSRCQuality_Higher},     {"tweak", eSRCQuality_Best}};
    return sNames;
}

struct Output
{
    std::string mPath;
    FF_AudioFile::Properties mProperties;
};

struct Conversion
{
    std::string mSource;
    std::vector<std::string> mStages;
    std::vector<Output> mOutputs;
};

FF_AudioFileRef OpenSource(const std::string& iPath, FF_AudioFile::Properties* oProperties)
{
    const Sys_FileLoc loc(iPath);
    if (!Sys_FileUtils::Exists(loc))
        throw std::runtime_error("\"" + iPath + "\": no such file");
    if (Sys_FileUtils::IsFolder(loc))
        throw std::runtime_error("\"" + iPath + "\" is a folder, not an audio file");
    FF_AudioFileRef file(new FF_AudioFile(loc));
    file->Open(Cmn_Store::eOpenFlag_OpenForRead);
    if (file->GetAudioFileType() == eAudioFileType_Unknown)
    {
        file->Close();
        throw std::runtime_error("\"" + iPath + "\" is not an audio file that mirafile can read");
    }
    *oProperties = file->GetProperties();
    file->Close();
    return file;
}

void CheckWritableFolder(const Sys_FileLoc& iFolder)
{
    if (!Sys_FileUtils::Exists(iFolder) || !Sys_FileUtils::IsFolder(iFolder))
        throw std::runtime_error("\"" + iFolder.GetFullPath() + "\" is not a folder");
    if (::access(iFolder.GetFullPath().c_str(), W_OK | X_OK) != 0)
        throw std::runtime_error("\"" + iFolder.GetFullPath() + "\": folder cannot be written");
}

Output Describe(const Sys_FileLoc& iLoc)
{
    Output output;
    output.mPath = iLoc.GetFullPath();
    FF_AudioFileRef file(new FF_AudioFile(iLoc));
    file->Open(Cmn_Store::eOpenFlag_OpenForRead);
    output.mProperties = file->GetProperties();
    file->Close();
    return output;
}

// Runs a planned chain by hand to its end, drawing progress; Ctrl-C aborts it.
void RunChain(const FF_BatchProcess::BatchProcessHandle& iProcess, int64_t iDoneBefore,
              const std::string& iName, Tool_ProgressBar& ioBar)
{
    auto* chainP = dynamic_cast<FF_AudioProcessChain*>(iProcess.Get());
    auto show = [&]
    {
        if (chainP && chainP->GetConsumer())
            ioBar.Show(iDoneBefore + chainP->GetConsumer()->GetUnitsProcessed(), iName);
    };
    const auto keepGoing = [&]
    {
        show();
        return !Tool_CancelRequested();
    };
    FF_AudioProcessUtils::RunProcessChainToEnd(iProcess.Get(), keepGoing);
    show();
    if (Tool_CancelRequested())
        throw Cmn_CancelException();
}

void PrintJson(const std::vector<Conversion>& iConversions)
{
    Tool_Json doc;
    doc["conversions"] = Tool_Json::array();
    for (const Conversion& c : iConversions)
    {
        Tool_Json conversion;
        conversion["source"] = c.mSource;
        conversion["stages"] = c.mStages;
        conversion["outputs"] = Tool_Json::array();
        for (const Output& o : c.mOutputs)
        {
            const FF_AudioFile::Properties& p = o.mProperties;
            conversion["outputs"].push_back(
                Tool_Json{{"path", o.mPath},
                          {"type", FF_AudioFile::GetAudioFileTypeName(p.mAudioFileType)},
                          {"rate", p.mSampleRate},
                          {"bits", p.mBitDepth},
                          {"channels", p.mNumChannels},
                          {"samples", p.mNumSamples}});
        }
        doc["conversions"].push_back(std::move(conversion));
    }
    std::cout << Tool_JsonText(doc) << "\n";
}

void PrintText(const std::vector<Conversion>& iConversions, const char* iVerb)
{
    for (const Conversion& c : iConversions)
        for (const Output& o : c.mOutputs)
            std::cout << iVerb << " " << c.mSource << " -> " << o.mPath << " ("
                      << o.mProperties.mSampleRate << " Hz, " << o.mProperties.mBitDepth << "-bit, "
                      << o.mProperties.mNumChannels << " ch, " << o.mProperties.mNumSamples
                      << " samples)\n";
}

// Which word lengths the chain can change between.
void CheckBits(const std::string& iSource, int16_t iSrcBits, int16_t iDstBits)
{
    const bool known = iSrcBits == 8 || iSrcBits == 16 || iSrcBits == 24;
    if (!known && iSrcBits != iDstBits)
        throw std::runtime_error("\"" + iSource + "\": " + std::to_string(iSrcBits) +
                                 "-bit sources can only be converted to " +
                                 std::to_string(iSrcBits) + " bits");
}

struct ConvertOptions
{
    std::vector<std::string> mSources;
    std::string mOut, mTo, mType;
    int32_t mRate = 0;
    int16_t mBits = 0;
    std::string mQuality = "good";
    double mGain = 0.0;
    bool mDither = false, mSqueeze = false, mSplit = false, mJson = false;
} sConvert;

void DeclareConvert(CLI::App& ioApp)
{
    ioApp.add_option("SRC", sConvert.mSources, "audio files to convert");
    ioApp.add_option("-o,--output", sConvert.mOut, "the output (one source only)");
    ioApp.add_option("--to", sConvert.mTo, "a folder for the outputs, named after the sources");
    ioApp
        .add_option("--type", sConvert.mType, "the output type (default: the extension's, or wav)")
        ->check(Tool_OneOf(Tool_OutputTypeNames(), "must be wav, aiff, aifc, qs2 or qs1",
                           Tool_Shown::eNothing));
    ioApp.add_option("--rate", sConvert.mRate, "sample rate in Hz (default: the source's)")
        ->check(
            Tool_WholeIn(1000, 204000, "must be between 1000 and 204000 Hz", Tool_Shown::eNothing));
    ioApp.add_option("--bits", sConvert.mBits, "bits per sample (default: the source's)")
        ->check(Tool_OneOf({"8", "16", "24"}, "must be 8, 16 or 24", Tool_Shown::eNothing));
    std::vector<std::string> qualities;
    for (const auto& [name, quality] : QualityNames())
        qualities.push_back(name);
    ioApp.add_option("--quality", sConvert.mQuality, "rate conversion quality (default good)")
        ->check(Tool_OneOf(qualities, "must be fastest, low, good, better, best or tweak",
                           Tool_Shown::eNothing));
    ioApp.add_option("--gain", sConvert.mGain, "gain in dB")
        ->check(Tool_NumberIn(-96.0, 48.0, "must be between -96 and 48 dB", Tool_Shown::eNothing));
    ioApp.add_flag("--dither", sConvert.mDither, "dither when the word gets shorter");
    ioApp.add_flag("--squeeze", sConvert.mSqueeze, "scale instead of clipping");
    ioApp.add_flag("--split", sConvert.mSplit, "one mono file per channel");
    ioApp.add_flag("--json", sConvert.mJson, "one JSON document");
}

int RunConvertCommand()
{
    const std::vector<std::string>& sources = sConvert.mSources;
    const std::string& out = sConvert.mOut;
    const bool hasOut = !out.empty();
    if (sources.empty() || hasOut == !sConvert.mTo.empty())
        throw Tool_UsageError(std::string("usage: mirafile ") + cConvertUsage);
    if (hasOut && sources.size() > 1)
        throw Tool_UsageError("-o takes one source; use --to DIR for several");
    const int32_t rate = sConvert.mRate;
    const int16_t bits = sConvert.mBits;
    const ESRCQuality quality = QualityNames().at(sConvert.mQuality);
    const double gain = sConvert.mGain;
    const bool split = sConvert.mSplit;

    // Everything is checked before anything is written.
    std::vector<FF_AudioFileRef> files;
    std::vector<FF_AudioFile::Properties> properties;
    int64_t totalSamples = 0;
    for (const std::string& source : sources)
    {
        FF_AudioFile::Properties p;
        files.push_back(OpenSource(source, &p));
        CheckBits(source, p.mBitDepth, bits ? bits : p.mBitDepth);
        properties.push_back(p);
        totalSamples += FF_AudioFileUtils::CalcSamples(p.mNumSamples, rate ? rate : p.mSampleRate,
                                                       p.mSampleRate);
    }
    const EAudioFileType dstType = Tool_OutputAudioType(out, sConvert.mType);
    Sys_FileLoc folder;
    if (hasOut)
    {
        if (Sys_FileUtils::Exists(Sys_FileLoc(out)))
            throw std::runtime_error("\"" + out + "\" exists already");
        folder = Sys_FileLoc(out).GetParentFolder();
        if (folder.IsEmpty())
            folder = Sys_FileLoc(".");
    }
    else
        folder = Sys_FileLoc(sConvert.mTo);
    CheckWritableFolder(folder);

    Tool_StInterruptHandler interruptHandler;
    // Every output of the run goes unless the whole run succeeds.
    Sys_FileUtils::StDeleteFiles runDeleter;
    std::vector<Conversion> conversions;
    {
        Tool_ProgressBar bar(totalSamples);
        int64_t doneBefore = 0;
        for (size_t i = 0; i < files.size(); ++i)
        {
            const FF_AudioFile::Properties& p = properties[i];
            const int32_t dstRate = rate ? rate : p.mSampleRate;
            const int16_t dstBits = bits ? bits : p.mBitDepth;
            const std::string name = files[i]->GetFileLoc().GetName();
            Conversion conversion;
            conversion.mSource = sources[i];
            std::vector<Sys_FileLoc> made;
            try
            {
                if (!split)
                {
                    FF_AudioFileUtils::ConvertAudioFileParams params;
                    params.mBitDepth = dstBits;
                    params.mSampleRate = dstRate;
                    params.mSqueeze = sConvert.mSqueeze;
                    params.mSRCQuality = quality;
                    params.mGainDB = gain;
                    params.mDither = sConvert.mDither;
                    const Sys_FileLoc dest =
                        hasOut ? Sys_FileLoc(out)
                               : FF_AudioFileUtils::GetUniqueAudioFileLocs(
                                     folder, name, FF_AudioFile::FileTypeFromAudioFileType(dstType),
                                     {}, 255)
                                     .front();
                    runDeleter.Add(dest);
                    FF_AudioFileUtils::ConvertAudioFiles(
                        {files[i]}, {dest}, params, dstType,
                        [&](int64_t iDone, int64_t)
                        {
                            bar.Show(doneBefore + iDone, name);
                            return !Tool_CancelRequested();
                        },
                        &conversion.mStages);
                    made.push_back(dest);
                }
                else
                {
                    auto* constructorP = new FF_AudioProcessConvertAudioFileConstructor(
                        files[i], dstBits, dstType, dstRate, quality, gain, sConvert.mSqueeze,
                        sConvert.mDither);
                    Cmn_AliasedRefCountPtr<FF_AudioProcessConvertAudioFileConstructor> constructor(
                        constructorP);
                    constructor->SetDstFolderLoc(folder);
                    if (hasOut)
                    {
                        constructor->SetDstName(Sys_FileLoc(out).GetName());
                        constructor->SetNameLengthLimit(255);
                    }
                    constructor->SetFileDeleter(&runDeleter);
                    FF_BatchProcess::BatchProcessHandle process = constructor->CreateBatchProcess();
                    constructor->SetFileDeleter(nullptr);
                    auto* chainP = dynamic_cast<FF_AudioProcessConvertAudioFile*>(process.Get());
                    conversion.mStages = chainP->GetStageNames();
                    made = chainP->GetDstFileLocs();
                    RunChain(process, doneBefore, name, bar);
                }
            }
            catch (const Cmn_CancelException&)
            {
                throw;
            }
            catch (const std::exception& e)
            {
                throw std::runtime_error("converting \"" + sources[i] + "\": " + e.what());
            }
            for (const Sys_FileLoc& loc : made)
                conversion.mOutputs.push_back(Describe(loc));
            conversions.push_back(std::move(conversion));
            doneBefore += FF_AudioFileUtils::CalcSamples(p.mNumSamples, dstRate, p.mSampleRate);
        }
    }
    if (Tool_CancelRequested())
        throw Cmn_CancelException();
    runDeleter.Release();
    if (sConvert.mJson)
        PrintJson(conversions);
    else
        PrintText(conversions, "converted");
    return 0;
}

Cmn_Interval ParseRange(const std::string& iText, int64_t iNumSamples)
{
    const size_t colon = iText.find(':');
    if (colon == std::string::npos)
        throw Tool_UsageError("--range takes START:END in samples, not \"" + iText + "\"");
    const int64_t begin = Tool_ParseInt(iText.substr(0, colon), "--range start");
    const int64_t end = Tool_ParseInt(iText.substr(colon + 1), "--range end");
    if (begin < 0 || end < begin)
        throw Tool_UsageError("--range " + iText +
                              ": START must be 0 or more and END not below it");
    if (end > iNumSamples)
        throw std::runtime_error("--range " + iText + " ends past the source's " +
                                 std::to_string(iNumSamples) + " samples");
    return Cmn_Interval(begin, end);
}

struct
{
    std::vector<std::string> mSources;
    std::string mOut;
    std::vector<std::string> mRanges;
    bool mJson = false;
} sConsolidate;

void DeclareConsolidate(CLI::App& ioApp)
{
    ioApp.add_option("SRC", sConsolidate.mSources, "the audio file");
    ioApp.add_option("-o,--output", sConsolidate.mOut, "the output");
    ioApp.add_option("--range", sConsolidate.mRanges, "START:END in samples; repeatable")
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->allow_extra_args(false);
    ioApp.add_flag("--json", sConsolidate.mJson, "one JSON document");
}

int RunConsolidateCommand()
{
    const std::string& out = sConsolidate.mOut;
    if (sConsolidate.mSources.size() != 1 || out.empty() || sConsolidate.mRanges.empty())
        throw Tool_UsageError(std::string("usage: mirafile ") + cConsolidateUsage);
    const std::string source = sConsolidate.mSources.front();
    FF_AudioFile::Properties p;
    FF_AudioFileRef file = OpenSource(source, &p);
    std::list<Cmn_Interval> ranges;
    int64_t total = 0;
    for (const std::string& range : sConsolidate.mRanges)
    {
        ranges.push_back(ParseRange(range, p.mNumSamples));
        total += ranges.back().GetLength();
    }
    const EAudioFileType dstType = Tool_OutputAudioType(out, "");
    if (Sys_FileUtils::Exists(Sys_FileLoc(out)))
        throw std::runtime_error("\"" + out + "\" exists already");
    Sys_FileLoc folder = Sys_FileLoc(out).GetParentFolder();
    if (folder.IsEmpty())
        folder = Sys_FileLoc(".");
    CheckWritableFolder(folder);

    Tool_StInterruptHandler interruptHandler;
    Sys_FileUtils::StDeleteFiles runDeleter;
    Conversion conversion;
    conversion.mSource = source;
    std::vector<Sys_FileLoc> made;
    try
    {
        Cmn_AliasedRefCountPtr<FF_AudioProcessConsolidateAudioFileConstructor> constructor(
            new FF_AudioProcessConsolidateAudioFileConstructor(file, ranges, p.mBitDepth, dstType,
                                                               p.mSampleRate, eSRCQuality_Medium));
        constructor->SetDstFolderLoc(folder);
        constructor->SetDstName(Sys_FileLoc(out).GetName());
        constructor->SetNameLengthLimit(255);
        constructor->SetInterleaved(true);
        constructor->SetFileDeleter(&runDeleter);
        FF_BatchProcess::BatchProcessHandle process = constructor->CreateBatchProcess();
        constructor->SetFileDeleter(nullptr);
        auto* chainP = dynamic_cast<FF_AudioProcessConvertAudioFile*>(process.Get());
        conversion.mStages = chainP->GetStageNames();
        made = chainP->GetDstFileLocs();
        Tool_ProgressBar bar(total);
        RunChain(process, 0, Sys_FileLoc(source).GetName(), bar);
    }
    catch (const Cmn_CancelException&)
    {
        throw;
    }
    catch (const std::exception& e)
    {
        throw std::runtime_error("consolidating \"" + source + "\": " + e.what());
    }
    for (const Sys_FileLoc& loc : made)
        conversion.mOutputs.push_back(Describe(loc));
    runDeleter.Release();
    if (sConsolidate.mJson)
        PrintJson({conversion});
    else
        PrintText({conversion}, "consolidated");
    return 0;
}

Tool_Registrar sConvertRegistrar{
    {"convert", cConvertUsage,
     "convert audio files to another rate, depth or level; --split makes multi-mono files",
     DeclareConvert, RunConvertCommand}};
Tool_Registrar sConsolidateRegistrar{{"consolidate", cConsolidateUsage,
                                      "a new audio file holding only the given sample ranges",
                                      DeclareConsolidate, RunConsolidateCommand}};
} // namespace
