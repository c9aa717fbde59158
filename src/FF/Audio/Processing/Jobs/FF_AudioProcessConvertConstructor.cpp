#include "FF/Audio/Processing/Jobs/FF_AudioProcessConvertConstructor.h"

#include <stdexcept>

#include "Cmn_Assert.h"
#include "FF/Audio/Processing/Stages/FF_AudioProcessByteSwapper.h"
#include "FF/Audio/Processing/Stages/FF_AudioProcessGain.h"
#include "FF/Audio/Processing/Stages/FF_AudioProcessMixer.h"
#include "FF/Audio/Processing/Stages/FF_AudioProcessMultimediaSqueezer.h"
#include "FF/Audio/Processing/Stages/FF_AudioProcessRequantize.h"
#include "FF/Audio/Processing/Stages/FF_AudioProcessSplitter.h"

FF_AudioProcessConvertConstructor::FF_AudioProcessConvertConstructor(
    EByteOrder iSrcByteOrder, int16_t iDstBitDepth, EAudioFileType iDstType, int32_t iSrcRate,
    int32_t iDstRate, ESRCQuality iQuality, double iGainDB, bool iSqueeze, bool iDither)
    : mSrcByteOrder(iSrcByteOrder), mDstType(iDstType), mSrcBitDepth(iDstBitDepth),
      mDstBitDepth(iDstBitDepth), mSrcRate(iSrcRate), mDstRate(iDstRate), mQuality(iQuality),
      mSqueeze(iSqueeze), mDither(iDither), mGainDB(iGainDB)
{
    CMN_ASSERT(iDstBitDepth > 0 && iSrcRate > 0 && iDstRate > 0);
}

FF_AudioProcessConvertConstructor::~FF_AudioProcessConvertConstructor() = default;

std::string FF_AudioProcessConvertConstructor::GetDescription() const
{
    return "Converting " + std::to_string(mSrcRate) + " Hz " + std::to_string(mSrcBitDepth) +
           "-bit to " + std::to_string(mDstRate) + " Hz " + std::to_string(mDstBitDepth) + "-bit";
}

FF_AudioProcessChain::ChainHandle FF_AudioProcessConvertConstructor::CreateProcessChain()
{
    return FF_AudioProcessChain::ChainHandle(new FF_AudioProcessChain);
}

FF_BatchProcess::BatchProcessHandle FF_AudioProcessConvertConstructor::CreateBatchProcessImpl()
{
    using Handle = FF_AudioProcess::ProcessHandle;
    mAudioIsChanged = false;
    FF_AudioProcessChain::ChainHandle chain = CreateProcessChain();
    CMN_ASSERT(chain);
    chain->Append(GetProducer());

    const bool swapNeeded = mSrcNumChannels > mDstNumChannels || mSrcBitDepth != mDstBitDepth ||
                            mSqueeze || mSrcRate != mDstRate ||
                            PreConsumerProcessRequiresNativeByteOrder();
    if (mSrcBitDepth > 8 && mSrcByteOrder != eByteOrder_Native && swapNeeded)
    {
        if (mSrcBitDepth > 24)
            throw std::runtime_error("a " + std::to_string(mSrcBitDepth) +
                                     "-bit stream of the other byte order cannot be converted");
        chain->Append(Handle(new FF_AudioProcessByteSwapper));
    }
    if (mSrcNumChannels > mDstNumChannels)
    {
        chain->Append(Handle(new FF_AudioProcessMixer(mSrcNumChannels, mDstNumChannels)));
        mAudioIsChanged = true;
    }
    if (mSrcBitDepth < mDstBitDepth)
    {
        chain->Append(Handle(new FF_AudioProcessRequantize(
            uint16_t(mSrcBitDepth), uint16_t(mDstBitDepth), mSrcRate, mDither)));
        mAudioIsChanged = true;
    }
    if (mGainDB != 0.0)
        chain->Append(Handle(new FF_AudioProcessGain(mGainDB)));
    if (mSqueeze)
    {
        chain->Append(Handle(new FF_AudioProcessMultimediaSqueezer));
        mAudioIsChanged = true;
    }
    if (mSrcRate != mDstRate)
    {
        chain->Append(Handle(new FF_AudioProcessSRC(mSrcRate, mDstRate, mQuality)));
        mAudioIsChanged = true;
    }
    if (mSrcBitDepth > mDstBitDepth)
    {
        chain->Append(Handle(new FF_AudioProcessRequantize(
            uint16_t(mSrcBitDepth), uint16_t(mDstBitDepth), mDstRate, mDither)));
        mAudioIsChanged = true;
    }
    if (mDstNumChannels > mSrcNumChannels)
    {
        chain->Append(Handle(new FF_AudioProcessSplitter(mSrcNumChannels, mDstNumChannels)));
        mAudioIsChanged = true;
    }
    AddPreConsumerProcesses(*chain);
    chain->Append(GetConsumer());
    chain->SetDescription(GetDescription());
    return FF_BatchProcess::BatchProcessHandle(chain);
}
