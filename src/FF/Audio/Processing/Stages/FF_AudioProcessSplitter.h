// Fans one channel out to several identical ones: a filter stage.
#pragma once

#include <cstdint>

#include "FF/Audio/Processing/Chain/FF_AudioProcess.h"

class FF_AudioProcessSplitter : public FF_AudioProcess
{
public:
    // Asserts "mSrcNumChannels == 1".
    FF_AudioProcessSplitter(int16_t iSrcNumChannels, int16_t iDstNumChannels);
    ~FF_AudioProcessSplitter() override;

    // Asserts "inOutBlock->GetNumChannels() == mSrcNumChannels"; writes the destination
    // channels.
    void Preflight(FF_AudioProcessBlock* inOutBlock) override;
    // Copies the channel into each of out's channels, any sample format.
    void Process(FF_AudioProcessBlock* in, FF_AudioProcessBlock* out) override;

private:
    int16_t mSrcNumChannels;
    int16_t mDstNumChannels;
};
