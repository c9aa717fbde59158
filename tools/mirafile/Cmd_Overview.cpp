// mirafile overview FILE... [--cache DIR] [--json] [--png OUT --width W --height H]:
// the waveform overview of each file, and a picture drawn from the overviews alone.
//
// Where an overview comes from, in this order: the file itself (a type that embeds
// overviews and holds one of the right size), the cache file "WaveCache" in DIR (when --cache
// is given and it holds the file's key with a payload of the right size), or a computation
// through a chain (stored in the cache when one is given). The overview of a file is one
// lane: its channel, or the mono mix of its channels.
//
// Output: a line per file for a person; with --json one document, an object per file (a list
// of them for several files): {"path", "samples", "samples_per_point": 256, "source":
// "file"|"cache"|"computed", "channels": [{"points": [[max, min], ...]}]}. With --png the
// picture holds one lane per file, on a shared time axis in seconds.
//
// A file that cannot be read is reported on standard error as one line naming it; the
// others are still shown, and the status is then 1. The picture is written to a temporary
// file beside OUT and renamed over it, so that no half-written picture is left.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <unistd.h>
#include <vector>

#include "Cmn_Exception.h"
#include "FF/Audio/FF_AudioFile.h"
#include "FF/Audio/Processing/Overview/FF_AudioOverview.h"
#include "FF/Audio/Processing/Overview/FF_AudioOverviewCache.h"
#include "FF/Audio/Processing/Overview/FF_AudioOverviewUtils.h"
#include "Sys_FileLoc.h"
#include "Sys_FileUtils.h"
#include "Tool.h"

