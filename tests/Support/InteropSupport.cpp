#include "Support/InteropSupport.h"

#include <cstdlib>
#include <gtest/gtest.h>

bool Test_HaveSox()
{
    return Test_HaveProgram("sox");
}

bool Test_HaveProgram(const std::string& iName)
{
    return std::system(("command -v " + iName + " >/dev/null 2>&1").c_str()) == 0;
}

int Test_RunQuiet(const std::string& iCommand)
{
    return std::system((iCommand + " >/dev/null 2>&1").c_str());
}

Bytes Test_SoxRaw(const std::string& iPath, int iBits, const std::string& iScratch)
{
    const std::string raw = iScratch + "/decoded.raw";
    const int status = Test_RunQuiet("sox -D '" + iPath + "' -t raw -e signed-integer -b " +
                                     std::to_string(iBits) + " -L '" + raw + "'");
    EXPECT_EQ(status, 0) << "sox could not decode " << iPath;
    return status == 0 ? ReadBytes(raw) : Bytes();
}

Bytes Test_FfmpegRaw(const std::string& iPath, const std::string& iFormat,
                     const std::string& iScratch)
{
    const std::string raw = iScratch + "/decoded-ffmpeg.raw";
    const int status =
        Test_RunQuiet("ffmpeg -nostdin -y -i '" + iPath + "' -f " + iFormat + " '" + raw + "'");
    EXPECT_EQ(status, 0) << "ffmpeg could not decode " << iPath;
    return status == 0 ? ReadBytes(raw) : Bytes();
}

Bytes Test_ReadAll(FF_AudioFile& ioFile, int64_t iBlock, EByteOrder iOrder)
{
    const FF_AudioFile::Properties p = ioFile.GetProperties();
    const int64_t frame = int64_t(p.mNumChannels) * p.mBytesPerSample;
    Bytes all(size_t(p.mNumSamples * frame));
    ioFile.SetPosition(0);
    int64_t done = 0;
    while (done < p.mNumSamples)
    {
        const int64_t n = ioFile.Read(all.data() + done * frame, iBlock, iOrder);
        if (n <= 0)
            break;
        done += n;
    }
    all.resize(size_t(done * frame));
    return all;
}
