#include "FF/Audio/Processing/Jobs/FF_AudioFileUtils.h"

#include <algorithm>
#include <cctype>
#include <memory>
#include <mutex>
#include <stdexcept>

#include "Cmn_Assert.h"
#include "Cmn_Exception.h"
#include "FF/Audio/FF_AudioFilePlugIn.h"
#include "FF/Audio/Processing/Chain/FF_AudioProcessUtils.h"
#include "FF/Audio/Processing/Jobs/FF_AudioProcessConvertAudioFile.h"
#include "FF/Audio/Processing/Jobs/FF_AudioProcessConvertConstructor.h"
#include "FF/Audio/Processing/Overview/FF_AudioOverviewMgr.h"
#include "FF/Audio/Processing/Overview/FF_AudioOverviewUtils.h"
#include "FF/Audio/Processing/Overview/FF_AudioProcessDecimateWaveform.h"
#include "FF/Audio/Processing/Read/FF_AudioProcessReadFiles.h"
#include "FF/Audio/Processing/Write/FF_AudioProcessWriteFiles.h"
#include "Sys_AtomicOutput.h"
#include "Sys_FileUtils.h"

namespace
{
constexpr int32_t cConvertBlockScale = 4;

std::mutex sParamsMutex;
FF_AudioFileUtils::ConvertAudioFileParams sParams;

const std::vector<std::vector<std::string>>& SuffixTable()
{
    static const std::vector<std::vector<std::string>> sTable = {
        {},
        {},
        {".L", ".R"},
        {".L", ".C", ".R"},
        {".L", ".C", ".R", ".S"},
        {".L", ".C", ".R", ".Ls", ".Rs"},
        {".L", ".C", ".R", ".Ls", ".Rs", ".LFE"},
        {".L", ".C", ".R", ".Ls", ".Cs", ".Rs", ".LFE"},
        {".L", ".Lc", ".C", ".Rc", ".R", ".Ls", ".Rs", ".LFE"}};
    return sTable;
}

bool EqualNoCase(const std::string& iA, const std::string& iB)
{
    return iA.size() == iB.size() &&
           std::equal(iA.begin(), iA.end(), iB.begin(),
                      [](char a, char b)
                      {
                          return std::tolower(static_cast<unsigned char>(a)) ==
                                 std::tolower(static_cast<unsigned char>(b));
                      });
}

int64_t ScaleDown(int64_t iValue, int32_t iDstRate, int32_t iSrcRate)
{
    return int64_t((__int128(iValue) * iDstRate) / iSrcRate);
}

} // namespace

// ---- suffixes and names ----------------------------------------------------------------------

std::vector<std::string> FF_AudioFileUtils::GetAudioFileSuffixesForFormat(int16_t iNumChannels)
{
    if (iNumChannels >= 0 && size_t(iNumChannels) < SuffixTable().size())
        return SuffixTable()[size_t(iNumChannels)];
    std::vector<std::string> suffixes;
    for (int16_t c = 1; c <= iNumChannels; ++c)
        suffixes.push_back("." + std::to_string(c));
    return suffixes;
}

bool FF_AudioFileUtils::IsChannelSpecificExtension(const std::string& iExtension)
{
    const std::string dotted =
        !iExtension.empty() && iExtension[0] == '.' ? iExtension : "." + iExtension;
    if (EqualNoCase(dotted, ".M"))
        return true;
    for (const char* suffix : {".L", ".R", ".C", ".S", ".Ls", ".Rs", ".Cs", ".Lc", ".Rc", ".LFE"})
        if (EqualNoCase(dotted, suffix))
            return true;
    return false;
}

bool FF_AudioFileUtils::CollisionDetector::IsLocationTaken(const Sys_FileLoc& iLoc)
{
    // A name reserved for an output still being written (Sys_AtomicOutput) is taken too.
    return Sys_FileUtils::Exists(iLoc) || Sys_AtomicOutput::IsReserved(iLoc);
}

std::string FF_AudioFileUtils::MapIllegalChars(const std::string& iName)
{
    std::string name = iName;
    for (char& c : name)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F ||
            std::string("/\\:*?\"<>|").find(c) != std::string::npos)
            c = '_';
    return name;
}

