// The tag table, the schema, typed attributes and values, names and filters.
#include <gtest/gtest.h>

#include <typeindex>

#include "BDM/BDM_Attribute.h"
#include "BDM/BDM_Schema.h"
#include "BDM/BDM_Utils.h"
#include "FF/Audio/FF_AudioFile.h"
#include "Support/TestSupport.h"
#include "Sys_CompatibilityUtils.h"
#include "Tarn_FileTypes.h"

namespace
{
const BDM_AttributeTags& Tags()
{
    static const BDM_AttributeTags* sTagsP = []
    {
        BDM_AttributeTags* tagsP = BDM_AttributeTags::Instance();
        tagsP->InitializeLocalizedAttributeNames();
        if (!BDM_Schema::IsInitialized())
            BDM_Schema::InitializeSchema();
        return tagsP;
    }();
    return *sTagsP;
}

struct TagRow
{
    const BDM_AttributeTag BDM_AttributeTags::*mMember;
    int32_t mIndex;
    std::type_index mType;
    bool mIndexed;
    const char* mTitle;
};

template <class T>
TagRow Row(const BDM_TypedAttributeTag<T> BDM_AttributeTags::*iMember, int32_t iIndex,
           bool iIndexed, const char* iTitle)
{
    return {reinterpret_cast<const BDM_AttributeTag BDM_AttributeTags::*>(iMember), iIndex,
            typeid(T), iIndexed, iTitle};
}

using Ta = BDM_AttributeTags;
} // namespace

TEST(BDM_AttributeTags, TableInMemberOrderWithRegistrationIndicesTypesAndTitles)
{
    const std::vector<TagRow> rows = {
        Row(&Ta::cAssetName, 0, true, "Clip Name"),
        Row(&Ta::cAssetType, 1, true, "Kind"),
        Row(&Ta::cAssetID, 2, true, "Unique ID"),
        Row(&Ta::cAssetComment, 25, true, "Database Comment"),
        Row(&Ta::cAssetDurationMicroseconds, 26, true, "Abs. Duration"),
        Row(&Ta::cAssetTimestamp, 36, true, ""),
        Row(&Ta::cContainerFlagA, 37, false, ""),
        Row(&Ta::cContainerFlagB, 39, false, ""),
        Row(&Ta::cMarkedForDeletion, 43, false, ""),
        Row(&Ta::cAssetStatus, 27, false, "S"),
        Row(&Ta::cLink, 3, false, ""),
        Row(&Ta::cLinkPath, 42, false, "Link Path"),
        Row(&Ta::cAlias, 4, false, ""),
        Row(&Ta::cFileName, 5, true, "Name"),
        Row(&Ta::cFilePathComponents, 6, true, "Path"),
        Row(&Ta::cFileVolumeID, 7, true, "Volume ID"),
        Row(&Ta::cFileDataForkSize, 41, true, "Size"),
        Row(&Ta::cFileTotalSize, 8, true, "Size"),
        Row(&Ta::cFileModDate, 9, true, "Date Modified"),
        Row(&Ta::cFileCreateDate, 10, true, "Date Created"),
        Row(&Ta::cFileEmbeddedComment, 11, true, "File Comment"),
        Row(&Ta::cFileLastIndexedDate, 12, true, "Date Indexed"),
        Row(&Ta::cFileFormat, 13, true, "Format"),
        Row(&Ta::cSpareStringA, 40, false, ""),
        Row(&Ta::cSpareStringB, 44, false, ""),
        Row(&Ta::cFolderIndexedExhaustively, 35, true, ""),
        Row(&Ta::cVolumeCapacity, 30, false, "Capacity"),
        Row(&Ta::cVolumeFreeSpace, 31, false, "Free"),
        Row(&Ta::cAudioDesignation, 32, false, "A"),
        Row(&Ta::cVideoDesignation, 33, false, "V"),
        Row(&Ta::cAudioFileSampleRate, 14, true, "Sample Rate"),
        Row(&Ta::cAudioFileBitDepth, 15, true, "Bit-Depth"),
        Row(&Ta::cAudioFileNumSamples, 16, true, "Number of Samples"),
        Row(&Ta::cAudioFileNumChannels, 17, true, "# Channels"),
        Row(&Ta::cAudioOverview, 21, false, "Waveform"),
        Row(&Ta::cAudioFileEmbeddedFileOffset, 18, true, "Audio File Embedded Offset"),
        Row(&Ta::cAudioFileOriginalTimestamp, 19, true, "Original Time Stamp"),
        Row(&Ta::cAudioFileUserTimestamp, 20, true, "User Time Stamp"),
        Row(&Ta::cSyncPoint, 38, false, "Sync Point"),
        Row(&Ta::cSourceTapeName, 22, true, "Tape"),
        Row(&Ta::cSourceTapeTimecodeFormat, 23, true, "FPS"),
        Row(&Ta::cTaskPriority, 24, false, "Task Priority"),
        Row(&Ta::cTaskProgress, 28, false, "Progress"),
        Row(&Ta::cTaskStatusMessage, 29, false, "Status"),
        Row(&Ta::cTaskProgressUnitsType, 34, false, ""),
    };
    const BDM_AttributeTags& tags = Tags();
    ASSERT_EQ(tags.GetCount(), 45);
    ASSERT_EQ(rows.size(), 45u);
    const BDM_AttributeTag* previousP = nullptr;
    for (const TagRow& row : rows)
    {
        const BDM_AttributeTag& tag = tags.*row.mMember;
        SCOPED_TRACE(row.mIndex);
        // The members stand in table order (addresses rise).
        EXPECT_TRUE(previousP == nullptr || *previousP < tag);
        previousP = &tag;
        EXPECT_EQ(tag.GetTagIndex(), row.mIndex);
        EXPECT_EQ(tags.GetTags()[size_t(row.mIndex)], &tag);
        EXPECT_EQ(std::type_index(tag.GetValueType()), row.mType);
        EXPECT_EQ(tag.IsIndexed(), row.mIndexed);
        EXPECT_EQ(tag.GetName(), row.mTitle);
    }
    // Identity, not names: the two "Size" tags differ.
    EXPECT_NE(tags.cFileDataForkSize, tags.cFileTotalSize);
}

