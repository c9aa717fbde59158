// The file-system adapter over real folders.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "BDM/Adapters/FS/BFSa_Bin.h"
#include "BDM/BDM_Globals.h"
#include "BDM/BDM_Iterator.h"
#include "BDM/BDM_Utils.h"
#include "BDMTestSupport.h"
#include "Support/FFTestSupport.h"
#include "Support/TestSupport.h"
#include "Sys_FileUtils.h"

namespace
{
namespace fs = std::filesystem;

struct FolderFixture
{
    Test_TempDir mDir;
    BDM_Cache mCache;
    Cmn_AliasedRefCountPtr<BFSa_Bin> mBin;

    FolderFixture() : mBin(new BFSa_Bin(BFSa_Bin::eFileSystemFilter_AllFiles, &mCache))
    {
        BDMTest_Tags();
        BDMTest_Queue();
        MakeWave(Path("Kick.wav"), 2, 24, Bytes(6 * 100, 0), 44100);
        MakeWave(Path("Pad.wav"), 1, 16, Bytes(2 * 48000, 0), 48000);
        std::ofstream(Path("notes.txt")) << "hello";
        std::ofstream(Path(".hidden")) << "x";
        fs::create_directory(Path("Takes"));
        MakeWave(Path("Takes/Take 1.wav"), 1, 16, Bytes(2 * 10, 0), 48000);
    }
    ~FolderFixture() { mCache.ClearEntriesForBin(mBin.Get()); }
    std::string Path(const std::string& iName) const { return mDir.Path() + "/" + iName; }
    BDM_AssetHandle Asset(const std::string& iName)
    {
        return mBin->GetAsset(BFSa_Bin::MakeKey(Sys_FileLoc(Path(iName))));
    }
    std::vector<std::string> ChildNames(const std::string& iFolder)
    {
        std::list<BDM_KeyHandle> keys;
        Asset(iFolder)->GetChildren(&keys);
        std::vector<std::string> names;
        for (const BDM_KeyHandle& key : keys)
            names.push_back(static_cast<const BFSa_Key&>(*key).GetFileLoc().GetName());
        std::sort(names.begin(), names.end());
        return names;
    }
};

template <class T> std::optional<T> Value(BDM_Asset& iAsset, const BDM_TypedAttributeTag<T>& iTag)
{
    T value{};
    if (!iAsset.GetAttributeValue(iTag, &value))
        return std::nullopt;
    return value;
}
} // namespace

TEST(BFSa_Bin, ListsAFolderWithoutHiddenEntries)
{
    FolderFixture f;
    EXPECT_EQ(f.ChildNames(""),
              (std::vector<std::string>{"Kick.wav", "Pad.wav", "Takes", "notes.txt"}));
    EXPECT_EQ(f.ChildNames("Takes"), std::vector<std::string>{"Take 1.wav"});
    EXPECT_EQ(f.Asset("Takes/Take 1.wav")->GetParent().Get(), f.Asset("Takes").Get());
    // The audio filter keeps folders and audio files.
    Cmn_AliasedRefCountPtr<BFSa_Bin> audio(
        new BFSa_Bin(BFSa_Bin::eFileSystemFilter_AudioFiles, nullptr));
    std::list<BDM_KeyHandle> keys;
    audio->GetAsset(BFSa_Bin::MakeKey(Sys_FileLoc(f.mDir.Path())))->GetChildren(&keys);
    EXPECT_EQ(keys.size(), 3u);
}

