// Changes the word length of a stream: a filter stage.
//
// Raising (8 to 16, 24 or 32 bits; 16 to 24 or 32; 24 to 32) shifts left, filling with
// zeros. Lowering: with the dither flag, 24 to 16 bits goes through the noise-shaping
// quantiser with random dither, 16 or 24 to 8 bits through it without random dither (shaping
// only); without the flag the low bytes are simply dropped (a right shift). Equal sizes copy.
// Other pairs are not supported. The conversion is picked once, in Preflight.
#pragma once

#include <cstdint>
#include <memory>

#include "FF/Audio/Processing/Chain/FF_AudioProcess.h"
#include "FF/Audio/Processing/Stages/FF_DitherAndOrNoiseShape.h"

class FF_AudioProcessRequantize : public FF_AudioProcess
{
public:
    // When iSourceBits is above iDestBits, makes the quantiser for the pair at iSampleRate
    // (which throws "unrecognized sample rate" for a rate above 204000 Hz, and asserts "0"
    // for destination bits other than 8, 16 and 24).
    FF_AudioProcessRequantize(uint16_t iSourceBits, uint16_t iDestBits, int32_t iSampleRate,
                              bool iDither);
    ~FF_AudioProcessRequantize() override;

    // Asserts "inOutBlock->GetBufferByteOrder() == eByteOrder_Native" and
    // "inOutBlock->GetBitsPerSample() == mSourceBitsPerSample"; writes the destination bits;
    // picks the conversion (an unsupported pair asserts "0").
    void Preflight(FF_AudioProcessBlock* inOutBlock) override;
    // Asserts "inBlock->GetBitsPerSample() == mSourceBitsPerSample" (and "mConvert": Preflight
    // first); converts every channel and sets out's bits.
    void Process(FF_AudioProcessBlock* in, FF_AudioProcessBlock* out) override;

    uint16_t GetSourceBitsPerSample() const { return mSourceBitsPerSample; }
    uint16_t GetDestBitsPerSample() const { return mDestBitsPerSample; }
    bool GetDither() const { return mDither; }
    const FF_DitherAndOrNoiseShape* GetNoiseShaper() const { return mNoiseShaper.get(); }

private:
    using ConvertFunc = void (FF_AudioProcessRequantize::*)(const char*, char*, int64_t);

    void Requantize8x16(const char* iIn, char* oOut, int64_t iCount);
    void Requantize8x24(const char* iIn, char* oOut, int64_t iCount);
    void Requantize8x32(const char* iIn, char* oOut, int64_t iCount);
    void Requantize16x24(const char* iIn, char* oOut, int64_t iCount);
    void Requantize16x32(const char* iIn, char* oOut, int64_t iCount);
    void Requantize24x32(const char* iIn, char* oOut, int64_t iCount);
    void RequantizeNoOp(const char* iIn, char* oOut, int64_t iCount);
    void Requantize16x8(const char* iIn, char* oOut, int64_t iCount);
    void Requantize24x8(const char* iIn, char* oOut, int64_t iCount);
    void Requantize24x16(const char* iIn, char* oOut, int64_t iCount);

    uint16_t mSourceBitsPerSample;
    uint16_t mDestBitsPerSample;
    bool mDither;
    std::unique_ptr<FF_DitherAndOrNoiseShape> mNoiseShaper;
    ConvertFunc mConvert = nullptr;
    int32_t mSourceBytes = 0;
};
