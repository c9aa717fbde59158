// The consumer that writes a stream into audio files: one mono file per channel of the
// stream (multi-mono), or one file that takes all the channels, interleaved.
//
// Steps (ExecImpl, on the Consumer worker; the stage is queued once per block):
//   state 0 (gather): take the next block (the one held back by the last write first, else
//     the head of the input queue). A block is gathered when it fits the write buffer and
//     holds at most half its capacity: its samples are copied in (interleaved, for one file
//     of several channels) and the block goes back to the pool at once. While the buffer has
//     room and the stream's end is not reached the step yields. Otherwise it writes:
//       - samples buffered: the buffer is written; a block that was not gathered is held
//         back and taken first when the write has completed (it comes next);
//       - nothing buffered: the block itself is the source (its channel buffers go straight
//         to the mono files; for one file of several channels it is interleaved through the
//         buffer) and it stays out of the pool until the write has completed.
//     One FF_AudioFile::WriteAsync per file, at start sample + samples written; the step
//     blocks the worker until every completion event is set: state 1, eResult_Block.
//   state 1 (written): rethrows a failed transfer, counts the samples (asserts
//     "mSamplesWritten <= mSamplesToWrite"). When all are written each file is flushed and
//     closed (which writes its headers and chunks), and a file written under a temporary
//     name (Sys_AtomicOutput) is committed to its final one: eResult_Done. Otherwise back to state 0
//     (in the same step when a block was held back).
//
// Abort and failure. AbortImpl (from the driver's thread, with the task's mutex held) takes
// the stage's own mutex, so that it never runs during a step; unless the stage has finished
// it closes every file and deletes it: a half-written file never remains. The chain aborts
// a failed stage too, so a failed write (a full disk) also ends with the outputs deleted.
// A write still in flight when the files close is awaited by the close.
//
// Ownership: the stage holds its files (counted handles with a single-threaded count: copied
// only on the thread that builds the chain, and let go by the stage's last step or by
// AbortImpl, before the chain reports its end), its write buffer and its transfer
// parameters. Not copyable.
// GetUnitsToProcess and GetUnitsProcessed may be read from any thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "FF/Audio/FF_AudioFile.h"
#include "FF/Audio/Processing/Overview/FF_AudioOverview.h"
#include "FF/Audio/Processing/Chain/FF_AudioProcess.h"

class FF_AsyncAudioFileIOParams;

class FF_AudioProcessWriteFiles : public FF_AudioProcess
{
public:
    // The samples written go to [inStartSample, inStartSample + iSamplesToWrite) of each
    // file; iSamplesToWrite 0: the stream's total (Preflight takes it). Asserts
    // "inStartSample >= 0", "!iFiles.empty()" and "iSamplesToWrite >= 0".
    FF_AudioProcessWriteFiles(const std::vector<FF_AudioFileRef>& iFiles, int64_t inStartSample,
                              int64_t iSamplesToWrite);
    ~FF_AudioProcessWriteFiles() override;

    EProcessType GetProcessType() const override { return eProcessType_Consumer; }
    // Takes the total when no count was given (asserts "mSamplesToWrite != -1"); opens each
    // file for write unless it is open; checks that the stream fits the files: as many
    // channels as files (mono files) or one file of the stream's channels, and the files'
    // bit depth (assertions); makes one transfer parameter block per file and the write
    // buffer of max(samples per block, 65536) samples per channel. The stage's own opens
    // are undone when it finishes or aborts.
    void Preflight(FF_AudioProcessBlock* inOutBlock) override;
    int64_t GetUnitsToProcess() const override { return mSamplesToWrite.load(); }
    int64_t GetUnitsProcessed() const override { return mSamplesWritten.load(); }

    // Overviews to embed, one per file (a null one for none): each is set as its file's
    // overview property just before the final flush, when the stages ahead (the decimator)
    // have filled it. Before the chain runs.
    void SetOverviews(const std::vector<FF_AudioOverview>& iOverviews);

    // The files, until the stage has finished or aborted (it lets them go on its own thread).
    const std::vector<FF_AudioFileRef>& GetFiles() const { return mFiles; }
    // Samples per channel that the write buffer holds (after Preflight).
    int64_t GetBufferCapacity() const { return mCapacity; }
    // The writes issued so far (one per file per write): for tests of the gathering.
    int64_t GetNumWrites() const { return mNumWrites.load(); }
    // Every sample was written and the files were closed.
    bool IsFinished() const { return mFinished.load(); }

    static constexpr int64_t cMinBufferSamples = 65536;

protected:
    EResult ExecImpl() override;
    void AbortImpl() override;
    // Never called: asserts "0".
    void Process(FF_AudioProcessBlock* in, FF_AudioProcessBlock* out) override;

private:
    EResult Gather();
    EResult Written();
    // Copies iCount samples of every channel of iBlock into the buffer at mBuffered.
    void CopyIntoBuffer(const FF_AudioProcessBlock& iBlock, int64_t iCount);
    // Issues one write per file of iCount samples from the buffer (or from iBlockP's channel
    // buffers, for mono files) and blocks the worker on the completions.
    EResult IssueWrites(FF_AudioProcessBlock* iBlockP, int64_t iCount);
    // Closes the files opened here (or every open count, with iAll) without flushing.
    void CloseFiles(bool iAll);

    std::vector<FF_AudioFileRef> mFiles;
    std::vector<FF_AudioOverview> mOverviews;
    const int64_t mStartSample;
    std::atomic<int64_t> mSamplesToWrite;
    std::atomic<int64_t> mSamplesWritten{0};
    std::atomic<int64_t> mNumWrites{0};
    std::atomic<bool> mFinished{false};
    bool mAborted = false;
    std::vector<bool> mOpenedHere;
    std::vector<std::unique_ptr<FF_AsyncAudioFileIOParams>> mParams;
    int16_t mNumChannels = 0;
    int32_t mBytesPerSample = 0;
    bool mInterleave = false;
    EByteOrder mByteOrder = eByteOrder_Native;
    int64_t mCapacity = 0;
    std::unique_ptr<char[]> mBuffer;
    int64_t mBuffered = 0;
    // The samples of the write in flight.
    int64_t mWriting = 0;
    int32_t mState = 0;
    // A block written from directly, out of the pool until its write completes.
    std::unique_ptr<FF_AudioProcessBlock> mInputBlock;
    // A block that did not fit the buffer, taken before the input queue.
    std::unique_ptr<FF_AudioProcessBlock> mHeldBlock;
};