TEST(BDM_Schema, EveryRowWithItsModifiableAttributes)
{
    const BDM_AttributeTags& t = Tags();
    // Per asset type: the attributes, those a user may change marked true.
    const std::map<int, std::map<const BDM_AttributeTag*, bool>> rows = {
        {0, {{&t.cFileName, true}}},
        {1,
         {{&t.cFileName, true},
          {&t.cFileLastIndexedDate, false},
          {&t.cAssetType, false},
          {&t.cAssetComment, true},
          {&t.cFileDataForkSize, false},
          {&t.cFileCreateDate, false},
          {&t.cFileModDate, false},
          {&t.cFilePathComponents, false},
          {&t.cAudioFileSampleRate, false},
          {&t.cAudioFileBitDepth, false},
          {&t.cAudioFileNumSamples, false},
          {&t.cAudioFileNumChannels, false}}},
        {2,
         {{&t.cFileName, true},
          {&t.cAssetName, true},
          {&t.cAssetType, false},
          {&t.cFileDataForkSize, false},
          {&t.cAudioFileSampleRate, true},
          {&t.cAudioFileBitDepth, false},
          {&t.cAudioFileNumSamples, false},
          {&t.cAudioFileNumChannels, false},
          {&t.cAudioOverview, false},
          {&t.cFilePathComponents, false},
          {&t.cFileCreateDate, false},
          {&t.cFileModDate, false},
          {&t.cFileVolumeID, false},
          {&t.cFileFormat, false},
          {&t.cAssetID, false},
          {&t.cSourceTapeName, false},
          {&t.cFileEmbeddedComment, true},
          {&t.cAssetComment, true},
          {&t.cFileLastIndexedDate, false}}},
        {3, {{&t.cFileName, true}, {&t.cFileEmbeddedComment, true}, {&t.cAssetComment, true}}},
        {5,
         {{&t.cAssetStatus, false},
          {&t.cFileName, false},
          {&t.cTaskProgress, false},
          {&t.cTaskStatusMessage, false}}},
        {6,
         {{&t.cFileName, true},
          {&t.cAudioDesignation, false},
          {&t.cVideoDesignation, false},
          {&t.cFileLastIndexedDate, false},
          {&t.cAssetType, false},
          {&t.cAssetComment, true},
          {&t.cFileEmbeddedComment, true},
          {&t.cFileDataForkSize, false},
          {&t.cFileCreateDate, false},
          {&t.cFileModDate, false},
          {&t.cFileFormat, false},
          {&t.cFilePathComponents, false}}},
        {7,
         {{&t.cFileName, true},
          {&t.cAudioDesignation, true},
          {&t.cVideoDesignation, true},
          {&t.cFileLastIndexedDate, false},
          {&t.cVolumeCapacity, false},
          {&t.cVolumeFreeSpace, false},
          {&t.cAssetType, false},
          {&t.cAssetComment, true},
          {&t.cFileDataForkSize, false},
          {&t.cFileCreateDate, false},
          {&t.cFileModDate, false},
          {&t.cFileFormat, false},
          {&t.cFilePathComponents, false}}},
        {9, {{&t.cFileName, true}}},
        {11, {{&t.cFileName, true}, {&t.cAssetComment, true}}},
    };
    for (int type = 0; type < BDM_cNumAssetTypes; ++type)
    {
        const auto found = rows.find(type);
        for (const BDM_AttributeTag* tagP : t.GetTags())
        {
            SCOPED_TRACE(testing::Message() << "type " << type << " tag " << tagP->GetTagIndex());
            const bool expected = found != rows.end() && found->second.count(tagP) != 0;
            ASSERT_EQ(BDM_Schema::HasAttribute(BDM_EAssetType(type), *tagP), expected);
            if (expected)
            {
                EXPECT_EQ(BDM_Schema::AttributeIsModifiable(BDM_EAssetType(type), *tagP),
                          found->second.at(tagP));
            }
        }
    }
    EXPECT_TRUE(Test_Asserts([] { BDM_Schema::InitializeSchema(); }, "sSchema.empty()"));
}

