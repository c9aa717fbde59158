// Searching the file system: predicates over the attributes of file-system assets, and the
// result that walks folders to find the assets that match.
//
// A term (BFSa_Predicate<T>) compares one attribute; And and Or join terms. A term on the
// kind of asset or on an audio attribute can be limited to a set of file types, so that the
// walk looks only at files of those types; other terms look at every file. An Or is taken
// apart into one work item per branch, each with a walker of its own.
// Hidden entries (a name below the root that starts with ".") are not found, as listings
// do not show them.
// Threads: the browser's thread.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "BDM/Adapters/FS/BFSa_Bin.h"
#include "BDM/BDM_Query.h"
#include "Sys_FileLocIterator.h"

class BFSa_PredicateBase : public BDM_Predicate
{
public:
    BDM_Key::EType GetKeyType() const override { return BDM_Key::eType_FS; }
    virtual bool Matches(BDM_Asset& iAsset) const = 0;
    // Whether answering needs the audio file opened.
    virtual bool NeedsFileOpen() const = 0;
    // The file types the term can be limited to; empty for any file.
    virtual std::vector<Sys_FileType> GetFileTypes() const = 0;
};

template <class T> class BFSa_Predicate : public BFSa_PredicateBase
{
public:
    BFSa_Predicate(const BDM_TypedAttributeTag<T>& iTag, const T& iValue,
                   BDM_PredicateFactory::ERelation iRelation)
        : mTag(iTag), mValue(iValue), mRelation(iRelation)
    {
    }
    bool Matches(BDM_Asset& iAsset) const override;
    bool NeedsFileOpen() const override;
    std::vector<Sys_FileType> GetFileTypes() const override;

private:
    const BDM_TypedAttributeTag<T>& mTag;
    T mValue;
    BDM_PredicateFactory::ERelation mRelation;
};

class BFSa_AndPredicate : public BFSa_PredicateBase
{
public:
    std::vector<Cmn_AliasedRefCountPtr<BFSa_PredicateBase>> mTerms;
    bool Matches(BDM_Asset& iAsset) const override;
    bool NeedsFileOpen() const override;
    // The types every term allows.
    std::vector<Sys_FileType> GetFileTypes() const override;
};

class BFSa_OrPredicate : public BFSa_PredicateBase
{
public:
    std::vector<Cmn_AliasedRefCountPtr<BFSa_PredicateBase>> mTerms;
    bool Matches(BDM_Asset& iAsset) const override;
    bool NeedsFileOpen() const override;
    // Any file when one branch allows any.
    std::vector<Sys_FileType> GetFileTypes() const override;
};

class BFSa_PredicateFactory : public BDM_PredicateFactory
{
public:
    // Terms on strings, int64, int16, int32, Sys_Umid, kinds, formats and time-code formats;
    // a value of another type asserts "0".
    BDM_PredicateHandle MakePredicate(const BDM_AttributeValue& iValue,
                                      ERelation iRelation) override;
    BDM_PredicateHandle And(const BDM_PredicateHandle& iLeft,
                            const BDM_PredicateHandle& iRight) override;
    BDM_PredicateHandle Or(const BDM_PredicateHandle& iLeft,
                           const BDM_PredicateHandle& iRight) override;
};

class BFSa_QueryResult : public BDM_QueryResult
{
public:
    // Asserts "fsPredicate" (a file-system predicate) and "fsKey" (a file-system root).
    BFSa_QueryResult(BFSa_Bin& iBin, const BDM_PredicateHandle& iPredicate,
                     const BDM_KeyHandle& iRoot);
    EResult Next(BDM_KeyHandle* oKeyP, int32_t iMilliseconds) override;

private:
    struct WorkItem
    {
        Cmn_AliasedRefCountPtr<BFSa_PredicateBase> mPredicate;
        std::unique_ptr<Sys_FileLocIterator> mIterator;
    };
    BDM_BinHandle mBinHold;
    BFSa_Bin* mBinP;
    std::vector<WorkItem> mItems;
    size_t mCurrent = 0;
    std::string mRootPath; // below it, names that start with "." are hidden
};
