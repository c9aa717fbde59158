#include "Sys_FilePosix.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

#include "Cmn_Assert.h"
#include "Sys_AsyncFileIOParams.h"
#include "Sys_AtomicOutput.h"
#include "Sys_FileJournal.h"
#include "Sys_OSErrData.h"
#include "Sys_SyncObjectPosix.h"

namespace
{
constexpr int64_t cMaxSystemTransfer = 0x7ffff000;
constexpr int64_t cBounceSize = 256 * 1024;
constexpr int cIOThreadCount = 4;

// ---- fault injection -----------------------------------------------------------------------

struct Fault
{
    std::atomic<int32_t> mCountDown{0};
    std::atomic<int32_t> mError{0};
};
Fault sFaults[Sys_FilePosix::eFault_Count];
} // namespace

int32_t Sys_FilePosix::TakeFault(EFault iKind)
{
    Fault& fault = sFaults[iKind];
    int32_t count = fault.mCountDown.load();
    while (count > 0)
    {
        if (!fault.mCountDown.compare_exchange_weak(count, count - 1))
            continue;
        const int32_t error = count == 1 ? fault.mError.load() : 0;
        if (error < 0)
            ::kill(::getpid(), -error);
        return error;
    }
    return 0;
}

namespace
{
int32_t TakeFault(Sys_FilePosix::EFault iKind)
{
    return Sys_FilePosix::TakeFault(iKind);
}

// ---- whole transfers -------------------------------------------------------------------------

// Reads until iByteCount bytes, the end of file or an error; the count read so far is
// returned and the error stored in oError.
int64_t PReadAll(int iFD, void* oBufferP, int64_t iByteCount, int64_t iPosition, int32_t& oError)
{
    oError = TakeFault(Sys_FilePosix::eFault_Read);
    if (oError)
        return 0;
    int64_t done = 0;
    while (done < iByteCount)
    {
        const ssize_t n = ::pread(iFD, static_cast<char*>(oBufferP) + done,
                                  size_t(std::min(iByteCount - done, cMaxSystemTransfer)),
                                  off_t(iPosition + done));
        if (n < 0)
        {
            if (errno == EINTR)
                continue;
            oError = errno;
            break;
        }
        if (n == 0)
            break;
        done += n;
    }
    return done;
}

int64_t PWriteAll(int iFD, const void* iBufferP, int64_t iByteCount, int64_t iPosition,
                  int32_t& oError)
{
    oError = TakeFault(Sys_FilePosix::eFault_Write);
    if (oError)
        return 0;
    int64_t done = 0;
    while (done < iByteCount)
    {
        const ssize_t n = ::pwrite(iFD, static_cast<const char*>(iBufferP) + done,
                                   size_t(std::min(iByteCount - done, cMaxSystemTransfer)),
                                   off_t(iPosition + done));
        if (n < 0)
        {
            if (errno == EINTR)
                continue;
            oError = errno;
            break;
        }
        if (n == 0)
        {
            oError = EIO;
            break;
        }
        done += n;
    }
    return done;
}

unsigned char* AllocateAligned(int64_t iAlignment, int64_t iSize)
{
    void* p = nullptr;
    const int error = ::posix_memalign(&p, size_t(iAlignment), size_t(iSize));
    if (error)
        Sys_ThrowIfOSErr(error, "");
    return static_cast<unsigned char*>(p);
}

bool IsAligned(const void* iP, int64_t iAlignment)
{
    return reinterpret_cast<uintptr_t>(iP) % uintptr_t(iAlignment) == 0;
}

// ---- the I/O threads -----------------------------------------------------------------------

// A transfer for the I/O threads. It lives in storage of its issuer's (a recycled record),
// so queueing it allocates nothing.
class IOJob
{
public:
    virtual void Execute() = 0;

protected:
    ~IOJob() = default;
};

class IOThreadPool
{
public:
    static IOThreadPool& Instance()
    {
        static IOThreadPool sPool;
        return sPool;
    }

