// The producer that starts a chain from audio files: intervals of one file (any number of
// channels) or of several mono files read in step, then optional silence.
//
// Contract.
//  - Files. One file with any number of channels, or several mono files that become the
//    channels of the stream in the order given (a file with 2 or more channels must be the
//    only one: asserts "mAudioFiles.size() == 1"). All files agree on bytes per sample and
//    channels (asserts "bytesPerSample == mAudioFileProperties.mBytesPerSample",
//    "numChannels == mAudioFileProperties.mNumChannels"); rate and bits are the first
//    file's. The stage holds references to the files for its lifetime (it may be destroyed
//    on a worker: FF_AudioFileRef counts under a lock); while the chain runs no other
//    thread may use the files.
//  - Opening. Preflight opens every file for reading (a counted Open) and takes its
//    properties; the files stay open until the stream ends (closed before the last block is
//    handed on), until AbortImpl, or, when the chain never runs, until the destructor.
//  - The stream. The intervals [mBegin, mEnd) in file samples, in the order given, read from
//    every file at the same positions, then iZeroFillAfterSamples samples of silence. Empty
//    intervals are skipped. An interval must lie within the file: a read that comes back
//    short (the file is shorter than the interval, or shrank) fails the stage with an I/O
//    error (EIO), as does any error of the disk (its errno); the chain then ends failed with
//    that exception. With iRepeat the intervals cycle for ever (the zero fill after them is
//    never reached) and the stream's total is announced as -1; the chain ends only by abort.
//    With iRepeat and no intervals only the zero fill is played, once.
//  - Sizes. iProcessBlockSize is the size in bytes of one block of all channels as if the
//    samples were 24-bit; it is scaled by bits / 24, so a block holds the same number of
//    samples at every depth: samples per block = (bits * iProcessBlockSize / 24) / (bytes
//    per sample * channels). iReadBlockSize is the size in bytes of one read of one file
//    (not scaled); it must hold whole frames (asserts "!( mReadBlockSize % mBlockAlign )"),
//    as must the scaled block (asserts "!( mProcessBlockSize % mBlockAlign )"). The usual
//    sizes are cProcessBlockSize (60480, a multiple of 1..10, 12, 14, 15, 16) and
//    cReadBlockSize (4 x 60480). A block ends at the end of a read, so a block may be short
//    at the end of an interval.
//  - Blocks. Channels: the file's channels for one file, else the number of files; rate and
//    bits of the files; native byte order (the front converts); total = the sum of the
//    interval lengths plus the zero fill (-1 with iRepeat and intervals). A stream of total
//    0 is handed on as one empty block.
//  - Memory. Everything is allocated by Preflight and AllocateImpl: one read buffer of
//    iReadBlockSize bytes per file and one request per file; streaming allocates no blocks
//    or sample buffers.
//  - Reads are asynchronous through the file front: each read of all files is issued at
//    once, and the stage waits for all completions through the Producer worker's blocker,
//    never inside a step. A step never returns while one of its reads is in flight, except
//    to wait for it, so a stage is never destroyed with a read in flight.
//  - Threads. Steps on the Producer worker; AbortImpl (driver's thread) takes the stage's
//    process mutex, so it never closes a file during a step. GetUnitsProcessed (samples
//    handed on) may be read from any thread.
//
// Constructor assertions: "mZeroFillAfterSamples || !mIntervals.empty()",
// "mIntervals.front().mBegin >= 0", and every interval with mEnd >= mBegin >= 0; at least
// one file ("!mAudioFiles.empty()").
//
// Steps (mState, EProducerState): Idle: data in the read buffer -> wait for a pool block
// (AwaitingBlock); else zero fill due -> clear the buffer, yield (Idle); else issue a read
// and wait for it (AwaitingData). AwaitingData: take the result, advance the interval, yield
// (Idle). AwaitingBlock: deliver one block; at the end close the files and end, else yield
// (Idle).
#pragma once

#include <atomic>
#include <cstdint>
#include <list>
#include <memory>
#include <vector>

#include "Cmn_Interval.h"
#include "FF/Audio/FF_AudioFile.h"
#include "FF/Audio/Processing/Chain/FF_AudioProcess.h"
#include "Sys_SyncObject.h"