namespace
{
struct CountingObserver : Cmn_Observable<BDM_Attribute>::Observer
{
    int mCount = 0;
    void Notify(BDM_Attribute&) override { ++mCount; }
};

std::unique_ptr<BDM_TypedCachedAttribute<int64_t>> Size(std::optional<int64_t> iValue)
{
    auto attributeP = std::make_unique<BDM_TypedCachedAttribute<int64_t>>(Tags().cFileTotalSize);
    if (iValue)
        attributeP->Set(*iValue);
    return attributeP;
}
} // namespace

TEST(BDM_Attribute, UnsetValuesSortFirstAndEqualityDemandsValues)
{
    struct Case
    {
        std::optional<int64_t> mLhs, mRhs;
        bool mLess;
    };
    const Case cases[] = {
        {std::nullopt, std::nullopt, false},
        {std::nullopt, 0, true},
        {0, std::nullopt, false},
        {-5, 3, true},
        {3, -5, false},
        {7, 7, false},
    };
    for (const Case& c : cases)
    {
        auto lhs = Size(c.mLhs), rhs = Size(c.mRhs);
        EXPECT_EQ(lhs->LessThan(*rhs), c.mLess);
        if (c.mLhs && c.mRhs)
            EXPECT_EQ(lhs->EqualTo(*rhs), *c.mLhs == *c.mRhs);
        else if (!c.mLhs)
            EXPECT_TRUE(Test_Asserts([&] { lhs->EqualTo(*rhs); }, "this->GetValue( &lhs )"));
        else
            EXPECT_TRUE(Test_Asserts(
                [&] { lhs->EqualTo(*rhs); },
                "static_cast<const BDM_TypedAttribute<T>*>( &iRhs )->GetValue( &rhs )"));
        // The detached value says the same.
        BDM_AttributeValueHandle value = lhs->GetValue();
        EXPECT_EQ(value->IsEmpty(), !c.mLhs);
        EXPECT_EQ(value->GetTag(), &Tags().cFileTotalSize);
    }
}

