#include "BDM/Adapters/Neo/BNeoa_Database.h"

#include <sqlite3.h>

#include "L10N_ExceptionData.h"

namespace
{
constexpr int32_t cGeneralPackage = 1, cTextOnly = 2; // "%1"
constexpr int32_t cFilePackage = 5, cFileBusy = 46, cDiskFull = 58;
} // namespace

void BNeoa_Connection::Open(const std::string& iPath, int iFlags, const char* iVfs)
{
    Close();
    mPath = iPath;
    const int code = sqlite3_open_v2(iPath.c_str(), &mDb, iFlags, iVfs);
    if (code != SQLITE_OK)
    {
        const std::string text = mDb ? sqlite3_errmsg(mDb) : sqlite3_errstr(code);
        Close();
        if (code == SQLITE_BUSY || code == SQLITE_LOCKED)
            L10N_Throw(cFilePackage, cFileBusy);
        L10N_Throw(cGeneralPackage, cTextOnly, iPath + ": " + text);
    }
    sqlite3_extended_result_codes(mDb, 0);
}

void BNeoa_Connection::Close()
{
    FinalizeStatements();
    if (mDb)
        sqlite3_close_v2(mDb);
    mDb = nullptr;
}

void BNeoa_Connection::Exec(const std::string& iSql)
{
    const int code = sqlite3_exec(mDb, iSql.c_str(), nullptr, nullptr, nullptr);
    if (code != SQLITE_OK)
        Throw(code);
}

int64_t BNeoa_Connection::QueryInt(const std::string& iSql)
{
    BNeoa_Statement statement(*this, iSql);
    return statement.Step() ? statement.Int(0) : 0;
}

void BNeoa_Connection::Throw(int iCode) const
{
    switch (iCode & 0xFF)
    {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        L10N_Throw(cFilePackage, cFileBusy);
    case SQLITE_FULL:
        L10N_Throw(cFilePackage, cDiskFull);
    default:
        L10N_Throw(cGeneralPackage, cTextOnly,
                   mPath + ": " + (mDb ? sqlite3_errmsg(mDb) : sqlite3_errstr(iCode)));
    }
}

sqlite3_stmt* BNeoa_Connection::TakeStatement(const std::string& iSql) const
{
    const auto it = mStatements.find(iSql);
    if (it != mStatements.end())
    {
        sqlite3_stmt* statement = it->second;
        mStatements.erase(it);
        return statement;
    }
    sqlite3_stmt* statement = nullptr;
    const int code = sqlite3_prepare_v3(mDb, iSql.c_str(), int(iSql.size()), SQLITE_PREPARE_PERSISTENT,
                                        &statement, nullptr);
    if (code != SQLITE_OK)
        Throw(code);
    return statement;
}

void BNeoa_Connection::ReturnStatement(const std::string& iSql, sqlite3_stmt* iStatement) const
{
    sqlite3_reset(iStatement);
    sqlite3_clear_bindings(iStatement);
    if (mStatements.size() < cMaxCachedStatements && mStatements.emplace(iSql, iStatement).second)
        return;
    sqlite3_finalize(iStatement);
}

void BNeoa_Connection::FinalizeStatements()
{
    for (const auto& [sql, statement] : mStatements)
        sqlite3_finalize(statement);
    mStatements.clear();
}

BNeoa_Statement::BNeoa_Statement(const BNeoa_Connection& iConnection, const std::string& iSql)
    : mConnection(iConnection), mDb(iConnection.Get()), mSql(iSql),
      mStmt(iConnection.TakeStatement(iSql))
{
}

BNeoa_Statement::~BNeoa_Statement()
{
    // A statement of a connection closed (or opened again) meanwhile is not kept.
    if (mConnection.Get() == mDb && mDb)
        mConnection.ReturnStatement(mSql, mStmt);
    else
        sqlite3_finalize(mStmt);
}

BNeoa_Statement& BNeoa_Statement::BindInt(int iIndex, int64_t iValue)
{
    sqlite3_bind_int64(mStmt, iIndex, iValue);
    return *this;
}

BNeoa_Statement& BNeoa_Statement::BindText(int iIndex, const std::string& iValue)
{
    sqlite3_bind_text(mStmt, iIndex, iValue.data(), int(iValue.size()), SQLITE_TRANSIENT);
    return *this;
}

BNeoa_Statement& BNeoa_Statement::BindBlob(int iIndex, const void* iData, size_t iSize)
{
    sqlite3_bind_blob(mStmt, iIndex, iData, int(iSize), SQLITE_TRANSIENT);
    return *this;
}

BNeoa_Statement& BNeoa_Statement::BindNull(int iIndex)
{
    sqlite3_bind_null(mStmt, iIndex);
    return *this;
}

bool BNeoa_Statement::Step()
{
    const int code = sqlite3_step(mStmt);
    if (code == SQLITE_ROW)
        return true;
    if (code == SQLITE_DONE)
        return false;
    sqlite3_reset(mStmt);
    mConnection.Throw(code);
}

void BNeoa_Statement::Reset()
{
    sqlite3_reset(mStmt);
    sqlite3_clear_bindings(mStmt);
}

bool BNeoa_Statement::IsNull(int iColumn) const
{
    return sqlite3_column_type(mStmt, iColumn) == SQLITE_NULL;
}

int64_t BNeoa_Statement::Int(int iColumn) const
{
    return sqlite3_column_int64(mStmt, iColumn);
}

std::string BNeoa_Statement::Text(int iColumn) const
{
    const unsigned char* text = sqlite3_column_text(mStmt, iColumn);
    return text ? std::string(reinterpret_cast<const char*>(text),
                              size_t(sqlite3_column_bytes(mStmt, iColumn)))
                : std::string();
}

std::vector<uint8_t> BNeoa_Statement::Blob(int iColumn) const
{
    const auto* data = static_cast<const uint8_t*>(sqlite3_column_blob(mStmt, iColumn));
    return data ? std::vector<uint8_t>(data, data + sqlite3_column_bytes(mStmt, iColumn))
                : std::vector<uint8_t>();
}