TEST(BFSa_Bin, AttributesOfFoldersFilesAndAudio)
{
    FolderFixture f;
    const BDM_AttributeTags& t = BDMTest_Tags();
    BDM_AssetHandle kick = f.Asset("Kick.wav"), text = f.Asset("notes.txt"),
                    folder = f.Asset("Takes");
    struct Case
    {
        BDM_Asset* mAssetP;
        BDM_EAssetType mType;
        std::optional<int64_t> mTotalSize;
        std::optional<int32_t> mRate;
        std::optional<int16_t> mBits, mChannels;
        std::optional<int64_t> mSamples, mDuration;
        std::optional<BDM_EFileFormat> mFormat;
    };
    const Case cases[] = {
        {kick.Get(), BDM_eAssetType_Audio, int64_t(fs::file_size(f.Path("Kick.wav"))), 44100,
         int16_t(24), int16_t(2), 100, 100 * 1000000 / 44100, BDM_EFileFormat(1003)},
        {text.Get(), BDM_eAssetType_File, 5, {}, {}, {}, {}, {}, {}},
        {folder.Get(), BDM_eAssetType_Folder, {}, {}, {}, {}, {}, {}, {}},
    };
    for (const Case& c : cases)
    {
        BDM_Asset& asset = *c.mAssetP;
        SCOPED_TRACE(asset.GetName());
        EXPECT_EQ(asset.GetType(), c.mType);
        EXPECT_EQ(asset.IsContainer(), c.mType == BDM_eAssetType_Folder);
        EXPECT_EQ(Value(asset, t.cFileTotalSize), c.mTotalSize);
        EXPECT_EQ(Value(asset, t.cAudioFileSampleRate), c.mRate);
        EXPECT_EQ(Value(asset, t.cAudioFileBitDepth), c.mBits);
        EXPECT_EQ(Value(asset, t.cAudioFileNumChannels), c.mChannels);
        EXPECT_EQ(Value(asset, t.cAudioFileNumSamples), c.mSamples);
        EXPECT_EQ(Value(asset, t.cAssetDurationMicroseconds), c.mDuration);
        EXPECT_EQ(Value(asset, t.cFileFormat), c.mFormat);
        EXPECT_TRUE(Value(asset, t.cFileModDate).has_value());
        EXPECT_TRUE(asset.IsOnline());
        const auto components = Value(asset, t.cFilePathComponents);
        ASSERT_TRUE(components.has_value());
        EXPECT_EQ(components->back(), asset.GetName());
    }
}

TEST(BFSa_Bin, AFileThatVanishesGivesEmptyAttributesNeverAnException)
{
    FolderFixture f;
    const BDM_AttributeTags& t = BDMTest_Tags();
    BDM_AssetHandle kick = f.Asset("Kick.wav"), text = f.Asset("notes.txt");
    ASSERT_EQ(kick->GetType(), BDM_eAssetType_Audio);
    fs::remove(f.Path("Kick.wav"));
    fs::remove(f.Path("notes.txt"));
    EXPECT_FALSE(kick->IsOnline());
    EXPECT_FALSE(Value(*kick, t.cAudioFileSampleRate).has_value());
    EXPECT_FALSE(Value(*kick, t.cFileFormat).has_value());
    EXPECT_FALSE(text->IsOnline());
    // A key made after the file went: an asset with no file-system values.
    BDM_AssetHandle gone = f.Asset("Gone.wav");
    ASSERT_TRUE(gone);
    EXPECT_FALSE(Value(*gone, t.cFileTotalSize).has_value());
    EXPECT_FALSE(Value(*gone, t.cAudioFileNumSamples).has_value());
    EXPECT_EQ(gone->GetName(), "Gone.wav");
}

TEST(BFSa_Bin, EmbeddedOffsetMeansAudioAndKeysOrderByLocationThenOffset)
{
    FolderFixture f;
    // A text file with a WAVE file inside it, at 5 bytes.
    Bytes wave;
    {
        MakeWave(f.Path("inner.wav"), 1, 16, Bytes(2 * 30, 0), 22050);
        std::ifstream in(f.Path("inner.wav"), std::ios::binary);
        wave.assign(std::istreambuf_iterator<char>(in), {});
    }
    {
        std::ofstream out(f.Path("bundle.txt"), std::ios::binary);
        out << "HEAD:";
        out.write(reinterpret_cast<const char*>(wave.data()), std::streamsize(wave.size()));
    }
    BDM_KeyHandle key = BFSa_Bin::MakeKey(Sys_FileLoc(f.Path("bundle.txt")), false, 5);
    BDM_AssetHandle embedded = f.mBin->GetAsset(key);
    EXPECT_EQ(embedded->GetType(), BDM_eAssetType_Audio);
    EXPECT_EQ(Value(*embedded, BDMTest_Tags().cAudioFileEmbeddedFileOffset), int64_t(5));
    EXPECT_EQ(Value(*embedded, BDMTest_Tags().cAudioFileSampleRate), 22050);
    EXPECT_EQ(
        f.mBin->GetAsset(BFSa_Bin::MakeKey(Sys_FileLoc(f.Path("bundle.txt")), false, 0))->GetType(),
        BDM_eAssetType_File);
    const BFSa_Key a(Sys_FileLoc("/a"), false, 9), b(Sys_FileLoc("/a"), false, 10),
        c(Sys_FileLoc("/b"), false, 0);
    EXPECT_TRUE(a.IsLessThan(b));
    EXPECT_FALSE(b.IsLessThan(a));
    EXPECT_TRUE(b.IsLessThan(c));
    EXPECT_TRUE(
        Test_Asserts([&] { a.IsLessThan(*BDMTest_MakeKey(1)); }, "iKey.GetType() == eType_FS"));
}

