#include "BDM/Adapters/FS/BFSa_Query.h"

#include <algorithm>
#include <chrono>

#include "BDM/BDM_Relinker.h"
#include "BDM/BDM_Utils.h"
#include "Sys_FileUtils.h"

namespace
{
const BDM_AttributeTags& Tags()
{
    return *BDM_AttributeTags::Instance();
}

template <class T>
bool Compare(const T& iLhs, const T& iRhs, BDM_PredicateFactory::ERelation iRelation)
{
    switch (iRelation)
    {
    case BDM_PredicateFactory::eRelation_Equal:
        return BDM_ValueEqual(iLhs, iRhs);
    case BDM_PredicateFactory::eRelation_NotEqual:
        return !BDM_ValueEqual(iLhs, iRhs);
    case BDM_PredicateFactory::eRelation_Less:
        return BDM_ValueLess(iLhs, iRhs);
    case BDM_PredicateFactory::eRelation_LessOrEqual:
        return !BDM_ValueLess(iRhs, iLhs);
    case BDM_PredicateFactory::eRelation_Greater:
        return BDM_ValueLess(iRhs, iLhs);
    case BDM_PredicateFactory::eRelation_GreaterOrEqual:
        return !BDM_ValueLess(iLhs, iRhs);
    default:
        CMN_ASSERT_TEXT(false, "0"); // contains is for strings only
        return false;
    }
}

std::string Folded(std::string iText)
{
    for (char& c : iText)
        if (c >= 'A' && c <= 'Z')
            c = char(c - 'A' + 'a');
    return iText;
}

bool CompareStrings(const BDM_AttributeTag& iTag, const std::string& iLhs, const std::string& iRhs,
                    BDM_PredicateFactory::ERelation iRelation)
{
    if (iRelation == BDM_PredicateFactory::eRelation_Contains)
        return Folded(iLhs).find(Folded(iRhs)) != std::string::npos;
    // Names compare as the file system compares them.
    if (iTag == Tags().cFileName || iTag == Tags().cAssetName)
    {
        const bool equal = BDM_Utils::NamesEqual(iLhs, iRhs);
        const bool less = BDM_Utils::NameLess(iLhs, iRhs);
        switch (iRelation)
        {
        case BDM_PredicateFactory::eRelation_Equal:
            return equal;
        case BDM_PredicateFactory::eRelation_NotEqual:
            return !equal;
        case BDM_PredicateFactory::eRelation_Less:
            return less;
        case BDM_PredicateFactory::eRelation_LessOrEqual:
            return less || equal;
        case BDM_PredicateFactory::eRelation_Greater:
            return !less && !equal;
        default:
            return !less;
        }
    }
    return Compare(iLhs, iRhs, iRelation);
}

bool IsAudioTag(const BDM_AttributeTag& iTag)
{
    const BDM_AttributeTags& t = Tags();
    return iTag == t.cAudioFileSampleRate || iTag == t.cAudioFileBitDepth ||
           iTag == t.cAudioFileNumSamples || iTag == t.cAudioFileNumChannels ||
           iTag == t.cAssetDurationMicroseconds || iTag == t.cAudioFileOriginalTimestamp ||
           iTag == t.cAudioFileUserTimestamp || iTag == t.cAssetID || iTag == t.cSourceTapeName ||
           iTag == t.cSourceTapeTimecodeFormat || iTag == t.cFileEmbeddedComment;
}

template <class T>
BDM_PredicateHandle Term(const BDM_AttributeValue& iValue,
                         BDM_PredicateFactory::ERelation iRelation)
{
    const auto& typed = static_cast<const BDM_TypedAttributeValue<T>&>(iValue);
    return BDM_PredicateHandle(
        new BFSa_Predicate<T>(static_cast<const BDM_TypedAttributeTag<T>&>(*iValue.GetTag()),
                              typed.GetValue(), iRelation));
}

// Whether a name on the way from iRoot down to iPath starts with ".".
bool IsHiddenBelow(const std::string& iPath, const std::string& iRoot)
{
    size_t at = iPath.compare(0, iRoot.size(), iRoot) == 0 ? iRoot.size() : 0;
    for (; at < iPath.size(); ++at)
        if ((at == 0 || iPath[at - 1] == '/') && iPath[at] == '.')
            return true;
    return false;
}

Cmn_AliasedRefCountPtr<BFSa_PredicateBase> AsFS(const BDM_PredicateHandle& iPredicate)
{
    auto* fsPredicate = dynamic_cast<BFSa_PredicateBase*>(iPredicate.Get());
    CMN_ASSERT(fsPredicate);
    return Cmn_AliasedRefCountPtr<BFSa_PredicateBase>(fsPredicate);
}
} // namespace

