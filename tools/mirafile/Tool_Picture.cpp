#include "Tool_Picture.h"

#include <algorithm>
#include <cmath>
#include <csetjmp>
#include <cstdio>
#include <stdexcept>

#include <png.h>

#include "Sys_AtomicOutput.h"
#include "Sys_FileLoc.h"

Tool_Canvas::Tool_Canvas(int32_t iWidth, int32_t iHeight)
    : mWidth(iWidth), mHeight(iHeight), mPixels(size_t(iWidth) * size_t(iHeight), eBackground)
{
}

void Tool_Canvas::Set(int32_t iX, int32_t iY, EColor iColor)
{
    if (iX >= 0 && iY >= 0 && iX < mWidth && iY < mHeight)
        mPixels[size_t(iY) * size_t(mWidth) + size_t(iX)] = iColor;
}

void Tool_Canvas::VLine(int32_t iX, int32_t iY0, int32_t iY1, EColor iColor)
{
    for (int32_t y = std::min(iY0, iY1); y <= std::max(iY0, iY1); ++y)
        Set(iX, y, iColor);
}

void Tool_Canvas::HLine(int32_t iX0, int32_t iX1, int32_t iY, EColor iColor)
{
    for (int32_t x = iX0; x <= iX1; ++x)
        Set(x, iY, iColor);
}

void Tool_Canvas::Fill(int32_t iX0, int32_t iY0, int32_t iX1, int32_t iY1, EColor iColor)
{
    for (int32_t y = iY0; y <= iY1; ++y)
        HLine(iX0, iX1, y, iColor);
}

namespace
{
// A glyph in 5 x 7 cells, a row per byte, top first, or nullptr.
const uint8_t* Glyph(char iChar)
{
    static const uint8_t cDigits[10][7] = {
        {0x0E, 0x11, 0x13, 0x15, 0x19, 0x11, 0x0E}, {0x04, 0x0C, 0x04, 0x04, 0x04, 0x04, 0x0E},
        {0x0E, 0x11, 0x01, 0x02, 0x04, 0x08, 0x1F}, {0x1F, 0x02, 0x04, 0x02, 0x01, 0x11, 0x0E},
        {0x02, 0x06, 0x0A, 0x12, 0x1F, 0x02, 0x02}, {0x1F, 0x10, 0x1E, 0x01, 0x01, 0x11, 0x0E},
        {0x06, 0x08, 0x10, 0x1E, 0x11, 0x11, 0x0E}, {0x1F, 0x01, 0x02, 0x04, 0x08, 0x08, 0x08},
        {0x0E, 0x11, 0x11, 0x0E, 0x11, 0x11, 0x0E}, {0x0E, 0x11, 0x11, 0x0F, 0x01, 0x02, 0x0C}};
    static const uint8_t cPoint[7] = {0, 0, 0, 0, 0, 0x0C, 0x0C};
    static const uint8_t cColon[7] = {0, 0x0C, 0x0C, 0, 0x0C, 0x0C, 0};
    static const uint8_t cS[7] = {0, 0, 0x0E, 0x10, 0x0E, 0x01, 0x1E};
    if (iChar >= '0' && iChar <= '9')
        return cDigits[iChar - '0'];
    if (iChar == '.')
        return cPoint;
    if (iChar == ':')
        return cColon;
    if (iChar == 's')
        return cS;
    return nullptr;
}
} // namespace

void Tool_Canvas::Text(int32_t iX, int32_t iY, const std::string& iText)
{
    for (char c : iText)
    {
        if (const uint8_t* rows = Glyph(c))
            for (int32_t row = 0; row < 7; ++row)
                for (int32_t col = 0; col < 5; ++col)
                    if (rows[row] & (0x10 >> col))
                        Set(iX + col, iY + row, eText);
        iX += cGlyphAdvance;
    }
}