namespace
{
const char* const cUsage =
    "overview FILE... [--cache DIR] [--json] [--png OUT --width W --height H]";

struct OverviewInfo
{
    std::string mPath;
    int64_t mSamples = 0;
    int32_t mSampleRate = 0;
    int16_t mChannels = 0;
    std::string mSource;
    std::vector<int8_t> mBytes; // (max, min) pairs
};

// ---- getting the overview ------------------------------------------------------------------

class Progress
{
public:
    explicit Progress(const std::string& iName) : mName(iName), mShow(::isatty(2) != 0) {}
    ~Progress()
    {
        if (mShown)
            std::cerr << "\r" << std::string(mName.size() + 24, ' ') << "\r" << std::flush;
    }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    void operator()(int32_t iPercent)
    {
        if (!mShow)
            return;
        mShown = true;
        std::cerr << "\rcomputing " << mName << "  " << iPercent << "%" << std::flush;
    }

private:
    std::string mName;
    bool mShow;
    bool mShown = false;
};

OverviewInfo GetOverview(const std::string& iPath, FF_AudioOverviewCache* ioCacheP)
{
    const Sys_FileLoc loc(iPath);
    if (!Sys_FileUtils::Exists(loc))
        throw std::runtime_error("no such file");
    if (Sys_FileUtils::IsFolder(loc))
        throw std::runtime_error("is a folder, not a file");
    FF_AudioFileRef file(new FF_AudioFile(loc));
    file->Open(Cmn_Store::eOpenFlag_OpenForRead);
    OverviewInfo info;
    try
    {
        if (file->GetAudioFileType() == eAudioFileType_Unknown)
            throw std::runtime_error("not an audio file of a type mirafile reads");
        const FF_AudioFile::Properties properties = file->GetProperties();
        if (properties.mBitDepth != 8 && properties.mBitDepth != 16 && properties.mBitDepth != 24)
            throw std::runtime_error("overviews are made of 8, 16 and 24-bit audio, not " +
                                     std::to_string(properties.mBitDepth) + "-bit");
        info.mPath = iPath;
        info.mSamples = properties.mNumSamples;
        info.mSampleRate = properties.mSampleRate;
        info.mChannels = properties.mNumChannels;
        const int64_t size = FF_AudioOverview::GetPayloadSize(info.mSamples);

        FF_AudioOverview overview;
        if (FF_AudioFile::AudioFileTypeSupportsEmbeddedOverviews(file->GetAudioFileType()) &&
            FF_AudioOverviewUtils::GetEmbeddedOverview(*file, &overview))
            info.mSource = "file";
        else if (ioCacheP && ioCacheP->Find(file.Get(), &overview) && overview.GetSize() == size)
            info.mSource = "cache";
        else
        {
            Progress progress(loc.GetName());
            overview = FF_AudioOverviewUtils::ComputeOverview(file, [&](int32_t iPercent)
                                                              { progress(iPercent); });
            info.mSource = "computed";
            if (ioCacheP)
                ioCacheP->Add(file.Get(), overview);
        }
        const int8_t* bytesP = overview.GetBuffer();
        info.mBytes.assign(bytesP, bytesP + overview.GetSize());
    }
    catch (...)
    {
        file->Close();
        throw;
    }
    file->Close();
    return info;
}

// ---- text and JSON -------------------------------------------------------------------------

void PrintText(std::ostream& out, const OverviewInfo& iInfo)
{
    int32_t max = -128, min = 127;
    for (size_t i = 0; i + 1 < iInfo.mBytes.size(); i += 2)
    {
        max = std::max<int32_t>(max, iInfo.mBytes[i]);
        min = std::min<int32_t>(min, iInfo.mBytes[i + 1]);
    }
    char seconds[32];
    std::snprintf(seconds, sizeof seconds, "%.3f s",
                  iInfo.mSampleRate > 0 ? double(iInfo.mSamples) / iInfo.mSampleRate : 0.0);
    out << iInfo.mPath << ": " << iInfo.mSamples << " samples (" << seconds << "), "
        << iInfo.mBytes.size() / 2 << " points of 256 samples, " << iInfo.mSource;
    if (!iInfo.mBytes.empty())
        out << ", peaks " << max << " / " << min << " of 127 / -128";
    out << "\n";
}

void PrintJson(std::ostream& out, const OverviewInfo& iInfo)
{
    out << "{\"path\": " << Tool_JsonString(iInfo.mPath) << ", \"samples\": " << iInfo.mSamples
        << ", \"samples_per_point\": 256, \"source\": " << Tool_JsonString(iInfo.mSource)
        << ", \"channels\": [{\"points\": [";
    for (size_t i = 0; i + 1 < iInfo.mBytes.size(); i += 2)
        out << (i ? ", [" : "[") << int32_t(iInfo.mBytes[i]) << ", " << int32_t(iInfo.mBytes[i + 1])
            << "]";
    out << "]}]}";
}

// ---- the picture ----------------------------------------------------------------------------

// A 4-bit palette image.
class Canvas
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

    Canvas(int32_t iWidth, int32_t iHeight)
        : mWidth(iWidth), mHeight(iHeight), mPixels(size_t(iWidth) * size_t(iHeight), eBackground)
    {
    }
    int32_t Width() const { return mWidth; }
    int32_t Height() const { return mHeight; }
    void Set(int32_t iX, int32_t iY, EColor iColor)
    {
        if (iX >= 0 && iY >= 0 && iX < mWidth && iY < mHeight)
            mPixels[size_t(iY) * size_t(mWidth) + size_t(iX)] = iColor;
    }
    void VLine(int32_t iX, int32_t iY0, int32_t iY1, EColor iColor)
    {
        for (int32_t y = std::min(iY0, iY1); y <= std::max(iY0, iY1); ++y)
            Set(iX, y, iColor);
    }
    void HLine(int32_t iX0, int32_t iX1, int32_t iY, EColor iColor)
    {
        for (int32_t x = iX0; x <= iX1; ++x)
            Set(x, iY, iColor);
    }
    void Fill(int32_t iX0, int32_t iY0, int32_t iX1, int32_t iY1, EColor iColor)
    {
        for (int32_t y = iY0; y <= iY1; ++y)
            HLine(iX0, iX1, y, iColor);
    }
    uint8_t Get(int32_t iX, int32_t iY) const
    {
        return mPixels[size_t(iY) * size_t(mWidth) + size_t(iX)];
    }

private:
    int32_t mWidth, mHeight;
    std::vector<uint8_t> mPixels;
};