TEST(BFSa_Bin, RenameThroughTheNameAndCopyIntoAFolder)
{
    FolderFixture f;
    const BDM_AttributeTags& t = BDMTest_Tags();
    BDM_AssetHandle pad = f.Asset("Pad.wav");
    static_cast<BDM_TypedAttribute<std::string>*>(pad->GetAttribute(t.cFileName))->Set("Pad 2.wav");
    EXPECT_FALSE(fs::exists(f.Path("Pad.wav")));
    EXPECT_TRUE(fs::exists(f.Path("Pad 2.wav")));
    EXPECT_EQ(f.Asset("Pad 2.wav")->GetName(), "Pad 2.wav");

    BDM_LazyObjectHandle copy =
        f.mBin->CopyAsset(*f.mBin, f.Asset("Kick.wav")->GetKey(), f.Asset("Takes")->GetKey());
    copy->QueueObjectLoader("copy");
    BDMTest_Drain();
    EXPECT_TRUE(copy->IsLoaded());
    EXPECT_EQ(copy->GetProgress().mUnitsCompleted, 1);
    EXPECT_EQ(f.ChildNames("Takes"), (std::vector<std::string>{"Kick.wav", "Take 1.wav"}));
    EXPECT_TRUE(
        Test_Asserts([] { BFSa_AssetCopier(Sys_FileLoc(), Sys_FileLoc("/nonexistent-folder")); },
                     "mSrcFileLoc || Sys_FileUtils::IsFolder( mDstFileLoc )"));
}

TEST(BFSa_QueryResult, FindsTheMatchingFilesWithinTheTimeGiven)
{
    FolderFixture f;
    const BDM_AttributeTags& t = BDMTest_Tags();
    BDM_PredicateFactory& factory = *f.mBin->GetPredicateFactory();
    using R = BDM_PredicateFactory;
    const auto term = [&](const auto& iTag, auto iValue, R::ERelation iRelation)
    {
        using T = typename std::remove_cvref_t<decltype(iTag)>::ValueType;
        return factory.MakePredicate(BDM_TypedAttributeValue<T>(&iTag, T(iValue)), iRelation);
    };
    struct Case
    {
        const char* mWhat;
        BDM_PredicateHandle mPredicate;
        std::vector<std::string> mFound;
    };
    const Case cases[] = {
        {"name contains",
         term(t.cFileName, std::string("KICK"), R::eRelation_Contains),
         {"Kick.wav"}},
        {"name equal, case ignored",
         term(t.cFileName, std::string("pad.WAV"), R::eRelation_Equal),
         {"Pad.wav"}},
        {"audio kind",
         term(t.cAssetType, BDM_eAssetType_Audio, R::eRelation_Equal),
         {"Kick.wav", "Pad.wav", "Take 1.wav"}},
        {"rate above",
         term(t.cAudioFileSampleRate, 44100, R::eRelation_Greater),
         {"Pad.wav", "Take 1.wav"}},
        {"and",
         factory.And(term(t.cAudioFileSampleRate, 48000, R::eRelation_Equal),
                     term(t.cAudioFileNumSamples, int64_t(100), R::eRelation_Less)),
         {"Take 1.wav"}},
        {"or, each once",
         factory.Or(term(t.cFileName, std::string("notes"), R::eRelation_Contains),
                    term(t.cAudioFileNumChannels, int16_t(1), R::eRelation_Equal)),
         {"Pad.wav", "Take 1.wav", "notes.txt"}},
        {"nothing", term(t.cFileTotalSize, int64_t(1) << 40, R::eRelation_GreaterOrEqual), {}},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.mWhat);
        std::unique_ptr<BDM_QueryResult> result =
            f.mBin->Query(c.mPredicate, BFSa_Bin::MakeKey(Sys_FileLoc(f.mDir.Path()), true));
        ASSERT_TRUE(result);
        std::vector<std::string> found;
        BDM_KeyHandle key;
        BDM_QueryResult::EResult r;
        while ((r = result->Next(&key, 1000)) == BDM_QueryResult::eResult_Delivered)
            found.push_back(static_cast<const BFSa_Key&>(*key).GetFileLoc().GetName());
        EXPECT_EQ(r, BDM_QueryResult::eResult_End);
        std::sort(found.begin(), found.end());
        EXPECT_EQ(found, c.mFound);
    }
    // No time: timed out at once, and the walk is still there to go on.
    std::unique_ptr<BDM_QueryResult> result =
        f.mBin->Query(term(t.cFileName, std::string("Kick.wav"), R::eRelation_Equal),
                      BFSa_Bin::MakeKey(Sys_FileLoc(f.mDir.Path()), true));
    BDM_KeyHandle key;
    EXPECT_EQ(result->Next(&key, 0), BDM_QueryResult::eResult_TimedOut);
    EXPECT_EQ(result->Next(&key, 1000), BDM_QueryResult::eResult_Delivered);
    EXPECT_TRUE(Test_Asserts(
        [&] {
            f.mBin->Query(term(t.cFileName, std::string("x"), R::eRelation_Equal),
                          BDMTest_MakeKey(1));
        },
        "iRoot && iRoot->GetType() == BDM_Key::eType_FS"));
    EXPECT_TRUE(Test_Asserts([&] { term(t.cAudioFileSampleRate, 1, R::eRelation_Contains); }, "0"));
}

