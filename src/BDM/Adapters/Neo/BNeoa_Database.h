// A small owner of SQLite connections and statements for the database adapter.
//
// Every failure of the engine becomes a failure of the library's family (L10N_Exception):
// a busy or locked database after the connection's bounded wait is "File is busy", a full
// disk "Disk full", anything else the engine's own text after the file's path. A statement
// lives only as long as one step of work: nothing keeps one open across calls of a query
// result, so a writer on another connection is never held up by a reader's statement.
// Prepared statements are kept, reset and unbound, by their connection for the next
// statement of the same text (up to cMaxCachedStatements texts); a reset statement holds no
// lock. Close finalises them.
// Threads: one connection per thread at a time; statements belong to their connection.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

class BNeoa_Connection
{
public:
    BNeoa_Connection() = default;
    ~BNeoa_Connection() { Close(); }
    BNeoa_Connection(const BNeoa_Connection&) = delete;
    BNeoa_Connection& operator=(const BNeoa_Connection&) = delete;

    // iFlags are SQLite's open flags; iVfs names a registered VFS (null: the default one).
    // Throws on failure and leaves the connection closed.
    void Open(const std::string& iPath, int iFlags, const char* iVfs = nullptr);
    // Closes; an open transaction is rolled back by the engine.
    void Close();
    bool IsOpen() const { return mDb != nullptr; }
    sqlite3* Get() const { return mDb; }
    const std::string& GetPath() const { return mPath; }

    // Runs statements without results.
    void Exec(const std::string& iSql);
    // The first column of the first row of a one-value query, as an integer (0 if none).
    int64_t QueryInt(const std::string& iSql);
    // Throws the family failure for result code iCode.
    [[noreturn]] void Throw(int iCode) const;

    static constexpr size_t cMaxCachedStatements = 32;
    // A prepared statement of iSql: a kept one, or a new one; throws on failure.
    sqlite3_stmt* TakeStatement(const std::string& iSql) const;
    // Keeps iStatement (reset) for the next TakeStatement of iSql, or finalises it.
    void ReturnStatement(const std::string& iSql, sqlite3_stmt* iStatement) const;

private:
    void FinalizeStatements();

    sqlite3* mDb = nullptr;
    std::string mPath;
    mutable std::unordered_map<std::string, sqlite3_stmt*> mStatements;
};

class BNeoa_Statement
{
public:
    BNeoa_Statement(const BNeoa_Connection& iConnection, const std::string& iSql);
    ~BNeoa_Statement();
    BNeoa_Statement(const BNeoa_Statement&) = delete;
    BNeoa_Statement& operator=(const BNeoa_Statement&) = delete;

    // Parameters count from 1, as in SQL.
    BNeoa_Statement& BindInt(int iIndex, int64_t iValue);
    BNeoa_Statement& BindText(int iIndex, const std::string& iValue);
    BNeoa_Statement& BindBlob(int iIndex, const void* iData, size_t iSize);
    BNeoa_Statement& BindNull(int iIndex);
    // True with a row at hand, false when done; throws on failure.
    bool Step();
    void Reset();

    // Columns count from 0.
    bool IsNull(int iColumn) const;
    int64_t Int(int iColumn) const;
    std::string Text(int iColumn) const;
    std::vector<uint8_t> Blob(int iColumn) const;

private:
    const BNeoa_Connection& mConnection;
    sqlite3* mDb; // the connection's handle when the statement was made
    std::string mSql;
    sqlite3_stmt* mStmt = nullptr;
};