// Digits, the decimal point, the colon and "s" in 5 x 7 cells, a row per byte, top first.
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

constexpr int32_t cGlyphAdvance = 6;

void DrawText(Canvas& ioCanvas, int32_t iX, int32_t iY, const std::string& iText)
{
    for (char c : iText)
    {
        if (const uint8_t* rows = Glyph(c))
            for (int32_t row = 0; row < 7; ++row)
                for (int32_t col = 0; col < 5; ++col)
                    if (rows[row] & (0x10 >> col))
                        ioCanvas.Set(iX + col, iY + row, Canvas::eText);
        iX += cGlyphAdvance;
    }
}

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

Canvas DrawOverviews(const std::vector<OverviewInfo>& iInfos, int32_t iWidth, int32_t iHeight)
{
    Canvas canvas(iWidth, iHeight);
    const int32_t axisHeight = 18;
    const int32_t plotHeight = iHeight - axisHeight;
    double seconds = 0.0;
    for (const OverviewInfo& info : iInfos)
        if (info.mSampleRate > 0)
            seconds = std::max(seconds, double(info.mSamples) / info.mSampleRate);
    const double step = TickStep(seconds, iWidth, 64);

    const int32_t lanes = int32_t(iInfos.size());
    for (int32_t lane = 0; lane < lanes; ++lane)
    {
        const OverviewInfo& info = iInfos[size_t(lane)];
        const int32_t top = lane * plotHeight / lanes;
        const int32_t bottom = (lane + 1) * plotHeight / lanes - 1;
        const int32_t center = (top + bottom) / 2;
        const double half = (bottom - top) / 2.0 - 1.0;
        const int64_t points = int64_t(info.mBytes.size() / 2);
        const double fileSeconds =
            info.mSampleRate > 0 ? double(info.mSamples) / info.mSampleRate : 0.0;
        const int32_t laneEnd =
            seconds > 0.0 ? int32_t(std::ceil(fileSeconds / seconds * iWidth)) - 1 : -1;
        canvas.Fill(0, top, std::min(laneEnd, iWidth - 1), bottom, Canvas::eLane);
        for (double fraction : {-0.5, 0.5})
            canvas.HLine(0, laneEnd, center - int32_t(std::lround(fraction * half)), Canvas::eGrid);
        for (double t = step; t < seconds; t += step)
            canvas.VLine(int32_t(std::lround(t / seconds * iWidth)), top, bottom, Canvas::eGrid);
        canvas.HLine(0, laneEnd, center, Canvas::eZeroLine);
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
            canvas.VLine(x, y(max), y(min), Canvas::eWave);
            if (max == 127)
                canvas.Set(x, y(max), Canvas::eClip);
            if (min == -128)
                canvas.Set(x, y(min), Canvas::eClip);
        }
        if (lane > 0)
            canvas.HLine(0, iWidth - 1, top, Canvas::eEdge);
    }
    // The time axis.
    canvas.HLine(0, iWidth - 1, plotHeight, Canvas::eEdge);
    for (double t = 0.0; t <= seconds + step * 1e-9; t += step)
    {
        const int32_t x =
            std::min(iWidth - 1, int32_t(std::lround(t / std::max(seconds, 1e-9) * iWidth)));
        canvas.VLine(x, plotHeight, plotHeight + 3, Canvas::eText);
        const std::string label = TimeLabel(t, step);
        const int32_t textWidth = int32_t(label.size()) * cGlyphAdvance - 1;
        const int32_t left = std::clamp(x - textWidth / 2, 1, std::max(1, iWidth - textWidth - 1));
        DrawText(canvas, left, plotHeight + 6, label);
    }
    return canvas;
}

// ---- PNG with stored (uncompressed) deflate blocks -----------------------------------------