// ---- terms -------------------------------------------------------------------------------

template <class T> bool BFSa_Predicate<T>::Matches(BDM_Asset& iAsset) const
{
    T value{};
    if (!iAsset.GetAttributeValue(mTag, &value))
        return false;
    if constexpr (std::is_same_v<T, std::string>)
        return CompareStrings(mTag, value, mValue, mRelation);
    else
        return Compare(value, mValue, mRelation);
}

template <class T> bool BFSa_Predicate<T>::NeedsFileOpen() const
{
    return IsAudioTag(mTag);
}

template <class T> std::vector<Sys_FileType> BFSa_Predicate<T>::GetFileTypes() const
{
    if constexpr (std::is_same_v<T, BDM_EAssetType>)
    {
        if (mRelation == BDM_PredicateFactory::eRelation_Equal && mValue != BDM_eAssetType_File)
            return BDM_Utils::FilterFromAssetType(mValue);
    }
    if constexpr (std::is_same_v<T, BDM_EFileFormat>)
    {
        if (mRelation == BDM_PredicateFactory::eRelation_Equal)
            return BDM_Utils::FilterFromFileFormat(mValue);
    }
    if (IsAudioTag(mTag))
        return BDM_Utils::FilterFromAssetType(BDM_eAssetType_Audio);
    return {};
}

template class BFSa_Predicate<std::string>;
template class BFSa_Predicate<int64_t>;
template class BFSa_Predicate<int16_t>;
template class BFSa_Predicate<int32_t>;
template class BFSa_Predicate<Sys_Umid>;
template class BFSa_Predicate<BDM_EAssetType>;
template class BFSa_Predicate<BDM_EFileFormat>;
template class BFSa_Predicate<ETimeCodeFormat>;

bool BFSa_AndPredicate::Matches(BDM_Asset& iAsset) const
{
    return std::all_of(mTerms.begin(), mTerms.end(),
                       [&](const auto& t) { return t->Matches(iAsset); });
}

bool BFSa_AndPredicate::NeedsFileOpen() const
{
    return std::any_of(mTerms.begin(), mTerms.end(),
                       [](const auto& t) { return t->NeedsFileOpen(); });
}

std::vector<Sys_FileType> BFSa_AndPredicate::GetFileTypes() const
{
    std::vector<Sys_FileType> types;
    bool limited = false;
    for (const auto& term : mTerms)
    {
        std::vector<Sys_FileType> own = term->GetFileTypes();
        if (own.empty())
            continue;
        if (!limited)
            types = own;
        else
            std::erase_if(types, [&](const Sys_FileType& t)
                          { return std::find(own.begin(), own.end(), t) == own.end(); });
        limited = true;
    }
    if (limited && types.empty())
        types.push_back(Sys_FileType::cUnknown); // no type can match: a walk of nothing
    return types;
}

bool BFSa_OrPredicate::Matches(BDM_Asset& iAsset) const
{
    return std::any_of(mTerms.begin(), mTerms.end(),
                       [&](const auto& t) { return t->Matches(iAsset); });
}

bool BFSa_OrPredicate::NeedsFileOpen() const
{
    return std::any_of(mTerms.begin(), mTerms.end(),
                       [](const auto& t) { return t->NeedsFileOpen(); });
}

std::vector<Sys_FileType> BFSa_OrPredicate::GetFileTypes() const
{
    std::vector<Sys_FileType> types;
    for (const auto& term : mTerms)
    {
        std::vector<Sys_FileType> own = term->GetFileTypes();
        if (own.empty())
            return {};
        for (const Sys_FileType& type : own)
            if (std::find(types.begin(), types.end(), type) == types.end())
                types.push_back(type);
    }
    return types;
}

// ---- factory -----------------------------------------------------------------------------

BDM_PredicateHandle BFSa_PredicateFactory::MakePredicate(const BDM_AttributeValue& iValue,
                                                         ERelation iRelation)
{
    CMN_ASSERT(!iValue.IsEmpty() && iValue.GetTag());
    const std::type_info& type = iValue.GetTag()->GetValueType();
    if (type == typeid(std::string))
        return Term<std::string>(iValue, iRelation);
    CMN_ASSERT_TEXT(iRelation != eRelation_Contains, "0");
    if (type == typeid(int64_t))
        return Term<int64_t>(iValue, iRelation);
    if (type == typeid(int16_t))
        return Term<int16_t>(iValue, iRelation);
    if (type == typeid(int32_t))
        return Term<int32_t>(iValue, iRelation);
    if (type == typeid(Sys_Umid))
        return Term<Sys_Umid>(iValue, iRelation);
    if (type == typeid(BDM_EAssetType))
        return Term<BDM_EAssetType>(iValue, iRelation);
    if (type == typeid(BDM_EFileFormat))
        return Term<BDM_EFileFormat>(iValue, iRelation);
    if (type == typeid(ETimeCodeFormat))
        return Term<ETimeCodeFormat>(iValue, iRelation);
    CMN_ASSERT_TEXT(false, "0");
    return BDM_PredicateHandle();
}

