// The object layer over files of our writer in every generation, byte order and container
// form: typed members, mob indexes, the factories' walk up the class tree, the definitions,
// identities, semantic checks, cloning, the dump, and the embedded audio read in place.
#include <gtest/gtest.h>

#include <cstring>
#include <set>

#include "FF/Audio/FF_AudioFile.h"
#include "FF/OMF/OMF_Classes2x.h"
#include "FF/OMF/OMF_Container.h"
#include "FF/OMF/OMF_Factory.h"
#include "FF/OMF/OMF_Inspect.h"
#include "FF/OMF/OMF_Utils.h"
#include "Iop/Iop_SeqElem.h"
#include "OMFTestSupport.h"
#include "Support/FFTestSupport.h"
#include "Support/TestSupport.h"
#include "Sys_FileLoc.h"

namespace
{
class OMF_ObjectTest : public ::testing::Test
{
protected:
    Test_TempDir mDir;
    const OMFTest_Media& mMedia = OMFTest_GetMedia(mDir.Path());

    std::string Write(const OMFTest_Variant& iVariant)
    {
        const std::string path = mDir.Path() + "/" + iVariant.Name() + ".omf";
        OMF_WriteFile(Sys_FileLoc(path), OMFTest_Spec(iVariant, mMedia));
        return path;
    }
};

TEST_F(OMF_ObjectTest, EveryVariantReadsBackWithItsMobsAndMedia)
{
    std::vector<std::pair<std::string, Bytes>> seeds;
    for (const OMFTest_Variant& variant : OMFTest_Variants())
    {
        SCOPED_TRACE(variant.Name());
        const std::string path = Write(variant);
        EXPECT_EQ(OMF_Utils::GetVersion(Sys_FileLoc(path)), variant.mRev == kOmfRev1x ? 1 : 2);
        OMF_File file{Sys_FileLoc(path)};
        const OMF_Summary s = OMF_Summarize(file);
        EXPECT_EQ(s.mMajor, variant.mRev == kOmfRev1x ? 1 : 2);
        EXPECT_EQ(s.mBigEndian, variant.mBigEndian);
        EXPECT_EQ(s.mContainerVersion, variant.mForm ? variant.mForm : (variant.mRev == kOmfRev1x ? 1 : 2));
        EXPECT_EQ(s.mCompositionMobs, 1);
        EXPECT_EQ(s.mMasterMobs, 2);
        EXPECT_EQ(s.mSourceMobs, 2);
        EXPECT_EQ(s.mTracks, 2);
        EXPECT_EQ(s.mDescriptors, 2);
        ASSERT_EQ(s.mMedia.size(), 2u);
        const Bytes* want[] = {&mMedia.mWave, &mMedia.mAifc};
        const char* names[] = {"Kick", "Snare"};
        for (size_t i = 0; i < 2; ++i)
        {
            const OMF_EmbeddedMedia& m = s.mMedia[i];
            EXPECT_EQ(m.mType, i == 0 ? eAudioFileType_WAVE : eAudioFileType_AIFC);
            EXPECT_EQ(m.mName, names[i]);
            EXPECT_EQ(m.mLength, int64_t(want[i]->size()));
            Bytes got(want[i]->size());
            ASSERT_TRUE(OMF_ReadEmbeddedMedia(file, m, 0, got.data(), int32_t(got.size())));
            EXPECT_EQ(got, *want[i]);
            // In one piece the payload stands in the file as it is, and opens in place.
            if (variant.mMaxSegment)
            {
                EXPECT_EQ(m.mOffset, -1);
                continue;
            }
            const Bytes whole = ReadBytes(path);
            ASSERT_GT(m.mOffset, 0);
            EXPECT_TRUE(std::equal(want[i]->begin(), want[i]->end(), whole.begin() + m.mOffset));
            auto audio = OMF_OpenEmbeddedAudio(Sys_FileLoc(path), m);
            FF_AudioFile::StOpenForRead open(*audio);
            const Bytes& samples = i == 0 ? mMedia.mWaveSamples : mMedia.mAifcSamples;
            Bytes read(samples.size());
            const int64_t frames = i == 0 ? 300 : 200;
            EXPECT_EQ(audio->Read(read.data(), frames), frames);
            EXPECT_EQ(read, samples);
        }
        // A small file of the same layout (one medium of a few bytes, one clip) seeds the fuzz target.
        if (variant.mMaxSegment)
            continue; // values in pieces make a seed too large
        OMF_FileSpec tiny = OMFTest_Spec(variant, mMedia);
        tiny.mMedia.resize(1);
        tiny.mMedia[0].mBytes.resize(16);
        tiny.mCompositions = {{"S", {1, 2, 3}, {{{0, 0, 10}}}}};
        const std::string tinyPath = mDir.Path() + "/tiny.omf";
        OMF_WriteFile(Sys_FileLoc(tinyPath), tiny);
        if (ReadBytes(tinyPath).size() < 4096) // the seeds' limit
            seeds.emplace_back("OMFContainerFuzz/writer-" + variant.Name(), ReadBytes(tinyPath));
    }
    WriteFuzzSeeds(seeds);
}

TEST_F(OMF_ObjectTest, TypedMembersFollowTheCompositionOfBothGenerations)
{
    for (bool big : {false, true})
    {
        OMF_File two{Sys_FileLoc(Write({kOmfRev2x, big, 0, 0}))};
        auto* head = dynamic_cast<OMF_HEAD2x*>(two.GetHead());
        ASSERT_NE(head, nullptr);
        EXPECT_EQ(head->mByteOrder.Get(), big ? 0x4D4D : 0x4949);
        ASSERT_EQ(head->mPrimaryMobs.Get().size(), 1u);
        OMF_MOBJ2x* song = head->mPrimaryMobs.Get()[0];
        EXPECT_EQ(song->mName.Get(), "Song");
        EXPECT_NE(dynamic_cast<OMF_CMOB2x*>(song), nullptr);
        ASSERT_EQ(song->mSlots.Get().size(), 2u);
        auto* sequence = dynamic_cast<OMF_SEQU2x*>(song->mSlots.Get()[0]->mSegment.Get());
        ASSERT_NE(sequence, nullptr);
        EXPECT_EQ(sequence->mLength.Get(), 250);
        ASSERT_EQ(sequence->mComponents.Get().size(), 2u);
        auto* clip = dynamic_cast<OMF_SCLP2x*>(sequence->mComponents.Get()[1]);
        ASSERT_NE(clip, nullptr);
        EXPECT_EQ(clip->mSourceID.Get(), (omfUID_t{42, 2, 2}));
        EXPECT_EQ(clip->mStartTime.Get(), 50);
        EXPECT_EQ(clip->mDataKind.Get()->mDataKindID.Get(), "omfi:data:Sound");
        EXPECT_EQ(song->mSlots.Get()[1]->mEditRate.Get(), (omfRational_t{48000, 1}));
        // The same object comes back as the same wrapper; absent properties are not set.
        EXPECT_EQ(two.Create(clip->GetObj()), clip);
        EXPECT_FALSE(song->mAppCode.IsSet());
        EXPECT_TRUE(Test_Asserts([&] { song->mAppCode.Get(); }, "mIsSet"));
        auto* master = dynamic_cast<OMF_MMOB2x*>(head->mMobs.Get()[1]);
        ASSERT_NE(master, nullptr);
        EXPECT_EQ(master->mAppCode.Get(), OMF_Defs::AC_MASTER);

        OMF_File one{Sys_FileLoc(Write({kOmfRev1x, big, 0, 0}))};
        auto* head1 = dynamic_cast<OMF_HEAD1x*>(one.GetHead());
        ASSERT_NE(head1, nullptr);
        EXPECT_EQ(head1->mVersion.Get().major, 1);
        ASSERT_EQ(head1->mCompositionMobs.Get().size(), 1u);
        EXPECT_EQ(head1->mCompositionMobs.Get()[0].first, (omfUID_t{42, 9, 9}));
        OMF_MOBJ1x* song1 = head1->mCompositionMobs.Get()[0].second;
        EXPECT_EQ(song1->mName.Get(), "Song");
        ASSERT_EQ(song1->mTracks.Get().size(), 2u);
        auto* seq1 = dynamic_cast<OMF_SEQU1x*>(song1->mTracks.Get()[1]->mTrackComponent.Get());
        ASSERT_NE(seq1, nullptr);
        auto* clip1 = dynamic_cast<OMF_SCLP1x*>(seq1->mSequence.Get().at(0));
        ASSERT_NE(clip1, nullptr);
        EXPECT_EQ(clip1->mLength.Get(), 200);
        EXPECT_EQ(clip1->mSourceID.Get(), (omfUID_t{42, 2, 2}));
        ASSERT_EQ(head1->mMediaData.Get().size(), 2u);
        EXPECT_NE(dynamic_cast<OMF_AIFC1x*>(head1->mMediaData.Get()[1].second), nullptr);
    }
}

TEST_F(OMF_ObjectTest, BothByteOrdersDumpAlikeButForTheByteOrder)
{
    for (omfFileRev_t rev : {kOmfRev1x, kOmfRev2x})
    {
        OMF_File little{Sys_FileLoc(Write({rev, false, 0, 0}))};
        OMF_File big{Sys_FileLoc(Write({rev, true, 0, 0}))};
        const std::vector<OMF_DumpObject> a = OMF_Dump(little), b = OMF_Dump(big);
        ASSERT_EQ(a.size(), b.size());
        EXPECT_GT(a.size(), 20u);
        int differences = 0;
        for (size_t i = 0; i < a.size(); ++i)
        {
            EXPECT_EQ(a[i].mClass, b[i].mClass);
            ASSERT_EQ(a[i].mProperties.size(), b[i].mProperties.size());
            for (size_t k = 0; k < a[i].mProperties.size(); ++k)
            {
                const auto &pa = a[i].mProperties[k], &pb = b[i].mProperties[k];
                EXPECT_EQ(pa.mName, pb.mName);
                EXPECT_EQ(pa.mRefs, pb.mRefs);
                if (pa.mName.find("ByteOrder") != std::string::npos)
                {
                    EXPECT_EQ(pa.mValue, "'II'");
                    EXPECT_EQ(pb.mValue, "'MM'");
                    ++differences;
                }
                else if (pa.mType != "omfi:DataValue") // data offsets follow the layout
                {
                    EXPECT_EQ(pa.mValue, pb.mValue) << pa.mName;
                }
            }
        }
        EXPECT_EQ(differences, 1);
        EXPECT_EQ(a[0].mClass, "HEAD");
    }
}

TEST_F(OMF_ObjectTest, UnknownClassesAreMadeAsTheirNearestKnownAncestor)
{
    const std::string path = mDir.Path() + "/private.omf";
    omfHdl_t out = nullptr;
    ASSERT_EQ(omfsCreateFile(Sys_FileLoc(path), OMF_Utils::GetSession(), kOmfRev2x, &out), OM_ERR_NONE);
    omfObject_t head = 0, clip = 0, mine = 0, known = 0, mob = 0, slot = 0;
    omfsGetHeadObject(out, &head);
    ASSERT_EQ(omfsObjectNew(out, "XSCL", &clip), OM_ERR_NONE);
    const int32_t length = 77;
    // A property on a class the session does not know is refused while checks are on.
    EXPECT_EQ(OMWriteBaseProp(out, clip, OMCPNTLength, OMLength32, 4, &length), OM_ERR_SEMANTIC);
    {
        OMF_Utils::StDisableSemanticChecking guard(out);
        EXPECT_FALSE(omfsIsSemanticCheckOn(out));
        EXPECT_EQ(OMWriteBaseProp(out, clip, OMCPNTLength, OMLength32, 4, &length), OM_ERR_NONE);
    }
    EXPECT_TRUE(omfsIsSemanticCheckOn(out));
    // The file's class dictionary: XSCL descends from SCLP.
    omfsObjectNew(out, "CLSD", &mine);
    omfsObjectNew(out, "CLSD", &known);
    OMWriteBaseProp(out, mine, OMCLSDClass, OMClassID, 4, "XSCL");
    OMWriteBaseProp(out, known, OMCLSDClass, OMClassID, 4, "SCLP");
    omfsWriteObjRef(out, mine, OMCLSDParentClass, known);
    omfsAppendObjRefArray(out, head, OMHEADClassDictionary, mine);
    omfsObjectNew(out, "CMOB", &mob);
    omfsObjectNew(out, "MSLT", &slot);
    omfsWriteObjRef(out, slot, OMMSLTSegment, clip);
    omfsAppendObjRefArray(out, mob, OMMOBJSlots, slot);
    omfsAppendObjRefArray(out, head, OMHEADMobs, mob);
    ASSERT_EQ(omfsCloseFile(out), OM_ERR_NONE);

    OMF_File file{Sys_FileLoc(path)};
    auto* head2x = dynamic_cast<OMF_HEAD2x*>(file.GetHead());
    ASSERT_NE(head2x, nullptr);
    OMF_SEGM2x* segment = head2x->mMobs.Get().at(0)->mSlots.Get().at(0)->mSegment.Get();
    ASSERT_NE(segment, nullptr);
    EXPECT_NE(dynamic_cast<OMF_SCLP2x*>(segment), nullptr);
    EXPECT_EQ(segment->GetClassID(), "XSCL");
    EXPECT_EQ(segment->mLength.Get(), 77);
}

TEST_F(OMF_ObjectTest, DefinitionsFactoriesAndIdentities)
{
    omfSessionHdl_t session = OMF_Utils::GetSession();
    const omfProperty_t codes[] = {
        OMF_Defs::OMJPEDImageStartAlignment, OMF_Defs::OMJPEDQTablesLen, OMF_Defs::OMDIDDFirstFrameOffset,
        OMF_Defs::OMJPEDOffsetToFrameIndexes, OMF_Defs::OMDIDDFrameIndexByteOrder, OMF_Defs::OMDIDDDIDResolutionID,
        OMF_Defs::OMMDFLDataOffset, OMF_Defs::OMMOBJAppCode, OMF_Defs::OMMOBJMinorVersion1x,
        OMF_Defs::OMMOBJCreationTime1x, OMF_Defs::OMAIFCMobID, OMF_Defs::OMEFFEOrsaPrivateEffectID,
        OMF_Defs::OMMSMLLastKnownVolume, OMF_Defs::OMMSMLMobID, OMF_Defs::OMQS2DBitsPerSample,
        OMF_Defs::OMQS2DNumOfChannels, OMF_Defs::OMCDCIComponentWidth, OMF_Defs::OMCDCIHorizontalSubsampling,
        OMF_Defs::OMCDCIVerticalSubsampling, OMF_Defs::OMCDCIColorSiting, OMF_Defs::OMCDCIBlackReferenceLevel,
        OMF_Defs::OMCDCIWhiteReferenceLevel, OMF_Defs::OMCDCIColorRange, OMF_Defs::OMDIDD1xImageSize,
        OMF_Defs::OMDIDD2xImageSize, OMF_Defs::OMDIDDCompressMethod, OMF_Defs::OMDIDDFrameSampleSize,
        OMF_Defs::OMDIDD2xKludgeFrameSampleSize, OMF_Defs::OMDIDD2xKludgeFirstFrameOffset,
        OMF_Defs::OMDIDDUniformness};
    std::set<omfProperty_t> distinct(std::begin(codes), std::end(codes));
    EXPECT_EQ(distinct.size(), std::size(codes));
    EXPECT_EQ(distinct.count(OMNoProperty), 0u);
    EXPECT_EQ(omfsPropertyClass(session, OMF_Defs::OMJPEDQTablesLen), "JPED");
    // A second initialization of the same session changes nothing.
    OMF_Defs::Initialize(session);
    EXPECT_EQ(omfsPropertyClass(session, OMF_Defs::OMMSMLMobID), "MSML");
    EXPECT_TRUE(Test_Asserts([] { OMF_Factory2x::Initialize(); }, "sFactoryMethods2x.empty()"));
    EXPECT_TRUE(Test_Asserts([] { OMF_Factory1x::Initialize(); }, "sFactoryMethods1x.empty()"));

    const omfUID_t id{-5, 0xFFFFFFFE, 17};
    EXPECT_EQ(OMF_Utils::Sys_Umid2omfUID_t(OMF_Utils::omfUID_t2Sys_Umid(id)), id);
    Iop_SeqElem elem;
    elem.mLength = 9, elem.mName = "x";
    OMF_Utils::InitializeSeqElem(&elem);
    EXPECT_EQ(elem, Iop_SeqElem());
    EXPECT_TRUE(Test_ThrowsL10N([] { OMF_Utils::ThrowIfErr(OM_ERR_NOTOMFIFILE, "In omfsOpenFile"); }, 18, 9));
    EXPECT_TRUE(Test_ThrowsL10N([] { OMF_Utils::ThrowIfErr(OM_ERR_FILEREV_NOT_SUPP, "In omfsOpenFile"); }, 18, 2));
    EXPECT_NE(ThrownText([] { OMF_Utils::ThrowIfErr(OM_ERR_BADINDEX, "In omfsReadObjectTag"); })
                  .find("In omfsReadObjectTag: index out of range"),
              std::string::npos);
    OMF_Utils::ThrowIfErr(OM_ERR_NONE, "nothing");
}

TEST_F(OMF_ObjectTest, MasterMobClonesIntoAnotherFile)
{
    for (omfFileRev_t rev : {kOmfRev1x, kOmfRev2x})
    {
        const std::string package = Write({rev, true, 0, 0});
        const std::string path = mDir.Path() + "/clone.omf";
        omfHdl_t out = nullptr;
        ASSERT_EQ(omfsCreateFile(Sys_FileLoc(path), OMF_Utils::GetSession(), rev, &out), OM_ERR_NONE);
        const omfObject_t copy = OMF_Utils::CloneMasterMobFromOMFPackage(Sys_FileLoc(package), {42, 2, 2}, out);
        EXPECT_NE(copy, 0u);
        if (rev == kOmfRev2x)
            omfsAppendObjRefArray(out, 0x100, OMHEADMobs, copy);
        else
            omfsAppendObjIndex(out, 0x100, OMSourceMobs, {42, 2, 2}, copy);
        EXPECT_TRUE(Test_ThrowsL10N(
            [&] { OMF_Utils::CloneMasterMobFromOMFPackage(Sys_FileLoc(package), {1, 2, 3}, out); }, 18, 8));
        ASSERT_EQ(omfsCloseFile(out), OM_ERR_NONE);
        OMF_File file{Sys_FileLoc(path)};
        const OMF_Summary s = OMF_Summarize(file);
        EXPECT_EQ(s.mMasterMobs, 1) << rev;
        std::string name;
        const auto objects = OMF_Dump(file);
        for (const OMF_DumpObject& object : objects)
            for (const auto& p : object.mProperties)
                if (p.mName == "OMFI:MOBJ:Name" || p.mName == "OMFI:CPNT:Name")
                    name = p.mValue;
        EXPECT_EQ(name, "\"Snare\"");
    }
}
} // namespace