namespace
{
// A tick label: seconds with as many decimals as the step needs, or m:ss from a minute on.
std::string TimeLabel(double iSeconds, double iStep)
{
    char text[32];
    if (iStep >= 1.0 && iSeconds >= 60.0)
    {
        const int64_t whole = int64_t(std::llround(iSeconds));
        std::snprintf(text, sizeof text, "%lld:%02lld", static_cast<long long>(whole / 60),
                      static_cast<long long>(whole % 60));
        return text;
    }
    const int32_t decimals = iStep >= 1.0 ? 0 : iStep >= 0.1 ? 1 : iStep >= 0.01 ? 2 : 3;
    std::snprintf(text, sizeof text, "%.*fs", decimals, iSeconds);
    return text;
}

// The tick step (1, 2 or 5 times a power of ten seconds; whole minutes and hours from a
// minute on) that leaves labels at least iMinPixels apart.
double TickStep(double iSeconds, int32_t iPixels, int32_t iMinPixels)
{
    static const double cSteps[] = {0.001, 0.002, 0.005, 0.01, 0.02, 0.05,  0.1,  0.2, 0.5,
                                    1,     2,     5,     10,   15,   30,    60,   120, 300,
                                    600,   900,   1800,  3600, 7200, 18000, 36000};
    const double least = iSeconds * iMinPixels / std::max(iPixels, 1);
    for (double step : cSteps)
        if (step >= least)
            return step;
    return std::ceil(least / 36000.0) * 36000.0;
}
} // namespace

Tool_Canvas Tool_DrawOverviews(const std::vector<Tool_PictureLane>& iLanes, int32_t iWidth,
                               int32_t iHeight)
{
    using C = Tool_Canvas;
    Tool_Canvas canvas(iWidth, iHeight);
    const int32_t plotHeight = iHeight - cToolPictureAxisHeight;
    double seconds = 0.0;
    for (const Tool_PictureLane& info : iLanes)
        if (info.mSampleRate > 0)
            seconds = std::max(seconds, double(info.mSamples) / info.mSampleRate);
    const double step = TickStep(seconds, iWidth, 64);

    const int32_t lanes = int32_t(iLanes.size());
    for (int32_t lane = 0; lane < lanes; ++lane)
    {
        const Tool_PictureLane& info = iLanes[size_t(lane)];
        const int32_t top = lane * plotHeight / lanes;
        const int32_t bottom = (lane + 1) * plotHeight / lanes - 1;
        const int32_t center = (top + bottom) / 2;
        const double half = (bottom - top) / 2.0 - 1.0;
        const int64_t points = int64_t(info.mBytes.size() / 2);
        const double fileSeconds =
            info.mSampleRate > 0 ? double(info.mSamples) / info.mSampleRate : 0.0;
        const int32_t laneEnd =
            seconds > 0.0 ? int32_t(std::ceil(fileSeconds / seconds * iWidth)) - 1 : -1;
        canvas.Fill(0, top, std::min(laneEnd, iWidth - 1), bottom, C::eLane);
        for (double fraction : {-0.5, 0.5})
            canvas.HLine(0, laneEnd, center - int32_t(std::lround(fraction * half)), C::eGrid);
        for (double t = step; t < seconds; t += step)
            canvas.VLine(int32_t(std::lround(t / seconds * iWidth)), top, bottom, C::eGrid);
        canvas.HLine(0, laneEnd, center, C::eZeroLine);
        auto y = [&](int32_t iValue)
        { return center - int32_t(std::lround(iValue * half / 128.0)); };
        // Each column shows every point that falls in its stretch of time.
        const double pointsPerColumn =
            points > 0 && fileSeconds > 0.0 ? double(points) * (seconds / fileSeconds) / iWidth : 0;
        for (int32_t x = 0; x < iWidth && points > 0; ++x)
        {
            const int64_t first = int64_t(std::floor(x * pointsPerColumn));
            if (first >= points)
                break;
            const int64_t last = std::min(
                points, std::max(first + 1, int64_t(std::floor((x + 1) * pointsPerColumn))));
            int32_t max = -128, min = 127;
            for (int64_t p = first; p < last; ++p)
            {
                max = std::max<int32_t>(max, info.mBytes[size_t(2 * p)]);
                min = std::min<int32_t>(min, info.mBytes[size_t(2 * p + 1)]);
            }
            if (max < min) // a group cannot have its maximum below its minimum; not drawn
                continue;
            canvas.VLine(x, y(max), y(min), C::eWave);
            if (max == 127)
                canvas.Set(x, y(max), C::eClip);
            if (min == -128)
                canvas.Set(x, y(min), C::eClip);
        }
        if (lane > 0)
            canvas.HLine(0, iWidth - 1, top, C::eEdge);
    }
    // The time axis.
    canvas.HLine(0, iWidth - 1, plotHeight, C::eEdge);
    for (double t = 0.0; t <= seconds + step * 1e-9; t += step)
    {
        const int32_t x =
            std::min(iWidth - 1, int32_t(std::lround(t / std::max(seconds, 1e-9) * iWidth)));
        canvas.VLine(x, plotHeight, plotHeight + 3, C::eText);
        const std::string label = TimeLabel(t, step);
        const int32_t textWidth = int32_t(label.size()) * C::cGlyphAdvance - 1;
        const int32_t left = std::clamp(x - textWidth / 2, 1, std::max(1, iWidth - textWidth - 1));
        canvas.Text(left, plotHeight + 6, label);
    }
    return canvas;
}

