// The container layer against files built byte by byte from the format (both TOC forms, both
// byte orders), bad files of every kind, and the writer read back by the reader.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "FF/OMF/OMF_Container.h"
#include "FF/OMF/OMF_Inspect.h"
#include "FF/OMF/OMF_Object.h"
#include "L10N_ExceptionData.h"
#include "OMFTestSupport.h"
#include "Support/FFTestSupport.h"
#include "Support/TestSupport.h"

namespace
{
using namespace OMF_ContainerFormat;

// A small OMF 2.x file by hand: a head (version 2.1) whose mobs are a composition mob named
// "Song" and a master mob. Choices of the damage to do come in through iTweak.
struct HandFile
{
    bool mBig = false;
    uint16_t mForm = 2;
    uint16_t mLabelMajor = 0;     // 0: mForm
    int64_t mTOCOffsetDelta = 0;  // added to the TOC offset in the label
    int64_t mTOCSizeDelta = 0;    // added to the TOC size in the label
    uint32_t mNameLength = 0;     // 0: the true length of the mob name
    uint32_t mSecondMob = 0x202;  // what the second key of the head's mobs names
    uint8_t mVersionMajor = 2;
    std::string mHeadClass = "HEAD";
    bool mOrphanContinuation = false;
    bool mBadMagic = false;