    void Submit(IOJob* iJobP)
    {
        {
            std::lock_guard<std::mutex> lock(mMutex);
            if (mThreads.empty())
                for (int i = 0; i < cIOThreadCount; ++i)
                    mThreads.emplace_back([this] { Run(); });
            // A ring that only grows: in steady state queueing allocates nothing.
            if (mCount == mJobs.size())
            {
                std::vector<IOJob*> grown(mJobs.empty() ? 16 : mJobs.size() * 2, nullptr);
                for (size_t i = 0; i < mCount; ++i)
                    grown[i] = mJobs[(mHead + i) % mJobs.size()];
                mJobs.swap(grown);
                mHead = 0;
            }
            mJobs[(mHead + mCount) % mJobs.size()] = iJobP;
            ++mCount;
        }
        mCondition.notify_one();
    }

    ~IOThreadPool()
    {
        {
            std::lock_guard<std::mutex> lock(mMutex);
            mStop = true;
        }
        mCondition.notify_all();
        for (auto& thread : mThreads)
            thread.join();
    }

private:
    IOThreadPool() = default;

    void Run()
    {
        for (;;)
        {
            IOJob* jobP = nullptr;
            {
                std::unique_lock<std::mutex> lock(mMutex);
                mCondition.wait(lock, [this] { return mStop || mCount != 0; });
                if (mCount == 0)
                    return;
                jobP = std::exchange(mJobs[mHead], nullptr);
                mHead = (mHead + 1) % mJobs.size();
                --mCount;
            }
            jobP->Execute();
        }
    }

    std::mutex mMutex;
    std::condition_variable mCondition;
    std::vector<IOJob*> mJobs;
    size_t mHead = 0;  // slot of the oldest job
    size_t mCount = 0; // jobs queued
    std::vector<std::thread> mThreads;
    bool mStop = false;
};
} // namespace

// What async transfers share with the file: the descriptor and the count of transfers that
// are still running.
struct Sys_FilePosix::Shared
{
    explicit Shared(int iFD, bool iDirect) : mFD(iFD), mDirect(iDirect) {}

    const int mFD;
    std::atomic<bool> mDirect;
    std::mutex mMutex;
    std::condition_variable mIdle;
    int32_t mInFlight = 0;
};

// One async transfer: run by an I/O thread, then posted to the issuing thread, whose wait
// completes it. Records are recycled (never freed), so a steady flow of transfers allocates
// nothing for them.
struct Sys_FilePosix::AsyncJob final : IOJob, Sys_ApcQueue::Item
{
    static AsyncJob* Acquire()
    {
        FreeList& freeList = GetFreeList();
        {
            std::lock_guard<std::mutex> lock(freeList.mMutex);
            if (!freeList.mJobs.empty())
            {
                AsyncJob* jobP = freeList.mJobs.back();
                freeList.mJobs.pop_back();
                return jobP;
            }
        }
        return new AsyncJob;
    }

    // On an I/O thread.
    void Execute() override
    {
        mError = 0;
        mMoved = mWrite ? PWriteAll(mShared->mFD, mBufferP, mCount, mPosition, mError)
                        : PReadAll(mShared->mFD, mBufferP, mCount, mPosition, mError);
        // Once posted, the record belongs to the issuing thread.
        const std::shared_ptr<Shared> shared = std::move(mShared);
        const std::shared_ptr<Sys_ApcQueue> issuer = std::move(mIssuer);
        issuer->Post(static_cast<Sys_ApcQueue::Item*>(this));
        std::lock_guard<std::mutex> lock(shared->mMutex);
        if (--shared->mInFlight == 0)
            shared->mIdle.notify_all();
    }

    // On the issuing thread, during an alertable wait.
    void Run() override
    {
        const Sys_AsyncFileIOParams::ParamsHandle params = std::move(mParams);
        const int32_t error = mError;
        const int64_t moved = mMoved;
        Release();
        params->SetResultState(error, moved);
        params->RunCallback();
        params->SignalCompletionEvent();
    }

