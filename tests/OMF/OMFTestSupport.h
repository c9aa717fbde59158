// Shared by the OMF tests: real WAVE and AIFC media made by our audio writer, file
// descriptions for the OMF writer in every generation, byte order and container form, and a
// little-endian or big-endian byte builder for files made by hand from the format.
#pragma once

#include <string>
#include <vector>

#include "FF/OMF/OMF_FileWriter.h"
#include "Support/ByteSupport.h"

struct OMFTest_Variant
{
    omfFileRev_t mRev;
    bool mBigEndian;
    uint16_t mForm;       // container form, 0 for the generation's own
    uint32_t mMaxSegment; // 0 for values in one piece
    std::string Name() const;
};

// 1.x and 2.x, each in both byte orders, both container forms and with values in pieces.
const std::vector<OMFTest_Variant>& OMFTest_Variants();

// A WAVE (16-bit stereo) and an AIFC (24-bit mono) file, made in iFolder; their bytes.
struct OMFTest_Media
{
    Bytes mWave, mAifc;
    Bytes mWaveSamples, mAifcSamples; // the samples written, native order
};
const OMFTest_Media& OMFTest_GetMedia(const std::string& iFolder);

// Two media and one composition of two tracks, in the variant's layout.
OMF_FileSpec OMFTest_Spec(const OMFTest_Variant& iVariant, const OMFTest_Media& iMedia);

// Bytes in one byte order.
struct OMFTest_Builder
{
    bool mBig;
    Bytes mBytes;
    OMFTest_Builder& U8(uint8_t iValue);
    OMFTest_Builder& U16(uint16_t iValue);
    OMFTest_Builder& U32(uint32_t iValue);
    OMFTest_Builder& Raw(const std::string& iText); // without a terminator
    OMFTest_Builder& Text(const std::string& iText); // with one
    // The 24-byte label with this major version and TOC place.
    OMFTest_Builder& Label(uint16_t iMajor, uint32_t iTOCOffset, uint32_t iTOCSize);
};
