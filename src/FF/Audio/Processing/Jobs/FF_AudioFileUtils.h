// Helpers of file conversion: channel suffixes, destination names, sample counts at another
// rate, conversion in one call, overviews, and compacting a file to the wanted parts.
//
// Threads: the functions that run a chain (ConvertAudioFiles, DecimateWaveform) drive it
// from the calling thread, its stages on the shared workers; the files given belong to the
// calling thread. A conversion takes its parameters as an argument; the form without one
// uses the process-wide value (SetConvertAudioFileParams), which is set before a conversion,
// not during one.
#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <string>
#include <vector>

#include "Cmn_Interval.h"
#include "FF/Audio/FF_AudioFile.h"
#include "FF/Audio/Processing/Overview/FF_AudioOverview.h"
#include "FF/Audio/Processing/Stages/FF_AudioProcessSRC.h"
#include "Sys_FileLoc.h"
#include "Sys_FileType.h"

class FF_AudioFileUtils
{
public:
    // What ConvertAudioFiles makes. mGainDB and mDither extend the set: by default (0.0 and
    // false) no gain stage is added and lowering the word length truncates.
    struct ConvertAudioFileParams
    {
        int16_t mBitDepth = 16;
        int32_t mSampleRate = 44100;
        bool mSqueeze = false;
        ESRCQuality mSRCQuality = eSRCQuality_High;
        int32_t mNumberOfPasses = 1;
        double mGainDB = 0.0;
        bool mDither = false;
    };

    // Tells whether a name is already used. The default asks the file system.
    class CollisionDetector
    {
    public:
        virtual ~CollisionDetector() = default;
        virtual bool IsLocationTaken(const Sys_FileLoc& iLoc);
    };

    // Told how far a conversion has come (samples of the destination), from the calling
    // thread between slices; returning false cancels the conversion.
    using ProgressMethod = std::function<bool(int64_t iDone, int64_t iTotal)>;

    static constexpr int32_t cDefaultNameLengthLimit = 31;

    // ---- channel suffixes ----------------------------------------------------------------
    // One suffix per mono file of a multi-mono set of iNumChannels channels: none for 1,
    // ".L" ".R" for 2, up to ".L" ".Lc" ".C" ".Rc" ".R" ".Ls" ".Rs" ".LFE" for 8. Other
    // counts give one numbered suffix per channel (".1", ".2", ...).
    static std::vector<std::string> GetAudioFileSuffixesForFormat(int16_t iNumChannels);
    // True for the suffixes above and ".M", in either case, with or without the dot.
    static bool IsChannelSpecificExtension(const std::string& iExtension);

    // ---- names -------------------------------------------------------------------------
    // Locations in iFolder for a set of files named after iName, one per suffix (one in all
    // for an empty list): base + suffix + "." + the type's extension (when it has one). The
    // base is iName with illegal characters mapped to "_", its extension and one channel
    // suffix taken off, cut to iLengthLimit characters. When any name of the set is taken
    // (iDetectorP, the default detector when null) a number is appended to the base (1, 2,
    // ..., written "01" to "09" with iLeadingZero), the base cut so that base and number
    // stay within the limit, and the whole set is tried again: the files of one set always
    // share one number. Asserts "iLengthLimit > 0".
    static std::vector<Sys_FileLoc>
    GetUniqueAudioFileLocs(const Sys_FileLoc& iFolder, const std::string& iName,
                           const Sys_FileType& iType, const std::vector<std::string>& iSuffixes,
                           int32_t iLengthLimit = cDefaultNameLengthLimit,
                           CollisionDetector* iDetectorP = nullptr, bool iLeadingZero = false);
    // One try: the set for iBase (already cut) and number iNumber (0: none) into oLocsP; true
    // when one of them is taken.
    static bool GenerateFileLocsAndCheckForCollision(
        const Sys_FileLoc& iFolder, const std::string& iBase, const std::string& iExtension,
        const std::vector<std::string>& iSuffixes, int32_t iLengthLimit, int32_t iNumber,
        bool iLeadingZero, CollisionDetector& iDetector, std::vector<Sys_FileLoc>* oLocsP);
    // iName with the characters a file name cannot hold (path separators, control
    // characters and \ : * ? " < > |) replaced by "_".
    static std::string MapIllegalChars(const std::string& iName);