bool FF_AudioFileUtils::GenerateFileLocsAndCheckForCollision(
    const Sys_FileLoc& iFolder, const std::string& iBase, const std::string& iExtension,
    const std::vector<std::string>& iSuffixes, int32_t iLengthLimit, int32_t iNumber,
    bool iLeadingZero, CollisionDetector& iDetector, std::vector<Sys_FileLoc>* oLocsP)
{
    CMN_ASSERT(oLocsP);
    std::string number;
    if (iNumber > 0)
        number = (iLeadingZero && iNumber < 10 ? "0" : "") + std::to_string(iNumber);
    const size_t room = std::max<size_t>(
        1, size_t(iLengthLimit) > number.size() ? size_t(iLengthLimit) - number.size() : 1);
    const std::string base = iBase.substr(0, room) + number;
    const std::string tail = iExtension.empty() ? std::string() : "." + iExtension;
    oLocsP->clear();
    bool taken = false;
    const std::vector<std::string> suffixes =
        iSuffixes.empty() ? std::vector<std::string>{std::string()} : iSuffixes;
    for (const std::string& suffix : suffixes)
    {
        Sys_FileLoc loc(iFolder, base + suffix + tail);
        taken = iDetector.IsLocationTaken(loc) || taken;
        oLocsP->push_back(loc);
    }
    return taken;
}

std::vector<Sys_FileLoc> FF_AudioFileUtils::GetUniqueAudioFileLocs(
    const Sys_FileLoc& iFolder, const std::string& iName, const Sys_FileType& iType,
    const std::vector<std::string>& iSuffixes, int32_t iLengthLimit, CollisionDetector* iDetectorP,
    bool iLeadingZero)
{
    CMN_ASSERT_TEXT(iLengthLimit > 0, "iLengthLimit > 0");
    std::string base = MapIllegalChars(iName);
    const size_t dot = base.rfind('.');
    if (dot != std::string::npos && dot != 0)
        base.resize(dot);
    const size_t suffixDot = base.rfind('.');
    if (suffixDot != std::string::npos && suffixDot != 0 &&
        IsChannelSpecificExtension(base.substr(suffixDot)))
        base.resize(suffixDot);
    if (base.empty())
        base = "Audio";
    base = base.substr(0, size_t(iLengthLimit));

    CollisionDetector defaultDetector;
    CollisionDetector& detector = iDetectorP ? *iDetectorP : defaultDetector;
    const std::string extension = iType.GetAssociatedExtension();
    std::vector<Sys_FileLoc> locs;
    for (int32_t number = 0;; ++number)
        if (!GenerateFileLocsAndCheckForCollision(iFolder, base, extension, iSuffixes, iLengthLimit,
                                                  number, iLeadingZero, detector, &locs))
            return locs;
}

int64_t FF_AudioFileUtils::CalcSamples(int64_t iSamples, int32_t iDstRate, int32_t iSrcRate)
{
    CMN_ASSERT(iSrcRate > 0);
    return int64_t((__int128(iSamples) * iDstRate + iSrcRate - 1) / iSrcRate);
}

// ---- regions ---------------------------------------------------------------------------------

FF_AudioFile::RegionList FF_AudioFileUtils::MapRegions(const FF_AudioFile::RegionList& iRegions,
                                                       const std::list<Cmn_Interval>& iKept,
                                                       int32_t iDstRate, int32_t iSrcRate)
{
    FF_AudioFile::RegionList result;
    for (const FF_AudioFile::Region& region : iRegions)
    {
        if (region.mIsWholeFile)
            continue;
        int64_t landsAt = 0;
        for (const Cmn_Interval& kept : iKept)
        {
            const bool overlaps =
                region.mStartSample == region.mStopSample
                    ? kept.Contains(region.mStartSample)
                    : region.mStartSample < kept.mEnd && region.mStopSample > kept.mBegin;
            if (!overlaps)
            {
                landsAt += kept.GetLength();
                continue;
            }
            const int64_t start = std::max(region.mStartSample, kept.mBegin);
            const int64_t stop = std::min(region.mStopSample, kept.mEnd);
            FF_AudioFile::Region moved = region;
            moved.mStartSample = ScaleDown(landsAt + start - kept.mBegin, iDstRate, iSrcRate);
            moved.mStopSample = CalcSamples(landsAt + stop - kept.mBegin, iDstRate, iSrcRate);
            moved.mLength = moved.mStopSample - moved.mStartSample;
            const int64_t cut = start - region.mStartSample;
            moved.mOriginalTimeStamp =
                ScaleDown(region.mOriginalTimeStamp + cut, iDstRate, iSrcRate);
            moved.mUserTimeStamp = ScaleDown(region.mUserTimeStamp + cut, iDstRate, iSrcRate);
            result.push_back(moved);
            break;
        }
    }
    return result;
}