    // The issuing thread ended first: the transfer is dropped.
    void Discard() override
    {
        const Sys_AsyncFileIOParams::ParamsHandle params = std::move(mParams);
        Release();
    }

    std::shared_ptr<Shared> mShared;
    std::shared_ptr<Sys_ApcQueue> mIssuer;
    Sys_AsyncFileIOParams::ParamsHandle mParams;
    int64_t mPosition = 0;
    int64_t mCount = 0;
    void* mBufferP = nullptr;
    bool mWrite = false;
    int32_t mError = 0;
    int64_t mMoved = 0;

private:
    struct FreeList
    {
        std::mutex mMutex;
        std::vector<AsyncJob*> mJobs;
    };
    // Never destroyed: records may come back while the process ends.
    static FreeList& GetFreeList()
    {
        static FreeList* sFreeListP = new FreeList;
        return *sFreeListP;
    }

    void Release()
    {
        mParams = Sys_AsyncFileIOParams::ParamsHandle();
        FreeList& freeList = GetFreeList();
        std::lock_guard<std::mutex> lock(freeList.mMutex);
        freeList.mJobs.push_back(this);
    }
};

Sys_FilePosix::Sys_FilePosix(const Sys_FileLoc& iLoc) : mLoc(iLoc) {}

Sys_FilePosix::~Sys_FilePosix()
{
    try
    {
        Close();
    }
    catch (...)
    {
        // A failing close in a destructor has nobody to tell.
    }
    std::free(mStagingP[0]);
    std::free(mStagingP[1]);
}

Sys_FileImpl* Sys_FilePosix::Create(const Sys_FileLoc& iLoc)
{
    return new Sys_FilePosix(iLoc);
}

void Sys_FilePosix::SetPlatformDependentMethods()
{
    Sys_File::SetCreateMethod(&Create);
}

void Sys_FilePosix::SetFault(EFault iKind, int32_t iNth, int32_t iError)
{
    CMN_ASSERT(iKind >= eFault_Read && iKind < eFault_Count);
    if (iKind == eFault_Sync || iKind == eFault_Rename)
        Sys_AtomicOutput::SetFaultHook(
            [](bool iRename) { return TakeFault(iRename ? eFault_Rename : eFault_Sync); });
    Sys_FileJournal::SetFaultHook([](Sys_FileJournal::EOperation iOperation) {
        return TakeFault(iOperation == Sys_FileJournal::eOperation_Read    ? eFault_Read
                         : iOperation == Sys_FileJournal::eOperation_Write ? eFault_Write
                                                                          : eFault_Sync);
    });
    sFaults[iKind].mError = iError;
    sFaults[iKind].mCountDown = iNth > 0 ? iNth : 0;
}

void Sys_FilePosix::ThrowError(int32_t iError) const
{
    Sys_ThrowIfOSErr(iError, mLoc.GetFullPath());
    CMN_ASSERT(false);
    std::abort();
}

bool Sys_FilePosix::IsDirectIO() const
{
    return mShared && mShared->mDirect.load();
}

bool Sys_FilePosix::IsOnline() const
{
    struct stat info
    {
    };
    return ::stat(Sys_AtomicOutput::Redirect(mLoc).GetFullPath().c_str(), &info) == 0;
}