uint32_t Crc32(const uint8_t* iP, size_t iN, uint32_t iCrc = 0)
{
    static const std::array<uint32_t, 256> cTable = []
    {
        std::array<uint32_t, 256> table{};
        for (uint32_t n = 0; n < 256; ++n)
        {
            uint32_t c = n;
            for (int k = 0; k < 8; ++k)
                c = c & 1 ? 0xEDB88320u ^ (c >> 1) : c >> 1;
            table[n] = c;
        }
        return table;
    }();
    uint32_t c = iCrc ^ 0xFFFFFFFFu;
    for (size_t i = 0; i < iN; ++i)
        c = cTable[(c ^ iP[i]) & 0xFF] ^ (c >> 8);
    return c ^ 0xFFFFFFFFu;
}

void PutBE32(std::vector<uint8_t>& ioOut, uint32_t iValue)
{
    for (int shift = 24; shift >= 0; shift -= 8)
        ioOut.push_back(uint8_t(iValue >> shift));
}

void PutChunk(std::vector<uint8_t>& ioOut, const char* iType, const std::vector<uint8_t>& iData)
{
    PutBE32(ioOut, uint32_t(iData.size()));
    const size_t start = ioOut.size();
    ioOut.insert(ioOut.end(), iType, iType + 4);
    ioOut.insert(ioOut.end(), iData.begin(), iData.end());
    PutBE32(ioOut, Crc32(ioOut.data() + start, ioOut.size() - start));
}

std::vector<uint8_t> EncodePng(const Canvas& iCanvas)
{
    // Rows of 4-bit palette indices, each behind filter byte 0.
    const size_t rowBytes = size_t(iCanvas.Width() + 1) / 2;
    std::vector<uint8_t> raw;
    raw.reserve((rowBytes + 1) * size_t(iCanvas.Height()));
    for (int32_t y = 0; y < iCanvas.Height(); ++y)
    {
        raw.push_back(0);
        for (int32_t x = 0; x < iCanvas.Width(); x += 2)
            raw.push_back(uint8_t(iCanvas.Get(x, y) << 4 |
                                  (x + 1 < iCanvas.Width() ? iCanvas.Get(x + 1, y) : 0)));
    }
    // zlib: header, stored blocks of at most 65535 bytes, Adler-32.
    std::vector<uint8_t> zlib = {0x78, 0x01};
    for (size_t at = 0; at < raw.size() || at == 0;)
    {
        const size_t n = std::min<size_t>(65535, raw.size() - at);
        const bool final = at + n == raw.size();
        zlib.push_back(final ? 1 : 0);
        zlib.push_back(uint8_t(n));
        zlib.push_back(uint8_t(n >> 8));
        zlib.push_back(uint8_t(~n));
        zlib.push_back(uint8_t(~n >> 8));
        zlib.insert(zlib.end(), raw.begin() + std::ptrdiff_t(at),
                    raw.begin() + std::ptrdiff_t(at + n));
        at += n;
        if (final)
            break;
    }
    uint32_t a = 1, b = 0;
    for (uint8_t byte : raw)
    {
        a = (a + byte) % 65521;
        b = (b + a) % 65521;
    }
    PutBE32(zlib, b << 16 | a);

    std::vector<uint8_t> png = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    std::vector<uint8_t> header;
    PutBE32(header, uint32_t(iCanvas.Width()));
    PutBE32(header, uint32_t(iCanvas.Height()));
    header.insert(header.end(),
                  {4, 3, 0, 0, 0}); // 4 bits, palette, deflate, filter 0, no interlace
    PutChunk(png, "IHDR", header);
    std::vector<uint8_t> palette;
    for (uint32_t rgb : Canvas::cPalette)
        palette.insert(palette.end(), {uint8_t(rgb >> 16), uint8_t(rgb >> 8), uint8_t(rgb)});
    PutChunk(png, "PLTE", palette);
    PutChunk(png, "IDAT", zlib);
    PutChunk(png, "IEND", {});
    return png;
}

void WritePng(const std::string& iPath, const std::vector<uint8_t>& iBytes)
{
    const std::string temporary = iPath + ".part";
    {
        std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(iBytes.data()), std::streamsize(iBytes.size()));
        out.close();
        if (!out)
        {
            std::remove(temporary.c_str());
            throw std::runtime_error(iPath + ": the picture could not be written");
        }
    }
    if (std::rename(temporary.c_str(), iPath.c_str()) != 0)
    {
        std::remove(temporary.c_str());
        throw std::runtime_error(iPath + ": the picture could not be written");
    }
}