// ---- conversion in one call --------------------------------------------------------------------

void FF_AudioFileUtils::SetConvertAudioFileParams(const ConvertAudioFileParams& iParams)
{
    std::lock_guard<std::mutex> lock(sParamsMutex);
    sParams = iParams;
}

FF_AudioFileUtils::ConvertAudioFileParams FF_AudioFileUtils::GetConvertAudioFileParams()
{
    std::lock_guard<std::mutex> lock(sParamsMutex);
    return sParams;
}

void FF_AudioFileUtils::ResetNumberOfConversionPasses()
{
    std::lock_guard<std::mutex> lock(sParamsMutex);
    sParams.mNumberOfPasses = 1;
}

namespace
{
// Copies the sample bytes of iSource into the new file iDest when both lay them out alike;
// false (nothing done) when they do not. Progress and cancel as ConvertAudioFiles.
bool CopySampleBytes(FF_AudioFile& iSource, FF_AudioFile& iDest, int64_t iNumSamples,
                     const FF_AudioFileUtils::ProgressMethod& iProgress)
{
    FF_AudioFile::StOpenForRead openSource(iSource);
    iDest.Open(Cmn_Store::eOpenFlag_OpenForWrite);
    struct StClose
    {
        FF_AudioFile& mFile;
        ~StClose()
        {
            if (mFile.IsOpen())
                mFile.Close();
        }
    } closeDest{iDest};
    FF_AudioFilePlugIn* srcPlugIn = iSource.GetPlugIn();
    FF_AudioFilePlugIn* dstPlugIn = iDest.GetPlugIn();
    const int64_t srcOffset = iSource.mOffsetToData.GetOr(-1);
    const int64_t dstOffset = iDest.mOffsetToData.GetOr(-1);
    const bool alike =
        srcPlugIn && dstPlugIn && iSource.GetEmbeddedOffset() == 0 &&
        iDest.GetEmbeddedOffset() == 0 && srcOffset >= 0 && dstOffset >= 0 &&
        iSource.mByteOrder.GetOr(eByteOrder_Native) == iDest.mByteOrder.GetOr(eByteOrder_Native) &&
        srcPlugIn->IsDataOffsetBinary() == dstPlugIn->IsDataOffsetBinary() &&
        iSource.mBitDepth.GetOr(0) == iDest.mBitDepth.GetOr(0) &&
        iSource.mNumChannels.GetOr(0) == iDest.mNumChannels.GetOr(0);
    if (!alike)
        return false;
    const int64_t frame = int64_t(iDest.mBitDepth.GetOr(0) / 8) * iDest.mNumChannels.GetOr(0);
    CMN_ASSERT(frame > 0);
    // The front lays out the header and records the count; the bytes go in behind its back,
    // so the file is closed while they move and its count is written afterwards.
    iDest.Close();
    std::unique_ptr<Sys_FileUtils::FileCopier> copier =
        Sys_FileUtils::CreateRangeCopier(iSource.GetFileLoc(), srcOffset, iDest.GetFileLoc(),
                                         dstOffset, iNumSamples * frame, 8 << 20);
    while (copier->CopyNextStep())
        if (iProgress && !iProgress(copier->GetBytesCopied() / frame, iNumSamples))
        {
            copier->Abort();
            throw Cmn_CancelException();
        }
    iDest.Open(Cmn_Store::eOpenFlag_OpenForWrite);
    if (iDest.mNumSamples.GetOr(0) != iNumSamples)
        iDest.mNumSamples.Set(iNumSamples);
    iDest.Flush();
    iDest.Close();
    if (iProgress)
        iProgress(iNumSamples, iNumSamples);
    return true;
}
// The planner of ConvertAudioFiles: the files are made by the caller; the stages are chosen
// and ordered by the convert constructor. The stream arrives in native byte order (the file
// front converts as it reads) with the sources' channels, which the destinations keep.
class ConvertFilesConstructor : public FF_AudioProcessConvertConstructor
{
public:
    ConvertFilesConstructor(const std::vector<FF_AudioFileRef>& iSources,
                            const std::vector<FF_AudioFileRef>& iDestinations,
                            const std::vector<FF_AudioOverview>& iOverviews, int16_t iSrcBitDepth,
                            int16_t iNumChannels, int32_t iSrcRate, int64_t iSrcNumSamples,
                            const FF_AudioFileUtils::ConvertAudioFileParams& iParams,
                            EAudioFileType iDstType)
        : FF_AudioProcessConvertConstructor(eByteOrder_Native, iParams.mBitDepth, iDstType,
                                            iSrcRate, iParams.mSampleRate, iParams.mSRCQuality,
                                            iParams.mGainDB, iParams.mSqueeze, iParams.mDither),
          mSources(iSources), mDestinations(iDestinations), mOverviews(iOverviews),
          mSrcNumSamples(iSrcNumSamples)
    {
        SetSrcBitDepth(iSrcBitDepth);
        SetNumChannels(iNumChannels, iNumChannels);
    }

