// The picture of mirafile overview: lanes of waveform overviews on a shared time axis in
// seconds, drawn on a 4-bit palette canvas with a small bitmap font, and written as a PNG.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

// One lane: a file's overview, (max, min) byte pairs of 256 samples each.
struct Tool_PictureLane
{
    int64_t mSamples = 0;
    int32_t mSampleRate = 0;
    std::vector<int8_t> mBytes;
};

// A 4-bit palette image.
class Tool_Canvas
{
public:
    enum EColor : uint8_t
    {
        eBackground,
        eLane,
        eWave,
        eZeroLine,
        eGrid,
        eText,
        eEdge,
        eClip,
        eNumColors
    };
    static constexpr std::array<uint32_t, eNumColors> cPalette = {
        0xFFFFFF, 0xF3F6FA, 0x2563A8, 0x8C99A8, 0xDDE3EA, 0x222831, 0xB8C2CE, 0xD33A2C};

    Tool_Canvas(int32_t iWidth, int32_t iHeight);
    int32_t Width() const { return mWidth; }
    int32_t Height() const { return mHeight; }
    // Points off the canvas are ignored.
    void Set(int32_t iX, int32_t iY, EColor iColor);
    void VLine(int32_t iX, int32_t iY0, int32_t iY1, EColor iColor);
    void HLine(int32_t iX0, int32_t iX1, int32_t iY, EColor iColor);
    void Fill(int32_t iX0, int32_t iY0, int32_t iX1, int32_t iY1, EColor iColor);
    // Digits, '.', ':' and 's' in 5 x 7 cells, 6 pixels apart; other characters leave a gap.
    void Text(int32_t iX, int32_t iY, const std::string& iText);
    uint8_t Get(int32_t iX, int32_t iY) const
    {
        return mPixels[size_t(iY) * size_t(mWidth) + size_t(iX)];
    }

    static constexpr int32_t cGlyphAdvance = 6;

private:
    int32_t mWidth, mHeight;
    std::vector<uint8_t> mPixels;
};

// Pixels reserved at the bottom for the time axis.
constexpr int32_t cToolPictureAxisHeight = 18;

// One lane per entry, top to bottom, each scaled to the longest lane's duration; the time
// axis below them, its ticks 1, 2 or 5 times a power of ten seconds (whole minutes from a
// minute on) and at least 64 pixels apart. Each column shows the extremes of the points in
// its stretch of time; clipped extremes (127, -128) are marked.
Tool_Canvas Tool_DrawOverviews(const std::vector<Tool_PictureLane>& iLanes, int32_t iWidth,
                               int32_t iHeight);

// Writes the canvas as a 4-bit palette PNG to a temporary file beside iPath, renamed over
// iPath when complete; on failure nothing is left and "<iPath>: the picture could not be
// written" is thrown.
void Tool_WritePng(const Tool_Canvas& iCanvas, const std::string& iPath);
