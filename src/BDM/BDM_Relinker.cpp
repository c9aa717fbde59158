#include "BDM/BDM_Relinker.h"

#include <algorithm>
#include <chrono>

#include "BDM/BDM_Bin.h"
#include "BDM/BDM_Globals.h"
#include "BDM/BDM_Utils.h"
#include "Cmn_Assert.h"
#include "L10N_Utils.h"
#include "Sys_FileLocIterator.h"
#include "Sys_FileLocUtils.h"
#include "Sys_FileUtils.h"

namespace
{
constexpr int32_t cSearchingDatabases = 1236;
constexpr int32_t cSearchingFileSystemByName = 1238;
constexpr int32_t cSearchingFileSystemByFileID = 1239;

const BDM_AttributeTags& Tags()
{
    return *BDM_AttributeTags::Instance();
}

int64_t NowMicroseconds()
{
    return std::chrono::duration_cast<std::chrono::microseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// Joins iTerm to ioPredicate by And.
template <class T>
void AddTerm(BDM_PredicateFactory& iFactory, BDM_PredicateHandle* ioPredicateP,
             const BDM_TypedAttributeTag<T>& iTag, const T& iValue)
{
    const BDM_PredicateHandle term = iFactory.MakePredicate(
        BDM_TypedAttributeValue<T>(&iTag, iValue), BDM_PredicateFactory::eRelation_Equal);
    *ioPredicateP = *ioPredicateP ? iFactory.And(*ioPredicateP, term) : term;
}

std::string FoldedName(std::string iName)
{
    for (char& c : iName)
        if (c >= 'A' && c <= 'Z')
            c = char(c - 'A' + 'a');
    return iName;
}

bool IsMovieFormat(BDM_EFileFormat iFormat)
{
    return iFormat == BDM_eFileFormat_Movie || iFormat == BDM_eFileFormat_AVI;
}

// Whether a name on the way from iRoot down to iPath starts with "." (listings hide it).
bool IsHiddenBelow(const std::string& iPath, const std::string& iRoot)
{
    for (size_t at = std::min(iRoot.size(), iPath.size()); at < iPath.size(); ++at)
        if ((at == 0 || iPath[at - 1] == '/') && iPath[at] == '.')
            return true;
    return false;
}
} // namespace

BDM_Relinker::FileKeyFactory BDM_Relinker::sFileKeyFactory = nullptr;
BDM_Relinker::FileTester BDM_Relinker::sFileTester = nullptr;

void BDM_Relinker::SetFileSystemHooks(FileKeyFactory iFactory, FileTester iTester)
{
    sFileKeyFactory = iFactory;
    sFileTester = iTester;
}

BDM_KeyHandle BDM_Relinker::MakeFileKey(const Sys_FileLoc& iFile)
{
    CMN_ASSERT(sFileKeyFactory);
    return sFileKeyFactory(iFile);
}

bool BDM_Relinker::TestFile(const BDM_Predicate& iPredicate, BDM_Asset& iAsset)
{
    CMN_ASSERT(sFileTester);
    return sFileTester(iPredicate, iAsset);
}

BDM_Relinker::BDM_Relinker(const std::vector<BDM_Link>& iMissing,
                           const BDM_QueryAreaHandle& iArea, bool iByName, bool iByID)
    : mArea(iArea), mByName(iByName), mByID(iByID)
{
    CMN_ASSERT(mArea);
    mEntries.reserve(iMissing.size());
    for (const BDM_Link& link : iMissing)
    {
        CMN_ASSERT(link.mBin && link.mKey);
        Entry entry;
        entry.mLink = link;
        entry.mAsset = link.mBin->GetAsset(link.mKey);
        if (entry.mAsset)
            GetStoredLocation(*entry.mAsset, &entry.mStored);
        mEntries.push_back(std::move(entry));
    }
    SetProgressUnitsType(BDM_TaskProgress::eUnitsType_Files);
}

BDM_Relinker::BDM_Relinker(const std::vector<BDM_Link>& iMissing,
                           const BDM_QueryAreaHandle& iArea, const Settings& iSettings)
    : BDM_Relinker(iMissing, iArea, (iSettings.mMatchFlags & eMatch_ByName) != 0,
                   (iSettings.mMatchFlags & eMatch_ByID) != 0)
{
}

BDM_Relinker::~BDM_Relinker() = default;

bool BDM_Relinker::GetStoredLocation(BDM_Asset& iAsset, Sys_FileLoc* oLocP)
{
    if (iAsset.ResolveFileSystemAlias(oLocP))
        return true;
    BDM_StringList components;
    if (!iAsset.GetAttributeValue(Tags().cFilePathComponents, &components) || components.empty())
        return false;
    *oLocP = Sys_FileLoc(std::vector<std::string>(components.begin(), components.end()));
    return true;
}

void BDM_Relinker::CollectMissingFiles(BDM_Bin& iBin, const BDM_KeyHandle& iRoot,
                                       std::vector<BDM_Link>* oMissingP)
{
    std::vector<BDM_KeyHandle> stack{iRoot};
    while (!stack.empty())
    {
        const BDM_KeyHandle key = stack.back();
        stack.pop_back();
        BDM_AssetHandle asset = iBin.GetAsset(key);
        if (!asset)
            continue;
        if (asset->IsContainer())
        {
            std::list<BDM_KeyHandle> children;
            asset->GetChildren(&children);
            stack.insert(stack.end(), children.rbegin(), children.rend());
            continue;
        }
        Sys_FileLoc loc;
        if (!asset->ResolveFileSystemAlias(&loc) && GetStoredLocation(*asset, &loc))
            oMissingP->push_back({BDM_BinHandle(&iBin), key});
    }
}

void BDM_Relinker::SetFileToFind(size_t iIndex)
{
    CMN_ASSERT(iIndex < mEntries.size());
    mFileToFind = iIndex;
}

BDM_PredicateHandle BDM_Relinker::GeneratePredicate(BDM_PredicateFactory& iFactory)
{
    const BDM_AttributeTags& t = Tags();
    CMN_ASSERT(mFileToFind < mEntries.size() && mEntries[mFileToFind].mAsset);
    BDM_Asset* iFileToFind = mEntries[mFileToFind].mAsset.Get();
    BDM_PredicateHandle predicate;

    // 1. The format; a movie is known by its identifier.
    BDM_EFileFormat format = BDM_eFileFormat_Unknown;
    iFileToFind->GetAttributeValue(t.cFileFormat, &format);
    const BDM_EAssetType type = iFileToFind->GetType();
    bool byID = mByID;
    if (type == BDM_eAssetType_Video && IsMovieFormat(format))
        byID = true;
    // 2. An embedded file.
    int64_t offset = 0;
    if (iFileToFind->GetAttributeValue(t.cAudioFileEmbeddedFileOffset, &offset) && offset > 0)
        AddTerm(iFactory, &predicate, t.cAudioFileEmbeddedFileOffset, offset);
    // 3. The name.
    if (mByName)
    {
        Sys_FileLoc fileLoc;
        CMN_ASSERT_TEXT(GetStoredLocation(*iFileToFind, &fileLoc),
                        "iFileToFind->ResolveFileSystemAlias( &fileLoc )");
        AddTerm(iFactory, &predicate, t.cFileName, fileLoc.GetName());
    }
    // 4. The identifier.
    Sys_Umid id;
    if (byID && iFileToFind->GetAttributeValue(t.cAssetID, &id) && !id.IsNoID())
        AddTerm(iFactory, &predicate, t.cAssetID, id);
    // 5. The length of audio, when known.
    if (type == BDM_eAssetType_Audio)
    {
        BDM_Attribute* numSamplesAttribute = iFileToFind->GetAttribute(t.cAudioFileNumSamples);
        CMN_ASSERT_TEXT(numSamplesAttribute, "numSamplesAttribute");
        int64_t numSamples = 0;
        if (BDM_GetAttributeValue(t.cAudioFileNumSamples, numSamplesAttribute, &numSamples) &&
            numSamples != 0 && numSamples != -1)
            AddTerm(iFactory, &predicate, t.cAudioFileNumSamples, numSamples);
    }
    // 6. Nothing to search by.
    if (!predicate)
        return predicate;
    // 7. The format.
    if (type == BDM_eAssetType_Video ? !IsMovieFormat(format) : format != BDM_eFileFormat_Unknown)
        AddTerm(iFactory, &predicate, t.cFileFormat, format);
    // 8. The modification date.
    int64_t modDate = 0;
    if (iFileToFind->GetAttributeValue(t.cFileModDate, &modDate) && modDate != 0)
        AddTerm(iFactory, &predicate, t.cFileModDate, modDate);
    return predicate;
}

const BDM_PredicateHandle& BDM_Relinker::FilePredicate(Entry& ioEntry)
{
    if (!ioEntry.mPredicateMade)
    {
        ioEntry.mPredicateMade = true;
        BDM_PredicateFactory* factoryP =
            BDM_Globals::Instance()
                ->FileSystemWithFilter(BDM_Globals::eFileSystemFilter_AllFiles)
                .GetPredicateFactory();
        CMN_ASSERT(factoryP);
        ioEntry.mFilePredicate = GeneratePredicate(*factoryP);
    }
    return ioEntry.mFilePredicate;
}

bool BDM_Relinker::LinkIfMatch(BDM_Asset& iCandidate)
{
    CMN_ASSERT(mFileToFind < mEntries.size());
    Entry& entry = mEntries[mFileToFind];
    if (entry.mFound || !entry.mAsset)
        return false;
    Sys_FileLoc candidateLoc;
    if (!iCandidate.ResolveFileSystemAlias(&candidateLoc))
        return false;
    const Sys_FileLoc file(candidateLoc.GetParentFolder(), candidateLoc.GetName(),
                           Sys_FileType::cUnknown);
    if (!Sys_FileUtils::Exists(file) || Sys_FileUtils::IsFolder(file) ||
        Sys_FileLocUtils::IsInTrash(file))
        return false;
    BDM_Bin& fileSystem =
        BDM_Globals::Instance()->FileSystemWithFilter(BDM_Globals::eFileSystemFilter_AllFiles);
    const BDM_PredicateHandle& predicate = FilePredicate(entry);
    if (!predicate)
        return false;
    BDM_AssetHandle found = fileSystem.GetAsset(MakeFileKey(file));
    if (!found || !TestFile(*predicate, *found))
        return false;
    LinkFound(*found, file);
    return true;
}

void BDM_Relinker::LinkFound(BDM_Asset& iFound, const Sys_FileLoc& iFile)
{
    CMN_ASSERT(mFileToFind < mEntries.size());
    Entry& entry = mEntries[mFileToFind];
    CMN_ASSERT(entry.mAsset && !entry.mFound);
    Link(*entry.mAsset, iFound);
    entry.mFound = true;
    entry.mFoundLoc = iFile;
    ++mNumFound;
    UpdateUnitsCompleted(1);
}

void BDM_Relinker::Link(BDM_Asset& iAsset, BDM_Asset& iFound)
{
    const BDM_AttributeTags& t = Tags();
    BDM_Attribute* linkAttribute = iAsset.GetAttribute(t.cLink);
    CMN_ASSERT_TEXT(linkAttribute, "linkAttribute");
    if (mDryRun)
        return;
    static_cast<BDM_TypedAttribute<BDM_Link>*>(linkAttribute)
        ->Set(BDM_Link{BDM_BinHandle(iFound.GetBin()), iFound.GetKey()});
    const bool catalog = iAsset.GetKey()->GetType() == BDM_Key::eType_Neo;
    if (!catalog)
        return;
    // The catalog's entry keeps the new location.
    for (const BDM_AttributeTag* tagP :
         std::initializer_list<const BDM_AttributeTag*>{&t.cFilePathComponents, &t.cFileVolumeID})
    {
        BDM_Attribute* toP = iAsset.GetAttribute(*tagP);
        BDM_Attribute* fromP = iFound.GetAttribute(*tagP);
        if (toP && fromP)
            toP->Assign(*fromP);
    }
    const std::string name = iFound.GetName();
    if (!BDM_Utils::NamesEqual(name, iAsset.GetName()))
    {
        bool taken = false;
        if (BDM_AssetHandle parent = iAsset.GetParent())
        {
            std::list<BDM_KeyHandle> siblings;
            parent->GetChildren(&siblings);
            for (const BDM_KeyHandle& sibling : siblings)
            {
                BDM_AssetHandle other = iAsset.GetBin()->GetAsset(sibling);
                taken = taken || (other && BDM_Utils::NamesEqual(other->GetName(), name));
            }
        }
        BDM_Attribute* nameP = iAsset.GetAttribute(t.cFileName);
        if (!taken && nameP)
            static_cast<BDM_TypedAttribute<std::string>*>(nameP)->Set(name);
    }
    if (mTouched.insert(iAsset.GetBin()).second)
        mTouchedHold.emplace_back(iAsset.GetBin());
    if (++mSinceCommit >= cCommitInterval)
        CommitTouched();
}

void BDM_Relinker::CommitTouched()
{
    for (const BDM_BinHandle& bin : mTouchedHold)
        bin->Commit();
    mSinceCommit = 0;
}

void BDM_Relinker::Finalize()
{
    if (!mDryRun)
        CommitTouched();
    mDatabaseResult.reset();
    mWalk.reset();
    const int32_t left = GetNumNotFound();
    mReport = left > 0 ? L10N_Utils::ReplaceInserts(L10N_Utils::GetResourceString(cFilesNotFoundID),
                                                     {std::to_string(left)})
                       : std::string();
    UpdateStatusMessage(mReport);
}

std::string BDM_Relinker::GetLoadName() const
{
    return L10N_Utils::GetResourceString(cSearchingDatabases);
}

BDM_LazyObject::ErrorHandler BDM_Relinker::GetLoadErrorHandler() const
{
    // A failure leaves the entries not yet found offline; the caller hears of it.
    return [](BDM_LazyObject& ioObject, const std::string& iText)
    { ioObject.UpdateStatusMessage(iText); };
}

std::vector<BDM_Relinker::Outcome> BDM_Relinker::GetOutcomes() const
{
    std::vector<Outcome> outcomes;
    outcomes.reserve(mEntries.size());
    for (const Entry& entry : mEntries)
        outcomes.push_back({entry.mLink, entry.mStored, entry.mFoundLoc});
    return outcomes;
}

void BDM_Relinker::Prepare()
{
    mFileSystemArea = mArea->ExtractFileSystemArea();
    for (Entry& entry : mEntries)
    {
        if (!entry.mAsset)
            continue;
        entry.mHasName = mByName && !entry.mStored.IsEmpty();
        if (entry.mHasName)
            entry.mName = FoldedName(entry.mStored.GetName());
        entry.mHasID = entry.mAsset->GetAttributeValue(Tags().cAssetID, &entry.mID) &&
                       !entry.mID.IsNoID();
    }
    UpdateUnitsToComplete(int64_t(mEntries.size()));
}

bool BDM_Relinker::SearchDatabases(int64_t iDeadline)
{
    for (; mFileToFind < mEntries.size(); ++mFileToFind, mDatabaseResult.reset())
    {
        Entry& entry = mEntries[mFileToFind];
        if (entry.mFound || !entry.mAsset)
            continue;
        if (!mDatabaseResult)
        {
            const BDM_PredicateHandle predicate = GeneratePredicate(*mArea->GetPredicateFactory());
            if (!predicate)
                continue;
            mDatabaseResult = mArea->Query(predicate);
        }
        for (;;)
        {
            const int64_t left = (iDeadline - NowMicroseconds()) / 1000;
            if (left < 1)
                return false;
            BDM_KeyHandle key;
            const BDM_QueryResult::EResult result = mDatabaseResult->Next(&key, int32_t(left));
            if (result == BDM_QueryResult::eResult_End)
                break;
            if (result != BDM_QueryResult::eResult_Delivered)
            {
                CMN_ASSERT_TEXT(result == BDM_QueryResult::eResult_TimedOut,
                                "result == BDM_QueryResult::eResult_TimedOut");
                continue;
            }
            BDM_Bin* binP = mDatabaseResult->GetBinOfLastKey();
            if (binP == entry.mLink.mBin.Get() && !key->IsLessThan(*entry.mLink.mKey) &&
                !entry.mLink.mKey->IsLessThan(*key))
                continue; // the entry itself
            BDM_AssetHandle candidate = binP->GetAsset(key);
            if (candidate && LinkIfMatch(*candidate))
                break;
        }
    }
    return true;
}

void BDM_Relinker::BeginWalk()
{
    mWalk.reset();
    const auto& roots = mFileSystemArea->GetEntries();
    mByNameIndex.clear();
    mByIDIndex.clear();
    mUnkeyed.clear();
    for (size_t index = 0; index < mEntries.size(); ++index)
    {
        Entry& entry = mEntries[index];
        if (entry.mFound || !entry.mAsset)
            continue;
        mFileToFind = index;
        if (!FilePredicate(entry))
            continue; // nothing to search by
        if (entry.mHasName)
            mByNameIndex.emplace(entry.mName, index);
        else if (entry.mHasID && (mByID || entry.mAsset->GetType() == BDM_eAssetType_Video))
            mByIDIndex.emplace(entry.mID, index);
        else
            mUnkeyed.push_back(index);
    }
    // Entries known by their identifier alone, all of them audio: only audio files can pass.
    bool audioOnly = mByNameIndex.empty() && mUnkeyed.empty();
    for (const auto& [id, index] : mByIDIndex)
        audioOnly = audioOnly && mEntries[index].mAsset->GetType() == BDM_eAssetType_Audio;
    if (mByNameIndex.empty() && mByIDIndex.empty() && mUnkeyed.empty())
    {
        mRoot = roots.size();
        return;
    }
    for (; mRoot < roots.size() && !mWalk; ++mRoot)
    {
        BDM_AssetHandle root = roots[mRoot].mBin->GetAsset(roots[mRoot].mRoot);
        Sys_FileLoc folder;
        if (!root || !root->ResolveFileSystemAlias(&folder) || !Sys_FileUtils::IsFolder(folder))
            continue;
        mRootPath = folder.GetFullPath();
        mWalk = audioOnly ? std::make_unique<Sys_FileLocIterator>(
                                folder, BDM_Globals::Instance()->Filter(
                                            BDM_Globals::eFileSystemFilter_AudioFiles))
                          : std::make_unique<Sys_FileLocIterator>(folder, std::string("*"));
    }
}

void BDM_Relinker::TryFile(const Sys_FileLoc& iFile)
{
    BDM_AssetHandle candidate;
    const auto candidateAsset = [&]() -> BDM_Asset*
    {
        if (!candidate)
            candidate = BDM_Globals::Instance()
                            ->FileSystemWithFilter(BDM_Globals::eFileSystemFilter_AllFiles)
                            .GetAsset(MakeFileKey(iFile));
        return candidate.Get();
    };
    std::vector<size_t> indices;
    const auto [nameBegin, nameEnd] = mByNameIndex.equal_range(FoldedName(iFile.GetName()));
    for (auto it = nameBegin; it != nameEnd; ++it)
        indices.push_back(it->second);
    Sys_Umid id;
    if (!mByIDIndex.empty() && candidateAsset() &&
        (candidate->GetType() == BDM_eAssetType_Audio ||
         candidate->GetType() == BDM_eAssetType_Video) &&
        candidate->GetAttributeValue(Tags().cAssetID, &id))
    {
        const auto [idBegin, idEnd] = mByIDIndex.equal_range(id);
        for (auto it = idBegin; it != idEnd; ++it)
            indices.push_back(it->second);
    }
    indices.insert(indices.end(), mUnkeyed.begin(), mUnkeyed.end());
    if (indices.empty() || !candidateAsset())
        return;
    // The entries in the order given: each takes the first file of the walk that passes.
    std::sort(indices.begin(), indices.end());
    for (size_t index : indices)
    {
        if (mEntries[index].mFound)
            continue;
        mFileToFind = index;
        LinkIfMatch(*candidate);
    }
}

bool BDM_Relinker::SearchFileSystem(int64_t iDeadline)
{
    while (mWalk)
    {
        const int64_t left = iDeadline - NowMicroseconds();
        if (left <= 0)
            return false;
        if (mWalk->Next(left))
        {
            const Sys_FileLoc file = **mWalk;
            if (!IsHiddenBelow(file.GetFullPath(), mRootPath) && !Sys_FileUtils::IsFolder(file))
                TryFile(file);
            if (mNumFound == int32_t(mEntries.size()))
                mWalk.reset();
            continue;
        }
        if (mWalk->IsDone())
            BeginWalk(); // the next root, for the entries still unfound
    }
    return true;
}

bool BDM_Relinker::Load()
{
    const int64_t deadline = NowMicroseconds() + cBudgetMicroseconds;
    switch (mStage)
    {
    case 0:
        Prepare();
        mStage = 1;
        mFileToFind = 0;
        UpdateStatusMessage(L10N_Utils::GetResourceString(cSearchingDatabases));
        if (mArea->IsEmpty())
            mFileToFind = mEntries.size();
        [[fallthrough]];
    case 1:
        if (!SearchDatabases(deadline))
            return false;
        mStage = 2;
        mRoot = 0;
        UpdateStatusMessage(L10N_Utils::GetResourceString(
            mByName ? cSearchingFileSystemByName : cSearchingFileSystemByFileID));
        BeginWalk();
        [[fallthrough]];
    case 2:
        if (!SearchFileSystem(deadline))
            return false;
        mStage = 3;
        Finalize();
        [[fallthrough]];
    default:
        return true;
    }
}