void Sys_FilePosix::Open(int32_t inOpenFlags)
{
    // Overlapped transfers are always available here.
    inOpenFlags |= Sys_File::eOpen_AsyncIO;
    CMN_ASSERT(!this->IsOpen());

    const Sys_Volume volume = mLoc.GetVolume();
    const bool unbuffered = (inOpenFlags & Sys_File::eOpen_Unbuffered) != 0;
    if (mSectorSize == 0 &&
        ((inOpenFlags & (Sys_File::eOpen_ForRead | Sys_File::eOpen_WriteThrough |
                         Sys_File::eOpen_NeedsSectorSize)) ||
         unbuffered) &&
        volume.IsMounted())
    {
        mSectorSize = volume.GetBytesPerSector();
        if (mSectorSize <= 0)
            mSectorSize = 512;
        mNeedsStaging = true;
    }
    if (unbuffered && mSectorSize == 0)
    {
        mSectorSize = 512;
        mNeedsStaging = true;
    }

    const bool async = (inOpenFlags & Sys_File::eOpen_AsyncIO) != 0;
    CMN_ASSERT_TEXT((unbuffered && async) || (!unbuffered && !async) || (async && !unbuffered),
                    "unbuffered && async || !unbuffered && !async || async && !unbuffered");
    if (inOpenFlags & Sys_File::eOpen_WriteThrough)
        CMN_ASSERT_TEXT((inOpenFlags & Sys_File::eOpen_ForWrite) != 0,
                        "( inOpenFlags & Sys_File::eOpen_ForWrite ) != 0");

    int flags = O_CLOEXEC;
    const bool forWrite = (inOpenFlags & Sys_File::eOpen_ForWrite) != 0;
    const bool forRead = (inOpenFlags & Sys_File::eOpen_ForRead) != 0;
    // An unbuffered writer reads partial sectors back before it overlays them.
    flags |= forWrite ? ((forRead || unbuffered) ? O_RDWR : O_WRONLY) : O_RDONLY;
    const bool create = (inOpenFlags & Sys_File::eOpen_Create) != 0;
    const bool existing = (inOpenFlags & Sys_File::eOpen_Existing) != 0;
    if (create && existing)
        flags |= O_CREAT;
    else if (create)
        flags |= O_CREAT | O_TRUNC;
    if (inOpenFlags & Sys_File::eOpen_WriteThrough)
        flags |= O_DSYNC;

    // An output being written atomically is opened at its temporary location.
    const std::string path = Sys_AtomicOutput::Redirect(mLoc).GetFullPath();
    // A change in place that a failure or a kill left half made is undone first.
    Sys_FileJournal::Recover(path);
    if (create && !existing && volume.GetFileSystemType() == Sys_Volume::eFileSystemType_NTFS)
    {
        // Replace rather than truncate, so that nothing of the old file stays attached.
        if (::unlink(path.c_str()) != 0 && errno != ENOENT)
            ThrowError(errno);
    }

    int fd = -1;
    bool direct = false;
    if (unbuffered)
    {
        do
            fd = ::open(path.c_str(), flags | O_DIRECT, 0666);
        while (fd < 0 && errno == EINTR);
        direct = fd >= 0;
    }
    if (fd < 0 && (!unbuffered || errno == EINVAL || errno == EOPNOTSUPP))
    {
        do
            fd = ::open(path.c_str(), flags, 0666);
        while (fd < 0 && errno == EINTR);
    }
    if (fd < 0)
        ThrowError(errno);

    mFD = fd;
    mOpenFlags = inOpenFlags;
    mPosition = 0;
    mShared = std::make_shared<Shared>(fd, direct);
    struct statfs info
    {
    };
    mFileSystemType = ::fstatfs(fd, &info) == 0
                          ? Sys_Volume::FileSystemTypeFromMagic(int64_t(info.f_type))
                          : Sys_Volume::eFileSystemType_Unknown;

    if (unbuffered && mNeedsStaging && !mStagingP[0])
    {
        mStagingP[0] = AllocateAligned(mSectorSize, mSectorSize);
        mStagingP[1] = AllocateAligned(mSectorSize, mSectorSize);
    }
}

void Sys_FilePosix::Close()
{
    if (!IsOpen())
        return;
    {
        std::unique_lock<std::mutex> lock(mShared->mMutex);
        mShared->mIdle.wait(lock, [this] { return mShared->mInFlight == 0; });
    }
    const int error = ::close(mFD) == 0 ? 0 : errno;
    int unlinkError = 0;
    if ((mOpenFlags & Sys_File::eOpen_DeleteOnClose) && ::unlink(mLoc.GetFullPath().c_str()) != 0 &&
        errno != ENOENT)
        unlinkError = errno;
    mFD = -1;
    mOpenFlags = 0;
    mPosition = 0;
    mShared.reset();
    std::free(mBounceP);
    mBounceP = nullptr;
    if (error && error != EINTR)
        ThrowError(error);
    if (unlinkError)
        ThrowError(unlinkError);
}

