// The unit that travels through an audio chain: one buffer per channel and the description
// of what the buffers hold.
//
// Layout. Buffers are not interleaved: buffer i holds the samples of channel i one after
// another, each packed in GetBytesPerSample() bytes (24-bit samples take 3 bytes). Once the
// byte order is eByteOrder_Native (little-endian on this host) a sample's bytes are in
// little-endian order; eByteOrder_Big means they are still as a big-endian source stored them.
//
// Description against allocation. The buffers are allocated once, by the constructor from
// a prototype, each GetBytesPerSample() * GetNumSamples() bytes as the prototype stood then
// (GetBufferBytes). The description may later shrink or change (fewer samples or channels,
// other bits): the setters change only the description, never the allocation. A stage that
// writes into a block must stay within GetNumBuffers() buffers of GetBufferBytes() bytes;
// IsWithinAllocation says whether the description fits. In a chain every block is allocated
// at the maxima over all stages (see FF_AudioProcessChain::Allocate), so any description that
// some stage hands on fits every block.
//
// A prototype is a block used only for its description (built empty, filled by the stages'
// Preflight): in it GetNumSamples() is the capacity per channel that copies will get.
//
// Ownership and threads. A block belongs to exactly one owner at a time: the pool, a stage's
// input queue, or a stage (as its private output block or while it works on it). Blocks pass
// between stages by pointer and are never shared; a block has no lock.
//
// Not assignable: copying a block (the copy constructor) allocates fresh buffers of the
// prototype's size; the contents of the buffers are not copied (the new buffers are zero).
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "FF/Audio/FF_AudioTypes.h"

class FF_AudioProcessBlock
{
public:
    // An empty prototype: no channels, rate 0, bits 0, no samples, total unknown (-1),
    // native byte order, no buffers.
    FF_AudioProcessBlock();
    // A described block with buffers: iNumChannels buffers of bytes per sample times
    // iNumSamples bytes each, zeroed. Asserts the bits as SetBitsPerSample does, and
    // "inNumChannels >= 0 && inNumSamples >= 0".
    FF_AudioProcessBlock(int16_t inNumChannels, int32_t inSampleRate, int32_t inBitsPerSample,
                         int64_t inNumSamples, int64_t inTotalNumSamples = -1,
                         EByteOrder inByteOrder = eByteOrder_Native);
    // The description of iPrototype and fresh zeroed buffers of its size (channels times bytes
    // per sample times samples); iPrototype's own buffers, if any, are not looked at.
    FF_AudioProcessBlock(const FF_AudioProcessBlock& iPrototype);
    FF_AudioProcessBlock& operator=(const FF_AudioProcessBlock&) = delete;
    ~FF_AudioProcessBlock();

    int16_t GetNumChannels() const { return mNumChannels; }
    void SetNumChannels(int16_t inNumChannels) { mNumChannels = inNumChannels; }
    int32_t GetSampleRate() const { return mSampleRate; }
    void SetSampleRate(int32_t inSampleRate) { mSampleRate = inSampleRate; }
    uint16_t GetBitsPerSample() const { return mBitsPerSample; }
    // Sets the bits and the bytes per sample (bits rounded up to whole bytes). Asserts
    // "inBitsPerSample > 0 && !( inBitsPerSample & 0xFFFF0000 )".
    void SetBitsPerSample(int32_t inBitsPerSample);
    uint16_t GetBytesPerSample() const { return mBytesPerSample; }
    // Valid samples per channel (in a prototype: the capacity per channel).
    int64_t GetNumSamples() const { return mNumSamples; }
    void SetNumSamples(int64_t inNumSamples) { mNumSamples = inNumSamples; }
    // Samples per channel of the whole stream; -1 when unknown.
    int64_t GetTotalNumSamples() const { return mTotalNumSamples; }
    void SetTotalNumSamples(int64_t inTotalNumSamples) { mTotalNumSamples = inTotalNumSamples; }
    EByteOrder GetByteOrder() const { return mByteOrder; }
    void SetByteOrder(EByteOrder inByteOrder) { mByteOrder = inByteOrder; }

    // Copies channels, rate, bits (and bytes), samples and total from iOther: everything of
    // the description but the byte order. Buffers are untouched.
    void CopyDescription(const FF_AudioProcessBlock& iOther);

    // The buffer of channel iIndex; throws std::out_of_range when iIndex is not below
    // GetNumBuffers() (whatever GetNumChannels() says).
    char* GetBuffer(size_t iIndex);
    const char* GetBuffer(size_t iIndex) const;
    // Buffers allocated, and the bytes of each.
    size_t GetNumBuffers() const { return mBuffers.size(); }
    size_t GetBufferBytes() const { return mBufferBytes; }
    // Bytes per sample times samples: the bytes of each channel that the description covers.
    int64_t GetNumBytesPerChannel() const { return int64_t(mBytesPerSample) * mNumSamples; }
    // Whether the description fits the allocation: channels within the buffers and samples
    // times bytes per sample within each buffer.
    bool IsWithinAllocation() const;

private:
    void AllocateBuffers();

    int16_t mNumChannels = 0;
    int32_t mSampleRate = 0;
    uint16_t mBitsPerSample = 0;
    uint16_t mBytesPerSample = 0;
    int64_t mNumSamples = 0;
    int64_t mTotalNumSamples = -1;
    EByteOrder mByteOrder = eByteOrder_Native;
    std::vector<std::unique_ptr<char[]>> mBuffers;
    size_t mBufferBytes = 0;
};
