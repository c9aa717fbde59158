#include "Sys_FileUtils.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "Cmn_Assert.h"
#include "L10N_ExceptionData.h"
#include "L10N_Utils.h"
#include "Sys_AppleDouble.h"
#include "Sys_AtomicOutput.h"
#include "Sys_OSErrData.h"
#include "Sys_Volume.h"

extern char** environ;

namespace
{
// ---- small helpers ---------------------------------------------------------------------------

std::string Context(int32_t iID, const Sys_FileLoc& iLoc)
{
    return L10N_Utils::GetText(2, iID, {iLoc.GetFullPath()});
}

std::string Context(int32_t iID, const Sys_FileLoc& iA, const Sys_FileLoc& iB)
{
    return L10N_Utils::GetText(2, iID, {iA.GetFullPath(), iB.GetFullPath()});
}

[[noreturn]] void Fail(int32_t iError, const std::string& iContext)
{
    Sys_ThrowIfOSErr(iError ? iError : EIO, iContext);
    throw std::logic_error("unreachable");
}

// The queries answer for an output being written atomically from its temporary file.
bool LStat(const Sys_FileLoc& iLoc, struct stat& oInfo)
{
    return !iLoc.IsEmpty() &&
           ::lstat(Sys_AtomicOutput::Redirect(iLoc).GetFullPath().c_str(), &oInfo) == 0;
}

bool Stat(const Sys_FileLoc& iLoc, struct stat& oInfo)
{
    return !iLoc.IsEmpty() &&
           ::stat(Sys_AtomicOutput::Redirect(iLoc).GetFullPath().c_str(), &oInfo) == 0;
}

bool IsSidecarName(const std::string& iName)
{
    return Sys_AppleDouble::IsSidecarName(iName);
}

// The AppleDouble sidecar of a file; the empty location for a sidecar or the root.
Sys_FileLoc SidecarOf(const Sys_FileLoc& iLoc)
{
    return Sys_AppleDouble::SidecarOf(iLoc);
}

int64_t Microseconds(const struct timespec& iTime)
{
    return int64_t(iTime.tv_sec) * 1000000 + int64_t(iTime.tv_nsec) / 1000;
}

// Names in a folder, without "." and "..".
bool ListFolder(const std::string& iPath, std::vector<std::string>* oNames)
{
    DIR* dirP = ::opendir(iPath.c_str());
    if (!dirP)
        return false;
    while (const dirent* entryP = ::readdir(dirP))
    {
        const std::string name = entryP->d_name;
        if (name != "." && name != "..")
            oNames->push_back(name);
    }
    ::closedir(dirP);
    std::sort(oNames->begin(), oNames->end());
    return true;
}

// ---- the stepwise copier ---------------------------------------------------------------------

// Moves iCount bytes from iSrcOffset of one descriptor to iDstOffset of another: inside the
// kernel (copy_file_range: no copy through user space, shared extents where the file system
// can) while ioKernel holds, else, and from then on, through ioBuffer. Returns 0 or the error.
int CopyBytes(int iSrcFD, int64_t iSrcOffset, int iDstFD, int64_t iDstOffset, int64_t iCount,
              bool& ioKernel, std::vector<char>& ioBuffer)
{
    int64_t moved = 0;
    while (ioKernel && moved < iCount)
    {
        off_t in = off_t(iSrcOffset + moved), out = off_t(iDstOffset + moved);
        const ssize_t n = ::copy_file_range(iSrcFD, &in, iDstFD, &out, size_t(iCount - moved), 0);
        if (n > 0)
        {
            moved += n;
            continue;
        }
        if (n == 0)
            return EIO; // the source ended before the range: it shrank
        if (errno == EINTR)
            continue;
        if (errno != EXDEV && errno != ENOSYS && errno != EINVAL && errno != EOPNOTSUPP &&
            errno != EBADF && errno != ETXTBSY)
            return errno;
        ioKernel = false; // not between these files: bytes through user space from here on
    }
    if (moved == iCount)
        return 0;
    const int64_t rest = iCount - moved;
    if (ioBuffer.size() < size_t(std::min<int64_t>(rest, 1 << 20)))
        ioBuffer.resize(size_t(std::min<int64_t>(rest, 1 << 20)));
    while (moved < iCount)
    {
        const int64_t piece = std::min<int64_t>(iCount - moved, int64_t(ioBuffer.size()));
        int64_t got = 0;
        while (got < piece)
        {
            const ssize_t n = ::pread(iSrcFD, ioBuffer.data() + got, size_t(piece - got),
                                      off_t(iSrcOffset + moved + got));
            if (n < 0 && errno == EINTR)
                continue;
            if (n <= 0)
                return n < 0 ? errno : EIO; // the source shrank
            got += n;
        }
        int64_t put = 0;
        while (put < piece)
        {
            const ssize_t n = ::pwrite(iDstFD, ioBuffer.data() + put, size_t(piece - put),
                                       off_t(iDstOffset + moved + put));
            if (n < 0 && errno == EINTR)
                continue;
            if (n <= 0)
                return n < 0 ? errno : EIO;
            put += n;
        }
        moved += piece;
    }
    return 0;
}

class FileCopierPosix : public Sys_FileUtils::FileCopier
{
public:
    // iDstOffset < 0: the destination is created (or truncated) and receives the range at 0,
    // and an unfinished copy deletes it. iDstOffset >= 0: the destination must exist; the
    // range is written there and an unfinished copy leaves the file to its owner.
    FileCopierPosix(const Sys_FileLoc& iSrc, const Sys_FileLoc& iDst, int64_t iOffset,
                    int64_t iLength, int32_t iStepSize, int64_t iDstOffset = -1)
        : mSrc(iSrc), mDst(iDst), mOffset(iOffset), mDstOffset(std::max<int64_t>(0, iDstOffset)),
          mIntoExisting(iDstOffset >= 0), mStepSize(iStepSize)
    {
        CMN_ASSERT(iStepSize > 0);
        const std::string context = Context(89, iSrc, iDst);
        mSrcFD = ::open(iSrc.GetFullPath().c_str(), O_RDONLY | O_CLOEXEC);
        if (mSrcFD < 0)
            Fail(errno, context);
        struct stat info
        {
        };
        if (::fstat(mSrcFD, &info) != 0)
            Fail(CloseOnError(errno), context);
        if (S_ISDIR(info.st_mode))
            Fail(CloseOnError(EISDIR), context);
        const int64_t size = info.st_size;
        if (iOffset < 0 || iOffset > size || (iLength >= 0 && iLength > size - iOffset))
            Fail(CloseOnError(EINVAL), context);
        mTotal = iLength < 0 ? size - iOffset : iLength;
        mWholeFile = !mIntoExisting && iOffset == 0 && mTotal == size;
        mMode = info.st_mode & 07777;
        mModified = info.st_mtim;
        // A new destination is written under a temporary name and renamed when complete.
        if (!mIntoExisting)
        {
            try
            {
                Sys_AtomicOutput::Begin(iDst, true);
            }
            catch (...)
            {
                CloseAll();
                throw;
            }
            mAtomic = true;
        }
        const std::string path = Sys_AtomicOutput::Redirect(iDst).GetFullPath();
        mDstFD = mIntoExisting ? ::open(path.c_str(), O_WRONLY | O_CLOEXEC)
                               : ::open(path.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC);
        if (mDstFD < 0)
        {
            const int error = errno;
            if (mAtomic)
                Sys_AtomicOutput::Discard(iDst);
            Fail(CloseOnError(error), context);
        }
    }

