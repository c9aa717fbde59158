#include "Sys_FileJournal.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Sys_OSErrData.h"

namespace
{
std::atomic<Sys_FileJournal::FaultHook> sFaultHook{nullptr};

int32_t Fault(Sys_FileJournal::EOperation iOperation)
{
    const Sys_FileJournal::FaultHook hook = sFaultHook.load();
    return hook ? hook(iOperation) : 0;
}

void ThrowIf(int32_t iError, const std::string& iPath)
{
    if (iError != 0)
        Sys_ThrowIfOSErr(iError, iPath);
}

// The whole of [iData, iData + iSize) at iOffset, or an error.
int32_t WriteAll(int iFD, const unsigned char* iDataP, size_t iSize, int64_t iOffset)
{
    if (const int32_t fault = Fault(Sys_FileJournal::eOperation_Write))
        return fault;
    while (iSize > 0)
    {
        const ssize_t done = ::pwrite(iFD, iDataP, iSize, off_t(iOffset));
        if (done < 0 && errno == EINTR)
            continue;
        if (done <= 0)
            return done < 0 ? errno : EIO;
        iDataP += done;
        iSize -= size_t(done);
        iOffset += done;
    }
    return 0;
}

// Reads up to iSize bytes at iOffset; *oCountP gets how many there were before the end.
int32_t ReadAll(int iFD, unsigned char* oDataP, size_t iSize, int64_t iOffset, size_t* oCountP)
{
    *oCountP = 0;
    if (const int32_t fault = Fault(Sys_FileJournal::eOperation_Read))
        return fault;
    while (*oCountP < iSize)
    {
        const ssize_t done =
            ::pread(iFD, oDataP + *oCountP, iSize - *oCountP, off_t(iOffset + int64_t(*oCountP)));
        if (done < 0 && errno == EINTR)
            continue;
        if (done < 0)
            return errno;
        if (done == 0)
            break;
        *oCountP += size_t(done);
    }
    return 0;
}

int32_t Sync(int iFD)
{
    if (const int32_t fault = Fault(Sys_FileJournal::eOperation_Sync))
        return fault;
    return ::fsync(iFD) == 0 ? 0 : errno;
}

std::string FolderOf(const std::string& iPath)
{
    const size_t slash = iPath.rfind('/');
    return slash == std::string::npos ? std::string(".") : iPath.substr(0, slash ? slash : 1);
}

int32_t SyncFolder(const std::string& iPath)
{
    const int fd = ::open(FolderOf(iPath).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return errno;
    const int32_t error = Sync(fd);
    ::close(fd);
    return error;
}

void CloseFD(int& ioFD)
{
    if (ioFD >= 0)
        ::close(ioFD);
    ioFD = -1;
}

template <class T> void Put(std::vector<unsigned char>& ioImage, T iValue)
{
    for (size_t i = 0; i < sizeof(T); ++i)
        ioImage.push_back(static_cast<unsigned char>(uint64_t(iValue) >> (8 * i)));
}

template <class T> T Get(const unsigned char* iDataP)
{
    uint64_t value = 0;
    for (size_t i = sizeof(T); i-- > 0;)
        value = (value << 8) | iDataP[i];
    return static_cast<T>(value);
}

// The old bytes back in place, the old length, then a sync.
int32_t RollBack(int iFD, const Sys_FileJournal::Contents& iContents)
{
    for (const Sys_FileJournal::Region& region : iContents.mRegions)
        if (const int32_t error =
                WriteAll(iFD, region.mBytes.data(), region.mBytes.size(), region.mOffset))
            return error;
    if (const int32_t fault = Fault(Sys_FileJournal::eOperation_Write))
        return fault;
    if (::ftruncate(iFD, off_t(iContents.mOldLength)) != 0)
        return errno;
    return Sync(iFD);
}
} // namespace

Sys_FileJournal::Sys_FileJournal(const std::string& iPath)
{
    char* real = ::realpath(iPath.c_str(), nullptr);
    if (!real)
        Sys_ThrowIfOSErr(errno, iPath);
    mPath = real;
    std::free(real);
    mJournalPath = JournalPath(mPath);
}

Sys_FileJournal::~Sys_FileJournal()
{
    CloseFD(mJournalFD);
    CloseFD(mFileFD);
}

std::string Sys_FileJournal::JournalPath(const std::string& iPath)
{
    const size_t slash = iPath.rfind('/');
    if (slash == std::string::npos)
        return "." + iPath + cSuffix;
    return iPath.substr(0, slash + 1) + "." + iPath.substr(slash + 1) + cSuffix;
}

std::string Sys_FileJournal::JournalContext() const
{
    return mPath + " (journal " + mJournalPath + ")";
}

void Sys_FileJournal::Add(int64_t iOffset, int64_t iLength)
{
    if (iOffset < 0 || iLength <= 0)
        return;
    mRegions.push_back({iOffset, std::min(iLength, INT64_MAX - iOffset), {}});
}

void Sys_FileJournal::Begin()
{
    if (IsBegun())
        return;
    mFileFD = ::open(mPath.c_str(), O_RDWR | O_CLOEXEC);
    struct stat info
    {
    };
    if (mFileFD < 0 || ::fstat(mFileFD, &info) != 0)
    {
        const int32_t error = errno;
        CloseFD(mFileFD);
        Sys_ThrowIfOSErr(error, mPath);
    }
    mOldLength = info.st_size;

    // Regions inside the old length, in order, merged.
    std::vector<Region> regions;
    for (const Region& region : mRegions)
        if (region.mOffset < mOldLength)
            regions.push_back(
                {region.mOffset, std::min(region.mLength, mOldLength - region.mOffset), {}});
    std::sort(regions.begin(), regions.end(),
              [](const Region& iA, const Region& iB) { return iA.mOffset < iB.mOffset; });
    Contents contents;
    contents.mOldLength = mOldLength;
    for (const Region& region : regions)
    {
        if (!contents.mRegions.empty())
        {
            Region& last = contents.mRegions.back();
            if (region.mOffset <= last.mOffset + last.mLength)
            {
                last.mLength = std::max(last.mLength, region.mOffset + region.mLength - last.mOffset);
                continue;
            }
        }
        contents.mRegions.push_back(region);
    }
    for (Region& region : contents.mRegions)
    {
        region.mBytes.resize(size_t(region.mLength));
        size_t count = 0;
        ThrowIf(ReadAll(mFileFD, region.mBytes.data(), region.mBytes.size(), region.mOffset, &count),
                mPath);
        if (count != region.mBytes.size())
            Sys_ThrowIfOSErr(EIO, mPath);
    }
    const std::vector<unsigned char> image = Build(contents);

    // Created exclusively: a journal left by an earlier change is undone first. One that a
    // recovery removed between our create and our lock is made again.
    for (int32_t attempt = 0; mJournalFD < 0; ++attempt)
    {
        int fd = ::open(mJournalPath.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (fd < 0 && errno == EEXIST && attempt < 2)
        {
            Recover(mPath);
            continue;
        }
        if (fd < 0)
            Sys_ThrowIfOSErr(errno, JournalContext());
        struct stat journalInfo
        {
        };
        while (::flock(fd, LOCK_EX) != 0 && errno == EINTR)
        {
        }
        if (::fstat(fd, &journalInfo) != 0 || journalInfo.st_nlink == 0)
        {
            ::close(fd);
            if (attempt >= 2)
                Sys_ThrowIfOSErr(EAGAIN, JournalContext());
            continue;
        }
        mJournalFD = fd;
    }
    int32_t error = WriteAll(mJournalFD, image.data(), image.size(), 0);
    if (error == 0)
        error = Sync(mJournalFD);
    if (error == 0)
        error = SyncFolder(mJournalPath);
    if (error != 0)
    {
        // The file is untouched: the journal goes.
        ::unlink(mJournalPath.c_str());
        CloseFD(mJournalFD);
        CloseFD(mFileFD);
        Sys_ThrowIfOSErr(error, JournalContext());
    }
    mRegions = std::move(contents.mRegions);
}

void Sys_FileJournal::Commit()
{
    if (!IsBegun())
        return;
    ThrowIf(Sync(mFileFD), mPath);
    if (::unlink(mJournalPath.c_str()) != 0)
        Sys_ThrowIfOSErr(errno, JournalContext());
    CloseFD(mJournalFD);
    CloseFD(mFileFD);
    mRegions.clear();
}

bool Sys_FileJournal::Undo() noexcept
{
    if (!IsBegun())
        return true;
    Contents contents;
    contents.mOldLength = mOldLength;
    contents.mRegions = std::move(mRegions);
    mRegions.clear();
    const bool done = RollBack(mFileFD, contents) == 0 && ::unlink(mJournalPath.c_str()) == 0;
    CloseFD(mJournalFD);
    CloseFD(mFileFD);
    return done;
}

bool Sys_FileJournal::Recover(const std::string& iPath)
{
    std::string path = iPath;
    std::string journalPath = JournalPath(path);
    int journalFD = ::open(journalPath.c_str(), O_RDWR | O_CLOEXEC);
    if (journalFD < 0)
    {
        // Through a symbolic link, the journal stands beside the file it names.
        struct stat info
        {
        };
        if (errno != ENOENT || ::lstat(iPath.c_str(), &info) != 0 || !S_ISLNK(info.st_mode))
            return false;
        char* real = ::realpath(iPath.c_str(), nullptr);
        if (!real)
            return false;
        path = real;
        std::free(real);
        journalPath = JournalPath(path);
        journalFD = ::open(journalPath.c_str(), O_RDWR | O_CLOEXEC);
        if (journalFD < 0)
            return false;
    }
    struct stat journalInfo
    {
    };
    // A change that is under way holds the lock.
    if (::flock(journalFD, LOCK_EX | LOCK_NB) != 0 || ::fstat(journalFD, &journalInfo) != 0 ||
        journalInfo.st_nlink == 0)
    {
        ::close(journalFD);
        return false;
    }
    int fileFD = -1;
    int32_t error = 0;
    const std::string* failed = &journalPath;
    std::vector<unsigned char> image(size_t(std::max<off_t>(journalInfo.st_size, 0)));
    size_t count = 0;
    error = ReadAll(journalFD, image.data(), image.size(), 0, &count);
    struct stat fileInfo
    {
    };
    if (error == 0 && ::stat(path.c_str(), &fileInfo) != 0)
    {
        // No file, nothing to roll back: the journal is stale.
        if (errno != ENOENT)
        {
            error = errno;
            failed = &path;
        }
    }
    else if (error == 0)
    {
        image.resize(count);
        Contents contents;
        if (Parse(image.data(), image.size(), fileInfo.st_size, &contents) == eState_Whole)
        {
            fileFD = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
            error = fileFD < 0 ? errno : RollBack(fileFD, contents);
            failed = &path;
        }
    }
    if (error == 0 && ::unlink(journalPath.c_str()) != 0)
        error = errno;
    CloseFD(fileFD);
    ::close(journalFD);
    ThrowIf(error, *failed);
    return true;
}

uint64_t Sys_FileJournal::Checksum(const unsigned char* iDataP, size_t iSize)
{
    uint64_t hash = 14695981039346656037ull;
    for (size_t i = 0; i < iSize; ++i)
        hash = (hash ^ iDataP[i]) * 1099511628211ull;
    return hash;
}

std::vector<unsigned char> Sys_FileJournal::Build(const Contents& iContents)
{
    std::vector<unsigned char> image(cMagic, cMagic + 8);
    Put<uint32_t>(image, cVersion);
    Put<uint32_t>(image, uint32_t(iContents.mRegions.size()));
    Put<int64_t>(image, iContents.mOldLength);
    for (const Region& region : iContents.mRegions)
    {
        Put<int64_t>(image, region.mOffset);
        Put<int64_t>(image, int64_t(region.mBytes.size()));
        image.insert(image.end(), region.mBytes.begin(), region.mBytes.end());
    }
    Put<uint64_t>(image, Checksum(image.data(), image.size()));
    return image;
}

Sys_FileJournal::EState Sys_FileJournal::Parse(const unsigned char* iDataP, size_t iSize,
                                               int64_t iFileLength, Contents* oContentsP)
{
    *oContentsP = Contents();
    if (iSize < cHeaderSize + cChecksumSize || std::memcmp(iDataP, cMagic, 8) != 0 ||
        Get<uint32_t>(iDataP + 8) != cVersion ||
        Get<uint64_t>(iDataP + iSize - cChecksumSize) != Checksum(iDataP, iSize - cChecksumSize))
        return eState_Torn;
    const uint32_t count = Get<uint32_t>(iDataP + 12);
    const int64_t oldLength = Get<int64_t>(iDataP + 16);
    const size_t end = iSize - cChecksumSize;
    if (oldLength < 0)
        return eState_Torn;
    size_t p = cHeaderSize;
    int64_t reach = 0;
    Contents contents;
    contents.mOldLength = oldLength;
    for (uint32_t i = 0; i < count; ++i)
    {
        if (end - p < cRegionHeaderSize)
            return eState_Torn;
        const int64_t offset = Get<int64_t>(iDataP + p);
        const int64_t length = Get<int64_t>(iDataP + p + 8);
        p += cRegionHeaderSize;
        if (offset < 0 || length <= 0 || offset > oldLength - length || offset > iFileLength ||
            uint64_t(length) > end - p)
            return eState_Torn;
        contents.mRegions.push_back(
            {offset, length, std::vector<unsigned char>(iDataP + p, iDataP + p + length)});
        p += size_t(length);
        reach = std::max(reach, offset + length);
    }
    if (p != end || oldLength > std::max(iFileLength, reach))
        return eState_Torn;
    *oContentsP = std::move(contents);
    return eState_Whole;
}

void Sys_FileJournal::SetFaultHook(FaultHook iHook)
{
    sFaultHook = iHook;
}