    FF_AudioProcess::ProcessHandle GetProducer() override
    {
        // Blocks four times the usual size: a quarter of the hand-offs between the workers,
        // for about 4 MB of blocks in all.
        return FF_AudioProcess::ProcessHandle(new FF_AudioProcessReadFiles(
            mSources, {Cmn_Interval(0, mSrcNumSamples)}, 0, false,
            cConvertBlockScale * FF_AudioProcessReadFiles::cProcessBlockSize,
            cConvertBlockScale * FF_AudioProcessReadFiles::cReadBlockSize));
    }
    FF_AudioProcess::ProcessHandle GetConsumer() override
    {
        auto* writerP = new FF_AudioProcessWriteFiles(mDestinations, 0, 0);
        FF_AudioProcess::ProcessHandle writer(writerP);
        if (!mOverviews.empty())
            writerP->SetOverviews(mOverviews);
        return writer;
    }
    std::string GetDescription() const override
    {
        return "Converting " + mSources.front()->GetFileLoc().GetName();
    }
    FF_AudioProcessChain::ChainHandle CreateProcessChain() override
    {
        return FF_AudioProcessChain::ChainHandle(new FF_AudioProcessConvertAudioFile);
    }
    // The overview decimator, when the destinations carry overviews.
    void AddPreConsumerProcesses(FF_AudioProcessChain& ioChain) override
    {
        if (mOverviews.empty())
            return;
        std::vector<FF_AudioOverview::LockingRef> refs;
        for (const FF_AudioOverview& overview : mOverviews)
            refs.emplace_back(overview);
        ioChain.Append(FF_AudioProcess::ProcessHandle(
            new FF_AudioProcessDecimateWaveform(FF_AudioOverview::cSamplesPerPoint, refs)));
    }
    bool PreConsumerProcessRequiresNativeByteOrder() const override { return true; }

private:
    std::vector<FF_AudioFileRef> mSources;
    std::vector<FF_AudioFileRef> mDestinations;
    std::vector<FF_AudioOverview> mOverviews;
    int64_t mSrcNumSamples;
};
} // namespace

void FF_AudioFileUtils::ConvertAudioFiles(const std::vector<FF_AudioFileRef>& iSources,
                                          const std::vector<Sys_FileLoc>& iDestLocs,
                                          EAudioFileType iDstType, const ProgressMethod& iProgress,
                                          std::vector<std::string>* oStagesP)
{
    ConvertAudioFiles(iSources, iDestLocs, GetConvertAudioFileParams(), iDstType, iProgress,
                      oStagesP);
}

