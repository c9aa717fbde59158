// The producer that plays a sequence of pieces of files, one after another, keeping only one
// file open at a time however long the sequence.
//
// Contract.
//  - Elements. Each SeqElem is a file and an interval [mBegin, mEnd) of its samples. Every
//    file has the stream's bit depth and channels (asserts "mAudioBitDepth ==
//    properties.mBitDepth", "mAudioNumChannels == properties.mNumChannels"); the rate is the
//    one given, not checked. Empty intervals are skipped; an interval must lie within its
//    file (a short read fails the stage with EIO, a disk error with its errno).
//  - Opening. Preflight opens each file briefly (a counted Open) to check it. While
//    streaming, an element's file is opened at its first read and closed as soon as its last
//    read has come back, before the next element's file is opened. AbortImpl, the end of
//    the stream and the destructor close a file left open.
//  - Blocks: the given channels, rate and bits, native byte order (the front converts),
//    samples per block = (bits * iProcessBlockSize / 24) / (bytes per sample * channels),
//    total = the sum of the interval lengths; a block ends at the end of a read. A sequence
//    of total 0 is handed on as one empty block. Sizes as for FF_AudioProcessReadFiles.
//  - The stage holds references to the files for its lifetime; the steps walk the list
//    without changing it. While the chain runs no other thread may use the files.
//  - Memory: one read buffer of iReadBlockSize bytes and one request, made before streaming.
//  - Threads: steps on the Producer worker; AbortImpl takes the stage's process mutex.
//    GetUnitsProcessed (samples handed on) from any thread.
//
// Steps (mState, EProducerState): Idle: data buffered -> wait for a pool block
// (AwaitingBlock); else open the front element's file if none is open (asserts
// "!mCurrentFile", "!mSequence.empty()"), issue one read and wait for it (AwaitingData).
// AwaitingData: take the result; at the element's end close its file and move to the next
// element; yield (Idle). AwaitingBlock: deliver one block (de-interleaved for 2 or more
// channels); at the end of the sequence end, else yield (Idle).
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

class FF_AudioProcessReadSequence : public FF_AudioProcess
{
public:
    struct SeqElem
    {
        FF_AudioFileRef mAudioFile;
        Cmn_Interval mInterval;
    };

    // Asserts iNumChannels > 0, iBitDepth > 0, and every interval with mEnd >= mBegin >= 0.
    FF_AudioProcessReadSequence(const std::list<SeqElem>& iSequence, int32_t iSampleRate,
                                int16_t iBitDepth, int16_t iNumChannels,
                                int32_t iProcessBlockSize = 60480, int32_t iReadBlockSize = 241920);
    ~FF_AudioProcessReadSequence() override;

    EProcessType GetProcessType() const override { return eProcessType_Producer; }
    void Preflight(FF_AudioProcessBlock* inOutBlock) override;
    int64_t GetUnitsProcessed() const override { return mSamplesDelivered.load(); }

protected:
    EResult ExecImpl() override;
    void AbortImpl() override;
    void AllocateImpl(const FF_AudioProcessBlock& iPrototype) override;
    // A producer has no input: asserts "0".
    void Process(FF_AudioProcessBlock* in, FF_AudioProcessBlock* out) override;

private:
    EResult StartRead();
    EResult FinishRead();
    EResult DeliverOne();
    void CloseCurrentFile();

    std::list<SeqElem> mSequence;
    std::list<SeqElem>::iterator mCurrent; // the element being read; end() when all are done
    Cmn_Interval mCurrentInterval;         // what is left of it
    const int32_t mSampleRate;
    const int16_t mAudioBitDepth;
    const int16_t mAudioNumChannels;
    const int32_t mBytesPerSample;
    const int32_t mBlockAlign;
    const int32_t mGivenProcessBlockSize;
    int32_t mProcessBlockSize = 0;
    const int32_t mReadBlockSize;
    int64_t mTotalNumSamples = 0;
    std::unique_ptr<FF_AsyncAudioFileIOParams> mParams;
    Sys_SyncObject::HandleList mCompletionList;
    FF_AudioFile* mCurrentFile = nullptr; // open: mCurrent's file
    std::unique_ptr<char[]> mReadBuffer;
    const char* mReadPointer = nullptr;
    std::vector<char*> mChannelPointers;
    int64_t mReadSamples = 0;
    int64_t mSamplesInReadBuffer = 0;
    EProducerState mState = eProducerState_Idle;
    bool mFinished = false;
    bool mReadInFlight = false; // issued, and no step has run since
    bool mEmptyBlockDue = false;
    std::atomic<int64_t> mSamplesDelivered{0};
};