int64_t Sys_FilePosix::GetEOF() const
{
    struct stat info
    {
    };
    if (::fstat(mFD, &info) != 0)
        ThrowError(errno);
    return int64_t(info.st_size);
}

void Sys_FilePosix::SetEOF(int64_t iEOF)
{
    if (iEOF < 0)
        ThrowError(EINVAL);
    const int64_t end = GetEOF();
    if (iEOF == end)
        return;
    // A change of length either way counts as a growth for fault injection.
    if (const int32_t fault = TakeFault(eFault_Grow))
        ThrowError(fault);
    if (iEOF > end)
    {
        if (mFileSystemType != Sys_Volume::eFileSystemType_FAT)
        {
            int result;
            do
                result = ::fallocate(mFD, 0, off_t(end), off_t(iEOF - end));
            while (result != 0 && errno == EINTR);
            if (result == 0)
                return;
            if (errno != EOPNOTSUPP && errno != ENOSYS)
                ThrowError(errno);
        }
    }
    int result;
    do
        result = ::ftruncate(mFD, off_t(iEOF));
    while (result != 0 && errno == EINTR);
    if (result != 0)
        ThrowError(errno);
}

void Sys_FilePosix::SetPosition(Sys_File::EOffsetFrom iFrom, int64_t iOffset)
{
    int64_t position = mPosition;
    switch (iFrom)
    {
    case Sys_File::eOffsetFrom_Start:
        position = iOffset;
        break;
    case Sys_File::eOffsetFrom_Current:
        position = mPosition + iOffset;
        break;
    case Sys_File::eOffsetFrom_End:
        position = GetEOF() - iOffset;
        break;
    default:
        ThrowError(EINVAL);
    }
    if (position < 0)
        ThrowError(EINVAL);
    mPosition = position;
}

int64_t Sys_FilePosix::Read(void* oBufferP, int64_t iByteCount)
{
    CMN_ASSERT(iByteCount >= 0);
    if (!IsOpen())
        ThrowError(EBADF);
    const int64_t count = (mOpenFlags & Sys_File::eOpen_Unbuffered)
                              ? ReadUnbufferedIO(oBufferP, iByteCount)
                              : ReadNormal(oBufferP, iByteCount);
    mPosition += count;
    return count;
}

int64_t Sys_FilePosix::Write(const void* iBufferP, int64_t iByteCount)
{
    CMN_ASSERT(iByteCount >= 0);
    if (!IsOpen())
        ThrowError(EBADF);
    const int64_t count = (mOpenFlags & Sys_File::eOpen_Unbuffered)
                              ? WriteUnbufferedIO(iBufferP, iByteCount)
                              : WriteNormal(iBufferP, iByteCount);
    mPosition += count;
    return count;
}

int64_t Sys_FilePosix::ReadAt(void* oBufferP, int64_t iByteCount, int64_t iPosition)
{
    int32_t error = 0;
    int64_t count = PReadAll(mFD, oBufferP, iByteCount, iPosition, error);
    if (error == EINVAL && mShared->mDirect.load())
    {
        // The file system will not do direct transfers of this shape: go on buffered.
        const int flags = ::fcntl(mFD, F_GETFL);
        if (flags != -1 && ::fcntl(mFD, F_SETFL, flags & ~O_DIRECT) == 0)
        {
            mShared->mDirect = false;
            count += PReadAll(mFD, static_cast<char*>(oBufferP) + count, iByteCount - count,
                              iPosition + count, error);
        }
    }
    if (error)
        ThrowError(error);
    return count;
}

