// mirafile overview, run as a program: where each overview comes from, the JSON document,
// and the picture, decoded here and compared with the overview it was drawn from.
#include <array>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "FF/Audio/Processing/Overview/FF_AudioOverviewUtils.h"
#include "OverviewTestSupport.h"
#include "Support/TestSupport.h"
#include "Support/ToolRunner.h"

namespace
{
uint32_t BE32(const std::vector<uint8_t>& iBytes, size_t iAt)
{
    return uint32_t(iBytes[iAt]) << 24 | uint32_t(iBytes[iAt + 1]) << 16 |
           uint32_t(iBytes[iAt + 2]) << 8 | iBytes[iAt + 3];
}

uint32_t Crc(const uint8_t* iP, size_t iN)
{
    uint32_t c = 0xFFFFFFFFu;
    for (size_t i = 0; i < iN; ++i)
    {
        c ^= iP[i];
        for (int k = 0; k < 8; ++k)
            c = c & 1 ? 0xEDB88320u ^ (c >> 1) : c >> 1;
    }
    return c ^ 0xFFFFFFFFu;
}

struct Picture
{
    uint32_t mWidth = 0, mHeight = 0;
    std::vector<std::array<uint8_t, 3>> mPalette;
    std::vector<std::vector<uint8_t>> mRows; // palette indices
};

// Decodes the PNG that the tool writes (4-bit palette, stored deflate blocks), checking
// every CRC and the Adler-32 on the way.
Picture DecodePng(const std::vector<uint8_t>& iBytes)
{
    Picture picture;
    EXPECT_EQ(std::vector<uint8_t>(iBytes.begin(), iBytes.begin() + 8),
              (std::vector<uint8_t>{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'}));
    std::vector<uint8_t> zlib;
    for (size_t at = 8; at + 12 <= iBytes.size();)
    {
        const uint32_t length = BE32(iBytes, at);
        const std::string type(iBytes.begin() + std::ptrdiff_t(at + 4),
                               iBytes.begin() + std::ptrdiff_t(at + 8));
        EXPECT_EQ(Crc(iBytes.data() + at + 4, length + 4), BE32(iBytes, at + 8 + length)) << type;
        const uint8_t* data = iBytes.data() + at + 8;
        if (type == "IHDR")
        {
            picture.mWidth = BE32(iBytes, at + 8);
            picture.mHeight = BE32(iBytes, at + 12);
            EXPECT_EQ(data[8], 4);
            EXPECT_EQ(data[9], 3);
        }
        else if (type == "PLTE")
            for (uint32_t i = 0; i + 2 < length; i += 3)
                picture.mPalette.push_back({data[i], data[i + 1], data[i + 2]});
        else if (type == "IDAT")
            zlib.insert(zlib.end(), data, data + length);
        at += 12 + length;
    }
    std::vector<uint8_t> raw;
    size_t at = 2;
    for (bool final = false; !final && at + 5 <= zlib.size();)
    {
        final = zlib[at] & 1;
        EXPECT_EQ(zlib[at] & 6, 0) << "stored blocks only";
        const size_t n = zlib[at + 1] | size_t(zlib[at + 2]) << 8;
        EXPECT_EQ(n ^ 0xFFFF, zlib[at + 3] | size_t(zlib[at + 4]) << 8);
        raw.insert(raw.end(), zlib.begin() + std::ptrdiff_t(at + 5),
                   zlib.begin() + std::ptrdiff_t(at + 5 + n));
        at += 5 + n;
    }
    uint32_t a = 1, b = 0;
    for (uint8_t byte : raw)
    {
        a = (a + byte) % 65521;
        b = (b + a) % 65521;
    }
    EXPECT_EQ(BE32(zlib, at), b << 16 | a);
    const size_t rowBytes = (picture.mWidth + 1) / 2 + 1;
    EXPECT_EQ(raw.size(), rowBytes * picture.mHeight);
    for (uint32_t y = 0; y < picture.mHeight && (y + 1) * rowBytes <= raw.size(); ++y)
    {
        std::vector<uint8_t> row;
        EXPECT_EQ(raw[y * rowBytes], 0) << "filter byte";
        for (uint32_t x = 0; x < picture.mWidth; ++x)
        {
            const uint8_t packed = raw[y * rowBytes + 1 + x / 2];
            row.push_back(x % 2 ? packed & 0x0F : packed >> 4);
        }
        picture.mRows.push_back(row);
    }
    return picture;
}

class Cmd_Overview : public testing::Test
{
protected:
    void SetUp() override
    {
        if (!Test_ToolPath())
            GTEST_SKIP() << "MIRAFILE_TOOL is not set (run through ctest)";
    }
    Test_TempDir mDir;
};

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

    const std::string cacheDir = mDir.Path() + "/caches";
    r = Test_RunTool("overview '" + plain + "' --json --cache '" + cacheDir + "'", mDir.Path());
    EXPECT_EQ(r.mOut, document("computed"));
    EXPECT_TRUE(std::filesystem::exists(cacheDir + "/WaveCache"));
    r = Test_RunTool("overview '" + plain + "' --json --cache '" + cacheDir + "'", mDir.Path());
    EXPECT_EQ(r.mOut, document("cache"));

    // A damaged cache is rebuilt, and the overview computed again.
    std::filesystem::resize_file(cacheDir + "/WaveCache", 100);
    r = Test_RunTool("overview '" + plain + "' --json --cache '" + cacheDir + "'", mDir.Path());
    EXPECT_EQ(r.mStatus, 0) << r.mErr;
    EXPECT_EQ(r.mOut, document("computed"));

    // The file carries it: the file wins over the cache.
    {
        FF_AudioFileRef file(new FF_AudioFile(Sys_FileLoc(plain)));
        const FF_AudioOverview overview = FF_AudioOverviewUtils::ComputeOverview(file);
        file->Open(Cmn_Store::eOpenFlag_OpenForWrite);
        FF_AudioOverviewUtils::SetEmbeddedOverview(*file, overview);
        file->Flush();
        file->Close();
    }
    r = Test_RunTool("overview '" + plain + "' --json --cache '" + cacheDir + "'", mDir.Path());
    EXPECT_EQ(r.mOut, document("file"));
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

    r = Test_RunTool("overview '" + good + "' --width 100", mDir.Path());
    EXPECT_EQ(r.mStatus, 1);
    EXPECT_NE(r.mErr.find("--png"), std::string::npos);
    r = Test_RunTool("overview '" + good + "' --png x.png --width 10", mDir.Path());
    EXPECT_EQ(r.mStatus, 1);
    EXPECT_FALSE(std::filesystem::exists(mDir.Path() + "/x.png"));
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
    const Picture picture = DecodePng(ReadBytes(png));
    ASSERT_EQ(picture.mWidth, 400u);
    ASSERT_EQ(picture.mHeight, 118u);
    ASSERT_EQ(picture.mRows.size(), 118u);
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
