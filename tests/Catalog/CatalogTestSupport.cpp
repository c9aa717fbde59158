#include "Catalog/CatalogTestSupport.h"

#include <sqlite3.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "BDM/Adapters/Neo/BNeoa_Database.h"
#include "BDM/BDM_Schema.h"

void Catalog_InitBrowser()
{
    static const bool sDone = [] {
        BDM_AttributeTags::Instance();
        if (!BDM_Schema::IsInitialized())
            BDM_Schema::InitializeSchema();
        return true;
    }();
    (void)sDone;
}

BDM_BinHandle Catalog_Open(const std::string& iPath, Cmn_Store::EOpenFlag iFlag)
{
    Catalog_InitBrowser();
    BDM_BinHandle bin(new BDM_Catalog(Sys_FileLoc(iPath), nullptr));
    bin->Open(iFlag);
    return bin;
}

std::vector<std::string> Catalog_Find(BNeoa_Bin& ioBin,
                                      const std::function<BDM_PredicateHandle(BDM_PredicateFactory&)>& iMake,
                                      const BDM_KeyHandle& iRoot, int32_t iMilliseconds)
{
    std::unique_ptr<BDM_QueryResult> result =
        ioBin.Query(iMake(*ioBin.GetPredicateFactory()), iRoot ? iRoot : ioBin.GetRoot());
    std::vector<std::string> names;
    BDM_KeyHandle key;
    for (int32_t calls = 0; calls < 100000; ++calls)
    {
        const BDM_QueryResult::EResult answer = result->Next(&key, iMilliseconds);
        if (answer == BDM_QueryResult::eResult_End)
            break;
        if (answer == BDM_QueryResult::eResult_Delivered)
            names.push_back(ioBin.GetAsset(key)->GetName());
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<std::string> Catalog_AllNames(BNeoa_Bin& ioBin)
{
    std::vector<std::string> names;
    BNeoa_Statement statement(ioBin.GetConnection(),
                              "SELECT FileName FROM Asset WHERE ParentID IS NOT NULL");
    while (statement.Step())
        names.push_back(statement.Text(0));
    std::sort(names.begin(), names.end());
    return names;
}

std::string Catalog_Bytes(const std::string& iPath)
{
    std::ifstream in(iPath, std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
}

std::string Catalog_Sqlite(const std::string& iPath, const std::string& iSql)
{
    const std::string command = "sqlite3 '" + iPath + "' \"" + iSql + "\" 2>&1";
    std::string out;
    if (FILE* pipe = ::popen(command.c_str(), "r"))
    {
        char buffer[4096];
        for (size_t n; (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;)
            out.append(buffer, n);
        ::pclose(pipe);
    }
    return out;
}

void Catalog_WriteFiles(const std::string& iFolder, int32_t iCount)
{
    for (int32_t i = 0; i < iCount; ++i)
    {
        char sub[16], name[32];
        std::snprintf(sub, sizeof sub, "d%02d", i / 50);
        std::snprintf(name, sizeof name, "f%04d.txt", i);
        std::filesystem::create_directories(iFolder + "/" + sub);
        std::ofstream(iFolder + "/" + sub + "/" + name) << "file " << i << "\n";
    }
}

// ---- the fault VFS -------------------------------------------------------------------------

namespace
{
sqlite3_vfs* sBase = nullptr;
sqlite3_vfs sFaultVfs;
std::atomic<int32_t> sCountdown{0}; // 0: disarmed
std::atomic<bool> sFired{false};

struct FaultFile
{
    sqlite3_file mBase;
    sqlite3_file* mReal;
};

sqlite3_file* Real(sqlite3_file* iFile)
{
    return reinterpret_cast<FaultFile*>(iFile)->mReal;
}

// True when this write or sync is to fail.
bool Fault()
{
    if (sFired.load())
        return true;
    int32_t left = sCountdown.load();
    if (left <= 0)
        return false;
    if (sCountdown.fetch_sub(1) == 1)
    {
        sFired = true;
        return true;
    }
    return false;
}

int Close(sqlite3_file* f)
{
    const int code = Real(f)->pMethods->xClose(Real(f));
    return code;
}
int Read(sqlite3_file* f, void* p, int n, sqlite3_int64 o)
{
    return Real(f)->pMethods->xRead(Real(f), p, n, o);
}
int Write(sqlite3_file* f, const void* p, int n, sqlite3_int64 o)
{
    return Fault() ? SQLITE_IOERR_WRITE : Real(f)->pMethods->xWrite(Real(f), p, n, o);
}
int Truncate(sqlite3_file* f, sqlite3_int64 n)
{
    return Real(f)->pMethods->xTruncate(Real(f), n);
}
int Sync(sqlite3_file* f, int flags)
{
    return Fault() ? SQLITE_IOERR_FSYNC : Real(f)->pMethods->xSync(Real(f), flags);
}
int FileSize(sqlite3_file* f, sqlite3_int64* n)
{
    return Real(f)->pMethods->xFileSize(Real(f), n);
}
int Lock(sqlite3_file* f, int l)
{
    return Real(f)->pMethods->xLock(Real(f), l);
}
int Unlock(sqlite3_file* f, int l)
{
    return Real(f)->pMethods->xUnlock(Real(f), l);
}
int CheckReservedLock(sqlite3_file* f, int* r)
{
    return Real(f)->pMethods->xCheckReservedLock(Real(f), r);
}
int FileControl(sqlite3_file* f, int op, void* a)
{
    return Real(f)->pMethods->xFileControl(Real(f), op, a);
}
int SectorSize(sqlite3_file* f)
{
    return Real(f)->pMethods->xSectorSize(Real(f));
}
int DeviceCharacteristics(sqlite3_file* f)
{
    return Real(f)->pMethods->xDeviceCharacteristics(Real(f));
}
int ShmMap(sqlite3_file* f, int i, int size, int extend, void volatile** p)
{
    return Real(f)->pMethods->xShmMap(Real(f), i, size, extend, p);
}
int ShmLock(sqlite3_file* f, int offset, int n, int flags)
{
    return Real(f)->pMethods->xShmLock(Real(f), offset, n, flags);
}
void ShmBarrier(sqlite3_file* f)
{
    Real(f)->pMethods->xShmBarrier(Real(f));
}
int ShmUnmap(sqlite3_file* f, int deleteFlag)
{
    return Real(f)->pMethods->xShmUnmap(Real(f), deleteFlag);
}
int Fetch(sqlite3_file* f, sqlite3_int64 o, int n, void** p)
{
    return Real(f)->pMethods->xFetch(Real(f), o, n, p);
}
int Unfetch(sqlite3_file* f, sqlite3_int64 o, void* p)
{
    return Real(f)->pMethods->xUnfetch(Real(f), o, p);
}

const sqlite3_io_methods sMethods = {3,        Close,       Read,     Write,      Truncate,
                                     Sync,     FileSize,    Lock,     Unlock,     CheckReservedLock,
                                     FileControl, SectorSize, DeviceCharacteristics, ShmMap,
                                     ShmLock,  ShmBarrier,  ShmUnmap, Fetch,      Unfetch};

int Open(sqlite3_vfs*, sqlite3_filename iName, sqlite3_file* oFile, int iFlags, int* oFlags)
{
    auto* file = reinterpret_cast<FaultFile*>(oFile);
    file->mReal = reinterpret_cast<sqlite3_file*>(file + 1);
    const int code = sBase->xOpen(sBase, iName, file->mReal, iFlags, oFlags);
    file->mBase.pMethods = (code == SQLITE_OK && file->mReal->pMethods) ? &sMethods : nullptr;
    return code;
}
} // namespace

void Catalog_FaultVfs::Install()
{
    if (sBase)
        return;
    sBase = sqlite3_vfs_find(nullptr);
    sFaultVfs = *sBase;
    sFaultVfs.zName = "fault";
    sFaultVfs.szOsFile = int(sizeof(FaultFile)) + sBase->szOsFile;
    sFaultVfs.xOpen = Open;
    sqlite3_vfs_register(&sFaultVfs, 0);
}

void Catalog_FaultVfs::Arm(int32_t iNth)
{
    sFired = false;
    sCountdown = iNth;
}

void Catalog_FaultVfs::Disarm()
{
    sCountdown = 0;
    sFired = false;
}

bool Catalog_FaultVfs::Fired()
{
    return sFired.load();
}
