#include "BDM/Adapters/Neo/BNeoa_Query.h"

#include <chrono>

#include "BDM/Adapters/Neo/BNeoa_Database.h"
#include "Cmn_Assert.h"

BNeoa_PredicateFactory BNeoa_Bin::sPredicateFactory;

namespace
{
const char* const cOperators[] = {" = ", " <> ", " < ", " <= ", " > ", " >= "};

// The text of a LIKE pattern that finds iText anywhere, with \ as the escape.
std::string ContainsPattern(const std::string& iText)
{
    std::string pattern = "%";
    for (char c : iText)
    {
        if (c == '%' || c == '_' || c == '\\')
            pattern += '\\';
        pattern += c;
    }
    return pattern + "%";
}

Cmn_AliasedRefCountPtr<BNeoa_Predicate> AsNeo(const BDM_PredicateHandle& iPredicate)
{
    auto* neoPredicate = dynamic_cast<BNeoa_Predicate*>(iPredicate.Get());
    CMN_ASSERT_TEXT(neoPredicate, "neoPredicate");
    return Cmn_AliasedRefCountPtr<BNeoa_Predicate>(neoPredicate);
}

BDM_PredicateHandle Join(const BDM_PredicateHandle& iLeft, const BDM_PredicateHandle& iRight,
                         const char* iOperator)
{
    auto left = AsNeo(iLeft), right = AsNeo(iRight);
    std::vector<BNeoa_Predicate::Parameter> parameters = left->GetParameters();
    parameters.insert(parameters.end(), right->GetParameters().begin(), right->GetParameters().end());
    return BDM_PredicateHandle(new BNeoa_Predicate(
        "(" + left->GetSql() + iOperator + right->GetSql() + ")", std::move(parameters)));
}
} // namespace

BDM_PredicateHandle BNeoa_PredicateFactory::MakePredicate(const BDM_AttributeValue& iValue,
                                                          ERelation iRelation)
{
    const int32_t index = iValue.GetTag() ? BNeoa_AttributeMapper::FindIndex(*iValue.GetTag()) : -1;
    CMN_ASSERT_TEXT(index >= 0, "neoTag != 0");
    const auto& entry = BNeoa_AttributeMapper::GetEntries()[size_t(index)];
    BNeoa_Predicate::Parameter parameter{entry.mKind, {}};
    CMN_ASSERT_TEXT(!iValue.IsEmpty() && entry.mEncode(iValue, &parameter.mValue), "neoType != 0");
    CMN_ASSERT_TEXT(iRelation >= eRelation_Equal && iRelation <= eRelation_Contains, "getter");
    const std::string column = entry.mColumn;
    std::string condition;
    if (iRelation == eRelation_Contains)
    {
        CMN_ASSERT_TEXT(entry.mKind == BNeoa_AttributeMapper::eKind_Text, "neoDataType != 0");
        parameter.mValue.mBytes = ContainsPattern(parameter.mValue.mBytes);
        condition = column + " LIKE ? ESCAPE '\\'";
    }
    else
        condition = column + cOperators[iRelation] + "?";
    return BDM_PredicateHandle(new BNeoa_Predicate(
        "(" + condition + " AND " + column + "Validity = 1)", {parameter}));
}

BDM_PredicateHandle BNeoa_PredicateFactory::And(const BDM_PredicateHandle& iLeft,
                                                const BDM_PredicateHandle& iRight)
{
    return Join(iLeft, iRight, " AND ");
}

BDM_PredicateHandle BNeoa_PredicateFactory::Or(const BDM_PredicateHandle& iLeft,
                                               const BDM_PredicateHandle& iRight)
{
    return Join(iLeft, iRight, " OR ");
}

// ---- results -----------------------------------------------------------------------------

std::string BNeoa_QueryResult::FoldersBelowSql(const std::string& iParameter)
{
    return "WITH RECURSIVE Below (ID) AS (SELECT " + iParameter +
           " UNION SELECT Asset.ID FROM Asset JOIN Below ON Asset.ParentID = Below.ID "
           "WHERE Asset.AssetType IN (1, 4, 5, 6, 7, 8)) SELECT ID FROM Below";
}

BNeoa_QueryResult::BNeoa_QueryResult(BNeoa_Bin& iBin, const BDM_PredicateHandle& iPredicate,
                                     int64_t iFolderID)
    : mBinHold(&iBin), mBinP(&iBin), mPredicate(AsNeo(iPredicate)), mFolderID(iFolderID)
{
}

void BNeoa_QueryResult::FetchPage()
{
    std::string sql = "SELECT ID, AssetType FROM Asset WHERE ID > ? AND ParentID IS NOT NULL AND " +
                      mPredicate->GetSql();
    if (mFolderID != 0)
        sql += " AND ParentID IN (" + FoldersBelowSql("?") + ")";
    sql += " ORDER BY ID LIMIT " + std::to_string(cPageSize);
    BNeoa_Statement statement(mBinP->GetConnection(), sql);
    int position = 1;
    statement.BindInt(position++, mLastID);
    for (const BNeoa_Predicate::Parameter& parameter : mPredicate->GetParameters())
    {
        if (parameter.mKind == BNeoa_AttributeMapper::eKind_Int)
            statement.BindInt(position++, parameter.mValue.mInt);
        else if (parameter.mKind == BNeoa_AttributeMapper::eKind_Text)
            statement.BindText(position++, parameter.mValue.mBytes);
        else
            statement.BindBlob(position++, parameter.mValue.mBytes.data(),
                               parameter.mValue.mBytes.size());
    }
    if (mFolderID != 0)
        statement.BindInt(position++, mFolderID);
    mPage.clear();
    mNext = 0;
    while (statement.Step())
    {
        mLastID = statement.Int(0);
        mPage.push_back(mBinP->MakeKey(mLastID, BDM_EAssetType(statement.Int(1))));
    }
    mDone = mPage.size() < size_t(cPageSize);
}

BDM_QueryResult::EResult BNeoa_QueryResult::Next(BDM_KeyHandle* oKeyP, int32_t iMilliseconds)
{
    using Clock = std::chrono::steady_clock;
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(iMilliseconds);
    while (mNext >= mPage.size())
    {
        if (mDone)
            return eResult_End;
        if (Clock::now() >= deadline)
            return eResult_TimedOut;
        FetchPage();
    }
    *oKeyP = mPage[mNext++];
    return eResult_Delivered;
}