    ~FileCopierPosix() override
    {
        if (!mFinished && !mAborted)
            AbortQuietly();
        CloseAll();
    }

    bool CopyNextStep() override
    {
        if (mFinished || mAborted)
            return false;
        const int64_t done = mDone.load(std::memory_order_relaxed);
        const int64_t count = std::min<int64_t>(mStepSize, mTotal - done);
        if (count > 0)
        {
            const int error = CopyBytes(mSrcFD, mOffset + done, mDstFD, mDstOffset + done, count,
                                        mKernelCopy, mBuffer);
            if (error)
                Fail(error, Context(89, mSrc, mDst));
            mDone.store(done + count, std::memory_order_relaxed);
        }
        if (mDone.load(std::memory_order_relaxed) < mTotal)
            return true;
        Finish();
        return false;
    }

    int64_t GetBytesCopied() const override { return mDone.load(std::memory_order_relaxed); }
    int64_t GetTotalBytes() const override { return mTotal; }
    void Abort() override
    {
        if (mFinished || mAborted)
            return;
        AbortQuietly();
    }
    bool IsFinished() const override { return mFinished; }
    bool IsAborted() const override { return mAborted; }
    const Sys_FileLoc& GetSource() const override { return mSrc; }
    const Sys_FileLoc& GetDestination() const override { return mDst; }
    int32_t GetStepSize() const override { return mStepSize; }

private:
    int32_t CloseOnError(int32_t iError)
    {
        CloseAll();
        return iError;
    }