int64_t Sys_FilePosix::WriteAt(const void* iBufferP, int64_t iByteCount, int64_t iPosition)
{
    int32_t error = 0;
    int64_t count = PWriteAll(mFD, iBufferP, iByteCount, iPosition, error);
    if (error == EINVAL && mShared->mDirect.load())
    {
        const int flags = ::fcntl(mFD, F_GETFL);
        if (flags != -1 && ::fcntl(mFD, F_SETFL, flags & ~O_DIRECT) == 0)
        {
            mShared->mDirect = false;
            count += PWriteAll(mFD, static_cast<const char*>(iBufferP) + count, iByteCount - count,
                               iPosition + count, error);
        }
    }
    if (error)
        ThrowError(error);
    return count;
}

int64_t Sys_FilePosix::ReadNormal(void* oBufferP, int64_t iByteCount)
{
    return ReadAt(oBufferP, iByteCount, mPosition);
}

int64_t Sys_FilePosix::WriteNormal(const void* iBufferP, int64_t iByteCount)
{
    return WriteAt(iBufferP, iByteCount, mPosition);
}

unsigned char* Sys_FilePosix::GetBounceBuffer()
{
    if (!mBounceP)
        mBounceP = AllocateAligned(mSectorSize, cBounceSize);
    return mBounceP;
}

int64_t Sys_FilePosix::ReadUnbufferedIO(void* oBufferP, int64_t iByteCount)
{
    const int64_t sector = mSectorSize;
    unsigned char* out = static_cast<unsigned char*>(oBufferP);
    int64_t position = mPosition;
    int64_t done = 0;

    // Head: the part of the first sector when the position is inside one.
    const int64_t headOffset = position % sector;
    if (headOffset != 0 && iByteCount > 0)
    {
        const int64_t got = ReadAt(mStagingP[0], sector, position - headOffset);
        const int64_t wanted = std::min(iByteCount, sector - headOffset);
        const int64_t take = std::clamp<int64_t>(got - headOffset, 0, wanted);
        std::memcpy(out, mStagingP[0] + headOffset, size_t(take));
        done += take;
        if (take < wanted)
            return done;
    }

    // Middle: whole sectors, into the caller's memory when it is aligned.
    const int64_t whole = (iByteCount - done) / sector * sector;
    if (whole > 0)
    {
        if (IsAligned(out + done, sector))
        {
            const int64_t got = ReadAt(out + done, whole, position + done);
            done += got;
            if (got < whole)
                return done;
        }
        else
        {
            unsigned char* bounce = GetBounceBuffer();
            int64_t left = whole;
            while (left > 0)
            {
                const int64_t chunk = std::min(left, cBounceSize);
                const int64_t got = ReadAt(bounce, chunk, position + done);
                std::memcpy(out + done, bounce, size_t(got));
                done += got;
                left -= got;
                if (got < chunk)
                    return done;
            }
        }
    }

    // Tail: the start of the last sector.
    const int64_t tail = iByteCount - done;
    if (tail > 0)
    {
        const int64_t got = ReadAt(mStagingP[1], sector, position + done);
        const int64_t take = std::min(tail, got);
        std::memcpy(out + done, mStagingP[1], size_t(take));
        done += take;
    }
    return done;
}

