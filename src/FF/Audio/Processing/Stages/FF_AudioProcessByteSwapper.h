// Reverses the bytes of every sample, turning a stream of the other byte order into native
// order (or back): a filter stage. Samples of 2 bytes are swapped in pairs; every other
// width is handled as 3-byte samples (the first and third byte exchanged, 3 bytes apart).
#pragma once

#include "FF/Audio/Processing/Chain/FF_AudioProcess.h"

class FF_AudioProcessByteSwapper : public FF_AudioProcess
{
public:
    FF_AudioProcessByteSwapper();
    ~FF_AudioProcessByteSwapper() override;

    // Asserts "inOutBlock->GetBytesPerSample() != 1"; flips the byte order.
    void Preflight(FF_AudioProcessBlock* inOutBlock) override;
    // Out gets the reversed samples and the byte order opposite to in's.
    void Process(FF_AudioProcessBlock* in, FF_AudioProcessBlock* out) override;

    static EByteOrder Opposite(EByteOrder iOrder)
    {
        return iOrder == eByteOrder_Native ? eByteOrder_Big : eByteOrder_Native;
    }
};