    // ---- counts --------------------------------------------------------------------------
    // The samples of a stream of iSamples at iSrcRate once converted to iDstRate:
    // (iSamples * iDstRate + iSrcRate - 1) / iSrcRate, exact in 128-bit arithmetic.
    static int64_t CalcSamples(int64_t iSamples, int32_t iDstRate, int32_t iSrcRate);

    // ---- regions ------------------------------------------------------------------------
    // The regions of a source once only iKept is taken (in the order given, end to end) and
    // converted from iSrcRate to iDstRate: a region that overlaps a kept interval is cut to
    // the first one it overlaps and moved to where that lands; its positions, length and
    // time stamps are scaled by the rates (starts rounded down, stops up). Whole-file
    // regions and regions outside every kept interval are left out.
    static FF_AudioFile::RegionList MapRegions(const FF_AudioFile::RegionList& iRegions,
                                               const std::list<Cmn_Interval>& iKept,
                                               int32_t iDstRate, int32_t iSrcRate);

    // ---- conversion in one call ----------------------------------------------------------
    static void SetConvertAudioFileParams(const ConvertAudioFileParams& iParams);
    static ConvertAudioFileParams GetConvertAudioFileParams();
    static void ResetNumberOfConversionPasses();

    // Converts iSources (one file, or several mono files) into new files at iDestLocs (one
    // per source, or one mono file per channel) by iParams. Asserts that the sources agree
    // ("samplesPerSec == source->mSampleRate.Get()", "bitsPerSample ==
    // source->mBitDepth.Get()", "numChannels == source->mNumChannels.Get()", "srcNumSamples ==
    // source->mNumSamples.Get()"), "numChannels == 1 || sources.size() == 1" and
    // "destLocs.size() == numChannels || destLocs.size() == sources.size()". The destinations
    // must not exist. The chain is planned by FF_AudioProcessConvertConstructor (its fixed
    // order of stages) with a producer reading the sources whole and a writer of the
    // destinations, and the overview decimator before the writer for mono destinations of a
    // type that carries an overview. Runs to its end on the calling thread; iProgress may
    // cancel. On failure or cancel every destination is deleted and the failure (or
    // Cmn_CancelException) is thrown; the sources are only read. oStagesP receives the names
    // of the chain's stages, head first. A chain of only the reader and the writer, between
    // two plain files whose sample bytes are laid out alike (same depth, channels, byte order
    // and sign convention), is not run: its bytes are copied between the files, inside the
    // kernel where the file system allows, in steps that report progress and may be cancelled.
    static void ConvertAudioFiles(const std::vector<FF_AudioFileRef>& iSources,
                                  const std::vector<Sys_FileLoc>& iDestLocs,
                                  const ConvertAudioFileParams& iParams,
                                  EAudioFileType iDstType = eAudioFileType_WAVE,
                                  const ProgressMethod& iProgress = {},
                                  std::vector<std::string>* oStagesP = nullptr);
    // The same by the process-wide parameters (GetConvertAudioFileParams).
    static void ConvertAudioFiles(const std::vector<FF_AudioFileRef>& iSources,
                                  const std::vector<Sys_FileLoc>& iDestLocs,
                                  EAudioFileType iDstType = eAudioFileType_WAVE,
                                  const ProgressMethod& iProgress = {},
                                  std::vector<std::string>* oStagesP = nullptr);

    // ---- overviews -----------------------------------------------------------------------
    // The overview of iFile (one channel: the file's, or the mono mix of several) computed
    // by a chain of read, mixer (several channels) and decimator.
    static FF_AudioOverview DecimateWaveform(const FF_AudioFileRef& iFile,
                                             const std::function<void(int32_t)>& iProgress = {});

    // ---- compacting ----------------------------------------------------------------------
    // A new file at iDest of iSource's type, format and identity fields, holding only the
    // samples of iKeep (in the order given), read and written with plain Read and Write in
    // pieces. Regions move with the samples: a region that overlaps a kept interval is kept,
    // cut to it and moved to where the interval lands; others are removed. Asserts that
    // every interval lies in the file. The destination must not exist; on failure it is
    // deleted.
    static void CompactAudioFile(FF_AudioFile& iSource, const Sys_FileLoc& iDest,
                                 const std::list<Cmn_Interval>& iKeep);
};