void FF_AudioFileUtils::ConvertAudioFiles(const std::vector<FF_AudioFileRef>& iSources,
                                          const std::vector<Sys_FileLoc>& iDestLocs,
                                          const ConvertAudioFileParams& iParams,
                                          EAudioFileType iDstType, const ProgressMethod& iProgress,
                                          std::vector<std::string>* oStagesP)
{
    CMN_ASSERT(!iSources.empty());

    // 1. The sources agree.
    std::vector<std::unique_ptr<FF_AudioFile::StOpenForRead>> opens;
    int32_t samplesPerSec = 0;
    int16_t bitsPerSample = 0, numChannels = 0;
    int64_t srcNumSamples = 0;
    for (size_t i = 0; i < iSources.size(); ++i)
    {
        FF_AudioFile* source = iSources[i].Get();
        opens.push_back(std::make_unique<FF_AudioFile::StOpenForRead>(*source));
        if (source->GetAudioFileType() == eAudioFileType_Unknown)
            throw std::runtime_error("\"" + source->GetFileLoc().GetFullPath() +
                                     "\" is not an audio file this library can read");
        if (i == 0)
        {
            samplesPerSec = source->mSampleRate.GetOr(0);
            bitsPerSample = source->mBitDepth.GetOr(0);
            numChannels = source->mNumChannels.GetOr(0);
            srcNumSamples = source->mNumSamples.GetOr(0);
        }
        CMN_ASSERT_TEXT(samplesPerSec == source->mSampleRate.GetOr(0),
                        "samplesPerSec == source->mSampleRate.Get()");
        CMN_ASSERT_TEXT(bitsPerSample == source->mBitDepth.GetOr(0),
                        "bitsPerSample == source->mBitDepth.Get()");
        CMN_ASSERT_TEXT(numChannels == source->mNumChannels.GetOr(0),
                        "numChannels == source->mNumChannels.Get()");
        CMN_ASSERT_TEXT(srcNumSamples == source->mNumSamples.GetOr(0),
                        "srcNumSamples == source->mNumSamples.Get()");
    }
    CMN_ASSERT_TEXT(numChannels == 1 || iSources.size() == 1,
                    "numChannels == 1 || sources.size() == 1");
    CMN_ASSERT_TEXT(iDestLocs.size() == size_t(numChannels) || iDestLocs.size() == iSources.size(),
                    "destLocs.size() == numChannels || destLocs.size() == sources.size()");
    const int16_t streamChannels = iSources.size() > 1 ? int16_t(iSources.size()) : numChannels;
    const bool monoDestinations = iDestLocs.size() == size_t(streamChannels);
    const int16_t channelsPerFile = monoDestinations ? int16_t(1) : streamChannels;
    const int64_t dstNumSamples = CalcSamples(srcNumSamples, iParams.mSampleRate, samplesPerSec);

    // 2. The destinations; every one is deleted unless the whole conversion succeeds.
    Sys_FileUtils::StDeleteFiles deleter;
    std::vector<FF_AudioFileRef> destinations;
    std::vector<FF_AudioOverview> overviews;
    const bool withOverviews = FF_AudioFile::AudioFileTypeSupportsEmbeddedOverviews(iDstType) &&
                               channelsPerFile == 1 &&
                               dstNumSamples <= FF_AudioOverviewMgr::cMaxNumSamples;
    const bool sameRate = samplesPerSec == iParams.mSampleRate;
    for (const Sys_FileLoc& loc : iDestLocs)
    {
        if (Sys_FileUtils::Exists(loc))
            throw std::runtime_error("\"" + loc.GetFullPath() + "\" exists already");
        // Written under a temporary name, renamed when complete (the writer commits); the
        // reservation comes first, so that a name taken meanwhile is never deleted here.
        Sys_AtomicOutput::Begin(loc);
        deleter.Add(loc);
        const int64_t timeStamp = sameRate ? iSources.front()->mOriginalTimeStamp.GetOr(0) : 0;
        FF_AudioFileRef file(new FF_AudioFile(iDstType, loc, channelsPerFile, iParams.mBitDepth,
                                              iParams.mSampleRate, timeStamp, dstNumSamples));
        file->Open(Cmn_Store::eOpenFlag_OpenCreate);
        file->mUmid.Set(Sys_Umid::Create());
        std::string description;
        if (iSources.front()->mDescription.Get(&description) && file->mDescription.CanWrite())
            file->mDescription.Set(description);
        if (withOverviews)
            overviews.push_back(FF_AudioOverviewMgr::Allocate(dstNumSamples));
        file->Close();
        destinations.push_back(file);
    }
    opens.clear();

    // 3. The chain, planned by the convert constructor (which lets go of the files with it).
    FF_BatchProcess::BatchProcessHandle process;
    {
        Cmn_AliasedRefCountPtr<ConvertFilesConstructor> constructor(new ConvertFilesConstructor(
            iSources, destinations, overviews, bitsPerSample, streamChannels, samplesPerSec,
            srcNumSamples, iParams, iDstType));
        process = constructor->CreateBatchProcess();
    }
    auto* chainP = dynamic_cast<FF_AudioProcessConvertAudioFile*>(process.Get());
    CMN_ASSERT(chainP);
    chainP->SetDstFiles(destinations);
    const std::vector<std::string> stages = chainP->GetStageNames();
    if (oStagesP)
        *oStagesP = stages;
    destinations.clear();
    overviews.clear();

    // 4. A chain of only the reader and the writer, between files that lay their sample bytes
    // out alike, is not run: those bytes are copied. Otherwise the chain runs to its end.
    if (stages.size() == 2 && iSources.size() == 1 && chainP->GetDstFiles().size() == 1 &&
        CopySampleBytes(*iSources.front(), *chainP->GetDstFiles().front(), srcNumSamples,
                        iProgress))
    {
        Sys_AtomicOutput::Commit(chainP->GetDstFiles().front()->GetFileLoc());
        deleter.Release();
        return;
    }
    FF_AudioProcessUtils::RunProcessChainToEnd(
        chainP,
        [&] {
            return !iProgress ||
                   iProgress(chainP->GetConsumer()->GetUnitsProcessed(), dstNumSamples);
        });
    if (iProgress)
        iProgress(dstNumSamples, dstNumSamples);
    deleter.Release();
}