class FF_AsyncAudioFileIOParams;

class FF_AudioProcessReadFiles : public FF_AudioProcess
{
public:
    static constexpr int32_t cProcessBlockSize = 60480;
    static constexpr int32_t cReadBlockSize = 241920;

    FF_AudioProcessReadFiles(const std::vector<FF_AudioFileRef>& iAudioFiles,
                             const std::list<Cmn_Interval>& iIntervals,
                             int64_t iZeroFillAfterSamples, bool iRepeat,
                             int32_t iProcessBlockSize = cProcessBlockSize,
                             int32_t iReadBlockSize = cReadBlockSize);
    // Closes the files if the stream has not ended.
    ~FF_AudioProcessReadFiles() override;

    EProcessType GetProcessType() const override { return eProcessType_Producer; }
    // Opens the files and describes the stream (see above). Throws what opening throws.
    void Preflight(FF_AudioProcessBlock* inOutBlock) override;
    // Samples per channel handed on so far. Any thread.
    int64_t GetUnitsProcessed() const override { return mSamplesDelivered.load(); }

    // The stream's length in samples as announced (-1 with repeat and intervals).
    int64_t GetTotalNumSamples() const { return mAnnouncedTotal; }
    // Samples per block and frames per read, valid after Preflight.
    int64_t GetSamplesPerBlock() const { return mProcessBlockSize / mBlockAlign; }
    int64_t GetFramesPerRead() const { return mReadBlockSize / mBlockAlign; }

    // Splits iFrames interleaved frames of iNumChannels samples of iBytesPerSample bytes at
    // iSrcP into the channel buffers oChannels[0 .. iNumChannels - 1], from their starts.
    static void DeinterleaveSamples(const char* iSrcP, char* const* oChannels, int32_t iNumChannels,
                                    int32_t iBytesPerSample, int64_t iFrames);

protected:
    EResult ExecImpl() override;
    // Closes the files unless the stream has ended.
    void AbortImpl() override;
    void AllocateImpl(const FF_AudioProcessBlock& iPrototype) override;
    // A producer has no input: asserts "0".
    void Process(FF_AudioProcessBlock* in, FF_AudioProcessBlock* out) override;

private:
    EResult StartRead();
    EResult FinishRead();
    EResult DeliverOne();
    bool IsNothingLeft() const;
    void CloseFiles();
    // Waits (alertably) for the reads issued so far; used only when issuing fails midway.
    void WaitForIssuedReads(size_t iIssued);

    std::vector<FF_AudioFileRef> mAudioFiles;
    std::vector<std::unique_ptr<FF_AsyncAudioFileIOParams>> mParams;
    FF_AudioFile::Properties mAudioFileProperties;
    std::list<Cmn_Interval> mIntervals;
    Cmn_Interval mCurrentInterval;
    bool mHaveCurrentInterval = false;
    int64_t mZeroFillBeforeSamples = 0;
    int64_t mZeroFillAfterSamples;
    int64_t mTotalNumSamples = 0;
    int64_t mAnnouncedTotal = 0;
    int64_t mReadSamples = 0;
    bool mInterleaved = false;
    int32_t mNumReadBuffers = 1;
    int32_t mReadBlockSize;
    int32_t mProcessBlockSize;
    int32_t mGivenProcessBlockSize;
    int32_t mBlockAlign = 1;
    std::unique_ptr<char[]> mReadBuffer;
    std::vector<char*> mReadBufferPointers; // where each file's next samples start
    std::vector<char*> mChannelPointers;    // scratch for de-interleaving, sized once
    int64_t mSamplesInReadBuffers = 0;
    bool mRepeat;
    EProducerState mState = eProducerState_Idle;
    int32_t mFilesOpened = 0; // how many files Preflight opened and nobody closed yet
    bool mFinished = false;
    bool mReadInFlight = false;  // issued, and no step has run since
    bool mEmptyBlockDue = false; // a stream of total 0 still hands on one empty block
    Sys_SyncObject::HandleList mCompletionList;
    std::atomic<int64_t> mSamplesDelivered{0};
};
