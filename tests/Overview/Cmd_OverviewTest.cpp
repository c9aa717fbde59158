// mirafile overview, run as a program: where each overview comes from, the JSON document,
// and the picture, read back through libpng and compared with the overview it was drawn from.
#include <algorithm>
#include <csetjmp>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <png.h>

#include "FF/Audio/Processing/Overview/FF_AudioOverviewMgr.h"
#include "FF/Audio/Processing/Overview/FF_AudioOverviewUtils.h"
#include "OverviewTestSupport.h"
#include "Support/TestSupport.h"
#include "Support/ToolRunner.h"

namespace
{
struct Picture
{
    uint32_t mWidth = 0, mHeight = 0;
    int32_t mBitDepth = 0, mColorType = 0;
    std::vector<png_color> mPalette;
    std::vector<std::vector<uint8_t>> mRows; // palette indices, one byte a pixel
};

[[noreturn]] void PngError(png_structp iPng, png_const_charp)
{
    png_longjmp(iPng, 1);
}

void PngWarning(png_structp, png_const_charp) {}

// Reads the PNG at iPath through libpng, palette indices unpacked to a byte each; false when
// libpng refuses it. libpng returns here by longjmp: only plain data lives in this frame.
bool ReadPng(FILE* iFileP, Picture* oPictureP)
{
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, PngError, PngWarning);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    if (!info || setjmp(png_jmpbuf(png)))
    {
        png_destroy_read_struct(&png, &info, nullptr);
        return false;
    }
    png_init_io(png, iFileP);
    png_read_info(png, info);
    oPictureP->mWidth = png_get_image_width(png, info);
    oPictureP->mHeight = png_get_image_height(png, info);
    oPictureP->mBitDepth = png_get_bit_depth(png, info); // as stored, before unpacking
    oPictureP->mColorType = png_get_color_type(png, info);
    png_colorp palette = nullptr;
    int colors = 0;
    if (png_get_PLTE(png, info, &palette, &colors) & PNG_INFO_PLTE)
        oPictureP->mPalette.assign(palette, palette + colors);
    png_set_packing(png);
    png_read_update_info(png, info);
    oPictureP->mRows.assign(oPictureP->mHeight, std::vector<uint8_t>(png_get_rowbytes(png, info)));
    for (std::vector<uint8_t>& row : oPictureP->mRows)
        png_read_row(png, row.data(), nullptr);
    png_read_end(png, nullptr);
    png_destroy_read_struct(&png, &info, nullptr);
    return true;
}

Picture DecodePng(const std::string& iPath)
{
    Picture picture;
    FILE* fileP = std::fopen(iPath.c_str(), "rb");
    EXPECT_NE(fileP, nullptr) << iPath;
    if (fileP)
    {
        EXPECT_TRUE(ReadPng(fileP, &picture)) << iPath;
        std::fclose(fileP);
    }
    return picture;
}

using Cmd_Overview = Test_ToolTest;

TEST_F(Cmd_Overview, TakesTheOverviewFromTheFileTheCacheOrComputesIt)
{
    const std::string plain = mDir.Path() + "/plain.wav";
    const Test_Channels samples = Test_MakeSamples(24, 2, 3000);
    Test_WriteWave(plain, samples, 24);
    const std::vector<int8_t> expected = Test_LoopOverview(Test_Mix(samples, 24), 24);
    std::string points;
    for (size_t i = 0; i < expected.size(); i += 2)
        points += (i ? ", [" : "[") + std::to_string(expected[i]) + ", " +
                  std::to_string(expected[i + 1]) + "]";
    auto document = [&](const std::string& iSource)
    {
        return "{\"path\": \"" + plain + "\", \"samples\": 3000, \"samples_per_point\": 256, " +
               "\"source\": \"" + iSource + "\", \"channels\": [{\"points\": [" + points + "]}]}\n";
    };

    Test_ToolResult r = Test_RunTool("overview '" + plain + "' --json", mDir.Path());
    EXPECT_EQ(r.mStatus, 0) << r.mErr;
    EXPECT_EQ(r.mOut, document("computed"));

    const std::string cacheDir = In("caches");
    auto cached = [&] {
        return Test_RunTool("overview '" + plain + "' --json --cache '" + cacheDir + "'",
                            mDir.Path());
    };
    EXPECT_EQ(cached().mOut, document("computed"));
    EXPECT_TRUE(std::filesystem::exists(cacheDir + "/WaveCache"));
    EXPECT_EQ(cached().mOut, document("cache"));

    // A damaged cache is rebuilt, and the overview computed again.
    std::filesystem::resize_file(cacheDir + "/WaveCache", 100);
    r = cached();
    EXPECT_EQ(r.mStatus, 0) << r.mErr;
    EXPECT_EQ(r.mOut, document("computed"));

    // The file carries it: the file wins over the cache.
    {
        FF_AudioFileRef file(new FF_AudioFile(Sys_FileLoc(plain)));
        const FF_AudioOverview overview = FF_AudioOverviewUtils::ComputeOverview(file);
        file->Open(Cmn_Store::eOpenFlag_OpenForWrite);
        FF_AudioOverviewMgr::SetEmbeddedOverview(*file, overview);
        file->Flush();
        file->Close();
    }
    EXPECT_EQ(cached().mOut, document("file"));
}

