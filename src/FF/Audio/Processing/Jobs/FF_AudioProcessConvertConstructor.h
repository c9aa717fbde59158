// Plans a conversion: a chain holding exactly the stages that the difference between the
// source's format and the wanted one calls for.
//
// Design note: the fixed order of stages (CreateBatchProcessImpl). src and dst stand for the
// source's and the destination's format; each stage is added only when its rule holds.
//   1. the producer (GetProducer), in a chain made by CreateProcessChain;
//   2. FF_AudioProcessByteSwapper: src bits above 8, the producer's byte order not native,
//      and at least one of: src channels above dst channels, src bits not dst bits, squeeze,
//      src rate not dst rate, PreConsumerProcessRequiresNativeByteOrder(). A straight copy
//      never pays for a swap: the consumer takes the samples in either order. (The swapper
//      knows 2- and 3-byte samples only: a 32-bit stream that needs it is refused here with
//      a runtime error instead of being garbled.)
//   3. FF_AudioProcessMixer(src channels, dst channels): src channels above dst channels.
//      Mix down early, so that the rest costs less.
//   4. FF_AudioProcessRequantize(src bits, dst bits, src rate, dither): src bits below dst
//      bits. Raise the word length before any arithmetic.
//   5. FF_AudioProcessGain(gain): a gain other than 0.0 dB.
//   6. FF_AudioProcessMultimediaSqueezer: squeeze.
//   7. FF_AudioProcessSRC(src rate, dst rate, quality): the rates differ.
//   8. FF_AudioProcessRequantize(src bits, dst bits, dst rate, dither): src bits above dst
//      bits. Lower the word length last, at the new rate (the dither's rate class is the
//      destination's), after all arithmetic.
//   9. FF_AudioProcessSplitter(src channels, dst channels): dst channels above src channels.
//      Fan out last.
//  10. AddPreConsumerProcesses (the file version adds the overview decimator).
//  11. the consumer (GetConsumer); GetDescription becomes the chain's description.
// Stages 3, 4, 6, 7, 8 and 9 set IsAudioChanged(); the gain does not.
//
// The base class plans from numbers only; subclasses give producer and consumer and fill the
// source's side (bits and channels: both channel counts are 1, and the source's bits are
// the destination's, until a subclass sets them). Planning failures are thrown by
// CreateBatchProcess. The owner's thread only; not copyable.
#pragma once

#include <cstdint>
#include <string>

#include "FF/Audio/FF_AudioTypes.h"
#include "FF/Audio/Processing/Chain/FF_AudioProcess.h"
#include "FF/Audio/Processing/Chain/FF_AudioProcessChain.h"
#include "FF/Audio/Processing/Jobs/FF_AudioProcessConstructor.h"
#include "FF/Audio/Processing/Stages/FF_AudioProcessSRC.h"

class FF_AudioProcessConvertConstructor : public FF_AudioProcessConstructor
{
public:
    FF_AudioProcessConvertConstructor(EByteOrder iSrcByteOrder, int16_t iDstBitDepth,
                                      EAudioFileType iDstType, int32_t iSrcRate, int32_t iDstRate,
                                      ESRCQuality iQuality, double iGainDB, bool iSqueeze,
                                      bool iDither);
    ~FF_AudioProcessConvertConstructor() override;

    // The head and the tail of the chain; called once per CreateBatchProcess.
    virtual FF_AudioProcess::ProcessHandle GetProducer() = 0;
    virtual FF_AudioProcess::ProcessHandle GetConsumer() = 0;
    // One line for a person. Default: the two formats.
    virtual std::string GetDescription() const;
    // An empty chain. Default: a plain FF_AudioProcessChain.
    virtual FF_AudioProcessChain::ChainHandle CreateProcessChain();
    // Stages between the last filter and the consumer. Default: none.
    virtual void AddPreConsumerProcesses(FF_AudioProcessChain& ioChain) {}
    // Whether the stages of AddPreConsumerProcesses need native byte order. Default: false.
    virtual bool PreConsumerProcessRequiresNativeByteOrder() const { return false; }

    EByteOrder GetSrcByteOrder() const { return mSrcByteOrder; }
    EAudioFileType GetDstType() const { return mDstType; }
    int16_t GetSrcBitDepth() const { return mSrcBitDepth; }
    int16_t GetDstBitDepth() const { return mDstBitDepth; }
    int32_t GetSrcRate() const { return mSrcRate; }
    int32_t GetDstRate() const { return mDstRate; }
    ESRCQuality GetQuality() const { return mQuality; }
    int16_t GetSrcNumChannels() const { return mSrcNumChannels; }
    int16_t GetDstNumChannels() const { return mDstNumChannels; }
    bool GetSqueeze() const { return mSqueeze; }
    bool GetDither() const { return mDither; }
    double GetGainDB() const { return mGainDB; }
    // Set by the last CreateBatchProcess when a stage changes the samples.
    bool IsAudioChanged() const { return mAudioIsChanged; }

protected:
    // The fixed order above. Throws what a stage's constructor throws.
    FF_BatchProcess::BatchProcessHandle CreateBatchProcessImpl() override;

    void SetSrcBitDepth(int16_t iBits) { mSrcBitDepth = iBits; }
    void SetNumChannels(int16_t iSrcNumChannels, int16_t iDstNumChannels)
    {
        mSrcNumChannels = iSrcNumChannels;
        mDstNumChannels = iDstNumChannels;
    }
    void SetAudioIsChanged(bool iChanged) { mAudioIsChanged = iChanged; }

    EByteOrder mSrcByteOrder;
    EAudioFileType mDstType;
    int16_t mSrcBitDepth;
    int16_t mDstBitDepth;
    int32_t mSrcRate;
    int32_t mDstRate;
    ESRCQuality mQuality;
    int16_t mSrcNumChannels = 1;
    int16_t mDstNumChannels = 1;
    bool mSqueeze;
    bool mDither;
    bool mAudioIsChanged = false;
    double mGainDB;
};