namespace
{
TEST(OMF_ToolkitTest, MisuseIsRefusedWithItsError)
{
    Test_TempDir dir;
    omfSessionHdl_t session = nullptr;
    ASSERT_EQ(omfsBeginSession(nullptr, &session), OM_ERR_NONE);
    omfHdl_t file = nullptr;
    ASSERT_EQ(omfsCreateFile(Sys_FileLoc(dir.Path() + "/t.omf"), session, kOmfRev2x, &file), OM_ERR_NONE);
    omfObject_t head = 0, mob = 0, other = 0;
    omfsGetHeadObject(file, &head);
    omfsObjectNew(file, "CMOB", &mob);
    const int32_t four = 4;
    omfProperty_t dynamic = 0;
    const std::pair<omfErr_t, omfErr_t> cases[] = {
        {OMWriteBaseProp(file, mob, OMMOBJName, OMInt32, 4, &four), OM_ERR_BAD_TYPE},
        {OMWriteBaseProp(file, mob, OMHEADByteOrder, OMInt16, 2, &four), OM_ERR_SEMANTIC},
        {OMWriteBaseProp(file, 0x7777, OMMOBJName, OMString, 4, "abc"), OM_ERR_BADOBJ},
        {OMWriteBaseProp(file, mob, OMLastBuiltInProp + 500, OMInt32, 4, &four), OM_ERR_BAD_PROP},
        {omfsWriteObjRef(file, mob, OMMOBJSlots, head), OM_ERR_BAD_TYPE},
        {omfsAppendObjRefArray(file, mob, OMMOBJUserAttributes, head), OM_ERR_BAD_TYPE},
        {omfsGetNthObjRefArray(file, head, OMHEADMobs, &other, 1), OM_ERR_BADINDEX},
        {omfsObjectNew(file, "AB", &other), OM_ERR_CLASS_NOT_FOUND},
        {omfsNewClass(session, kClsPrivate, kOmfRev2x, "ZZZZ", "NONE"), OM_ERR_CLASS_NOT_FOUND},
        {omfsNewClass(session, kClsPrivate, kOmfRev2x, "SCLP", "MDES"), OM_ERR_DUPLICATE_CLASS},
        {omfsNewClass(session, kClsPrivate, kOmfRev2x, "SCLP", "SEGM"), OM_ERR_NONE},
        {omfsRegisterDynamicProp(session, kClsPrivate, "X", "MOBJ", OMLastType, kOmfRev2x, &dynamic), OM_ERR_BAD_TYPE},
        {omfsRegisterDynamicProp(session, kClsPrivate, "X", "QQQQ", OMInt32, kOmfRev2x, &dynamic), OM_ERR_CLASS_NOT_FOUND},
        {omfsSetContainerForm(file, 3), OM_ERR_FILEREV_NOT_SUPP},
        {omfsEndSession(session), OM_ERR_BAD_SESSION}, // a file is still open
        {omfiDatakindLookup(file, "omfi:data:Sound", &other), OM_ERR_NONE},
    };
    for (size_t i = 0; i < std::size(cases); ++i)
        EXPECT_EQ(cases[i].first, cases[i].second) << "case " << i;
    EXPECT_EQ(other, 0u); // no such definition in this file
    // What a created file holds reads back before it is written.
    ASSERT_EQ(omfsWriteString(file, mob, OMMOBJName, "Song"), OM_ERR_NONE);
    std::string name;
    EXPECT_EQ(omfsReadString(file, mob, OMMOBJName, &name), OM_ERR_NONE);
    EXPECT_EQ(name, "Song");
    EXPECT_TRUE(omfsIsPropPresent(file, mob, OMMOBJName, OMString));
    EXPECT_FALSE(omfsIsPropPresent(file, mob, OMMOBJName, OMInt32));
    ASSERT_EQ(omfsDiscardFile(file), OM_ERR_NONE);
    EXPECT_TRUE(Test_FolderNames(dir.Path()).empty());
    EXPECT_EQ(omfsEndSession(session), OM_ERR_NONE);

    // A writer that fails midway leaves no file behind.
    OMF_FileSpec description;
    description.mCompositions = {{"Song", {1, 2, 3}, {{{5, 0, 10}}}}}; // names a medium that is not there
    EXPECT_THROW(OMF_WriteFile(Sys_FileLoc(dir.Path() + "/bad.omf"), description), std::out_of_range);
    EXPECT_TRUE(Test_FolderNames(dir.Path()).empty());
}
} // namespace