TEST_F(Cmd_Overview, ReportsBadFilesAndKeepsGoing)
{
    const std::string good = mDir.Path() + "/good.wav";
    Test_WriteWave(good, Test_MakeSamples(16, 1, 700), 16);
    std::ofstream(mDir.Path() + "/text.wav") << "not audio at all";
    Test_ToolResult r = Test_RunTool("overview '" + mDir.Path() + "/missing.wav' '" + good + "' '" +
                                         mDir.Path() + "/text.wav' --json",
                                     mDir.Path());
    EXPECT_EQ(r.mStatus, 1);
    EXPECT_NE(r.mErr.find("missing.wav: no such file"), std::string::npos) << r.mErr;
    EXPECT_NE(r.mErr.find("text.wav: not an audio file"), std::string::npos) << r.mErr;
    EXPECT_EQ(r.mOut.substr(0, 2), "[{");
    EXPECT_NE(r.mOut.find("\"samples\": 700"), std::string::npos);

    // Bad picture options: one line naming the option, and no picture.
    const std::string png = mDir.Path() + "/x.png";
    const std::string many = "'" + good + "' '" + good + "' '" + good + "'";
    const struct
    {
        std::string mArgs;
        const char* mErr;
    } cases[] = {
        {"--width 100", "mirafile: --width and --height size the picture of --png\n"},
        {"--png '" + png + "' --width 10",
         "mirafile: --width must lie from 64 to 8192 pixels, not 10\n"},
        {"--png '" + png + "' --height", "mirafile: option --height needs a value\n"},
        {many + " --png '" + png + "' --height 48", "too little room for 4 lanes"},
    };
    for (const auto& c : cases)
    {
        r = Test_RunTool("overview '" + good + "' " + c.mArgs, mDir.Path());
        EXPECT_EQ(r.mStatus, 1) << c.mArgs;
        EXPECT_NE(r.mErr.find(c.mErr), std::string::npos) << c.mArgs << ": " << r.mErr;
        EXPECT_EQ(std::count(r.mErr.begin(), r.mErr.end(), '\n'), 1) << r.mErr;
        EXPECT_FALSE(std::filesystem::exists(png)) << c.mArgs;
    }
}

// Silence, then a full-scale stretch, then a half-scale one: the drawn columns must span
// exactly the overview's extremes, lane by lane.
TEST_F(Cmd_Overview, DrawsEachColumnFromTheOverview)
{
    const int64_t length = 256 * 800;
    Test_Channels samples(1, std::vector<int32_t>(size_t(length), 0));
    for (int64_t k = length / 4; k < length / 2; ++k)
        samples[0][size_t(k)] = k % 2 ? 32767 : -32768;
    for (int64_t k = length / 2; k < length; ++k)
        samples[0][size_t(k)] = k % 2 ? 16383 : -16384;
    const std::string path = mDir.Path() + "/steps.wav";
    Test_WriteWave(path, samples, 16, 51200); // 4 seconds
    const std::string png = mDir.Path() + "/steps.png";
    const Test_ToolResult r = Test_RunTool(
        "overview '" + path + "' --png '" + png + "' --width 400 --height 118", mDir.Path());
    ASSERT_EQ(r.mStatus, 0) << r.mErr;
    EXPECT_FALSE(std::filesystem::exists(png + ".part"));
    const Picture picture = DecodePng(png);
    ASSERT_EQ(picture.mWidth, 400u);
    ASSERT_EQ(picture.mHeight, 118u);
    ASSERT_EQ(picture.mRows.size(), 118u);
    EXPECT_EQ(picture.mColorType, PNG_COLOR_TYPE_PALETTE);
    EXPECT_EQ(picture.mBitDepth, 4);
    ASSERT_GE(picture.mPalette.size(), 8u);
    // Lane: rows 0 to 99 (118 less the 18 of the axis), center 49, half height 48.5.
    auto span = [&](uint32_t iX)
    {
        int32_t top = -1, bottom = -1;
        for (uint32_t y = 0; y < 100; ++y)
            if (picture.mRows[y][iX] == 2 || picture.mRows[y][iX] == 7) // wave or clip
            {
                if (top < 0)
                    top = int32_t(y);
                bottom = int32_t(y);
            }
        return std::pair<int32_t, int32_t>(top, bottom);
    };
    EXPECT_EQ(span(50), std::make_pair(49, 49)) << "silence: a point on the zero line";
    EXPECT_EQ(span(150), std::make_pair(49 - 48, 49 + 49)) << "full scale: edge to edge";
    EXPECT_EQ(picture.mRows[1][150], 7) << "a clipped maximum is marked";
    EXPECT_EQ(span(300), std::make_pair(49 - 24, 49 + 24)) << "half scale";
    // Ticks on the axis: one each second, at x = 0, 100, 200, 300 and 399.
    for (uint32_t x : {0u, 100u, 200u, 300u, 399u})
        EXPECT_EQ(picture.mRows[101][x], 5) << x;
    EXPECT_NE(picture.mRows[101][50], 5);
}
} // namespace
