// Helpers of the stage tests: streams of integer samples per channel, and a driver that runs a
// stage by hand (Preflight, Allocate, then Process block after block) as a chain would.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <random>
#include <vector>

#include "FF/Audio/Processing/Chain/FF_AudioProcess.h"
#include "FF/Audio/Processing/Chain/FF_AudioProcessBlock.h"
#include "FF/Audio/Processing/Chain/FF_AudioSampleAccess.h"

struct Test_Stream
{
    int32_t mRate = 48000;
    int32_t mBits = 16;
    std::vector<std::vector<int32_t>> mChannels;

    int64_t Length() const { return mChannels.empty() ? 0 : int64_t(mChannels[0].size()); }
};

// A stream at 48 kHz of these channels.
inline Test_Stream Test_StreamOf(int32_t iBits, std::vector<std::vector<int32_t>> iChannels)
{
    return Test_Stream{48000, iBits, std::move(iChannels)};
}

inline int32_t Test_MaxValue(int32_t iBits)
{
    return iBits >= 32 ? 2147483647 : int32_t((int64_t(1) << (iBits - 1)) - 1);
}

// Sines at a few frequencies, one mix per channel, peaking at iPeak of full scale (above 1
// clips), with a little noise.
inline Test_Stream Test_MakeSignal(int32_t iRate, int32_t iBits, int16_t iChannels, int64_t iLength,
                                   double iPeak = 0.9, uint32_t iSeed = 1)
{
    Test_Stream s;
    s.mRate = iRate;
    s.mBits = iBits;
    std::mt19937 random(iSeed);
    std::uniform_real_distribution<double> noise(-0.02, 0.02);
    const double full = double(Test_MaxValue(iBits));
    for (int16_t c = 0; c < iChannels; ++c)
    {
        std::vector<int32_t> samples(static_cast<size_t>(iLength));
        const double f1 = 440.0 * (c + 1), f2 = 9000.0 + 3000.0 * c, f3 = 0.45 * iRate;
        for (int64_t k = 0; k < iLength; ++k)
        {
            const double t = double(k) / iRate;
            double v = 0.6 * std::sin(2 * std::numbers::pi * f1 * t) +
                       0.25 * std::sin(2 * std::numbers::pi * f2 * t) +
                       0.13 * std::sin(2 * std::numbers::pi * f3 * t) + noise(random);
            v = std::clamp(v * iPeak, -1.0, 1.0);
            samples[size_t(k)] = int32_t(std::lrint(v * full));
        }
        s.mChannels.push_back(std::move(samples));
    }
    return s;
}

inline FF_AudioProcessBlock Test_Prototype(const Test_Stream& iIn, int64_t iBlockSize,
                                           int64_t iTotal)
{
    FF_AudioProcessBlock proto;
    proto.SetNumChannels(int16_t(iIn.mChannels.size()));
    proto.SetSampleRate(iIn.mRate);
    proto.SetBitsPerSample(iIn.mBits);
    proto.SetNumSamples(iBlockSize);
    proto.SetTotalNumSamples(iTotal);
    proto.SetByteOrder(eByteOrder_Native);
    return proto;
}

// Runs iStage over iIn in blocks of iBlockSize samples, the stream's total announced as
// iTotal (the length when -2), and returns what came out. Blocks are allocated at the maxima
// of the description before and after the stage, as a chain allocates them.
inline Test_Stream Test_RunStage(FF_AudioProcess& iStage, const Test_Stream& iIn,
                                 int64_t iBlockSize, int64_t iTotal = -2)
{
    const int64_t total = iTotal == -2 ? iIn.Length() : iTotal;
    FF_AudioProcessBlock proto = Test_Prototype(iIn, iBlockSize, total);
    iStage.Preflight(&proto);
    FF_AudioProcessBlock maximal = proto;
    maximal.SetNumChannels(
        std::max<int16_t>(proto.GetNumChannels(), int16_t(iIn.mChannels.size())));
    maximal.SetBitsPerSample(std::max<int32_t>(proto.GetBitsPerSample(), iIn.mBits));
    maximal.SetNumSamples(std::max(proto.GetNumSamples(), iBlockSize));
    iStage.Allocate(maximal);
    FF_AudioProcessBlock in(maximal);
    FF_AudioProcessBlock out(maximal);

    Test_Stream result;
    result.mRate = proto.GetSampleRate();
    result.mBits = proto.GetBitsPerSample();
    result.mChannels.resize(size_t(proto.GetNumChannels()));
    const int32_t inBytes = (iIn.mBits + 7) / 8;
    for (int64_t done = 0; done < iIn.Length();)
    {
        const int64_t n = std::min(iBlockSize, iIn.Length() - done);
        in.SetNumChannels(int16_t(iIn.mChannels.size()));
        in.SetSampleRate(iIn.mRate);
        in.SetBitsPerSample(iIn.mBits);
        in.SetNumSamples(n);
        in.SetTotalNumSamples(total);
        in.SetByteOrder(eByteOrder_Native);
        for (size_t c = 0; c < iIn.mChannels.size(); ++c)
            for (int64_t k = 0; k < n; ++k)
                FF_AudioSampleAccess::Write(in.GetBuffer(c), inBytes, k,
                                            iIn.mChannels[c][size_t(done + k)]);
        out.CopyDescription(in);
        out.SetByteOrder(proto.GetByteOrder());
        // Process is protected in the base; the stages under test make it public, but the
        // driver takes any stage.
        struct Caller : FF_AudioProcess
        {
            static void Call(FF_AudioProcess& iS, FF_AudioProcessBlock* iIn,
                             FF_AudioProcessBlock* iOut)
            {
                (iS.*(&Caller::Process))(iIn, iOut);
            }
        };
        Caller::Call(iStage, &in, &out);
        EXPECT_TRUE(out.IsWithinAllocation());
        const int32_t outBytes = out.GetBytesPerSample();
        for (int16_t c = 0; c < out.GetNumChannels(); ++c)
            for (int64_t k = 0; k < out.GetNumSamples(); ++k)
                result.mChannels[size_t(c)].push_back(
                    FF_AudioSampleAccess::Read(out.GetBuffer(size_t(c)), outBytes, k));
        done += n;
    }
    return result;
}