int64_t Sys_FilePosix::WriteUnbufferedIO(const void* iBufferP, int64_t iByteCount)
{
    const int64_t sector = mSectorSize;
    const unsigned char* in = static_cast<const unsigned char*>(iBufferP);
    const int64_t position = mPosition;
    const int64_t oldEnd = GetEOF();
    int64_t done = 0;

    // Read a sector into staging (zeros past the end), lay the new bytes over it, write it.
    auto overlaySector =
        [&](unsigned char* staging, int64_t sectorStart, int64_t offset, int64_t count)
    {
        const int64_t got = ReadAt(staging, sector, sectorStart);
        std::memset(staging + got, 0, size_t(sector - got));
        std::memcpy(staging + offset, in + done, size_t(count));
        if (WriteAt(staging, sector, sectorStart) != sector)
            ThrowError(EIO);
        done += count;
    };

    const int64_t headOffset = position % sector;
    if (headOffset != 0 && iByteCount > 0)
        overlaySector(mStagingP[0], position - headOffset, headOffset,
                      std::min(iByteCount, sector - headOffset));

    const int64_t whole = (iByteCount - done) / sector * sector;
    if (whole > 0)
    {
        if (IsAligned(in + done, sector))
        {
            done += WriteAt(in + done, whole, position + done);
        }
        else
        {
            unsigned char* bounce = GetBounceBuffer();
            int64_t left = whole;
            while (left > 0)
            {
                const int64_t chunk = std::min(left, cBounceSize);
                std::memcpy(bounce, in + done, size_t(chunk));
                done += WriteAt(bounce, chunk, position + done);
                left -= chunk;
            }
        }
    }

    const int64_t tail = iByteCount - done;
    if (tail > 0)
        overlaySector(mStagingP[1], position + done, 0, tail);

    // Whole-sector writes may have run past the true end.
    const int64_t trueEnd = std::max(oldEnd, position + done);
    if (GetEOF() > trueEnd)
    {
        int result;
        do
            result = ::ftruncate(mFD, off_t(trueEnd));
        while (result != 0 && errno == EINTR);
        if (result != 0)
            ThrowError(errno);
    }
    return done;
}

void Sys_FilePosix::ReadAsync(Sys_AsyncFileIOParams* iParamsP)
{
    IssueAsync(iParamsP, false);
}

void Sys_FilePosix::WriteAsync(Sys_AsyncFileIOParams* iParamsP)
{
    IssueAsync(iParamsP, true);
}

void Sys_FilePosix::IssueAsync(Sys_AsyncFileIOParams* iParamsP, bool iWrite)
{
    CMN_ASSERT_TEXT(mOpenFlags & Sys_File::eOpen_AsyncIO, "mOpenFlags & Sys_File::eOpen_AsyncIO");
    CMN_ASSERT(iParamsP);
    const int64_t position = iParamsP->GetPosition();
    const int64_t count = iParamsP->GetByteCount();
    void* const bufferP = iParamsP->GetBuffer();
    if (position < 0 || count < 0 || (count > 0 && !bufferP))
        ThrowError(EINVAL);

    AsyncJob* jobP = AsyncJob::Acquire();
    jobP->mParams = Sys_AsyncFileIOParams::ParamsHandle(iParamsP);
    jobP->mIssuer = Sys_ApcQueue::GetCurrent();
    jobP->mShared = mShared;
    jobP->mPosition = position;
    jobP->mCount = count;
    jobP->mBufferP = bufferP;
    jobP->mWrite = iWrite;
    {
        std::lock_guard<std::mutex> lock(mShared->mMutex);
        ++mShared->mInFlight;
    }
    IOThreadPool::Instance().Submit(jobP);
}

bool Sys_FilePosix::IsReadOnly() const
{
    struct stat info
    {
    };
    const int result = IsOpen()
                           ? ::fstat(mFD, &info)
                           : ::stat(Sys_AtomicOutput::Redirect(mLoc).GetFullPath().c_str(), &info);
    if (result != 0)
        ThrowError(errno);
    return (info.st_mode & S_IWUSR) == 0;
}

void Sys_FilePosix::SetReadOnly(bool iReadOnly)
{
    struct stat info
    {
    };
    const int result = IsOpen()
                           ? ::fstat(mFD, &info)
                           : ::stat(Sys_AtomicOutput::Redirect(mLoc).GetFullPath().c_str(), &info);
    if (result != 0)
        ThrowError(errno);
    if (((info.st_mode & S_IWUSR) == 0) == iReadOnly)
        return;
    const mode_t mode = iReadOnly ? (info.st_mode & ~mode_t(S_IWUSR | S_IWGRP | S_IWOTH))
                                  : (info.st_mode | S_IWUSR);
    const int changed =
        IsOpen() ? ::fchmod(mFD, mode & 07777)
                 : ::chmod(Sys_AtomicOutput::Redirect(mLoc).GetFullPath().c_str(), mode & 07777);
    if (changed != 0)
        ThrowError(errno);
}