TEST(BDM_Attribute, DifferentTagsAreAFaultInEveryComparison)
{
    auto total = Size(1);
    BDM_TypedCachedAttribute<int64_t> data(Tags().cFileDataForkSize, 1);
    EXPECT_TRUE(Test_Asserts([&] { total->LessThan(data); }, "&this->GetTag() == &iRhs.GetTag()"));
    EXPECT_TRUE(Test_Asserts([&] { total->EqualTo(data); }, "&this->GetTag() == &iRhs.GetTag()"));
    EXPECT_TRUE(
        Test_Asserts([&] { total->Assign(data); }, "&this->GetTag() == &iAttribute.GetTag()"));
    int64_t out = 0;
    EXPECT_TRUE(Test_Asserts([&] { BDM_GetAttributeValue(Tags().cFileModDate, total.get(), &out); },
                             "iAttribute->GetTag() == iTag"));
    EXPECT_TRUE(BDM_GetAttributeValue(Tags().cFileTotalSize, total.get(), &out));
    EXPECT_EQ(out, 1);
}

TEST(BDM_Attribute, SetNotifiesAlwaysAndAssignFromUnsetKeepsTheValue)
{
    auto target = Size(4);
    CountingObserver observer;
    target->AddObserver(observer);
    target->Set(4); // unchanged, still told
    target->Set(5);
    EXPECT_EQ(observer.mCount, 2);
    target->Assign(*Size(std::nullopt));
    EXPECT_EQ(observer.mCount, 2);
    int64_t value = 0;
    EXPECT_TRUE(target->GetValue(&value));
    EXPECT_EQ(value, 5);
    target->Assign(*Size(9));
    EXPECT_EQ(observer.mCount, 3);
    EXPECT_TRUE(target->GetValue(&value));
    EXPECT_EQ(value, 9);
    target->RemoveObserver(observer);
}

TEST(BDM_Attribute, NamesCompareAsFileNamesLengthsFirst)
{
    struct Case
    {
        const char* mLhs;
        const char* mRhs;
        bool mLess, mEqual;
    };
    const Case cases[] = {
        {"Kick.wav", "kick.WAV", false, true},
        {"abc", "ABD", true, false},
        {"B", "a", false, false},
        {"take", "take 2", true, false},
        {"Take 2", "take", false, false},
        {"", "", false, true},
        {"x\xc3\xa9", "X\xc3\xa9", false, true},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(std::string(c.mLhs) + " vs " + c.mRhs);
        BDM_StringAttribute lhs(Tags().cFileName, c.mLhs), rhs(Tags().cFileName, c.mRhs);
        EXPECT_EQ(lhs.LessThan(rhs), c.mLess);
        EXPECT_EQ(lhs.EqualTo(rhs), c.mEqual);
        EXPECT_EQ(BDM_Utils::NamesEqual(c.mLhs, c.mRhs), c.mEqual);
    }
    // A plain string attribute compares bytes.
    BDM_TypedCachedAttribute<std::string> a(Tags().cAssetComment, "a"),
        b(Tags().cAssetComment, "A");
    EXPECT_FALSE(a.EqualTo(b));
}

TEST(BDM_AttributeValue, EqualityAndAssignmentRules)
{
    const BDM_AttributeTags& t = Tags();
    BDM_AttributeValue emptyA(&t.cFileName), emptyB(&t.cFileName), emptyOther(&t.cAssetName);
    BDM_TypedAttributeValue<std::string> one(&t.cFileName, "one"), two(&t.cFileName, "two"),
        oneAgain(&t.cFileName, "one"), otherTag(&t.cAssetName, "one");
    EXPECT_TRUE(emptyA.EqualTo(emptyB));
    EXPECT_FALSE(emptyA.EqualTo(emptyOther));
    EXPECT_FALSE(emptyA.EqualTo(one));
    EXPECT_FALSE(one.EqualTo(emptyA));
    EXPECT_TRUE(one.EqualTo(oneAgain));
    EXPECT_FALSE(one.EqualTo(two));
    EXPECT_FALSE(one.EqualTo(otherTag));
    one.Assign(two);
    EXPECT_EQ(one.GetValue(), "two");
    EXPECT_TRUE(Test_Asserts([&] { one.Assign(otherTag); }, "mTag == inRhs.mTag"));
    EXPECT_TRUE(Test_Asserts([&] { one.Assign(emptyA); }, "mEmpty == inRhs.mEmpty"));
    // Links have no equality.
    BDM_TypedAttributeValue<BDM_Link> linkA(&t.cLink, BDM_Link()), linkB(&t.cLink, BDM_Link());
    EXPECT_TRUE(Test_Asserts([&] { linkA.EqualTo(linkB); }, "false"));
}

