// Sample-rate conversion by polyphase windowed-sinc interpolation: a filter stage.
//
// Design.
//  1. The table. mNumPhases = dst / gcd(src, dst), at most 2048 (qualities 1 and 6) or 16384
//     (the others). Row r (0 to mNumPhases + 1) holds the kernel at the positions
//     k / mNumPhases + c - mNumTaps / 2 for c = 0 .. mNumTaps - 1, with k = (mNumPhases + 1) / 2
//     - r: the two rows beyond mNumPhases let a rounded phase reach both ends of [-1/2, 1/2].
//     Downsampling lowers the kernel's cut-off to dst / src, so the table is also the
//     anti-alias filter; it is not normalised (its DC gain is about 1 either way).
//  2. Output sample i stands at source position t = i * src / dst. Its window is the
//     mNumTaps source samples from n - mNumTaps / 2 on, n = t rounded (ties to even), and its
//     row is the phase round((t - n) * mNumPhases [+ noise]) + (mNumPhases + 1) / 2. The noise,
//     uniform in [-1/2, 1/2), is drawn per output sample only when the table was cut to 16384
//     phases; it turns the rounding of the phase into noise instead of a fixed pattern.
//  3. History. Each channel has a ring of mHistorySize = s + mNumTaps - 1 values, s being the
//     samples per input block of Preflight. Source sample j is at ring index j mod
//     mHistorySize (mHistoryWrite = mSamplesIn mod mHistorySize), and the ring starts as
//     zeros, so the first output is aligned with the first input and sees silence before it.
//     A block computes the outputs whose window ends inside the data seen so far; the next
//     output waits for the next block. The ring then holds exactly the samples still needed.
//  4. End of stream. The block with which mSamplesIn reaches the source total is the last:
//     positions from the total on count as zeros (the filter's tail leaves it) and outputs
//     are made up to the destination total = ceil(total * dst / src), exactly. With a total
//     of -1 there is no last block: the stream ends with its source, without the tail.
//  5. Capacity. An output block holds ceil(s * dst / src) + ceil(dst / src) * (mNumTaps / 2)
//     samples (Preflight writes it). An input block larger than s, or an output that would
//     not fit its block, is an assertion, never an overrun.
//  6. Work per block. The windows and rows of the block's outputs (the schedule) are worked
//     out once for all channels (once per channel with phase noise, which each channel draws
//     in the order of its outputs). Where the table has one row per phase, n and the phase
//     follow from the exact fraction i * src / dst with integer steps; this gives the values
//     that the rounding of t in double precision gives (its error is far below the distance
//     of any non-tie to a half while t < 2^32), and ties are rounded in double precision as
//     written. Table and history hold single-precision values widened to double, so the
//     inner products (FF_SincKernel, four at a time on AVX2) never convert per tap.
//
// Threads: the stage runs on the Filter worker only. The phase noise comes from one
// process-wide generator state (see FF_AudioRandom), shared and unguarded.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "FF/Audio/Processing/Chain/FF_AudioProcess.h"
#include "FF/Audio/Processing/Stages/FF_SincKernel.h"

// The filter length of the conversion; the values are stored in settings.
enum ESRCQuality : int32_t
{
    eSRCQuality_Low = 1,    // 17 taps
    eSRCQuality_Medium = 2, // 33 taps
    eSRCQuality_High = 3,   // 65 taps
    eSRCQuality_Higher = 4, // 129 taps
    eSRCQuality_Best = 5,   // 257 taps
    eSRCQuality_Fastest = 6 // 9 taps
};

class FF_AudioProcessSRC : public FF_AudioProcess
{
public:
    // Builds the table. Asserts "0" for an unknown quality and "iSrcRate > 0 && iDstRate > 0";
    // throws std::runtime_error when the table cannot be allocated.
    FF_AudioProcessSRC(int32_t iSrcRate, int32_t iDstRate, ESRCQuality iQuality);
    ~FF_AudioProcessSRC() override;