TEST(BDM_Utils, SearchTermsSplitAtSpacesOutsideQuotes)
{
    struct Case
    {
        std::string mText;
        std::list<std::string> mTerms;
    };
    const Case cases[] = {
        {"", {}},
        {"   ", {}},
        {"\"kick drum\" snare", {"kick drum", "snare"}},
        {"a\"\"b", {"a", "b"}},
        {"take  2\t3", {"take", "2", "3"}},
        {"\"open quote rest", {"open quote rest"}},
        {"x\"y z\"w", {"x", "y z", "w"}},
    };
    for (const Case& c : cases)
    {
        std::list<std::string> terms{"stale"};
        BDM_Utils::ExtractSearchTerms(c.mText, &terms);
        EXPECT_EQ(terms, c.mTerms) << c.mText;
    }
}

TEST(BFSa_Bin, RecursiveCopyThenRecursiveDeleteOfATree)
{
    FolderFixture f;
    fs::create_directories(f.Path("Takes/Old"));
    std::ofstream(f.Path("Takes/Old/x.txt")) << "x";
    fs::create_directories(f.Path("Backup"));
    const auto tree = [](const std::string& iRoot)
    {
        std::vector<std::string> names;
        for (const auto& entry : fs::recursive_directory_iterator(iRoot))
            names.push_back(fs::relative(entry.path(), iRoot).string());
        std::sort(names.begin(), names.end());
        return names;
    };
    BDM_LazyObjectHandle copier(new BDM_RecursiveAssetCopier(*f.mBin, f.Asset("Takes")->GetKey(),
                                                             *f.mBin, f.Asset("Backup")->GetKey()));
    copier->QueueObjectLoader("copy");
    BDMTest_Drain();
    ASSERT_TRUE(copier->IsLoaded());
    EXPECT_EQ(tree(f.Path("Backup/Takes")), tree(f.Path("Takes")));
    EXPECT_EQ(
        tree(f.Path("Backup")),
        (std::vector<std::string>{"Takes", "Takes/Old", "Takes/Old/x.txt", "Takes/Take 1.wav"}));

    BDM_LazyObjectHandle deleter(
        new BDM_RecursiveAssetDeleter(*f.mBin, f.Asset("Takes")->GetKey()));
    deleter->QueueObjectLoader("delete");
    BDMTest_Drain();
    ASSERT_TRUE(deleter->IsLoaded());
    EXPECT_FALSE(fs::exists(f.Path("Takes")));
    EXPECT_TRUE(fs::exists(f.Path("Backup/Takes/Old/x.txt")));
}

TEST(BDM_Globals, FilesTheLibraryDeletesLeaveTheCacheMarked)
{
    FolderFixture f;
    BDM_Bin& bin =
        BDM_Globals::Instance()->FileSystemWithFilter(BDM_Globals::eFileSystemFilter_AllFiles);
    EXPECT_EQ(&bin, &BDM_Globals::Instance()->FileSystemWithFilter(
                        BDM_Globals::eFileSystemFilter_AllFiles));
    const Sys_FileLoc loc(f.Path("notes.txt"));
    BDM_AssetHandle asset = bin.GetAsset(BFSa_Bin::MakeKey(loc));
    EXPECT_EQ(bin.GetAsset(BFSa_Bin::MakeKey(loc)).Get(), asset.Get());
    {
        Sys_FileUtils::StDeleteFiles deleter(loc);
        deleter.Delete();
    }
    EXPECT_TRUE(asset->IsMarkedForDeletion());
    EXPECT_FALSE(asset->IsOnline());
    EXPECT_NE(bin.GetAsset(BFSa_Bin::MakeKey(loc)).Get(), asset.Get());
    // The queue holds still while a suspension lives.
    std::vector<std::string> log;
    BDMTest_WorkHandle work(new BDMTest_Work("w", &log));
    {
        BDM_Globals::StSuspendTaskQueue suspend;
        work->QueueObjectLoader("w");
        BDMTest_Queue().ExecuteForSlice();
        EXPECT_TRUE(log.empty());
    }
    BDMTest_Queue().ExecuteForSlice();
    EXPECT_EQ(log, std::vector<std::string>{"w"});
}