    Bytes Build() const
    {
        OMFTest_Builder data{mBig, {}};
        struct Entry
        {
            uint32_t mObject, mProperty, mType;
            bool mImmediate;
            uint32_t mOffsetOrBytes, mLength;
            bool mContinues = false;
            uint32_t mRefList = 0;
        };
        std::vector<Entry> toc;
        auto name = [&](uint32_t iObject, uint32_t iProperty, const std::string& iName) {
            const uint32_t at = uint32_t(data.mBytes.size());
            data.Text(iName);
            toc.push_back({iObject, iProperty, cStdTypeASCII, false, at, uint32_t(iName.size() + 1)});
        };
        auto immediate = [&](uint32_t iObject, uint32_t iProperty, uint32_t iType, Bytes iBytes) {
            uint32_t word = 0;
            for (size_t i = 0; i < iBytes.size(); ++i)
                word |= uint32_t(iBytes[i]) << (mBig ? 24 - 8 * i : 8 * i);
            toc.push_back({iObject, iProperty, iType, true, word, uint32_t(iBytes.size())});
        };
        name(0x101, cStdPropGlobalPropName, "OMFI:OOBJ:ObjClass");
        name(0x102, cStdPropGlobalPropName, "OMFI:HEAD:Version");
        name(0x103, cStdPropGlobalPropName, "OMFI:HEAD:Mobs");
        name(0x104, cStdPropGlobalPropName, "OMFI:MOBJ:Name");
        name(0x110, cStdPropGlobalTypeName, "omfi:ClassID");
        name(0x111, cStdPropGlobalTypeName, "omfi:VersionType");
        name(0x112, cStdPropGlobalTypeName, "omfi:ObjRefArray");
        name(0x113, cStdPropGlobalTypeName, "omfi:String");
        immediate(0x200, 0x101, 0x110, Bytes(mHeadClass.begin(), mHeadClass.end()));
        immediate(0x200, 0x102, 0x111, {mVersionMajor, 1});
        const bool lists = mForm == 2;
        const uint32_t keysAt = uint32_t(data.mBytes.size());
        data.U32(lists ? 1 : 0x201).U32(lists ? 2 : mSecondMob);
        toc.push_back({0x200, 0x103, 0x112, false, keysAt, 8, false, lists ? 0x300u : 0u});
        immediate(0x201, 0x101, 0x110, {'C', 'M', 'O', 'B'});
        // "Song" in two pieces: "So", then "ng" and the terminator.
        const uint32_t nameAt = uint32_t(data.mBytes.size());
        data.Raw("So").U8(0xEE).Raw("ng").U8(0);
        toc.push_back({0x201, 0x104, 0x113, false, nameAt, mNameLength ? mNameLength : 2});
        toc.push_back({0x201, 0x104, 0x113, false, nameAt + 3, 3, true});
        immediate(0x202, 0x101, 0x110, {'M', 'M', 'O', 'B'});
        if (lists)
        {
            const uint32_t pairsAt = uint32_t(data.mBytes.size());
            data.U32(1).U32(0x201).U32(2).U32(mSecondMob);
            toc.push_back({0x300, cStdPropRefList, cStdTypeRefList, false, pairsAt, 16});
        }
        const uint32_t tocAt = uint32_t(data.mBytes.size());
        if (mForm == 1)
            for (const Entry& e : toc)
                data.U32(e.mObject).U32(e.mProperty).U32(e.mType).U32(e.mOffsetOrBytes).U32(e.mLength).U16(1).U16(
                    e.mImmediate ? cFlagImmediate : 0);
        else
        {
            if (mOrphanContinuation)
                data.U8(eToken_NewObject).U32(0x400).U32(0x101).U32(0x110).U8(eToken_ContdOffset4Len4).U32(0).U32(1);
            for (const Entry& e : toc)
            {
                if (e.mContinues)
                {
                    data.U8(eToken_ContdOffset4Len4).U32(e.mOffsetOrBytes).U32(e.mLength);
                    continue;
                }
                data.U8(eToken_NewObject).U32(e.mObject).U32(e.mProperty).U32(e.mType);
                if (e.mImmediate) // the bytes stand first in the 4-byte field, in file order
                    data.U8(uint8_t(eToken_Immediate0 + e.mLength)).U32(e.mOffsetOrBytes);
                else
                    data.U8(eToken_Offset4Len4).U32(e.mOffsetOrBytes).U32(e.mLength);
                if (e.mRefList)
                    data.U8(eToken_ReferenceListID).U32(e.mRefList);
            }
        }
        const uint32_t tocSize = uint32_t(data.mBytes.size() - tocAt);
        data.Label(mLabelMajor ? mLabelMajor : mForm, uint32_t(int64_t(tocAt) + mTOCOffsetDelta),
                   uint32_t(int64_t(tocSize) + mTOCSizeDelta));
        if (mBadMagic)
            data.mBytes[data.mBytes.size() - 24] ^= 0xFF;
        return data.mBytes;
    }
};

bool IsL10N(const std::function<void()>& iAction, int32_t iID)
{
    return Test_ThrowsL10N(iAction, 18, iID);
}

OMF_ContainerReader Read(const Bytes& iBytes)
{
    return OMF_ContainerReader(OMF_ContainerSource::FromMemory(std::vector<uint8_t>(iBytes.begin(), iBytes.end())));
}

std::string Text(const OMF_ContainerReader& iReader, const OMF_ContainerValue* iValue)
{
    if (!iValue)
        return "<none>";
    std::vector<uint8_t> bytes = iReader.ReadAll(*iValue);
    return std::string(bytes.begin(), bytes.end());
}

struct Layout
{
    bool mBig;
    uint16_t mForm;
};
const Layout cLayouts[] = {{false, 1}, {true, 1}, {false, 2}, {true, 2}};

TEST(OMF_ContainerReaderTest, ReadsFilesMadeByHandInBothFormsAndOrders)
{
    for (const Layout& layout : cLayouts)
    {
        SCOPED_TRACE(std::to_string(layout.mBig) + " form " + std::to_string(layout.mForm));
        HandFile hand;
        hand.mBig = layout.mBig, hand.mForm = layout.mForm;
        const OMF_ContainerReader reader = Read(hand.Build());
        EXPECT_EQ(reader.IsBigEndian(), layout.mBig);
        EXPECT_EQ(reader.GetMajorVersion(), layout.mForm);
        EXPECT_EQ(reader.GetObjects(), std::vector<uint32_t>({0x200, 0x201, 0x202}));
        EXPECT_EQ(reader.GetPropertyName(0x104), "OMFI:MOBJ:Name");
        EXPECT_EQ(reader.FindType("omfi:String"), 0x113u);
        // An immediate value, a value in two pieces, and references through the list.
        EXPECT_EQ(Text(reader, reader.Find(0x201, 0x101)), "CMOB");
        const OMF_ContainerValue* name = reader.Find(0x201, 0x104, 0x113);
        EXPECT_EQ(Text(reader, name), std::string("Song\0", 5));
        EXPECT_EQ(reader.GetFileOffset(*name), -1);
        char middle[2];
        ASSERT_TRUE(reader.Read(*name, 1, middle, 2));
        EXPECT_EQ(std::string(middle, 2), "on");
        EXPECT_FALSE(reader.Read(*name, 4, middle, 2));
        const OMF_ContainerValue* mobs = reader.Find(0x200, 0x103);
        ASSERT_NE(mobs, nullptr);
        const std::vector<uint8_t> keys = reader.ReadAll(*mobs);
        EXPECT_EQ(reader.ResolveReference(*mobs, reader.ReadU32(keys.data())), 0x201u);
        EXPECT_EQ(reader.ResolveReference(*mobs, reader.ReadU32(keys.data() + 4)), 0x202u);
        // The object layer over the same bytes.
        const Bytes bytes = hand.Build();
        OMF_File file(OMF_ContainerSource::FromMemory(std::vector<uint8_t>(bytes.begin(), bytes.end())));
        const OMF_Summary summary = OMF_Summarize(file);
        EXPECT_EQ(summary.mMajor, 2);
        EXPECT_EQ(summary.mMinor, 1);
        EXPECT_EQ(summary.mCompositionMobs, 1);
        EXPECT_EQ(summary.mMasterMobs, 1);
    }
}

TEST(OMF_ContainerReaderTest, BadFilesGiveTheSystemsMessage)
{
    struct Case
    {
        const char* mName;
        std::function<void(HandFile&)> mDamage;
        int32_t mID; // 9 "file is not OMFI media", 2 "OMF version unknown"
    };
    const Case cases[] = {
        {"wrong label", [](HandFile& h) { h.mBadMagic = true; }, 9},
        {"unknown container version", [](HandFile& h) { h.mLabelMajor = 3; }, 2},
        {"TOC past the end", [](HandFile& h) { h.mTOCOffsetDelta = 1000; }, 9},
        {"TOC longer than the file", [](HandFile& h) { h.mTOCSizeDelta = 25; }, 9},
        {"TOC cut short", [](HandFile& h) { h.mTOCSizeDelta = -1; }, 9},
        {"property longer than the file", [](HandFile& h) { h.mNameLength = 0x7FFFFFF0; }, 9},
        {"continuation of no value", [](HandFile& h) { h.mOrphanContinuation = true; }, 9},
        {"no head", [](HandFile& h) { h.mHeadClass = "CMOB"; }, 9},
        {"unknown OMF version", [](HandFile& h) { h.mVersionMajor = 3; }, 2},
        {"reference cycle", [](HandFile& h) { h.mSecondMob = 0x200; }, 9},
    };
    std::vector<std::pair<std::string, Bytes>> seeds;
    for (const Layout& layout : cLayouts)
        for (const Case& c : cases)
        {
            if (std::string(c.mName) == "continuation of no value" && layout.mForm == 1)
                continue; // the fixed form has no such token
            SCOPED_TRACE(std::string(c.mName) + (layout.mBig ? " big" : " little") + " form " +
                         std::to_string(layout.mForm));
            HandFile hand;
            hand.mBig = layout.mBig, hand.mForm = layout.mForm;
            c.mDamage(hand);
            const Bytes bytes = hand.Build();
            EXPECT_TRUE(IsL10N(
                [&] {
                    OMF_File file(OMF_ContainerSource::FromMemory(std::vector<uint8_t>(bytes.begin(), bytes.end())));
                    OMF_Summarize(file);
                    OMF_Dump(file);
                },
                c.mID));
            if (layout.mForm == 2 && !layout.mBig)
            {
                std::string name = c.mName;
                std::replace(name.begin(), name.end(), ' ', '-');
                seeds.emplace_back("OMFContainerFuzz/bad-" + name, bytes);
            }
        }
    const Bytes whole = HandFile().Build();
    for (size_t cut : {size_t(0), size_t(10), size_t(23)})
        EXPECT_TRUE(IsL10N([&] { Read(Bytes(whole.begin(), whole.begin() + cut)); }, 9)) << cut;
    HandFile good;
    seeds.emplace_back("OMFContainerFuzz/hand-2x-little", good.Build());
    good.mBig = true, good.mForm = 1;
    seeds.emplace_back("OMFContainerFuzz/hand-2x-big-fixed", good.Build());
    WriteFuzzSeeds(seeds);
}

TEST(OMF_ContainerWriterTest, ReaderReadsWhatTheWriterWrote)
{
    for (const Layout& layout : cLayouts)
        for (uint32_t maxSegment : {0u, 3u})
        {
            SCOPED_TRACE(std::to_string(layout.mBig) + " form " + std::to_string(layout.mForm) + " pieces " +
                         std::to_string(maxSegment));
            OMF_ContainerWriter writer(layout.mBig, layout.mForm);
            if (maxSegment)
                writer.SetMaxSegment(maxSegment);
            const uint32_t a = writer.NewObject(), b = writer.NewObject(), c = writer.NewObject();
            const uint32_t data = writer.Property("OMFI:X:Data"), refs = writer.Property("OMFI:X:Refs");
            const uint32_t raw = writer.Type("omfi:DataValue"), list = writer.Type("omfi:ObjRefArray");
            const std::vector<uint8_t> small = {1, 2, 3}, big = {9, 8, 7, 6, 5, 4, 3, 2, 1, 0};
            writer.AddValue(a, data, raw, small);
            writer.AddValue(b, data, raw, big);
            writer.AddValue(c, data, raw, {});
            writer.AddReferences(a, refs, list, {c, b, c});
            const std::vector<uint8_t> bytes = writer.Finish();
            const OMF_ContainerReader reader(OMF_ContainerSource::FromMemory(bytes));
            EXPECT_EQ(reader.IsBigEndian(), layout.mBig);
            EXPECT_EQ(reader.GetObjects(), std::vector<uint32_t>({a, b, c}));
            EXPECT_EQ(reader.ReadAll(*reader.Find(a, reader.FindProperty("OMFI:X:Data"))), small);
            EXPECT_EQ(reader.ReadAll(*reader.Find(b, data)), big);
            EXPECT_EQ(reader.Find(c, data)->mLength, 0);
            const OMF_ContainerValue* value = reader.Find(a, refs, list);
            ASSERT_NE(value, nullptr);
            std::vector<uint32_t> targets;
            const std::vector<uint8_t> keys = reader.ReadAll(*value);
            for (size_t at = 0; at + 4 <= keys.size(); at += 4)
                targets.push_back(reader.ResolveReference(*value, reader.ReadU32(keys.data() + at)));
            EXPECT_EQ(targets, std::vector<uint32_t>({c, b, c}));
            // The label: magic, then the major version in the file's order, at the very end.
            ASSERT_GE(bytes.size(), 24u);
            EXPECT_TRUE(std::equal(std::begin(cMagic), std::end(cMagic), bytes.end() - 24));
            EXPECT_EQ(bytes[bytes.size() - 12 + (layout.mBig ? 1 : 0)], layout.mForm);
        }
}
} // namespace
