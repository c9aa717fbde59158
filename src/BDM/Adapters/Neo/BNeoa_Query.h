// Searching a database bin: terms become SQL over the stored columns, and results come
// page by page in the order of the row ID.
//
// Every term is joined with its column's validity, so a value that was never set (or was
// made invalid) matches nothing, whatever the relation. Names compare without regard to
// ASCII case (the name columns collate NOCASE); "contains" is LIKE with % and _ in the
// text escaped. A result keeps no statement open between calls of Next: each page is read
// at once and its statement reset (the connection keeps it prepared for the next page),
// and the next page starts after the last ID seen.
// Threads: the browser's thread.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "BDM/Adapters/Neo/BNeoa_Bin.h"
#include "BDM/BDM_Query.h"

class BNeoa_Predicate : public BDM_Predicate
{
public:
    struct Parameter
    {
        BNeoa_AttributeMapper::EKind mKind;
        BNeoa_Value mValue;
    };
    BNeoa_Predicate(std::string iSql, std::vector<Parameter> iParameters)
        : mSql(std::move(iSql)), mParameters(std::move(iParameters))
    {
    }
    BDM_Key::EType GetKeyType() const override { return BDM_Key::eType_Neo; }
    // A condition on the table Asset with positional parameters ("?").
    const std::string& GetSql() const { return mSql; }
    const std::vector<Parameter>& GetParameters() const { return mParameters; }

private:
    std::string mSql;
    std::vector<Parameter> mParameters;
};

class BNeoa_PredicateFactory : public BDM_PredicateFactory
{
public:
    // A term on a stored tag; asserts "neoTag != 0" for a tag that is not stored, "neoType !=
    // 0" for an empty value or one of another type, "neoDataType != 0" for contains on a
    // value that is not text.
    BDM_PredicateHandle MakePredicate(const BDM_AttributeValue& iValue,
                                      ERelation iRelation) override;
    BDM_PredicateHandle And(const BDM_PredicateHandle& iLeft,
                            const BDM_PredicateHandle& iRight) override;
    BDM_PredicateHandle Or(const BDM_PredicateHandle& iLeft,
                           const BDM_PredicateHandle& iRight) override;
};

class BNeoa_QueryResult : public BDM_QueryResult
{
public:
    static constexpr int32_t cPageSize = 256;
    // iFolderID 0 searches the whole bin, else the rows below that folder and its
    // sub-folders. Asserts "neoPredicate" (a predicate of this adapter).
    BNeoa_QueryResult(BNeoa_Bin& iBin, const BDM_PredicateHandle& iPredicate, int64_t iFolderID);
    EResult Next(BDM_KeyHandle* oKeyP, int32_t iMilliseconds) override;

    // The IDs of the folder iParameter names and of every folder below it.
    static std::string FoldersBelowSql(const std::string& iParameter);

private:
    void FetchPage();

    BDM_BinHandle mBinHold;
    BNeoa_Bin* mBinP;
    Cmn_AliasedRefCountPtr<BNeoa_Predicate> mPredicate;
    int64_t mFolderID;
    int64_t mLastID = 0;
    bool mDone = false;
    std::vector<BDM_KeyHandle> mPage;
    size_t mNext = 0;
};