    // Asserts "inOutBlock->GetBufferByteOrder() == eByteOrder_Native". Writes the destination
    // rate, total and samples per block (see the design note).
    void Preflight(FF_AudioProcessBlock* inOutBlock) override;
    // One block. Asserts "inBlock->GetBitsPerSample() == outBlock->GetBitsPerSample()" and,
    // for bits other than 8, 16, 24 and 32, "false". Sets out's rate, total and samples.
    void Process(FF_AudioProcessBlock* in, FF_AudioProcessBlock* out) override;

    // The kernel at x source samples from the centre.
    double SincFunc(double x) const;

    static int32_t GetNumTapsForQuality(ESRCQuality iQuality);

    int32_t GetSrcRate() const { return mSrcRate; }
    int32_t GetDstRate() const { return mDstRate; }
    ESRCQuality GetQuality() const { return mQuality; }
    int32_t GetNumTaps() const { return mNumTaps; }
    int32_t GetNumPhases() const { return mNumPhases; }
    // (GetNumPhases() + 2) rows of GetNumTaps() single-precision values, stored as doubles
    // so that the inner product never converts them.
    const double* GetSincTable() const { return mSincTable.get(); }
    int32_t GetHistorySize() const { return mHistorySize; }
    int64_t GetSamplesIn() const { return mSamplesIn; }
    int64_t GetSamplesOut() const { return mSamplesOut; }
    int64_t GetDstTotal() const { return mDstTotal; }

    // Which inner product the stage uses (default: the best of the host). Before streaming.
    void SetKernelPath(FF_SincKernel::EPath iPath);

    // The process-wide state of the phase noise generator (seeded FF_AudioRandom::cSeed).
    static int32_t GetRandomState() { return sRandomState.load(std::memory_order_relaxed); }
    static void SetRandomState(int32_t iState)
    {
        sRandomState.store(iState, std::memory_order_relaxed);
    }

    static constexpr int32_t cMaxPhasesFast = 2048;
    static constexpr int32_t cMaxPhases = 16384;

protected:
    void AllocateImpl(const FF_AudioProcessBlock& iPrototype) override;

private:
    void CreateSincTable();
    int64_t ProcessSincInterp(FF_AudioProcessBlock* in, FF_AudioProcessBlock* out);
    // Where each output of this block takes its window and its row; returns the outputs.
    int64_t BuildSchedule(int64_t iCount, int64_t iCapacity, bool iLast);
    // Puts iCount new samples into the ring, then makes the iProduced outputs of the schedule.
    template <class Format>
    void InterpChannel(const char* iIn, char* ioOut, int64_t iCount, int64_t iProduced,
                       double* ioRing);

    int32_t mSrcRate;
    int32_t mDstRate;
    std::unique_ptr<double[]> mSincTable;
    ESRCQuality mQuality;
    int32_t mNumTaps = 0;
    int32_t mNumPhases = 0;
    int64_t mSamplesIn = 0;
    int64_t mSamplesOut = 0;
    int64_t mSrcTotal = -1;
    int64_t mDstTotal = -1;
    int16_t mNumChannels = 0;
    std::vector<std::unique_ptr<double[]>> mHistory;
    int32_t mHistorySize = 0;
    int32_t mHistoryWrite = 0;

    FF_SincKernel::DotFunc mDot = nullptr;
    FF_SincKernel::DotManyFunc mDotMany = nullptr;
    std::vector<double> mWindow; // a window that wraps the ring or passes the end, made whole

    // The outputs of one block: for each, the ring index of its window's first sample, the
    // offset of its row in the table, how many of its taps lie in the data seen so far (the
    // rest are zeros at the end of the stream), whether the window lies whole in the ring,
    // and its sum before rounding. Sized once by AllocateImpl: no allocation while streaming.
    struct Schedule
    {
        std::vector<int32_t> mPos, mRow, mValid;
        std::vector<uint8_t> mWhole;
        std::vector<double> mSums;
        void Resize(size_t iSize)
        {
            mPos.assign(iSize, 0);
            mRow.assign(iSize, 0);
            mValid.assign(iSize, 0);
            mWhole.assign(iSize, 0);
            mSums.assign(iSize, 0.0);
        }
    };
    int64_t mMaxOutputs = 0; // outputs of one block at most (Preflight)
    Schedule mSchedule;

    static std::atomic<int32_t> sRandomState;
};