// ---- overviews ---------------------------------------------------------------------------------

FF_AudioOverview FF_AudioFileUtils::DecimateWaveform(const FF_AudioFileRef& iFile,
                                                     const std::function<void(int32_t)>& iProgress)
{
    return FF_AudioOverviewUtils::ComputeOverview(iFile, iProgress);
}

// ---- compacting --------------------------------------------------------------------------------

void FF_AudioFileUtils::CompactAudioFile(FF_AudioFile& iSource, const Sys_FileLoc& iDest,
                                         const std::list<Cmn_Interval>& iKeep)
{
    FF_AudioFile::StOpenForRead open(iSource);
    if (iSource.GetAudioFileType() == eAudioFileType_Unknown)
        throw std::runtime_error("\"" + iSource.GetFileLoc().GetFullPath() +
                                 "\" is not an audio file this library can read");
    const FF_AudioFile::Properties properties = iSource.GetProperties();
    int64_t total = 0;
    for (const Cmn_Interval& interval : iKeep)
    {
        CMN_ASSERT_TEXT(0 <= interval.mBegin && interval.mBegin <= interval.mEnd &&
                            interval.mEnd <= properties.mNumSamples,
                        "0 <= mBegin <= mEnd <= samples");
        total += interval.GetLength();
    }
    if (Sys_FileUtils::Exists(iDest))
        throw std::runtime_error("\"" + iDest.GetFullPath() + "\" exists already");

    Sys_AtomicOutput::Begin(iDest);
    Sys_FileUtils::StDeleteFiles deleter(iDest);
    FF_AudioFileRef dest(new FF_AudioFile(eAudioFileType_WAVE, iDest, properties.mNumChannels,
                                          properties.mBitDepth, properties.mSampleRate,
                                          iSource.mOriginalTimeStamp.GetOr(0), 0));
    dest->Open(Cmn_Store::eOpenFlag_OpenCreate);
    try
    {
        dest->mUmid.Set(Sys_Umid::Create());
        const int64_t frame = int64_t(properties.mBytesPerSample) * properties.mNumChannels;
        constexpr int64_t cPiece = 65536;
        std::vector<char> buffer(size_t(cPiece * frame));
        for (const Cmn_Interval& interval : iKeep)
        {
            iSource.SetPosition(interval.mBegin);
            for (int64_t done = 0; done < interval.GetLength();)
            {
                const int64_t want = std::min(cPiece, interval.GetLength() - done);
                const int64_t got = iSource.Read(buffer.data(), want);
                if (got != want)
                    throw std::runtime_error("\"" + iSource.GetFileLoc().GetFullPath() +
                                             "\" ended before its stated length");
                if (dest->Write(buffer.data(), got, eByteOrder_Native, true) != got)
                    throw std::runtime_error("\"" + iDest.GetFullPath() +
                                             "\": the disk took only part of a write");
                done += got;
            }
        }
        // The regions move with their samples; the new file's own whole-file region stays.
        FF_AudioFile::RegionList stale;
        dest->GetRegions(&stale);
        for (const FF_AudioFile::Region& region : stale)
            if (!region.mIsWholeFile)
                dest->RemoveRegion(region.mUmid);
        FF_AudioFile::RegionList regions;
        iSource.GetRegions(&regions);
        for (const FF_AudioFile::Region& region :
             MapRegions(regions, iKeep, properties.mSampleRate, properties.mSampleRate))
            dest->AddRegion(region);
        std::string description;
        if (iSource.mDescription.Get(&description) && dest->mDescription.CanWrite())
            dest->mDescription.Set(description);
        CMN_ASSERT(dest->mNumSamples.GetOr(-1) == total);
        dest->Flush();
        dest->Close();
        Sys_AtomicOutput::Commit(iDest);
    }
    catch (...)
    {
        while (dest->IsOpen())
            dest->Close();
        throw;
    }
    deleter.Release();
}