    void CloseAll()
    {
        if (mSrcFD >= 0)
            ::close(mSrcFD);
        if (mDstFD >= 0)
            ::close(mDstFD);
        mSrcFD = mDstFD = -1;
    }

    void AbortQuietly()
    {
        mAborted = true;
        CloseAll();
        if (mIntoExisting)
            return;
        try
        {
            // Discarded before its commit; a file that took its name already goes too.
            if (!Sys_AtomicOutput::Discard(mDst) && mCommitted)
                ::unlink(mDst.GetFullPath().c_str());
        }
        catch (...)
        {
        }
        if (mCopiedSidecar)
            ::unlink(SidecarOf(mDst).GetFullPath().c_str());
    }

    void Finish()
    {
        const std::string context = Context(89, mSrc, mDst);
        if (mWholeFile)
        {
            ::fchmod(mDstFD, mMode);
            const struct timespec times[2] = {mModified, mModified};
            ::futimens(mDstFD, times);
        }
        const int dstFD = mDstFD;
        mDstFD = -1;
        if (::close(dstFD) != 0 && errno != EINTR)
            Fail(errno, context);
        ::close(mSrcFD);
        mSrcFD = -1;
        if (mAtomic)
        {
            mAtomic = false;
            mCommitted = true;
            Sys_AtomicOutput::Commit(mDst);
        }
        if (mWholeFile)
        {
            const Sys_FileLoc srcSidecar = SidecarOf(mSrc);
            const Sys_FileLoc dstSidecar = SidecarOf(mDst);
            struct stat info
            {
            };
            if (!srcSidecar.IsEmpty() && !dstSidecar.IsEmpty() && Stat(srcSidecar, info) &&
                S_ISREG(info.st_mode))
            {
                mCopiedSidecar = true;
                FileCopierPosix sidecar(srcSidecar, dstSidecar, 0, -1, 1 << 16);
                while (sidecar.CopyNextStep())
                {
                }
            }
        }
        mFinished = true;
    }

    Sys_FileLoc mSrc;
    Sys_FileLoc mDst;
    int64_t mOffset;
    int64_t mDstOffset;
    bool mIntoExisting;
    bool mKernelCopy = true;
    int64_t mTotal = 0;
    int32_t mStepSize;
    std::atomic<int64_t> mDone{0};
    int mSrcFD = -1;
    int mDstFD = -1;
    bool mWholeFile = false;
    bool mFinished = false;
    bool mAborted = false;
    bool mCopiedSidecar = false;
    // The destination is reserved (Sys_AtomicOutput) until it is committed or discarded.
    bool mAtomic = false;
    bool mCommitted = false;
    mode_t mMode = 0644;
    struct timespec mModified
    {
    };
    std::vector<char> mBuffer;
};

// The longest start of iText of at most iMaxBytes bytes that does not cut a UTF-8 sequence.
std::string LimitStringLength(const std::string& iText, size_t iMaxBytes)
{
    if (iText.size() <= iMaxBytes)
        return iText;
    size_t cut = iMaxBytes;
    while (cut > 0 && (static_cast<unsigned char>(iText[cut]) & 0xC0) == 0x80)
        --cut;
    return iText.substr(0, cut);
}

void CopyTree(const Sys_FileLoc& iSrc, const Sys_FileLoc& iDst, bool iRenameTaken,
              std::map<Sys_FileLoc, Sys_FileLoc>* ioRenamed)
{
    Sys_FileUtils::CreateFolder(iDst);
    std::vector<std::string> names;
    if (!ListFolder(iSrc.GetFullPath(), &names))
        Fail(errno, Context(89, iSrc, iDst));
    for (const std::string& name : names)
    {
        const Sys_FileLoc src(iSrc, name);
        struct stat info
        {
        };
        if (!LStat(src, info))
            continue; // gone meanwhile
        // A sidecar goes with its file; one without a file is copied by itself.
        if (IsSidecarName(name) && Sys_FileUtils::Exists(Sys_FileLoc(iSrc, name.substr(2))))
            continue;
        Sys_FileLoc dst(iDst, name);
        if (S_ISDIR(info.st_mode))
        {
            CopyTree(src, dst, iRenameTaken, ioRenamed);
            continue;
        }
        if (iRenameTaken)
            dst = Sys_FileUtils::HandleDuplicateName(dst);
        if (S_ISLNK(info.st_mode))
        {
            std::vector<char> target(size_t(PATH_MAX) + 1);
            const ssize_t length = ::readlink(src.GetFullPath().c_str(), target.data(), PATH_MAX);
            if (length < 0)
                Fail(errno, Context(89, src, dst));
            ::unlink(dst.GetFullPath().c_str());
            if (::symlink(std::string(target.data(), size_t(length)).c_str(),
                          dst.GetFullPath().c_str()) != 0)
                Fail(errno, Context(89, src, dst));
        }
        else if (S_ISREG(info.st_mode))
            Sys_FileUtils::CopyFile(src, dst);
        else
            continue; // devices, pipes and sockets are not copied
        if (ioRenamed)
            (*ioRenamed)[src] = dst;
    }
}

void CountFiles(const std::string& iPath, bool iRecursive, int32_t& ioCount, int64_t* ioBytes,
                int64_t iBlockSize)
{
    std::vector<std::string> names;
    if (!ListFolder(iPath, &names))
        return;
    for (const std::string& name : names)
    {
        struct stat info
        {
        };
        const std::string path = iPath + "/" + name;
        if (::lstat(path.c_str(), &info) != 0)
            continue;
        if (S_ISDIR(info.st_mode))
        {
            if (iRecursive)
                CountFiles(path, true, ioCount, ioBytes, iBlockSize);
            continue;
        }
        if (ioBytes && S_ISREG(info.st_mode))
            *ioBytes += (int64_t(info.st_size) + iBlockSize - 1) / iBlockSize * iBlockSize;
        if (!IsSidecarName(name))
            ++ioCount;
    }
}

thread_local bool tGettingFileType = false;
} // namespace