BDM_PredicateHandle BFSa_PredicateFactory::And(const BDM_PredicateHandle& iLeft,
                                               const BDM_PredicateHandle& iRight)
{
    auto* andP = new BFSa_AndPredicate;
    andP->mTerms = {AsFS(iLeft), AsFS(iRight)};
    return BDM_PredicateHandle(andP);
}

BDM_PredicateHandle BFSa_PredicateFactory::Or(const BDM_PredicateHandle& iLeft,
                                              const BDM_PredicateHandle& iRight)
{
    auto* orP = new BFSa_OrPredicate;
    orP->mTerms = {AsFS(iLeft), AsFS(iRight)};
    return BDM_PredicateHandle(orP);
}

// ---- result ------------------------------------------------------------------------------

BFSa_QueryResult::BFSa_QueryResult(BFSa_Bin& iBin, const BDM_PredicateHandle& iPredicate,
                                   const BDM_KeyHandle& iRoot)
    : mBinHold(&iBin), mBinP(&iBin)
{
    auto* fsPredicate = dynamic_cast<BFSa_PredicateBase*>(iPredicate.Get());
    CMN_ASSERT(fsPredicate);
    const bool fsKey = iRoot && iRoot->GetType() == BDM_Key::eType_FS;
    CMN_ASSERT(fsKey);
    const Sys_FileLoc& root = static_cast<const BFSa_Key&>(*iRoot).GetFileLoc();
    mRootPath = root.GetFullPath();
    std::vector<Cmn_AliasedRefCountPtr<BFSa_PredicateBase>> branches;
    if (auto* orP = dynamic_cast<BFSa_OrPredicate*>(fsPredicate))
        branches = orP->mTerms;
    else
        branches.emplace_back(fsPredicate);
    for (const auto& branch : branches)
    {
        CMN_ASSERT(branch);
        const std::vector<Sys_FileType> types = branch->GetFileTypes();
        WorkItem item{branch, types.empty() ? std::make_unique<Sys_FileLocIterator>(root, "*")
                                            : std::make_unique<Sys_FileLocIterator>(root, types)};
        mItems.push_back(std::move(item));
    }
}

BDM_QueryResult::EResult BFSa_QueryResult::Next(BDM_KeyHandle* oKeyP, int32_t iMilliseconds)
{
    using Clock = std::chrono::steady_clock;
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(iMilliseconds);
    while (mCurrent < mItems.size())
    {
        const auto left =
            std::chrono::duration_cast<std::chrono::microseconds>(deadline - Clock::now());
        if (left.count() <= 0)
            return eResult_TimedOut;
        WorkItem& item = mItems[mCurrent];
        if (!item.mIterator->Next(left.count()))
        {
            if (item.mIterator->IsDone())
                ++mCurrent;
            continue;
        }
        const Sys_FileLoc& loc = **item.mIterator;
        if (IsHiddenBelow(loc.GetFullPath(), mRootPath))
            continue; // as listings do, hidden entries and what lies in them are not found
        BDM_KeyHandle key = BFSa_Bin::MakeKey(loc, Sys_FileUtils::IsFolder(loc), 0);
        BDM_AssetHandle asset = mBinP->GetAsset(key);
        if (!asset || !item.mPredicate->Matches(*asset))
            continue;
        // A file that an earlier branch delivered is not delivered again.
        bool matchedBefore = false;
        for (size_t i = 0; i < mCurrent && !matchedBefore; ++i)
            matchedBefore = mItems[i].mPredicate->Matches(*asset);
        if (matchedBefore)
            continue;
        *oKeyP = key;
        return eResult_Delivered;
    }
    return eResult_End;
}

// ---- the relinker's way to this adapter --------------------------------------------------

namespace
{
BDM_KeyHandle MakeRelinkFileKey(const Sys_FileLoc& iFile)
{
    return BFSa_Bin::MakeKey(iFile);
}
bool TestRelinkFile(const BDM_Predicate& iPredicate, BDM_Asset& iAsset)
{
    const auto* fsPredicate = dynamic_cast<const BFSa_PredicateBase*>(&iPredicate);
    return fsPredicate && fsPredicate->Matches(iAsset);
}
[[maybe_unused]] const bool sRelinkerHooksInstalled =
    (BDM_Relinker::SetFileSystemHooks(&MakeRelinkFileKey, &TestRelinkFile), true);
} // namespace