TEST(BDM_SortOrder, EqualWhenTagsInOrderAndSenseAgree)
{
    const BDM_AttributeTags& t = Tags();
    const BDM_SortOrder nameUp({&t.cFileName}, true);
    EXPECT_EQ(nameUp, BDM_SortOrder({&t.cFileName}, true));
    EXPECT_NE(nameUp, BDM_SortOrder({&t.cFileName}, false));
    EXPECT_NE(nameUp, BDM_SortOrder({&t.cFileTotalSize}, true));
    EXPECT_NE(BDM_SortOrder({&t.cFileName, &t.cFileModDate}, true),
              BDM_SortOrder({&t.cFileModDate, &t.cFileName}, true));
    EXPECT_FALSE(BDM_SortOrder().IsAscending());
}

TEST(BDM_Utils, ContainerKindsFiltersAndNames)
{
    for (int type = 0; type < BDM_cNumAssetTypes; ++type)
    {
        EXPECT_EQ(BDM_Utils::IsAssetContainerType(BDM_EAssetType(type)),
                  type == 1 || type == 4 || type == 5 || type == 6 || type == 7 || type == 8)
            << type;
    }

    Tarn_FileTypes::Initialize();
    const auto audio = [](int id)
    { return FF_AudioFile::FileTypeFromAudioFileType(EAudioFileType(id)); };
    const std::vector<std::pair<int, std::vector<Sys_FileType>>> formats = {
        {1002, {audio(2)}},
        {1003, {audio(3)}},
        {1004, {audio(4)}},
        {1005, {audio(4)}},
        {1017, {audio(17)}},
        {1500, {audio(6)}},
        {2002, {audio(6)}},
        {1501, {Tarn_FileTypes::cAVIFileType}},
        {2003, {Tarn_FileTypes::cSession32FileType}},
        {2007, {Tarn_FileTypes::cSessionFileType}},
        {0, {}},
        {1006, {}},
        {1999, {}},
        {2008, {}},
    };
    for (const auto& [format, expected] : formats)
        EXPECT_EQ(BDM_Utils::FilterFromFileFormat(BDM_EFileFormat(format)), expected) << format;
    EXPECT_EQ(BDM_Utils::FilterFromAssetType(BDM_eAssetType_Session).front(),
              Tarn_FileTypes::cSessionFileType);
    EXPECT_TRUE(BDM_Utils::FilterFromAssetType(BDM_eAssetType_Task).empty());

    struct NameCase
    {
        std::string mName;
        bool mValid;
        std::string mMessage;
    };
    const NameCase names[] = {
        {"Kick 01.wav", true, ""},
        {"", false, ""},
        {"a:b", false, "Name cannot contain the character(s) ':'."},
        {"a?b*c?", false, "Name cannot contain the character(s) '?*'."},
        {std::string("tab\there"), false, "Name cannot contain the character(s) '\t'."},
        {"<|>\"\\/", false, "Name cannot contain the character(s) '<|>\"\\/'."},
        {"caf\xc3\xa9", true, ""},
    };
    for (const NameCase& c : names)
    {
        std::string message = "unchanged";
        EXPECT_EQ(BDM_Utils::IsValidName(c.mName, &message), c.mValid) << c.mName;
        EXPECT_EQ(message, c.mValid ? "unchanged" : c.mMessage) << c.mName;
        EXPECT_EQ(Sys_CompatibilityUtils::ContainsIllegalChars(c.mName),
                  !c.mValid && !c.mName.empty());
    }
}