// ---- queries ---------------------------------------------------------------------------------

bool Sys_FileUtils::Exists(const Sys_FileLoc& iLoc)
{
    struct stat info
    {
    };
    return LStat(iLoc, info);
}

bool Sys_FileUtils::IsFolder(const Sys_FileLoc& iLoc)
{
    struct stat info
    {
    };
    return Stat(iLoc, info) && S_ISDIR(info.st_mode);
}

bool Sys_FileUtils::IsFolderEmpty(const Sys_FileLoc& iLoc)
{
    std::vector<std::string> names;
    if (!IsFolder(iLoc) || !ListFolder(iLoc.GetFullPath(), &names))
        return false;
    return std::all_of(names.begin(), names.end(), IsSidecarName);
}

bool Sys_FileUtils::IsHidden(const Sys_FileLoc& iLoc)
{
    const std::string name = iLoc.GetName();
    return !name.empty() && name[0] == '.' && Exists(iLoc);
}

bool Sys_FileUtils::IsFinderAlias(const Sys_FileLoc& iLoc)
{
    struct stat info
    {
    };
    return LStat(iLoc, info) && S_ISLNK(info.st_mode);
}

bool Sys_FileUtils::ResolveFinderAlias(const Sys_FileLoc& iAlias, Sys_FileLoc* oTarget)
{
    CMN_ASSERT(oTarget);
    if (!IsFinderAlias(iAlias))
        return false;
    char resolved[PATH_MAX];
    if (!::realpath(iAlias.GetFullPath().c_str(), resolved))
        return false;
    *oTarget = Sys_FileLoc(std::string(resolved));
    return true;
}

bool Sys_FileUtils::IsReadAccessDenied(const Sys_FileLoc& iLoc)
{
    return Exists(iLoc) && ::access(iLoc.GetFullPath().c_str(), R_OK) != 0;
}

