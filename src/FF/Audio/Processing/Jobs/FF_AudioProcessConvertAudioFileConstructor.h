// Plans the conversion of one audio file into new files of another format, as the
// workstation makes them: one mono file per channel of the source (multi-mono), named after
// the source with a channel suffix (".L", ".R", ...), each with a new identity, the source's
// regions (moved to the new rate) and metadata, and an overview computed on the way in.
//
// CreateBatchProcessImpl:
//  1. Names: GetUniqueAudioFileLocs in the destination folder from the source's name (or
//     the name given by SetDstName), cut to the length limit (31 by default), one per
//     suffix of the destination's channel count; all files of the set share one number when
//     a name is taken.
//  2. For each location: listed on the batch's StDeleteFiles (when one is set) before the
//     file exists; created with 1 channel (the stream's channels with SetInterleaved), the
//     destination's bits and rate and the converted sample count; a new Sys_Umid; the
//     source's regions and metadata; when the rates are equal also its time stamps and
//     timecode format; an overview of the right size (embedded when the chain ends).
//  3. The chain (FF_AudioProcessConvertAudioFile) in the fixed order of the base class, then
//     the destination files are handed to it.
// The producer is FF_AudioProcessReadFiles over GetSourceIntervals(); the file front
// converts the byte order as it reads, so the stream always arrives in native order and the
// source byte order given to the base class is native (no swapper is ever needed for a
// file). The consumer is FF_AudioProcessWriteFiles, which deletes every destination on
// failure or abort; the StDeleteFiles of the owner removes them too (twice is harmless).
//
// The owner's thread only; the source file is only read. Not copyable.
#pragma once

#include <cstdint>
#include <list>
#include <string>
#include <vector>

#include "Cmn_Interval.h"
#include "FF/Audio/FF_AudioFile.h"
#include "FF/Audio/Processing/Jobs/FF_AudioFileUtils.h"
#include "FF/Audio/Processing/Overview/FF_AudioOverview.h"
#include "FF/Audio/Processing/Jobs/FF_AudioProcessConvertConstructor.h"

class FF_AudioProcessConvertAudioFileConstructor : public FF_AudioProcessConvertConstructor
{
public:
    // Reads the source's rate, bits and channels (opening it for reading if it is closed);
    // both channel counts become the source's. Throws when the source is no audio file.
    FF_AudioProcessConvertAudioFileConstructor(const FF_AudioFileRef& iSource, int16_t iDstBitDepth,
                                               EAudioFileType iDstType, int32_t iDstRate,
                                               ESRCQuality iQuality, double iGainDB = 0.0,
                                               bool iSqueeze = false, bool iDither = false);
    ~FF_AudioProcessConvertAudioFileConstructor() override;

    // ---- options, before CreateBatchProcess ----------------------------------------------
    // 1 (mix down to one mono file) or the source's channels (the default).
    void SetDstNumChannels(int16_t iNumChannels);
    // One file holding all channels, interleaved, without a channel suffix.
    void SetInterleaved(bool iInterleaved) { mInterleaved = iInterleaved; }
    // The name the destinations are made from; default: the source's.
    void SetDstName(const std::string& iName) { mDstName = iName; }
    void SetNameLengthLimit(int32_t iLimit) { mNameLengthLimit = iLimit; }
    // Not owned; null for the default (the file system).
    void SetCollisionDetector(FF_AudioFileUtils::CollisionDetector* iDetectorP)
    {
        mDetectorP = iDetectorP;
    }

    // ---- the planner ---------------------------------------------------------------------
    FF_AudioProcess::ProcessHandle GetProducer() override;
    FF_AudioProcess::ProcessHandle GetConsumer() override;
    std::string GetDescription() const override;
    FF_AudioProcessChain::ChainHandle CreateProcessChain() override;
    // The overview decimator, for a type that carries overviews and mono destinations.
    void AddPreConsumerProcesses(FF_AudioProcessChain& ioChain) override;
    bool PreConsumerProcessRequiresNativeByteOrder() const override { return true; }
    // The whole source in destination samples (per channel).
    int64_t GetUnitsToProcess() const override;
    // The bytes of every destination (headers included, rounded to the volume's allocation
    // unit); false and 0 when iVolume is not the destination folder's.
    bool GetSpaceRequiredOnVolume(const Sys_Volume& iVolume, int64_t& oBytes) const override;

    // The source's samples that go into the destination, in order. Default: the whole file.
    virtual std::list<Cmn_Interval> GetSourceIntervals() const;

    const FF_AudioFileRef& GetSource() const { return mSource; }
    // The byte order the source stores its samples in.
    EByteOrder GetSourceFileByteOrder() const { return mSourceFileByteOrder; }
    // The files made by the last CreateBatchProcess.
    const std::vector<FF_AudioFileRef>& GetDstFiles() const { return mDstFiles; }

protected:
    FF_BatchProcess::BatchProcessHandle CreateBatchProcessImpl() override;

    int64_t GetSourceNumSamples() const { return mSourceNumSamples; }

private:
    void MakeDestination(const Sys_FileLoc& iLoc, int64_t iNumSamples);

    FF_AudioFileRef mSource;
    EByteOrder mSourceFileByteOrder = eByteOrder_Native;
    int64_t mSourceNumSamples = 0;
    std::string mDstName;
    int32_t mNameLengthLimit = FF_AudioFileUtils::cDefaultNameLengthLimit;
    bool mInterleaved = false;
    FF_AudioFileUtils::CollisionDetector* mDetectorP = nullptr;
    std::vector<FF_AudioFileRef> mDstFiles;
    std::vector<FF_AudioOverview> mOverviews;
};
