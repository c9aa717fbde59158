// The metadata chunks that the chunk formats share, in both byte orders: each is written
// from one audio file's properties and read into another's, and its header size and one
// number of its payload stand in the order asked (a umid and a text have none).
#include <functional>
#include <gtest/gtest.h>
#include <memory>

#include "FF/Audio/PlugIns/FF_AudioMetadataChunks.h"
#include "Support/FFTestSupport.h"
#include "Sys_File.h"

namespace
{
// Files whose properties are held in memory: never opened, as the chunks need no plug-in.
FF_AudioFileRef InMemory(const std::string& iPath)
{
    return FF_AudioFileRef(
        new FF_AudioFile(eAudioFileType_WAVE, Sys_FileLoc(iPath), 1, 16, 48000, 5000, 1000));
}

TEST(FF_AudioMetadataChunks, EveryPayloadRoundTripsInBothByteOrders)
{
    Test_TempDir dir;
    FF_AudioFileRef from = InMemory(dir.Path() + "/from.wav");
    from->mUmid.StoreFromSource(Sys_Umid(0x01020304, 42, 7, 99));
    const std::string longName = "a name longer than thirty-one characters";
    from->mRegions.StoreFromSource(
        {FF_AudioFile::Region("whole", 0, 1000, 1000, 1, 2, Sys_Umid(1, 2, 3, 4), true),
         FF_AudioFile::Region(longName, 10, 900, 890, 1LL << 40, -3, Sys_Umid(5, 6, 7, 8), false)});
    from->mModificationCount.StoreFromSource(0x0102030405060708);
    from->mOverview.StoreFromSource(FF_AudioOverviewData{1, -1, 2, -2, 3, -3, 4, -4});
    from->mDRktAssetInfo.StoreFromSource({0xCAFE1234u});
    from->mDescription.StoreFromSource("a take of the chorus");
    FF_AudioFile::RegionList regions = *from->mRegions.Peek();
    regions.front().mUserTimeStamp = 5000; // the whole-file region's is the file's
    regions.back().mName.resize(31);

    struct Payload
    {
        const char* mID;
        std::function<bool(FF_AudioFile&)> mReadBack; // the value read equals the one written
        int32_t mNumberAt;                            // -1: none
        int32_t mWidth = 0;
        int64_t mNumber = 0;
    };
    const Payload payloads[] = {
        {"umid", [&](FF_AudioFile& iTo) { return *iTo.mUmid.Peek() == *from->mUmid.Peek(); }, -1},
        {"regn", [&](FF_AudioFile& iTo) { return *iTo.mRegions.Peek() == regions; }, 0, 4, 2},
        {"minf",
         [&](FF_AudioFile& iTo)
         {
             return *iTo.mModificationCount.Peek() == 0x0102030405060708 &&
                    *iTo.mModificationTime.Peek() == *from->mModificationTime.Peek();
         },
         8, 8, 0x0102030405060708},
        {"ovwf",
         [&](FF_AudioFile& iTo) { return *iTo.mOverview.Peek() == *from->mOverview.Peek(); },
         4 + 20, 4, 4}, // the entry's peak count
        {"rkti",
         [&](FF_AudioFile& iTo) { return iTo.mDRktAssetInfo.Peek()->mValue == 0xCAFE1234u; }, 6, 4,
         0xCAFE1234},
        {"ANNO",
         [&](FF_AudioFile& iTo) { return *iTo.mDescription.Peek() == "a take of the chorus"; }, -1},
    };
    for (const Payload& p : payloads)
    {
        Bytes payloadOf[2];
        for (const EByteOrder order : {eByteOrder_Little, eByteOrder_Big})
        {
            SCOPED_TRACE(std::string(p.mID) + (order == eByteOrder_Big ? ", big" : ", little"));
            const std::string path = dir.Path() + "/" + p.mID + std::to_string(order);
            Sys_File file{Sys_FileLoc(path)};
            file.Open(Sys_File::eOpen_Create);
            const auto id = FF_GetNumber<uint32_t>(reinterpret_cast<const unsigned char*>(p.mID),
                                                   eByteOrder_Little);
            std::unique_ptr<FF_AudioChunk> out(FF_AudioChunk::CreateMetadataChunk(id, 0, order));
            out->SetCached(true);
            out->Write(from.Get(), &file);
            EXPECT_EQ(out->GetSize(from.Get(), &file), file.GetEOF());
            FF_AudioFileRef to = InMemory(dir.Path() + "/to.wav");
            std::unique_ptr<FF_AudioChunk> in(
                FF_AudioChunk::CreateMetadataChunk(id, out->GetStoredSize(), order));
            ASSERT_TRUE(in->Read(to.Get(), &file));
            EXPECT_TRUE(p.mReadBack(*to));
            file.Close();

            const Bytes image = ReadBytes(path);
            EXPECT_EQ(std::string(image.begin(), image.begin() + 4), p.mID);
            EXPECT_EQ(FF_GetNumber<uint32_t>(&image[4], order), image.size() - 8);
            payloadOf[order].assign(image.begin() + 8, image.end());
            if (p.mNumberAt >= 0)
            {
                const unsigned char* number = &image[8 + size_t(p.mNumberAt)];
                EXPECT_EQ(p.mWidth == 4 ? FF_GetNumber<uint32_t>(number, order)
                                        : FF_GetNumber<int64_t>(number, order),
                          p.mNumber);
            }
        }
        EXPECT_EQ(payloadOf[0] == payloadOf[1], p.mNumberAt < 0) << p.mID;
    }
}

// The instrument record with its loop markers, in both byte orders. Type 3 is written as
// play mode 1 and comes back as 1; a loop that lacks a marker is off.
TEST(FF_AudioMetadataChunks, InstrumentRecordRoundTripsInBothByteOrders)
{
    const FF_AudioInstrumentAttr attrs[] = {
        {62, -20, 2, 100, 900, 1, 10, 20}, {48, 7, 0, 0, 0, 2, 5, 6}, {60, 0, 3, 1, 2, 0, 0, 0}};
    for (const EByteOrder order : {eByteOrder_Little, eByteOrder_Big})
        for (const FF_AudioInstrumentAttr& attr : attrs)
        {
            unsigned char record[FF_InstrumentRecord::cSize];
            std::vector<FF_InstrumentRecord::Marker> markers;
            FF_InstrumentRecord::Write(attr, order, record, &markers);
            EXPECT_EQ(FF_GetNumber<int16_t>(record + 6, order), 32767); // the gain
            FF_AudioInstrumentAttr expected = attr;
            expected.mLoop1Type = expected.mLoop1Type == 3 ? 1 : expected.mLoop1Type;
            EXPECT_EQ(FF_InstrumentRecord::Read(record, order, markers), expected);
            markers.erase(markers.begin()); // the begin of the first loop in use
            int32_t& type = attr.mLoop1Type ? expected.mLoop1Type : expected.mLoop2Type;
            int64_t& start = attr.mLoop1Type ? expected.mLoop1Start : expected.mLoop2Start;
            int64_t& end = attr.mLoop1Type ? expected.mLoop1End : expected.mLoop2End;
            type = 0;
            start = end = 0;
            EXPECT_EQ(FF_InstrumentRecord::Read(record, order, markers), expected);
        }
}
} // namespace