bool Sys_FileUtils::GetMacTypeAndCreator(const Sys_FileLoc& iLoc, Sys_FileType::OSType* oType,
                                         Sys_FileType::OSType* oCreator)
{
    Sys_AppleDouble::Entry entry;
    unsigned char finderInfo[8];
    if (!Sys_AppleDouble::FindEntry(iLoc, Sys_AppleDouble::cEntry_FinderInfo, &entry) ||
        entry.mLength < 8)
        return false;
    const int fd = ::open(Sys_AtomicOutput::Redirect(SidecarOf(iLoc)).GetFullPath().c_str(),
                          O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    const bool ok = ::pread(fd, finderInfo, sizeof finderInfo, off_t(entry.mOffset)) ==
                    ssize_t(sizeof finderInfo);
    ::close(fd);
    if (!ok)
        return false;
    if (oType)
        *oType = (uint32_t(finderInfo[0]) << 24) | (uint32_t(finderInfo[1]) << 16) |
                 (uint32_t(finderInfo[2]) << 8) | finderInfo[3];
    if (oCreator)
        *oCreator = (uint32_t(finderInfo[4]) << 24) | (uint32_t(finderInfo[5]) << 16) |
                    (uint32_t(finderInfo[6]) << 8) | finderInfo[7];
    return true;
}

Sys_FileType Sys_FileUtils::GetFileType(const Sys_FileLoc& iLoc)
{
    const std::string& path = iLoc.GetFullPath();
    if (path.empty())
        return Sys_FileType::cUnknown;
    if (path.back() == '/' || IsFolder(iLoc))
        return Sys_FileType::cFolder;
    const Sys_FileType byExtension = Sys_FileType::FromExtension(iLoc.GetExtension());
    if (byExtension != Sys_FileType::cUnknown || tGettingFileType)
        return byExtension;
    tGettingFileType = true;
    Sys_FileType::OSType macType = 0;
    const bool found = GetMacTypeAndCreator(iLoc, &macType, nullptr);
    tGettingFileType = false;
    return found && macType != 0 ? Sys_FileType::FromMacOSType(macType) : Sys_FileType::cUnknown;
}

int64_t Sys_FileUtils::GetFileDataForkSize(const Sys_FileLoc& iLoc)
{
    struct stat info
    {
    };
    return Stat(iLoc, info) && S_ISREG(info.st_mode) ? int64_t(info.st_size) : 0;
}

int64_t Sys_FileUtils::GetFileResourceForkSize(const Sys_FileLoc& iLoc)
{
    Sys_AppleDouble::Entry entry;
    return Sys_AppleDouble::FindEntry(iLoc, Sys_AppleDouble::cEntry_ResourceFork, &entry)
               ? int64_t(entry.mLength)
               : 0;
}

int64_t Sys_FileUtils::GetCreatedUTC(const Sys_FileLoc& iLoc)
{
    if (iLoc.IsEmpty())
        return 0;
    struct statx info
    {
    };
    if (::statx(AT_FDCWD, iLoc.GetFullPath().c_str(), 0, STATX_BTIME | STATX_MTIME | STATX_CTIME,
                &info) != 0)
        return 0;
    if (info.stx_mask & STATX_BTIME)
        return int64_t(info.stx_btime.tv_sec) * 1000000 + info.stx_btime.tv_nsec / 1000;
    const int64_t modified =
        int64_t(info.stx_mtime.tv_sec) * 1000000 + info.stx_mtime.tv_nsec / 1000;
    const int64_t changed =
        int64_t(info.stx_ctime.tv_sec) * 1000000 + info.stx_ctime.tv_nsec / 1000;
    return std::min(modified, changed);
}

int64_t Sys_FileUtils::GetModifiedUTC(const Sys_FileLoc& iLoc)
{
    struct stat info
    {
    };
    return Stat(iLoc, info) ? Microseconds(info.st_mtim) : 0;
}

int32_t Sys_FileUtils::GetNumberOfFilesInFolder(const Sys_FileLoc& iFolder, bool iRecursive)
{
    int32_t count = 0;
    CountFiles(iFolder.GetFullPath(), iRecursive, count, nullptr, 1);
    return count;
}

int64_t Sys_FileUtils::GetSpaceRequiredToCopyFile(const Sys_FileLoc& iFile, int64_t iBlockSize)
{
    CMN_ASSERT(iBlockSize > 0);
    const auto rounded = [&](int64_t iSize)
    { return (iSize + iBlockSize - 1) / iBlockSize * iBlockSize; };
    const Sys_FileLoc sidecar = SidecarOf(iFile);
    return rounded(GetFileDataForkSize(iFile)) +
           (sidecar.IsEmpty() ? 0 : rounded(GetFileDataForkSize(sidecar)));
}

int64_t Sys_FileUtils::GetSpaceRequiredToCopyFolder(const Sys_FileLoc& iFolder, int64_t iBlockSize)
{
    CMN_ASSERT(iBlockSize > 0);
    int32_t count = 0;
    int64_t bytes = 0;
    CountFiles(iFolder.GetFullPath(), true, count, &bytes, iBlockSize);
    return bytes;
}

// ---- changes ---------------------------------------------------------------------------------

void Sys_FileUtils::CreateFolder(const Sys_FileLoc& iFolder)
{
    const std::string& path = iFolder.GetFullPath();
    if (path.empty())
        Fail(ENOENT, Context(92, iFolder));
    size_t pos = path[0] == '/' ? 1 : 0;
    while (pos <= path.size())
    {
        size_t end = path.find('/', pos);
        if (end == std::string::npos)
            end = path.size();
        const std::string part = path.substr(0, end);
        if (::mkdir(part.c_str(), 0777) != 0 && errno != EEXIST)
            Fail(errno, Context(92, iFolder));
        pos = end + 1;
    }
    if (!IsFolder(iFolder))
        Fail(ENOTDIR, Context(92, iFolder));
}

void Sys_FileUtils::CopyFile(const Sys_FileLoc& iSrc, const Sys_FileLoc& iDst)
{
    std::unique_ptr<FileCopier> copier = CreateFileCopier(iSrc, iDst);
    while (copier->CopyNextStep())
    {
    }
}

void Sys_FileUtils::CopyFolder(const Sys_FileLoc& iSrc, const Sys_FileLoc& iDst)
{
    if (!IsFolder(iSrc))
        Fail(ENOTDIR, Context(89, iSrc, iDst));
    CopyTree(iSrc, iDst, false, nullptr);
}

Sys_FileLoc Sys_FileUtils::CopyFileHandleDuplicateNames(const Sys_FileLoc& iSrc,
                                                        const Sys_FileLoc& iDstFolder)
{
    const Sys_FileLoc dst = HandleDuplicateName(Sys_FileLoc(iDstFolder, iSrc.GetName()));
    CopyFile(iSrc, dst);
    return dst;
}

void Sys_FileUtils::CopyFolderHandleDuplicateNames(const Sys_FileLoc& iSrc, const Sys_FileLoc& iDst,
                                                   std::map<Sys_FileLoc, Sys_FileLoc>* ioRenamed,
                                                   Sys_FileLoc* oResult)
{
    if (!IsFolder(iSrc))
        Fail(ENOTDIR, Context(89, iSrc, iDst));
    const Sys_FileLoc dst = HandleDuplicateName(
        Sys_FileLoc(iDst.GetParentFolder(), iDst.GetName(), Sys_FileType::cFolder));
    CopyTree(iSrc, dst, true, ioRenamed);
    if (oResult)
        *oResult = dst;
}

void Sys_FileUtils::MoveFile(const Sys_FileLoc& iSrc, const Sys_FileLoc& iDst)
{
    const std::string context = Context(90, iSrc, iDst);
    struct stat info
    {
    };
    if (!LStat(iSrc, info))
        Fail(ENOENT, context);
    if (Exists(iDst))
        Fail(EEXIST, context);
    if (::rename(iSrc.GetFullPath().c_str(), iDst.GetFullPath().c_str()) == 0)
    {
        const Sys_FileLoc srcSidecar = SidecarOf(iSrc);
        const Sys_FileLoc dstSidecar = SidecarOf(iDst);
        if (!S_ISDIR(info.st_mode) && !srcSidecar.IsEmpty() && !dstSidecar.IsEmpty() &&
            Exists(srcSidecar))
            ::rename(srcSidecar.GetFullPath().c_str(), dstSidecar.GetFullPath().c_str());
        return;
    }
    if (errno != EXDEV)
        Fail(errno, context);
    // Another file system: copy, then delete the source; a failed copy leaves no half.
    if (S_ISDIR(info.st_mode))
    {
        try
        {
            CopyFolder(iSrc, iDst);
        }
        catch (...)
        {
            DeleteFolder(iDst, true);
            throw;
        }
        DeleteFolder(iSrc, true);
    }
    else
    {
        CopyFile(iSrc, iDst);
        DeleteFile(iSrc);
    }
}

void Sys_FileUtils::ReplaceAFile(const Sys_FileLoc& iReplaced, const Sys_FileLoc& iReplacement)
{
    const std::string context = Context(90, iReplacement, iReplaced);
    if (IsFolder(iReplaced))
        Fail(EISDIR, context);
    const Sys_FileLoc oldSidecar = SidecarOf(iReplaced);
    const Sys_FileLoc newSidecar = SidecarOf(iReplacement);
    if (::rename(iReplacement.GetFullPath().c_str(), iReplaced.GetFullPath().c_str()) != 0)
    {
        if (errno != EXDEV)
            Fail(errno, context);
        CopyFile(iReplacement, iReplaced);
        DeleteFile(iReplacement);
        return;
    }
    if (!newSidecar.IsEmpty() && Exists(newSidecar))
        ::rename(newSidecar.GetFullPath().c_str(), oldSidecar.GetFullPath().c_str());
    else if (!oldSidecar.IsEmpty())
        ::unlink(oldSidecar.GetFullPath().c_str());
}

bool Sys_FileUtils::DeleteFile(const Sys_FileLoc& iFile)
{
    // An output still being written: its temporary file goes, the final name stays free.
    if (Sys_AtomicOutput::Discard(iFile))
        return true;
    struct stat info
    {
    };
    if (!LStat(iFile, info))
        return false;
    if (S_ISDIR(info.st_mode))
        Fail(EISDIR, Context(91, iFile));
    if (::unlink(iFile.GetFullPath().c_str()) != 0 && errno != ENOENT)
        Fail(errno, Context(91, iFile));
    const Sys_FileLoc sidecar = SidecarOf(iFile);
    if (!sidecar.IsEmpty())
        ::unlink(sidecar.GetFullPath().c_str());
    return true;
}

bool Sys_FileUtils::DeleteFolder(const Sys_FileLoc& iFolder, bool iRecursive)
{
    struct stat info
    {
    };
    if (!LStat(iFolder, info))
        return false;
    if (!S_ISDIR(info.st_mode))
        Fail(ENOTDIR, Context(91, iFolder));
    std::vector<std::string> names;
    if (!ListFolder(iFolder.GetFullPath(), &names))
        Fail(errno, Context(91, iFolder));
    for (const std::string& name : names)
    {
        const Sys_FileLoc child(iFolder, name);
        struct stat childInfo
        {
        };
        if (!LStat(child, childInfo))
            continue;
        if (!iRecursive && !IsSidecarName(name))
            L10N_Throw(2, 88, iFolder.GetFullPath());
        if (S_ISDIR(childInfo.st_mode))
            DeleteFolder(child, true);
        else if (::unlink(child.GetFullPath().c_str()) != 0 && errno != ENOENT)
            Fail(errno, Context(91, child));
    }
    if (::rmdir(iFolder.GetFullPath().c_str()) != 0 && errno != ENOENT)
        Fail(errno, Context(91, iFolder));
    return true;
}

void Sys_FileUtils::MakeFileWritableByAll(const Sys_FileLoc& iFile)
{
    struct stat info
    {
    };
    if (!Stat(iFile, info))
        Fail(errno, Context(97, iFile));
    if (::chmod(iFile.GetFullPath().c_str(), (info.st_mode & 07777) | 0666) != 0)
        Fail(errno, Context(97, iFile));
}

bool Sys_FileUtils::RevealInFinder(const Sys_FileLoc& iLoc)
{
    const Sys_FileLoc folder = IsFolder(iLoc) ? iLoc : iLoc.GetParentFolder();
    if (folder.IsEmpty() || !IsFolder(folder))
        return false;
    std::string program = "xdg-open";
    std::string path = folder.GetFullPath();
    char* const argv[] = {program.data(), path.data(), nullptr};
    pid_t pid = 0;
    if (::posix_spawnp(&pid, "xdg-open", nullptr, nullptr, argv, environ) != 0)
        return false;
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR)
    {
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

void Sys_FileUtils::SplitName(const std::string& iName, bool iIsFolder, std::string* oBase,
                              std::string* oFormatSuffix, std::string* oExtension)
{
    CMN_ASSERT(oBase && oFormatSuffix && oExtension);
    oFormatSuffix->clear();
    oExtension->clear();
    *oBase = iName;
    if (iIsFolder)
        return;
    const size_t dot = iName.rfind('.');
    if (dot != std::string::npos && dot != 0)
    {
        *oExtension = iName.substr(dot + 1);
        *oBase = iName.substr(0, dot);
    }
    static const char* const cSuffixes[] = {".L",  ".R",  ".C",  ".S",  ".Ls",
                                            ".Rs", ".Cs", ".Lc", ".Rc", ".LFE"};
    for (const char* suffix : cSuffixes)
    {
        const size_t length = std::strlen(suffix);
        if (oBase->size() > length && oBase->compare(oBase->size() - length, length, suffix) == 0)
        {
            *oFormatSuffix = suffix;
            oBase->resize(oBase->size() - length);
            return;
        }
    }
}

Sys_FileLoc Sys_FileUtils::HandleDuplicateName(const Sys_FileLoc& iLoc)
{
    // A name reserved for an output being written (here or by another run) is taken.
    const auto taken = [](const Sys_FileLoc& iCandidate)
    { return Exists(iCandidate) || Sys_AtomicOutput::IsReserved(iCandidate); };
    if (!taken(iLoc))
        return iLoc;
    const bool isFolder = IsFolder(iLoc);
    std::string base, suffix, extension;
    SplitName(iLoc.GetName(), isFolder, &base, &suffix, &extension);
    const Sys_FileLoc parent = iLoc.GetParentFolder();
    const size_t maxLength = size_t(std::max(8, iLoc.GetVolume().GetMaxFileNameComponentLength()));
    const std::string tail = extension.empty() ? std::string() : "." + extension;
    for (int64_t n = 1;; ++n)
    {
        const std::string number = "." + std::to_string(n);
        const size_t fixed = number.size() + suffix.size() + tail.size();
        const std::string cut = LimitStringLength(base, fixed < maxLength ? maxLength - fixed : 1);
        const std::string name = cut + number + suffix + tail;
        const Sys_FileLoc candidate(parent, name,
                                    isFolder ? Sys_FileType::cFolder : Sys_FileType::cUnknown);
        if (!taken(candidate))
            return candidate;
    }
}

std::unique_ptr<Sys_FileUtils::FileCopier>
Sys_FileUtils::CreateFileCopier(const Sys_FileLoc& iSrc, const Sys_FileLoc& iDst, int64_t iOffset,
                                int64_t iLength, int32_t iStepSize)
{
    return std::make_unique<FileCopierPosix>(iSrc, iDst, iOffset, iLength, iStepSize);
}

std::unique_ptr<Sys_FileUtils::FileCopier>
Sys_FileUtils::CreateRangeCopier(const Sys_FileLoc& iSrc, int64_t iSrcOffset,
                                 const Sys_FileLoc& iDst, int64_t iDstOffset, int64_t iLength,
                                 int32_t iStepSize)
{
    CMN_ASSERT(iDstOffset >= 0 && iLength >= 0);
    return std::make_unique<FileCopierPosix>(iSrc, iDst, iSrcOffset, iLength, iStepSize,
                                             iDstOffset);
}

// ---- StDeleteFiles ---------------------------------------------------------------------------

std::atomic<Sys_FileUtils::StDeleteFiles::DeleteNotificationClient*>
    Sys_FileUtils::StDeleteFiles::sClientP{nullptr};

Sys_FileUtils::StDeleteFiles::~StDeleteFiles()
{
    try
    {
        Delete();
    }
    catch (...)
    {
        // A guard that runs while unwinding must not throw; what could not go stays.
    }
}

void Sys_FileUtils::StDeleteFiles::Add(const Sys_FileLoc& iLoc)
{
    std::lock_guard<std::mutex> lock(mMutex);
    if (std::find(mFiles.begin(), mFiles.end(), iLoc) == mFiles.end())
        mFiles.push_back(iLoc);
}

std::list<Sys_FileLoc> Sys_FileUtils::StDeleteFiles::GetFiles() const
{
    std::lock_guard<std::mutex> lock(mMutex);
    return mFiles;
}

void Sys_FileUtils::StDeleteFiles::Release()
{
    std::lock_guard<std::mutex> lock(mMutex);
    mFiles.clear();
}

void Sys_FileUtils::StDeleteFiles::Delete()
{
    std::list<Sys_FileLoc> files;
    {
        std::lock_guard<std::mutex> lock(mMutex);
        files.swap(mFiles);
    }
    std::exception_ptr first;
    for (const Sys_FileLoc& loc : files)
    {
        try
        {
            const bool deleted =
                IsFolder(loc) && !IsFinderAlias(loc) ? DeleteFolder(loc, true) : DeleteFile(loc);
            DeleteNotificationClient* clientP = sClientP.load();
            if (deleted && clientP)
                clientP->FileDeleted(loc);
        }
        catch (...)
        {
            if (!first)
                first = std::current_exception();
        }
    }
    if (first)
        std::rethrow_exception(first);
}

void Sys_FileUtils::StDeleteFiles::SetDeleteNoficationClient(DeleteNotificationClient* iClientP)
{
    sClientP.store(iClientP);
}

Sys_FileUtils::StDeleteFiles::DeleteNotificationClient*
Sys_FileUtils::StDeleteFiles::GetDeleteNotificationClient()
{
    return sClientP.load();
}