namespace
{
// libpng's errors end in the longjmp below and its warnings are of no use to a person here;
// neither is printed.
[[noreturn]] void PngError(png_structp iPng, png_const_charp)
{
    png_longjmp(iPng, 1);
}

void PngWarning(png_structp, png_const_charp) {}

// libpng reports errors by longjmp back here; only plain data lives in this frame.
bool EncodePng(FILE* iFileP, uint32_t iWidth, uint32_t iHeight, const png_color* iPaletteP,
               int iColors, png_bytepp iRowsP)
{
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, PngError, PngWarning);
    if (!png)
        return false;
    png_infop info = png_create_info_struct(png);
    if (!info || setjmp(png_jmpbuf(png)))
    {
        png_destroy_write_struct(&png, &info);
        return false;
    }
    png_init_io(png, iFileP);
    png_set_IHDR(png, info, iWidth, iHeight, 4, PNG_COLOR_TYPE_PALETTE, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_set_PLTE(png, info, iPaletteP, iColors);
    png_set_rows(png, info, iRowsP);
    png_write_png(png, info, PNG_TRANSFORM_IDENTITY, nullptr);
    png_destroy_write_struct(&png, &info);
    return true;
}
} // namespace

void Tool_WritePng(const Tool_Canvas& iCanvas, const std::string& iPath)
{
    // Rows of 4-bit palette indices, two pixels a byte, the left one high.
    const size_t rowBytes = size_t(iCanvas.Width() + 1) / 2;
    std::vector<uint8_t> pixels(rowBytes * size_t(iCanvas.Height()));
    std::vector<png_bytep> rows(size_t(iCanvas.Height()));
    for (int32_t y = 0; y < iCanvas.Height(); ++y)
    {
        uint8_t* rowP = pixels.data() + rowBytes * size_t(y);
        rows[size_t(y)] = rowP;
        for (int32_t x = 0; x < iCanvas.Width(); x += 2)
            rowP[x / 2] = uint8_t(iCanvas.Get(x, y) << 4 |
                                  (x + 1 < iCanvas.Width() ? iCanvas.Get(x + 1, y) : 0));
    }
    std::vector<png_color> palette;
    for (uint32_t rgb : Tool_Canvas::cPalette)
        palette.push_back({png_byte(rgb >> 16), png_byte(rgb >> 8), png_byte(rgb)});

    // Written under a temporary name and renamed over iPath when complete and synced.
    bool written = false;
    try
    {
        Sys_StAtomicOutput output(Sys_FileLoc(iPath), true);
        FILE* fileP = std::fopen(output.GetTempLoc().GetFullPath().c_str(), "wb");
        written = fileP && EncodePng(fileP, uint32_t(iCanvas.Width()), uint32_t(iCanvas.Height()),
                                     palette.data(), int(palette.size()), rows.data());
        if (fileP && std::fclose(fileP) != 0)
            written = false;
        if (written)
            output.Commit();
    }
    catch (const std::exception&)
    {
        written = false;
    }
    if (!written)
        throw std::runtime_error(iPath + ": the picture could not be written");
}