// ---- the command ------------------------------------------------------------------------------

std::string OneLine(std::string iText)
{
    for (char& c : iText)
        if (c == '\n' || c == '\r')
            c = ' ';
    return iText;
}

int32_t SizeOption(const Tool_Args& iArgs, const std::string& iName, int32_t iDefault, int32_t iMin,
                   int32_t iMax)
{
    if (!iArgs.Has(iName))
        return iDefault;
    const int64_t value = Tool_ParseInt(iArgs.Get(iName), "--" + iName);
    if (value < iMin || value > iMax)
        throw Tool_UsageError("--" + iName + " must lie from " + std::to_string(iMin) + " to " +
                              std::to_string(iMax) + " pixels, not " + iArgs.Get(iName));
    return int32_t(value);
}

int Run(const std::vector<std::string>& iArgs)
{
    const Tool_Args args(iArgs, {"cache", "png", "width", "height"}, {"json"});
    const auto& paths = args.Positional();
    if (paths.empty())
        throw Tool_UsageError(std::string("usage: mirafile ") + cUsage);
    const bool json = args.Flag("json");
    if ((args.Has("width") || args.Has("height")) && !args.Has("png"))
        throw Tool_UsageError("--width and --height size the picture of --png");
    const int32_t width = SizeOption(args, "width", 800, 64, 8192);
    const int32_t height = SizeOption(args, "height", 200, 48, 4096);
    if (args.Has("png") && height - 18 < 8 * int32_t(paths.size()))
        throw Tool_UsageError("--height " + std::to_string(height) +
                              " leaves too little room for " + std::to_string(paths.size()) +
                              " lanes");

    std::unique_ptr<FF_AudioOverviewCache> cache;
    if (args.Has("cache"))
    {
        const Sys_FileLoc folder(args.Get("cache"));
        try
        {
            Sys_FileUtils::CreateFolder(folder);
            cache = std::make_unique<FF_AudioOverviewCache>(
                Sys_FileLoc(folder, FF_AudioOverviewCache::cCacheFileName));
            cache->Open(Cmn_Store::eOpenFlag_OpenForWrite);
        }
        catch (const Cmn_CancelException&)
        {
            throw;
        }
        catch (const std::exception& e)
        {
            throw std::runtime_error(folder.GetFullPath() +
                                     ": the overview cache cannot be used: " +
                                     Cmn_Exception::GetExceptionDescription(e));
        }
    }

    std::vector<OverviewInfo> infos;
    bool failed = false;
    for (const std::string& path : paths)
    {
        try
        {
            infos.push_back(GetOverview(path, cache.get()));
        }
        catch (const Cmn_CancelException&)
        {
            throw;
        }
        catch (const std::exception& e)
        {
            std::cerr << "mirafile: "
                      << OneLine(path + ": " + Cmn_Exception::GetExceptionDescription(e)) << "\n";
            failed = true;
        }
    }
    if (cache)
    {
        cache->Flush();
        cache->Close();
    }
    if (args.Has("png") && !infos.empty())
        WritePng(args.Get("png"), EncodePng(DrawOverviews(infos, width, height)));

    std::ostringstream out;
    const bool list = paths.size() > 1;
    if (json && list)
        out << "[";
    for (size_t i = 0; i < infos.size(); ++i)
    {
        if (json)
        {
            out << (i ? ",\n " : "");
            PrintJson(out, infos[i]);
        }
        else
            PrintText(out, infos[i]);
    }
    if (json && list)
        out << "]\n";
    else if (json && !infos.empty())
        out << "\n";
    std::cout << out.str();
    return failed ? 1 : 0;
}

Tool_Registrar sRegistrar{{"overview", cUsage,
                           "the waveform overview of audio files, from the file, a cache or "
                           "computed; as text, JSON or a picture",
                           Run}};
} // namespace
